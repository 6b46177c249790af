// The agent plug-in: mounts what the system needs in three stages, makes the shared entities and the two top machines,
// and holds them.
//
//    agentFactory, doInit                    the state database's mounts start
//    doMountsComplete                        they are in
//    doServiceAgentInit                      the service "Kiv" and its mount group "mg1" are declared
//    KivServiceMounter::doMountsComplete     the group stands: the hubstore's mounts start
//    doControllerMountsComplete              they are in: collector, blackboard and root machine are made
//    doInitialSwitchMountsComplete           the switches known at start are in: the root machine may begin
//
// The last two may come in either order.
#pragma once

#include "agent/KivRootSm.h"
#include "blackboard/KivLocalTypes.h"
#include "collector/KivServiceConfigCollector.h"
#include "platform/harbor/HubstoreService.h"
#include "platform/harbor/ServiceConfigDir.h"
#include "platform/oxbow/ServiceAgent.h"

namespace Kiv::KivCAgent {

class Agent;

/// Receives the events of the agent's service.
class KivServiceMounter : public Harbor::HubstoreServiceMounter {
 public:
   explicit KivServiceMounter( Agent * agent ) : agent_( agent ) {}

   void doMountsComplete( Lum::Name const & groupName,
                          Lum::Ptr< Quarry::EntityManager > const & entityManager ) override;
   void doInitialSwitchMountsComplete( Lum::Name const & groupName,
                                       Lum::Ptr< Quarry::EntityManager > const & entityManager ) override;

 private:
   Agent * agent_;
};

class Agent : public Oxbow::ServiceAgent {
 public:
   explicit Agent( Lum::Name name );
   ~Agent() override;

   using Oxbow::ServiceAgent::hubstoreService;
   Lum::Ptr< Harbor::HubstoreService > const & hubstoreService() const { return hubstoreService_; }
   Lum::Ptr< KivServiceMounter > const & serviceMounter() const { return serviceMounter_; }
   /// The mounts of the switches known at start are in.
   bool initialMountsComplete() const { return initialMountsComplete_; }
   void handleInitialSwitchMountsComplete();

   Lum::Ptr< ServicePolicyConfig > const & servicePolicyConfig() const { return servicePolicyConfig_; }
   Lum::Ptr< ServiceIntfConfig > const & serviceIntfConfig() const { return serviceIntfConfig_; }
   Lum::Ptr< KivPolicySourceState > const & servicePolicySourceState() const { return servicePolicySourceState_; }
   Lum::Ptr< PolicyHelperInfo > const & policyHelperInfo() const { return policyHelperInfo_; }
   Lum::Ptr< RootSm > const & rootSm() const { return rootSm_; }

   /// Ends the agent as a killed process ends: no machine of it writes anything any more, so nothing published is
   /// withdrawn. The object is to be dropped next.
   void abandon();

   void doInit() override;
   void doMountsComplete( Quarry::MountStatus mountStatus,
                          Lum::Ptr< Quarry::EntityManager > const & entityManager ) override;
   void doServiceAgentInit() override;
   void doControllerMounts() override;
   void doControllerMountsComplete( Quarry::MountStatus mountStatus,
                                    Lum::Ptr< Quarry::EntityManager > const & entityManager ) override;

 private:
   void startRibbon();
   bool wanted() const;

   // From the state database.
   Lum::Ptr< Config const > kivAgentConfig_;
   Lum::Ptr< Status > kivAgentStatus_;
   Lum::Ptr< Harbor::ServiceConfigDir const > controllerServiceConfigDir_;
   Lum::Ptr< Hubstore::Status const > hubstoreStatus_;
   Lum::Ptr< Kestrel::ClusterStatus const > clusterStatus_;
   Lum::Ptr< Harbor::HubstoreService > hubstoreService_;
   Lum::Ptr< KivServiceMounter > serviceMounter_;
   bool initialMountsComplete_ = false;
   Lum::Ptr< Lum::Dir const > servicePolicyConfigDir_;
   Lum::Ptr< Lum::Dir const > serviceIntfConfigDir_;
   Lum::Ptr< Lum::Dir const > servicePolicySourceStateDir_;
   // Merged from all sources.
   Lum::Ptr< ServicePolicyConfig > servicePolicyConfig_;
   Lum::Ptr< ServiceIntfConfig > serviceIntfConfig_;
   Lum::Ptr< KivPolicySourceState > servicePolicySourceState_;
   // From the hubstore.
   Lum::Ptr< Lum::Dir > policyPublishBaseDir_;
   Lum::Ptr< Lum::Dir > vtepStatusBaseDir_;
   Lum::Ptr< Lum::Dir > kivPolicyStatusDir_;
   Lum::Ptr< Lum::Dir > vniDir_;
   Lum::Ptr< Tessera::Status const > topoStatus_;
   Lum::Ptr< Loomis::VniStatusDirV2 > kivVniStatusDir_;

   Lum::Ptr< ServiceConfigDirMonitorSm > serviceConfigDirMonitorSm_;
   Lum::Ptr< PolicyHelperInfo > policyHelperInfo_;
   Lum::Ptr< PolicyRunningInfoCol > policyRunningInfoCol_;
   Lum::Ptr< RootSm > rootSm_;
};

/// The plug-in's entry.
Lum::Ptr< Oxbow::ServiceAgent > agentFactory( Lum::Name name );

} // namespace Kiv::KivCAgent
