// The end of an outage: what the switches remember and what was published may both be older than the configuration.
#include "blackboard/KivUtils.h"
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
   for( auto const & uuid : { near, far } ) {
      if( !uuid.empty() ) policyHelperInfo()->intfUuidToPolicyIs( uuid )->policyIs( running.name(), true );
   }
   // A group that can never be ready owns nothing.
   if( near == far || near.empty() || far.empty() ) return;
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
      auto const fragment = getPolicyFragment( SwitchId( name ), fragmentName, policyPublishBaseDir() );
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
      auto const switchId = switchIdFromSystemId( name );
      for( auto const & [ fragmentName, fragment ] : published->policyFragment() ) {
         if( auto const machine = machineOf( fragmentName ) ) {
            squareFragment( *fragment, switchId, *machine );
         } else {
            TRACE6( trace(), " Withdrawing ", fragmentName, " from ", name );
            revokePublishedPolicy( SwitchId( name ), fragmentName, policyPublishBaseDir(), policyHelperInfo() );
         }
      }
      // What stays is still the switch's, also where nothing was published again because a service VTEP is silent.
      if( !published->policyFragment().empty() ) policyHelperInfo()->publishEligibleSwitchIs( name, true );
   }
}

// What the machine has published anew is as it should be; this is about what it has not touched.
void ServicePolicyConfigSm::squareFragment( V1::ServicePolicyFragment & fragment, SwitchId const & switchId,
                                            ServicePolicyPerVniSm & machine ) {
   withdrawOutdatedPorts( fragment, switchId, *machine.policyRunningInfo() );
   withdrawOutdatedHosts( fragment, switchId, machine );
   bool const serviceVtep = machine.policyRunningInfo()->serviceVtepSwitchId( switchId );
   bool const outdated = !fragment.serviceVni().isNone() && fragment.serviceVni() != machine.serviceVni();
   // The service side of another service VNI is written anew. A switch that is no service VTEP any more loses it, and
   // the fragment if it has no host.
   if( outdated || !serviceVtep ) machine.handleServiceVtepSwitchId( switchId );
   if( !outdated || serviceVtep ) return;
   revokePublishedPolicy( switchId, fragment.name(), policyPublishBaseDir(), policyHelperInfo() );
   machine.handleHost(); // those behind the switch have no flows any more
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

void ServicePolicyConfigSm::withdrawOutdatedPorts( V1::ServicePolicyFragment & fragment, SwitchId const & switchId,
                                                   PolicyRunningInfo const & running ) {
   for( auto const & [ side, ports ] : fragment.serviceIntfSet() ) {
      auto const set = serviceIntfConfig()->intfSet( side == "near" ? running.nearIntfUuid() : running.farIntfUuid() );
      for( auto const & [ intf, member ] : ports->intf() ) {
         SwitchIntfPair const port( switchId, intf );
         if( !set || set->intf( port ) == ServiceInterface( port ) ) removeServiceIntf( fragment, side, intf );
      }
   }
}

void ServicePolicyConfigSm::withdrawOutdatedHosts( V1::ServicePolicyFragment & fragment, SwitchId const & switchId,
                                                   ServicePolicyPerVniSm & machine ) {
   bool const serviceVtep = machine.policyRunningInfo()->serviceVtepSwitchId( switchId );
   for( auto const & [ flowName, flow ] : fragment.flow() ) {
      auto const ip = hostOfFlow( flowName );
      if( !ip ) continue;
      auto const host = machine.host( *ip );
      bool const here = host && ( serviceVtep || host->insideVtepSwitchPair().isMember( switchId ) );
      if( here && flow.rewriteVni == machine.serviceVni() && flow.matchSMac == host->mac() ) continue;
      removeHostFlow( fragment, *ip );
      if( host ) machine.handleHost( *ip ); // it waits, or gets the flow as it should be
   }
   bool diverts = false;
   for( auto const & [ flowName, flow ] : fragment.flow() ) diverts = diverts || hostOfFlow( flowName );
   if( !diverts ) fragment.flowDel( PolicyFlowName::insideVtepEgress ); // the service flows go with the quiet rounds
   if( !fragment.grCookie() ) return;
   for( auto const & [ ip, cookie ] : fragment.grCookie()->interceptInfo() ) {
      auto const host = machine.host( ip );
      bool const here = host && host->insideVtepSwitchPair().isMember( switchId );
      if( !here || cookie.mac != host->mac() ) fragment.grCookie()->interceptInfoDel( ip );
   }
}

} // namespace Kiv
