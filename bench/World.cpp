#include "bench/World.h"

#include "bench/Ring.h"
#include "blackboard/KivUtils.h"

#include <algorithm>
#include <malloc.h>
#include <numeric>

namespace Bench {

namespace {

using Kiv::V1::PolicyFlowStatus;

Neroli::EthAddr switchMac( unsigned place ) { return Neroli::EthAddr( 0x020000ff0000 + place ); }

/// For starts that nobody measures.
class NoMeter : public Meter {
   void begin() override {}
   double end() override { return 0; }
};

} // namespace

double heap() {
   auto const info = mallinfo2();
   return static_cast< double >( info.uordblks + info.hblkhd );
}

World::World( Extent extent ) : extent_( extent ), order_( extent.hosts ) {
   ringIs( Ring::on );
   clockIs( Clock::virtualClock );
   std::iota( order_.begin(), order_.end(), 0 );
   std::shuffle( order_.begin(), order_.end(), random_ );
   next_ = hostsOfPair;
   published_ = hub< Lum::Dir >( "kiv/version1/policy/switch" );
   policies_ = state< Kiv::ServicePolicyConfig >( "kiv/servicePolicyConfig/site" );
   makeController();
   for( unsigned place = 0; place < extent.switches; ++place ) {
      hub< Loomis::VtepStatusDirV2 >( "vxlan/version2/vtepStatusDir/switch/" + switchName( place ) );
      reportOf( place );
      if( extent.addresses ) addressIs( place );
   }
   for( unsigned group = 0; group < extent.groups; ++group ) makeGroup( group );
   for( unsigned host = 0; host < extent.hosts; ++host ) makeHost( host );
   if( !extent.policies ) return;
   for( unsigned group = 0; group < extent.groups; ++group ) policyIs( group );
}

World::~World() { kill(); }

void World::makeController() {
   state< Hubstore::Status >( "controller/status" )->enabledIs( true );
   auto const cluster = state< Kestrel::ClusterStatusDir >( "controller/cluster/statusDir" );
   cluster->clusterStatusIs( "default" )->leaderIs( true );
   hub< Tessera::Status >( "topology/version3/global/status" )->convergenceStatusIs( "convergence" );
   state< Kiv::KivPolicySourceState >( "kiv/servicePolicySourceState/site" )->convergenceCompleteIs( true );
   auto const config = state< Kiv::Config >( "kiv/config" );
   config->vniRangeIs( "20000-29999" );
   config->enabledIs( true );
}

void World::makeGroup( unsigned group ) {
   auto const sets = state< Kiv::ServiceIntfConfig >( "kiv/serviceIntfConfig/site" );
   for( unsigned place = 0; place < serviceVteps; ++place ) {
      auto const uuid = place < serviceVteps / 2 ? near( group ) : far( group );
      Kiv::ServiceInterface intf( Kiv::SwitchIntfPair( Kiv::SwitchId( switchMac( place ).stringValue() ), uuid ) );
      intf.allowedVlan[ "100" ] = true;
      sets->intfSetIs( uuid )->intfIs( intf );
   }
   tables_.push_back( hub< Loomis::VniFdbStatusV2 >( Lum::textOf( "loomis/version2/vni/", vni( group ) ) ) );
}

void World::makeHost( unsigned host ) {
   Loomis::IpToMacV2 binding;
   binding.ip = ip( host );
   binding.mac = mac( host );
   tables( groupOf( host ) )->ipToMacTableIs( binding );
   // The hosts of a group and the groups behind a switch are spread evenly.
   bool const ofPair = std::find( order_.begin(), order_.begin() + hostsOfPair, host ) != order_.begin() + hostsOfPair;
   placeOf_.push_back( { ofPair ? leaves() : ( host / extent_.groups + groupOf( host ) ) % leaves() } );
   learn( host );
}

void World::makeSpareGroup( unsigned group ) {
   if( group < tables_.size() ) return;
   LUM_ASSERT( group == tables_.size() );
   makeGroup( group );
   makeHost( extent_.hosts + group - extent_.groups );
}

void World::learn( unsigned host ) {
   Loomis::MacVtepV2 learnt;
   learnt.mac = mac( host );
   learnt.vtepIp = vtepIp( serviceVteps + placeOf_[ host ].leaf );
   learnt.moveCount = placeOf_[ host ].moves;
   tables( groupOf( host ) )->macVtepTableIs( learnt );
}

void World::move( unsigned host ) {
   auto & [ leaf, moves ] = placeOf_[ host ];
   leaf = ( leaf + 1 ) % leaves();
   ++moves;
   learn( host );
   settle();
}

Lum::String World::switchName( unsigned place ) { return switchMac( place ).stringValue( '-' ); }

Neroli::IpAddr World::vtepIp( unsigned place ) const {
   return Neroli::IpAddr( 0xc0000200 + std::min( place, serviceVteps + leaves() ) );
}

std::vector< unsigned > World::switchesOf( unsigned host ) const {
   unsigned const place = serviceVteps + placeOf_[ host ].leaf;
   if( place < serviceVteps + leaves() ) return { place };
   return { place, place + 1 };
}

std::vector< unsigned > World::hostsOf( unsigned group ) const {
   if( group >= extent_.groups ) return { extent_.hosts + group - extent_.groups };
   std::vector< unsigned > hosts;
   for( unsigned host = group; host < extent_.hosts; host += extent_.groups ) hosts.push_back( host );
   return hosts;
}

std::vector< unsigned > World::drawn( unsigned count ) {
   std::vector< unsigned > hosts;
   while( hosts.size() < count ) {
      hosts.push_back( order_[ next_ ] );
      if( ++next_ == order_.size() ) next_ = hostsOfPair;
   }
   return hosts;
}

bool World::diverted( unsigned host ) const {
   for( unsigned const place : switchesOf( host ) ) {
      auto const seen = Lum::entryOf< Kiv::V1::KivPolicyFragment >( published_, switchName( place ) );
      auto const fragment = seen ? seen->policyFragment( fragmentName( groupOf( host ) ) ) : nullptr;
      if( !fragment || !fragment->flow().find( Kiv::insideIngressFlowName( ip( host ) ) ) ) return false;
   }
   return true;
}

bool World::allDiverted() const {
   for( unsigned host = 0; host < extent_.hosts; ++host ) {
      if( !diverted( host ) ) return false;
   }
   return true;
}

void World::interceptIs( unsigned host, bool intercept ) {
   auto const policy = policies_->servicePolicy( policyName( groupOf( host ) ) );
   Kiv::InterceptFlowInfo flow;
   flow.ip = Neroli::IpGenAddrWithMask( ip( host ) );
   if( intercept ) {
      policy->interceptFlowIs( flow );
   } else {
      policy->interceptFlowDel( flow.ip );
   }
   settle();
}

void World::policyIs( unsigned group ) {
   auto const policy = policies_->servicePolicyIs( policyName( group ) );
   policy->policyNameIs( Lum::textOf( "rule of ", group ), true );
   policy->nearIntfUuidIs( near( group ) );
   policy->farIntfUuidIs( far( group ) );
   for( unsigned const host : hostsOf( group ) ) interceptIs( host, true );
}

void World::policyDel( unsigned group ) {
   policies_->servicePolicyDel( policyName( group ) );
   settle();
}

void World::addressIs( unsigned place ) {
   auto const vteps = hub< Loomis::VtepStatusDirV2 >( "vxlan/version2/vtepStatusDir/switch/" + switchName( place ) );
   vteps->vtepStatusIs( "default" )->vtepIpAddrIs( vtepIp( place ) );
   settle();
}

void World::pairIs( bool whole ) {
   unsigned const second = extent_.switches - 1;
   if( whole ) return addressIs( second );
   hub< Loomis::VtepStatusDirV2 >( "vxlan/version2/vtepStatusDir/switch/" + switchName( second ) )
      ->vtepStatusDel( "default" );
   settle();
}

void World::kill() {
   if( agent_ ) agent_->abandon();
   agent_ = nullptr;
}

void World::start() {
   agent_ = boost::dynamic_pointer_cast< Kiv::KivCAgent::Agent >( Kiv::KivCAgent::agentFactory( "Kiv" ) );
   agent_->taskSchedulerIs( scheduler_ );
   agent_->entityManagerIs( tree_.state() );
   agent_->hubstoreEntityManagerIs( tree_.hub() );
   agent_->doPreInit();
   agent_->doInit();
   scheduler_->settle();
}

void World::coldStart( Meter & meter ) {
   meter.measure( extent_.hosts, [ & ] { start(); } );
   for( int answers = 0; answers < 2; ++answers ) { // of the service flows, then of the hosts'
      auto const all = reports();
      meter.measure( 0, [ & ] { write( all ); } );
   }
   LUM_ASSERT( allDiverted() && reports().empty() );
}

void World::coldStart() {
   NoMeter meter;
   coldStart( meter );
}

void World::answer() {
   for( auto all = reports(); !all.empty(); all = reports() ) write( all );
}

// A switch counts the moves of a host whose traffic it diverts, as the fabric does.
PolicyFlowStatus World::statusOf( unsigned place, Kiv::V1::PolicyFlowInfo const & flow ) const {
   PolicyFlowStatus status;
   status.flowName = flow.flowName;
   status.status = PolicyFlowStatus::programmed;
   if( !flow.matchSMac.isUnset() ) {
      status.hostMoveCount.mac = flow.matchSMac;
      status.hostMoveCount.moveCount = placeOf_[ flow.matchSMac.value() - mac( 0 ).value() ].moves;
   } else if( place == 0 && refused_ && flow.matchVni == vni( *refused_ ) ) {
      status.status = 0;
   }
   return status;
}

World::Report World::reportOf( unsigned place, Kiv::V1::ServicePolicyFragment const & fragment ) {
   Report report{ reportOf( place ), fragment.name(), &fragment, {}, {}, {}, {} };
   auto const held = report.to->policyFragment( fragment.name() );
   auto const echo = held ? held->grCookie() : nullptr;
   auto const cookie = fragment.grCookie();
   if( held ) {
      for( auto const & [ name, status ] : held->flowStatus() ) {
         if( !fragment.flow().find( name ) ) report.flowsGone.push_back( name );
      }
   }
   if( echo ) {
      for( auto const & [ ip, host ] : echo->interceptInfo() ) {
         if( !cookie->interceptInfo().find( ip ) ) report.cookiesGone.push_back( ip );
      }
   }
   for( auto const & [ ip, host ] : cookie->interceptInfo() ) {
      if( !echo || echo->interceptInfo( ip ) != host ) report.cookies.push_back( host );
   }
   for( auto const & [ name, flow ] : fragment.flow() ) {
      auto const status = statusOf( place, flow );
      if( !held || held->flowStatus( name ) != status ) report.flows.push_back( status );
   }
   bool const same = held && echo && held->originalVni() == fragment.originalVni()
                     && held->serviceVni() == fragment.serviceVni() && echo->isServiceVtep() == cookie->isServiceVtep()
                     && report.flowsGone.empty() && report.cookiesGone.empty() && report.cookies.empty()
                     && report.flows.empty();
   if( same ) report.to = nullptr;
   return report;
}

World::Reports World::reports( unsigned switches, Lum::String const & fragmentName ) {
   Reports all;
   for( unsigned place = 0; place < switches; ++place ) {
      auto const to = reportOf( place );
      auto const seen = Lum::entryOf< Kiv::V1::KivPolicyFragment >( published_, switchName( place ) );
      auto const isMeant = [ & ]( Lum::String const & name ) { return fragmentName.empty() || name == fragmentName; };
      for( auto const & [ name, held ] : to->policyFragment() ) {
         if( isMeant( name ) && !( seen && seen->policyFragment( name ) ) )
            all.push_back( { to, name, nullptr, {}, {}, {}, {} } );
      }
      if( !seen ) continue;
      for( auto const & [ name, fragment ] : seen->policyFragment() ) {
         if( !isMeant( name ) ) continue;
         auto report = reportOf( place, *fragment );
         if( report.to ) all.push_back( std::move( report ) );
      }
   }
   return all;
}

void World::Report::write() const {
   if( !seen ) return to->policyFragmentDel( name );
   auto const status = to->policyFragmentIs( name );
   for( auto const & flow : flowsGone ) status->flowStatusDel( flow );
   status->originalVniIs( seen->originalVni() );
   status->serviceVniIs( seen->serviceVni() );
   auto const echo = status->grCookieIs( "GrCookie" );
   for( auto const & host : cookiesGone ) echo->interceptInfoDel( host );
   echo->isServiceVtepIs( seen->grCookie()->isServiceVtep() );
   for( auto const & host : cookies ) echo->interceptInfoIs( host );
   for( auto const & flow : flows ) status->flowStatusIs( flow );
}

void World::convergenceIs( unsigned group, bool converged ) {
   refused_ = converged ? std::nullopt : std::optional( group );
}

void World::forgetHostFlows() {
   for( auto const & [ name, held ] : reportOf( 0 )->policyFragment() ) {
      for( auto const & [ flow, status ] : held->flowStatus() ) {
         if( !status.hostMoveCount.mac.isUnset() ) held->flowStatusDel( flow );
      }
   }
   for( auto & place : placeOf_ ) ++place.moves; // so that the next counts are news
}

} // namespace Bench
