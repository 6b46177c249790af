#include "bench/World.h"

#include "blackboard/KivUtils.h"
#include "platform/ribbon/Ribbon.h"

#include <ctime>

namespace Bench {

namespace {

constexpr unsigned firstVni = 5000;

Neroli::EthAddr switchMac( unsigned place ) { return Neroli::EthAddr( 0x020000ff0000 + place ); }
Lum::String switchName( unsigned place ) { return switchMac( place ).stringValue( '-' ); }
unsigned groupOf( unsigned host ) { return host % World::groups; }

} // namespace

double cpuTime() {
   timespec time{};
   clock_gettime( CLOCK_PROCESS_CPUTIME_ID, &time );
   return static_cast< double >( time.tv_sec ) + 1e-9 * static_cast< double >( time.tv_nsec );
}

World::World( unsigned hosts ) {
   makeController();
   makeSwitches();
   for( unsigned group = 0; group < groups; ++group ) makeGroup( group );
   for( unsigned host = 0; host < hosts; ++host ) makeHost( host );
}

World::~World() {
   if( agent_ ) agent_->abandon();
}

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

void World::makeSwitches() {
   for( unsigned place = 0; place < switches; ++place ) {
      auto const name = switchName( place );
      auto const vteps = hub< Loomis::VtepStatusDirV2 >( "vxlan/version2/vtepStatusDir/switch/" + name );
      vteps->vtepStatusIs( "default" )->vtepIpAddrIs( vtepIp( place ) );
      hub< Kiv::V1::KivPolicyFragmentStatus >( "kivclient/version1/policystatus/switch/" + name );
   }
}

void World::makeGroup( unsigned group ) {
   auto const sets = state< Kiv::ServiceIntfConfig >( "kiv/serviceIntfConfig/site" );
   auto const port = [ & ]( Lum::String const & uuid, unsigned place ) {
      Kiv::ServiceInterface intf( Kiv::SwitchIntfPair( Kiv::SwitchId( switchMac( place ).stringValue() ), uuid ) );
      intf.allowedVlan[ "100" ] = true;
      sets->intfSetIs( uuid )->intfIs( intf );
   };
   auto const near = Lum::textOf( "near-", group ), far = Lum::textOf( "far-", group );
   for( unsigned place = 0; place < serviceVteps; ++place ) port( place < serviceVteps / 2 ? near : far, place );
   auto const policies = state< Kiv::ServicePolicyConfig >( "kiv/servicePolicyConfig/site" );
   auto const policy = policies->servicePolicyIs( Lum::textOf( "group-", group ) );
   policy->nearIntfUuidIs( near );
   policy->farIntfUuidIs( far );
   tables_.push_back( hub< Loomis::VniFdbStatusV2 >( Lum::textOf( "loomis/version2/vni/", firstVni + group ) ) );
}

void World::makeHost( unsigned host ) {
   auto const policies = state< Kiv::ServicePolicyConfig >( "kiv/servicePolicyConfig/site" );
   Kiv::InterceptFlowInfo flow;
   flow.ip = Neroli::IpGenAddrWithMask( ip( host ) );
   policies->servicePolicyIs( Lum::textOf( "group-", groupOf( host ) ) )->interceptFlowIs( flow );
   Loomis::IpToMacV2 binding;
   binding.ip = ip( host );
   binding.mac = mac( host );
   tables( groupOf( host ) )->ipToMacTableIs( binding );
   // The hosts of a group and the groups behind a switch are spread evenly.
   switchOf_.push_back( ( host / groups + groupOf( host ) ) % ( switches - serviceVteps ) );
   move( host );
}

void World::move( unsigned host ) {
   auto & place = switchOf_[ host ];
   place = ( place + 1 ) % ( switches - serviceVteps );
   Loomis::MacVtepV2 learnt;
   learnt.mac = mac( host );
   learnt.vtepIp = vtepIp( serviceVteps + place );
   learnt.moveCount = ++moves_;
   tables( groupOf( host ) )->macVtepTableIs( learnt );
}

bool World::diverted( unsigned host ) {
   unsigned const group = groupOf( host );
   auto const name = switchName( serviceVteps + switchOf_[ host ] );
   auto const published = hub< Kiv::V1::KivPolicyFragment >( "kiv/version1/policy/switch/" + name );
   auto const fragment = published->policyFragment( Lum::textOf( "group-", group, "-", firstVni + group ) );
   return fragment && fragment->flow().find( Kiv::insideIngressFlowName( ip( host ) ) );
}

void World::start() {
   agent_ = boost::dynamic_pointer_cast< Kiv::KivCAgent::Agent >( Kiv::KivCAgent::agentFactory( "Kiv" ) );
   agent_->taskSchedulerIs( scheduler_ );
   agent_->entityManagerIs( tree_.state() );
   agent_->hubstoreEntityManagerIs( tree_.hub() );
   agent_->doPreInit();
   agent_->doInit();
   Ribbon::removeFile(); // nobody will read it
   scheduler_->settle();
}

std::vector< World::Report > World::reports() {
   std::vector< Report > all;
   auto const seen = hub< Lum::Dir >( "kiv/version1/policy/switch" );
   for( auto const & [ name, entity ] : seen->entityPtr() ) {
      auto const to = hub< Kiv::V1::KivPolicyFragmentStatus >( "kivclient/version1/policystatus/switch/" + name );
      auto const published = Lum::narrow< Kiv::V1::KivPolicyFragment >( entity );
      for( auto const & [ fragmentName, fragment ] : published->policyFragment() ) {
         auto const held = to->policyFragment( fragmentName );
         Report report{ to, fragment, {} };
         for( auto const & [ flowName, flow ] : fragment->flow() ) {
            if( held && held->flowStatus().find( flowName ) ) continue;
            Kiv::V1::PolicyFlowStatus status;
            status.flowName = flowName;
            status.status = Kiv::V1::PolicyFlowStatus::programmed;
            report.flows.push_back( status );
         }
         if( !report.flows.empty() ) all.push_back( report );
      }
   }
   return all;
}

double World::switchesAnswer() {
   auto const all = reports();
   double const begin = cpuTime();
   for( auto const & report : all ) {
      auto const status = report.to->policyFragmentIs( report.fragment->name() );
      status->originalVniIs( report.fragment->originalVni() );
      status->serviceVniIs( report.fragment->serviceVni() );
      for( auto const & flow : report.flows ) status->flowStatusIs( flow );
   }
   return cpuTime() - begin;
}

double World::coldStart() {
   double const begin = cpuTime();
   start();
   double time = cpuTime() - begin;
   time += switchesAnswer(); // of the service flows
   time += switchesAnswer(); // of the intercept flows
   for( unsigned host = 0; host < hosts(); ++host ) LUM_ASSERT( diverted( host ) );
   return time;
}

} // namespace Bench
