// The scenery of the agent's benchmarks: a large fabric with its sources, switches and hosts, and an agent over it. All
// of them are records, read and written directly, so that the logic is measured and no document.
//
// A group of hosts has a VNI, a near and a far interface set of its own. The sets' ports are on four switches, the
// service VTEPs; the last two switches are a pair that shares its VTEP address, and some hosts stand behind it for
// good. All others are spread over the switches between.
#pragma once

#include "agent/KivAgent.h"
#include "bench/Harness.h"
#include "host/Tree.h"
#include "platform/moth/VirtualTaskScheduler.h"

#include <random>
#include <vector>

namespace Bench {

/// Bytes of heap in use.
double heap();

class World {
 public:
   static constexpr unsigned serviceVteps = 4, hostsOfPair = 150;

   struct Extent {
      unsigned hosts = 10'000;
      unsigned groups = 100; // each with a VNI
      unsigned switches = 64;
      bool policies = true;  // the groups are configured
      bool addresses = true; // the switches have reported their VTEP addresses
   };

   /// All documents are in the databases; there is no agent yet.
   explicit World( Extent extent );
   World( World const & ) = delete;
   World & operator=( World const & ) = delete;
   ~World();

   Extent const & extent() const { return extent_; }
   Host::Tree & tree() { return tree_; }

   /// Starts an agent and runs it until it settles.
   void start();
   /// Ends it as a killed process ends: the databases stay as they are.
   void kill();
   /// From the documents until every host is diverted and its flows are reported as programmed; an operation is a host.
   void coldStart( Meter & meter );
   void coldStart();
   /// Runs what is pending now, as a host does after each request. What changes the world here ends with it.
   void settle() { scheduler_->settle(); }
   /// Lets time pass.
   void advance( double seconds ) { scheduler_->advance( seconds ); }

   /// What a switch says of one fragment, as far as it is new.
   struct Report {
      Lum::Ptr< Kiv::V1::KivPolicyFragmentStatus > to;
      Lum::String name;
      Lum::Ptr< Kiv::V1::ServicePolicyFragment const > seen; // null: it is gone
      std::vector< Lum::String > flowsGone;
      std::vector< Neroli::IpGenAddr > cookiesGone;
      std::vector< Kiv::V1::InterceptInfoCookie > cookies;
      std::vector< Kiv::V1::PolicyFlowStatus > flows;

      void write() const;
   };
   using Reports = std::vector< Report >;
   /// Those of all switches, or of the first ones, of all fragments or of one. Preparing them is not the agent's work.
   Reports reports() { return reports( extent_.switches, {} ); }
   Reports reports( unsigned switches, Lum::String const & fragment );
   void write( Reports const & reports ) {
      for( auto const & each : reports ) each.write();
      settle();
   }
   /// The switches report until there is nothing new.
   void answer();

   /// Hosts drawn at random from all but those of the pair, each once before any comes again.
   std::vector< unsigned > drawn( unsigned count );
   unsigned drawnGroup() { return std::uniform_int_distribution( 0U, extent_.groups - 1 )( random_ ); }

   /// The fabric learns the host behind the next switch.
   void move( unsigned host );
   /// The switch behind which the host is sees the flow that diverts its traffic.
   bool diverted( unsigned host ) const;
   bool allDiverted() const;

   /// A source names the host in its group, or does no more.
   void interceptIs( unsigned host, bool intercept );
   /// A group that is not configured at the start: its sets, its VNI and its one host behind a switch.
   void makeSpareGroup( unsigned group );
   /// A source writes or deletes a group with all its hosts.
   void policyIs( unsigned group );
   void policyDel( unsigned group );
   /// The second switch of the pair reports the pair's address, or has no VTEP.
   void pairIs( bool whole );
   void addressIs( unsigned place );
   /// The first service VTEP says that it has not programmed a service flow of the group, or that it has.
   void convergenceIs( unsigned group, bool converged );
   /// The first service VTEP has lost all hosts' flows.
   void forgetHostFlows();

   /// The fabric's tables of a group's VNI.
   Lum::Ptr< Loomis::VniFdbStatusV2 > const & tables( unsigned group ) const { return tables_[ group ]; }
   Lum::Ptr< Lum::Dir > const & published() const { return published_; }

   unsigned groupOf( unsigned host ) const {
      return host < extent_.hosts ? host % extent_.groups : extent_.groups + host - extent_.hosts;
   }
   std::vector< unsigned > hostsOf( unsigned group ) const;
   /// The switches behind whose address the host is.
   std::vector< unsigned > switchesOf( unsigned host ) const;

   static Neroli::IpAddr ip( unsigned host ) { return Neroli::IpAddr( 0x0a000000 + host ); }
   static Neroli::EthAddr mac( unsigned host ) { return Neroli::EthAddr( 0x020000000000 + host ); }
   static Lum::String switchName( unsigned place );
   static Lum::String near( unsigned group ) { return Lum::textOf( "near-", group ); }
   static Lum::String far( unsigned group ) { return Lum::textOf( "far-", group ); }
   static Vxlan::VniOrNone vni( unsigned group ) { return Vxlan::VniOrNone( 5'000 + group ); }
   static Lum::String policyName( unsigned group ) { return Lum::textOf( "group-", group ); }
   static Lum::String fragmentName( unsigned group ) { return Lum::textOf( policyName( group ), "-", vni( group ) ); }
   Neroli::IpAddr vtepIp( unsigned place ) const;
   /// Where hosts may move: the switches of their own between the service VTEPs and the pair.
   unsigned leaves() const { return extent_.switches - serviceVteps - 2; }

 private:
   template< class T >
   Lum::Ptr< T > state( Lum::String const & path ) {
      return tree_.state()->createEntity< T >( path );
   }
   template< class T >
   Lum::Ptr< T > hub( Lum::String const & path ) {
      return tree_.hub()->createEntity< T >( path );
   }
   Lum::Ptr< Kiv::V1::KivPolicyFragmentStatus > reportOf( unsigned place ) {
      return hub< Kiv::V1::KivPolicyFragmentStatus >( "kivclient/version1/policystatus/switch/" + switchName( place ) );
   }
   void makeController();
   void makeGroup( unsigned group );
   void makeHost( unsigned host );
   void learn( unsigned host );
   Kiv::V1::PolicyFlowStatus statusOf( unsigned place, Kiv::V1::PolicyFlowInfo const & flow ) const;
   Report reportOf( unsigned place, Kiv::V1::ServicePolicyFragment const & fragment );

   Extent extent_;
   Lum::Ptr< Moth::VirtualTaskScheduler > scheduler_{ new Moth::VirtualTaskScheduler };
   Host::Tree tree_{ *scheduler_ };
   Lum::Ptr< Kiv::KivCAgent::Agent > agent_;
   Lum::Ptr< Lum::Dir > published_;
   Lum::Ptr< Kiv::ServicePolicyConfig > policies_;
   std::vector< Lum::Ptr< Loomis::VniFdbStatusV2 > > tables_; // by group
   struct Place {
      unsigned leaf = 0;
      std::uint32_t moves = 1;
   };
   std::vector< Place > placeOf_; // by host
   std::mt19937 random_{ 1 };
   std::vector< unsigned > order_;     // all hosts, the pair's first
   std::size_t next_ = 0;              // of `order_` to be drawn
   std::optional< unsigned > refused_; // the group of which a service flow is not programmed
};

} // namespace Bench
