// The same result written by hand: the fragments, flows and cookies that an agent publishes for a world, written into
// the same databases from flat tables, without any agent. What this costs no agent can undercut.
#pragma once

#include "bench/World.h"

namespace Bench {

class Floor {
 public:
   /// @param firstServiceVni  of the first group; the others follow
   explicit Floor( World & world, unsigned firstServiceVni = 20'000 );

   /// As World::coldStart.
   void coldStart( Meter & meter );
   /// All that is published before and behind the switches' first answer.
   void publishServiceFlows();
   void publishHosts();
   /// The fabric learns the host elsewhere, and its flows follow.
   void move( unsigned host );

 private:
   struct Host {
      Neroli::IpGenAddr ip;
      Neroli::EthAddr mac;
      unsigned group;
      std::vector< unsigned > switches;
   };
   struct Group {
      Lum::String fragmentName;
      Lum::String near;
      Lum::String far;
      Vxlan::VniOrNone originalVni;
      Vxlan::VniOrNone serviceVni;
      std::vector< Lum::Ptr< Kiv::V1::ServicePolicyFragment > > fragment; // by switch
   };

   Kiv::V1::ServicePolicyFragment & fragmentIs( Group & group, unsigned place );
   static void addHostFlows( Kiv::V1::ServicePolicyFragment & fragment, Group const & group, Host const & host );
   void publishAt( Group & group, Host const & host, unsigned place );

   World & world_;
   std::vector< Host > hosts_;
   std::vector< Group > groups_;
   std::vector< Lum::String > switchNames_;
   std::vector< Lum::Ptr< Kiv::V1::KivPolicyFragment > > published_; // by switch
};

} // namespace Bench
