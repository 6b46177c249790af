// The scenery of the agent's benchmarks: a large fabric with its sources, switches and hosts, and an agent over it. All
// of them are records, read and written directly, so that the logic is measured and no document.
//
// A group of hosts has a VNI, a near and a far interface set of its own. The sets' ports are on four switches, the
// service VTEPs; the hosts are spread over all other switches.
#pragma once

#include "agent/KivAgent.h"
#include "host/Tree.h"
#include "platform/moth/VirtualTaskScheduler.h"

#include <vector>

namespace Bench {

/// CPU seconds of this process since its start.
double cpuTime();

class World {
 public:
   static constexpr unsigned groups = 100, switches = 64, serviceVteps = 4;

   /// All documents of that many hosts are in the databases; there is no agent yet.
   explicit World( unsigned hosts );
   World( World const & ) = delete;
   World & operator=( World const & ) = delete;
   ~World();

   /// Starts the agent and runs it until it settles.
   void start();
   /// The switches report all flows that they see as programmed and have not reported yet. Preparing the reports is not
   /// part of the work; the result is the CPU seconds of writing them, with all that the agent does about them.
   double switchesAnswer();
   /// Both, until the flows of every host are published and programmed; the CPU seconds that it takes.
   double coldStart();

   unsigned hosts() const { return static_cast< unsigned >( switchOf_.size() ); }
   /// The fabric learns the host behind the next switch.
   void move( unsigned host );
   /// The switch behind which the host is sees the flow that diverts its traffic.
   bool diverted( unsigned host );
   /// The fabric's tables of a group's VNI.
   Lum::Ptr< Loomis::VniFdbStatusV2 > const & tables( unsigned group ) const { return tables_[ group ]; }

   static Neroli::IpAddr ip( unsigned host ) { return Neroli::IpAddr( 0x0a000000 + host ); }
   static Neroli::EthAddr mac( unsigned host ) { return Neroli::EthAddr( 0x020000000000 + host ); }
   static Neroli::IpAddr vtepIp( unsigned place ) { return Neroli::IpAddr( 0xc0000200 + place ); }

 private:
   struct Report {
      Lum::Ptr< Kiv::V1::KivPolicyFragmentStatus > to;
      Lum::Ptr< Kiv::V1::ServicePolicyFragment > fragment;
      std::vector< Kiv::V1::PolicyFlowStatus > flows;
   };

   template< class T >
   Lum::Ptr< T > state( Lum::String const & path ) {
      return tree_.state()->createEntity< T >( path );
   }
   template< class T >
   Lum::Ptr< T > hub( Lum::String const & path ) {
      return tree_.hub()->createEntity< T >( path );
   }
   void makeController();
   void makeSwitches();
   void makeGroup( unsigned group );
   void makeHost( unsigned host );
   std::vector< Report > reports();

   Lum::Ptr< Moth::VirtualTaskScheduler > scheduler_{ new Moth::VirtualTaskScheduler };
   Host::Tree tree_{ *scheduler_ };
   Lum::Ptr< Kiv::KivCAgent::Agent > agent_;
   std::vector< Lum::Ptr< Loomis::VniFdbStatusV2 > > tables_; // by group
   std::vector< unsigned > switchOf_;                         // by host, without the service VTEPs
   std::uint32_t moves_ = 1;
};

} // namespace Bench
