#include "policy/KivServicePolicySm.h"

#include "platform/ribbon/TwinRibbon.h"

TRACE_MODULE( "KivServicePolicy" );

namespace Kiv {

void ServicePolicyConfigSm::handleInitialized() {
   TRACE8( trace() );
   populateGrStateFromConfig();
   initializedIs( true );
   handleServiceIntfInfo(); // interface machines first, so that they exist when the policies come up
   handleServicePolicy();
   giveBackAbandonedVnis();
   withdrawOutdatedFragments();
   taskRevokeServiceFlowIs( policyHelperInfo()->taskScheduler(), Moth::TaskPriority( 2 ), "revokeServiceFlowTask" );
}

void ServicePolicyConfigSm::handleServicePolicy( Lum::String key ) {
   TRACE8( trace(), " Policy: ", key );
   if( auto const policy = servicePolicyConfig()->servicePolicy( key ) ) {
      servicePolicyBrainSmIs( key, policy, serviceIntfConfig(), policyHelperInfo(), policyRunningInfoCol(),
                              policyPublishBaseDir(), kivAgentConfig() );
   } else {
      servicePolicyBrainSmDel( key );
   }
}

// An interface machine lives exactly while its UUID is both configured and named by a group.
void ServicePolicyConfigSm::handleServiceIntfInfo( Lum::String uuid ) {
   TRACE8( trace(), " uuid: ", uuid );
   Lum::Ptr< IntfUuidToPolicy const > const users = policyHelperInfo()->intfUuidToPolicy( uuid );
   auto const set = serviceIntfConfig()->intfSet( uuid );
   if( users && set ) {
      serviceIntfInfoSmIs( uuid, set, policyRunningInfoCol(), policyHelperInfo(), users, policyPublishBaseDir() );
   } else {
      serviceIntfInfoSmDel( uuid );
   }
}

// Offers a freed UUID to the groups that name it. The first that comes out ready takes it; the others wait on.
void ServicePolicyConfigSm::handleIntfUuidToOwnerPolicy( Lum::String uuid ) {
   TRACE8( trace(), " uuid: ", uuid );
   if( !policyHelperInfo()->intfUuidToOwnerPolicy( uuid ).empty() ) return;
   auto const users = policyHelperInfo()->intfUuidToPolicy( uuid );
   if( !users ) return;
   for( auto const & [ group, member ] : users->policy() ) {
      auto const brain = servicePolicyBrainSm( group );
      if( !brain || !brain->setOrchestrationReadinessForPolicy() ) continue;
      // One that left this UUID while it was pending may be ready with others, and takes nothing here.
      if( policyHelperInfo()->intfUuidToOwnerPolicy( uuid ) == group ) {
         TRACE6( trace(), " return - new active policy: ", group );
         return;
      }
   }
}

void ServicePolicyConfigSm::removeIpToPolicyMapping( Neroli::IpGenAddr ip, Lum::String policyName ) {
   TRACE8( trace(), " ip: ", ip, " policy: ", policyName );
   auto const host = policyHelperInfo()->ipToPolicy( ip );
   if( !host ) return;
   host->allPolicyDel( policyName ); // moves the control of the host
   if( !host->allPolicy().empty() ) return;
   TRACE6( trace(), " ip: ", ip, " becomes uninteresting" );
   policyHelperInfo()->ipToPolicyDel( ip );
}

bool ServicePolicyConfigSm::isSwitchIdPartOfIntfSet( Lum::String const & uuid, SwitchId const & switchId ) const {
   auto const set = serviceIntfConfig()->intfSet( uuid );
   if( !set ) return false;
   for( auto const & [ intf, port ] : set->intf() ) {
      if( intf.switchId() == switchId ) return true;
   }
   return false;
}

void ServicePolicyConfigSm::handleRevokeServiceFlow() {
   auto const period = kivAgentConfig()->flowRemovalPeriod();
   if( !taskRevokeServiceFlow()->taskCurrentlyRunning() ) {
      TRACE6( trace(), " Task not running, set flowRemovalPeriod: ", period );
      taskRevokeServiceFlow()->scheduleTaskLowestDelay( period );
      return;
   }
   for( auto const & [ name, brain ] : servicePolicyBrainSm() ) {
      for( auto const & [ vni, machine ] : brain->policyPerVniSm() ) revokeIfQuiet( *machine, name );
   }
   taskRevokeServiceFlow()->scheduleTaskLowestDelay( period );
}

// The counter is not reset by the removal, which repeats harmlessly until the switches' answers end the convergence.
void ServicePolicyConfigSm::revokeIfQuiet( ServicePolicyPerVniSm & machine, Lum::String const & policyName ) {
   auto const count = machine.interceptedHosts();
   TRACE6( trace(), " Policy name: ", policyName, ", vni: ", machine.originalVni(),
           ", service flows are converged: ", machine.switchPairFlowConverged(), ", intercepted hosts count: ", count,
           " ,flowRemovalTrigger: ", machine.flowRemovalTrigger() );
   if( !machine.switchPairFlowConverged() || count > 0 ) {
      machine.flowRemovalTriggerIs( 0 );
      return;
   }
   machine.flowRemovalTriggerInc( 1 );
   if( kivAgentConfig()->flowRemovalTriggerLimit() <= machine.flowRemovalTrigger() ) {
      TRACE6( trace(), " Revoking service flows." );
      machine.removeServiceFlowsFromAllVteps();
   }
}

void ServicePolicyConfigSm::destroy() {
   TRACE8( trace() );
   servicePolicyBrainSmDelAll();
}

// A second group does not displace the first; when the first lets go, the next one of the set takes control.
void ServicePolicyConfigSm::IpToPolicySm::handleAllPolicy( Lum::String policyName ) {
   auto const host = ipToPolicy();
   if( host->allPolicy( policyName ) ) {
      if( host->policy().empty() ) host->policyIs( policyName );
   } else if( host->policy() == policyName ) {
      passControl();
   }
   TRACE6( trace(), " control policy for ", ip(), " is ", "'", host->policy(), "'" );
}

void ServicePolicyConfigSm::IpToPolicySm::passControl() {
   TRACE6( trace(), " stops controlling ", ip() );
   auto const next = ipToPolicy()->allPolicy().begin();
   ipToPolicy()->policyIs( next ? next.key() : Lum::String() );
}

} // namespace Kiv
