// The end of an outage: what the switches remember and what was published may both be older than the configuration.
#include "blackboard/KivUtils.h"
#include "platform/harbor/SystemId.h"
#include "platform/ribbon/TwinRibbon.h"
#include "policy/KivPolicyFragment.h"
#include "policy/KivServicePolicySm.h"

#include <set>
#include <utility>

TRACE_MODULE( "KivServicePolicy" );

namespace Kiv {

// Runs once, before anything else: the switches' memory may be older than the configuration.
void ServicePolicyConfigSm::populateGrStateFromConfig() {
   for( auto const & [ name, running ] : policyRunningInfoCol()->policyRunningInfo() ) {
      if( auto const policy = servicePolicyConfig()->servicePolicy( name ) ) {
         TRACE6( trace(), " We have a service policy with id: ", name );
         adoptElectedVnis( *running );
         adoptRestoredPolicy( *running, *policy );
         dropUnconfiguredHosts( *running, *policy );
      } else {
         dropRestoredPolicy( *running );
      }
   }
}

void ServicePolicyConfigSm::adoptRestoredPolicy( PolicyRunningInfo & running, ServicePolicy const & policy ) {
   for( auto const & [ policyName, member ] : policy.policyName() ) running.policyNameIs( policyName, true );
   auto const near = policy.nearIntfUuid();
   auto const far = policy.farIntfUuid();
   running.nearIntfUuidIs( near );
   running.farIntfUuidIs( far );
   for( auto const & uuid : { near, far } )
      policyHelperInfo()->intfUuidToPolicyIs( uuid )->policyIs( running.name(), true );
   // The first restored group to reach a UUID keeps it; a second one stays without either of its two.
   if( !policyHelperInfo()->intfUuidToOwnerPolicy( near ).empty()
       || !policyHelperInfo()->intfUuidToOwnerPolicy( far ).empty() ) {
      return;
   }
   policyHelperInfo()->intfUuidToOwnerPolicyIs( near, running.name() );
   policyHelperInfo()->intfUuidToOwnerPolicyIs( far, running.name() );
}

void ServicePolicyConfigSm::dropUnconfiguredHosts( PolicyRunningInfo & running, ServicePolicy const & policy ) {
   std::set< Neroli::IpGenAddr > wanted; // with whatever mask
   for( auto const & [ key, flow ] : policy.interceptFlow() ) wanted.insert( key.address() );
   for( auto const & [ ip, host ] : running.hostInfo() ) {
      if( wanted.contains( ip ) ) continue;
      TRACE6( trace(), " Remove IP to policy for ", ip, " as it becomes unconfigured" );
      abandonedVni_.emplace_back( running.name(), host->originalVni() );
      dropRestoredHost( ip, running.name() );
      running.hostInfoDel( ip );
   }
}

// Another group's host stays, whichever of the two the switches named last.
void ServicePolicyConfigSm::dropRestoredHost( Neroli::IpGenAddr ip, Lum::String const & group ) {
   auto const host = policyHelperInfo()->ipToPolicy( ip );
   if( !host ) return;
   host->allPolicyDel( group );
   if( host->allPolicy().empty() ) {
      policyHelperInfo()->ipToPolicyDel( ip );
   } else if( host->policy() == group ) {
      ipToPolicy( ip )->passControl();
   }
}

// Of switches that disagree, the last one to be read left its service VNI in the running info. What is published may
// show that it has always been the one that won.
void ServicePolicyConfigSm::adoptElectedVnis( PolicyRunningInfo & running ) {
   auto const info = policyHelperInfo()->policyInfo( running.name() );
   if( !info ) return;
   for( auto const & [ vni, restored ] : running.originalToServiceVni() ) {
      auto const granted = info->originalToServiceVni( vni );
      if( granted.isNone() || granted == restored ) continue;
      if( isPublished( fragmentNameOf( running.name(), vni ), granted ) )
         running.originalToServiceVniIs( vni, granted );
   }
}

bool ServicePolicyConfigSm::isPublished( Lum::String const & fragmentName, Vxlan::VniOrNone serviceVni ) const {
   for( auto const & [ name, entity ] : policyPublishBaseDir()->entityPtr() ) {
      auto const fragment = getPolicyFragment( name, fragmentName, policyPublishBaseDir() );
      if( fragment && fragment->serviceVni() == serviceVni ) return true;
   }
   return false;
}

// The last host of a VNI gives its service VNI back, also if it went during the outage.
void ServicePolicyConfigSm::giveBackAbandonedVnis() {
   for( auto const & [ group, vni ] : std::exchange( abandonedVni_, {} ) ) {
      if( auto const brain = servicePolicyBrainSm( group ) ) brain->giveBackIfUnused( vni );
   }
}

void ServicePolicyConfigSm::dropRestoredPolicy( PolicyRunningInfo & running ) {
   TRACE6( trace(), " Deleting policy to service vni: ", running.name() );
   policyHelperInfo()->policyInfoDel( running.name() );
   for( auto const & [ ip, host ] : running.hostInfo() ) {
      TRACE6( trace(), " Deleting IP Addr to policy for ", ip );
      dropRestoredHost( ip, running.name() );
   }
   TRACE6( trace(), " Deleting policy running info" );
   policyRunningInfoCol()->policyRunningInfoDel( running.name() );
}

// Runs once, after the policies have come up: what they want is published by now, and what no machine knows of is
// nobody's any more. Without this a group, a host or a port that went during the outage would stay on the switches.
void ServicePolicyConfigSm::withdrawOutdatedFragments() {
   for( auto const & [ name, entity ] : policyPublishBaseDir()->entityPtr() ) {
      auto const published = Lum::narrow< V1::KivPolicyFragment >( entity );
      if( !published ) continue;
      auto const switchId = Harbor::systemIdFromString( name ).switchId();
      for( auto const & [ fragmentName, fragment ] : published->policyFragment() ) {
         if( auto const machine = machineOf( fragmentName ) ) {
            withdrawOutdatedPorts( *fragment, switchId, *machine->policyRunningInfo() );
            if( withdrawOutdatedHosts( *fragment, switchId, *machine ) ) continue;
         }
         TRACE6( trace(), " Withdrawing ", fragmentName, " from ", name );
         revokePublishedPolicy( name, fragmentName, policyPublishBaseDir(), policyHelperInfo() );
      }
      // What stays is still the switch's, also where nothing was published again because a service VTEP is silent.
      if( !published->policyFragment().empty() ) policyHelperInfo()->publishEligibleSwitchIs( name, true );
   }
}

// The machine that published a fragment, if its group is ready to publish; else null.
Lum::Ptr< ServicePolicyPerVniSm > ServicePolicyConfigSm::machineOf( Lum::String const & fragmentName ) {
   auto const brain = servicePolicyBrainSm( getPolicyName( fragmentName ) );
   if( !brain || !brain->policyInfoReady() ) return nullptr;
   for( auto const & [ vni, machine ] : brain->policyPerVniSm() ) {
      if( machine->fragmentName() == fragmentName ) return machine;
   }
   return nullptr;
}

void ServicePolicyConfigSm::withdrawOutdatedPorts( V1::ServicePolicyFragment & fragment, Lum::String const & switchId,
                                                   PolicyRunningInfo const & running ) {
   for( auto const & [ side, ports ] : fragment.serviceIntfSet() ) {
      auto const set = serviceIntfConfig()->intfSet( side == "near" ? running.nearIntfUuid() : running.farIntfUuid() );
      for( auto const & [ intf, member ] : ports->intf() ) {
         SwitchIntfPair const port( switchId, intf );
         if( !set || set->intf( port ) == ServiceInterface( port ) ) removeServiceIntf( fragment, side, intf );
      }
   }
}

// Returns whether the switch still needs the fragment: not when the last host behind it went.
bool ServicePolicyConfigSm::withdrawOutdatedHosts( V1::ServicePolicyFragment & fragment, Lum::String const & switchId,
                                                   ServicePolicyPerVniSm const & machine ) {
   bool const serviceVtep = machine.policyRunningInfo()->serviceVtepSwitchId( switchId );
   bool withdrawn = false;
   bool diverts = false;
   for( auto const & [ flowName, flow ] : fragment.flow() ) {
      auto const ip = hostOfFlow( flowName );
      if( !ip ) continue;
      auto const host = machine.host( *ip );
      if( host && ( serviceVtep || host->insideVtepSwitchPair().isMember( switchId ) ) ) {
         diverts = true;
      } else {
         removeHostFlow( fragment, *ip );
         withdrawn = true;
      }
   }
   if( !withdrawn || diverts ) return true;
   fragment.flowDel( PolicyFlowName::insideVtepEgress ); // the service flows go with the quiet rounds
   return serviceVtep;
}

} // namespace Kiv
