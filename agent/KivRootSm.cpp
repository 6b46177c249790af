#include "agent/KivRootSm.h"

#include "agent/KivAgent.h"
#include "blackboard/KivServiceNames.h"
#include "cli/KivCliCallback.h"
#include "platform/ribbon/TwinRibbon.h"
#include "restart/KivPolicyFragmentStatusSm.h"

TRACE_MODULE( "Kiv" );

namespace Kiv {

void RootSm::handleInitialized() {
   TRACE8( trace() );
   if( initialized() ) return;
   topologyConvergenceStatusIs( topoStatus() ? topoStatus()->convergenceStatus() : nullptr );
   initializedIs( true );
   policyRunningInfoCol()->policyRunningInfoDelAll(); // those of a previous run
   handleEnable();
}

// A record that first appears may be settled already, and the first binding of an input calls nothing.
void RootSm::handleConvergenceStatus() {
   topologyConvergenceStatusIs( topoStatus()->convergenceStatus() );
   handleEnable();
}

bool RootSm::topologyReady() const {
   auto const status = topoStatus() ? topoStatus()->convergenceStatus() : nullptr;
   return status && !status->convergenceInProgress();
}

void RootSm::handleEnable() {
   bool const enabled = kivAgentConfig()->enabled() && hubstoreStatus()->enabled() && clusterStatus()->leader();
   bool const kivReady =
      topologyReady() && agent()->initialMountsComplete() && servicePolicySourceState()->convergenceComplete();
   TRACE8( trace(), " Config: ", kivAgentConfig()->enabled(), " Status: ", kivAgentStatus()->running(),
           " HubstoreStatus: ", hubstoreStatus()->enabled(), " ClusterStatus: ", clusterStatus()->leader(),
           " Topology ready: ", topologyReady(), " Initial mounts complete: ", agent()->initialMountsComplete(),
           " KivReady: ", kivReady );
   if( enabled ) {
      TRACE6( trace(), " Enabled " );
      registerCliCallback();
      if( kivReady ) begin();
   } else {
      TRACE6( trace(), " Disabled " );
      unregisterCliCallback();
      endKivL2();
   }
   // It follows `enabled` alone: a feature that waits for topology or sources says that it runs.
   kivAgentStatus()->runningIs( enabled );
   TRACE7( trace(), " return " );
}

void RootSm::handleServiceConvergenceState() {
   TRACE8( trace(), " State: ", servicePolicySourceState()->convergenceComplete() );
   handleEnable();
}

void RootSm::handleInitialSwitchMountsComplete() {
   TRACE8( trace() );
   handleEnable();
}

void RootSm::begin() {
   beginKivL2();
   auto const service = agent()->hubstoreService();
   mountPublishSmIs( service, agent()->serviceMounter(), policyHelperInfo(), policyPublishBaseDir() );
   service->closedIs( true );
   service->publishMountsSynchronizedIs( true );
}

// The order is the design. What the switches remember is on the blackboard before any machine starts; the grants of the
// previous run are known before anyone asks for one; hosts are located before a policy machine looks for them.
void RootSm::beginKivL2() {
   TRACE8( trace() );
   // Repeated while the machines run, the call makes nothing.
   Lum::Ptr< VtepAllPolicyFragmentStatus const > fragmentStatus;
   Lum::Ptr< CoalescedPolicyGrSm > restart; // reads the switches' reports when it is made, and ends with this call
   if( serviceVniSm() ) {
      fragmentStatus = serviceVniSm()->vtepAllPolicyFragmentStatus();
   } else {
      auto const restored = vtepAllPolicyFragmentStatusFactory( "vtepPolicy" );
      restart =
         coalescedPolicyGrSmFactory( kivPolicyStatusDir(), restored, policyRunningInfoCol(), policyHelperInfo() );
      fragmentStatus = restored;
   }
   serviceVniSmIs( policyHelperInfo(), kivAgentConfig(), fragmentStatus );
   vtepStatusRootSmIs( policyHelperInfo(), vtepStatusBaseDir() );
   vniFdbStatusDirSmIs( vniDir(), policyHelperInfo(), kivAgentConfig() );
   errorStatusSmIs( policyRunningInfoCol(), kivPolicyStatusDir(), serviceIntfConfig() );
   servicePolicyConfigSmIs( servicePolicyConfig(), serviceIntfConfig(), policyHelperInfo(), policyRunningInfoCol(),
                            policyPublishBaseDir(), kivAgentConfig() );
   macMoveSmIs( kivPolicyStatusDir(), policyHelperInfo(), policyRunningInfoCol(), vniDir(), kivVniStatusDir() );
}

// The policies and the publish mounts take back what they published; what the others wrote stays. The feedback machines
// stay, too: they are found again at the next begin.
void RootSm::endKivL2() {
   TRACE8( trace() );
   servicePolicyConfigSmDel();
   vniFdbStatusDirSmDel();
   vtepStatusRootSmDel();
   serviceVniSmDel();
   mountPublishSmDel();
   clearPublishedPolicyFragments();
}

// The directories of the switches stay.
void RootSm::clearPublishedPolicyFragments() {
   for( auto const & [ name, entity ] : policyPublishBaseDir()->entityPtr() ) {
      if( auto const published = Lum::narrow< V1::KivPolicyFragment >( entity ) ) published->policyFragmentDelAll();
   }
}

void RootSm::registerCliCallback() {
   agent()->agentCommandRequestDirSm()->agentCommandCallbackIs(
      Cli::showPolicyDetailFactory( showPolicyDetailName, showPolicyDetailName, policyRunningInfoCol() ) );
}

void RootSm::unregisterCliCallback() {
   agent()->agentCommandRequestDirSm()->agentCommandCallbackDel( showPolicyDetailName );
}

} // namespace Kiv
