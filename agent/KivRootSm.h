#pragma once

#include "agent/KivMountPublishSm.h"
#include "blackboard/KivLocalTypes.h"
#include "feedback/KivErrorStatus.h"
#include "feedback/KivMacMove.h"
#include "location/KivHostLocator.h"
#include "location/KivVtepStatusSm.h"
#include "policy/KivServicePolicySm.h"
#include "records/hubstore/Status.h"
#include "records/kestrel/ClusterStatus.h"
#include "records/tessera/Status.h"
#include "vni/KivServiceVniSm.h"

namespace Kiv {

namespace KivCAgent {
class Agent;
}

/// Decides whether the feature runs, and starts and stops the working machines.
///
///    disabled   not enabled (the setting, the hubstore's state, the lead of the cluster): no machine but surviving
///               feedback ones
///    waiting    enabled, but the topology, the switches' first mounts or the sources have not converged: the operator
///               command is there and `running` says true
///    running    enabled, and all of that was true once: all machines. Only a loss of `enabled` ends it.
class RootSm : public Lum::PtrInterface {
   LUM_MACHINE( RootSm );
   LUM_ARG_INPUT( kivAgentConfig, Config const, LUM_ON( enabled, handleEnable ) );
   LUM_ARG( kivAgentStatus, Lum::Ptr< Status > );
   LUM_ARG_INPUT( hubstoreStatus, Hubstore::Status const, LUM_ON( enabled, handleEnable ) );
   LUM_ARG_INPUT( clusterStatus, Kestrel::ClusterStatus const, LUM_ON( leader, handleEnable ) );
   LUM_ARG_INPUT( topoStatus, Tessera::Status const, LUM_ON( convergenceStatus, handleConvergenceStatus ) );
   LUM_ARG( servicePolicyConfig, Lum::Ptr< ServicePolicyConfig const > );
   LUM_ARG( serviceIntfConfig, Lum::Ptr< ServiceIntfConfig const > );
   LUM_ARG_INPUT( servicePolicySourceState, KivPolicySourceState const,
                  LUM_ON( convergenceComplete, handleServiceConvergenceState ) );
   LUM_ARG( policyPublishBaseDir, Lum::Ptr< Lum::Dir > );
   LUM_ARG( vniDir, Lum::Ptr< Lum::Dir > );
   LUM_ARG( vtepStatusBaseDir, Lum::Ptr< Lum::Dir > );
   LUM_ARG( kivPolicyStatusDir, Lum::Ptr< Lum::Dir > );
   LUM_ARG( servicePolicyConfigDir, Lum::Ptr< Lum::Dir const > ); // held for the machine's owner; not read here
   LUM_ARG( policyHelperInfo, Lum::Ptr< PolicyHelperInfo > );
   LUM_ARG( policyRunningInfoCol, Lum::Ptr< PolicyRunningInfoCol > );
   LUM_ARG( kivVniStatusDir, Lum::Ptr< Loomis::VniStatusDirV2 > );
   LUM_ARG( agent, KivCAgent::Agent * );

   // Kept equal to the topology's convergence status.
   LUM_INPUT( topologyConvergenceStatus, Tessera::ConvergenceStatus const,
              LUM_ON( convergenceInProgress, handleEnable ) );
   LUM_SM( servicePolicyConfigSm, ServicePolicyConfigSm );
   LUM_SM( vtepStatusRootSm, VtepStatusRootSm );
   LUM_SM( vniFdbStatusDirSm, VniFdbStatusDirSm );
   LUM_SM( mountPublishSm, MountPublishSm );
   LUM_SM( serviceVniSm, ServiceVniSm );
   LUM_SM( errorStatusSm, ErrorStatusSm );
   LUM_SM( macMoveSm, MacMoveSm );
   LUM_INITIALIZED;

   void handleInitialized();
   /// Safe to repeat: it has no memory of its own.
   void handleEnable();
   void handleConvergenceStatus();
   void handleServiceConvergenceState();
   void handleInitialSwitchMountsComplete();

   bool topologyReady() const;

 private:
   void begin();
   void beginKivL2();
   void endKivL2();
   void registerCliCallback();
   void unregisterCliCallback();
   void clearPublishedPolicyFragments();
};

inline constexpr Lum::Factory< RootSm > rootSmFactory;

} // namespace Kiv
