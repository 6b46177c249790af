#include "agent/KivAgent.h"

#include "blackboard/KivServiceNames.h"
#include "platform/lum/ActivityManagerConfig.h"
#include "platform/ribbon/Ribbon.h"
#include "platform/ribbon/TwinRibbon.h"

#include <cstdlib>

TRACE_MODULE( "Kiv" );

namespace Kiv::KivCAgent {

namespace {

constexpr char const * policyPublishPath = "kiv/version1/policy/switch";
constexpr char const * kivVniStatusPath = "kiv/version2/vniStatusDir";
constexpr char const * vniPath = "loomis/version2/vni";
constexpr char const * topologyPath = "topology/version3/global/status";
constexpr char const * vtepStatusName = "vxlan/version2/vtepStatusDir";
constexpr char const * policyStatusName = "kivclient/version1/policystatus";

} // namespace

Lum::Ptr< Oxbow::ServiceAgent > agentFactory( Lum::Name name ) { return new Agent( std::move( name ) ); }

Agent::Agent( Lum::Name name ) : Oxbow::ServiceAgent( std::move( name ) ) {}

// It stops nothing by itself: the machines stop when dropped.
Agent::~Agent() {
   serviceMounter_ = nullptr;
   servicePolicyConfig_ = nullptr;
   serviceIntfConfig_ = nullptr;
   servicePolicySourceState_ = nullptr;
   serviceConfigDirMonitorSm_ = nullptr;
   policyHelperInfo_ = nullptr;
   rootSm_ = nullptr;
}

// Dropping the collector empties the merged configuration, and machines that still listened would take that for the
// operator's wish and revoke every group. So they stop listening first.
void Agent::abandon() {
   if( rootSm_ ) rootSm_->hasNotificationActiveIs( false );
   if( serviceConfigDirMonitorSm_ ) serviceConfigDirMonitorSm_->hasNotificationActiveIs( false );
}

void Agent::doInit() {
   Lum::ActivityManagerConfig::useEpollIs( true );
   startRibbon();
   TRACE8( trace(), " Cell: ", cell() );
   auto const group = entityManager()->getMountGroup( this );
   group->doMount( { "kiv/config", "Kiv::Config", "r" } );
   group->doMount( { "kiv/status", "Kiv::Status", "w" } );
   group->doMount( { "kiv/servicePolicyConfig", "Lum::Dir", "ri" } );
   group->doMount( { "kiv/serviceIntfConfig", "Lum::Dir", "ri" } );
   group->doMount( { "kiv/servicePolicySourceState", "Lum::Dir", "ri" } );
   group->doMount( { "controller/service/config", "Harbor::ServiceConfigDir", "ri" } );
   group->doMount( { "controller/status", "Hubstore::Status", "r" } );
   group->doMount( { "controller/cluster/statusDir", "Kestrel::ClusterStatusDir", "ri" } );
   group->doMount( { "kiv/servicePolicyStatus", "Kiv::PolicyRunningInfoCol", "w" } );
   group->doClose( false, "", 0.0 );
   TRACE6( trace(), " calling ServiceAgent::doInit() " );
   Oxbow::ServiceAgent::doInit();
}

void Agent::startRibbon() {
   if( std::getenv( "RIBBON_DISABLE" ) ) return;
   Lum::String fileName = name();
   if( !std::getenv( "RIBBONDIR" ) ) fileName += "-%d";
   Ribbon::initialize( fileName + ".rb", { 32, 32, 32, 32, 32, 32, 32, 32, 32, 32 }, nullptr, 0, 24, false, true, 512 );
}

void Agent::doMountsComplete( Quarry::MountStatus mountStatus,
                              Lum::Ptr< Quarry::EntityManager > const & entityManager ) {
   TRACE8( trace() );
   LUM_ASSERT( mountStatus == Quarry::mountSuccess_ );
   kivAgentConfig_ = entityManager->getEntity< Config >( "kiv/config" );
   kivAgentStatus_ = entityManager->getEntity< Status >( "kiv/status" );
   controllerServiceConfigDir_ = entityManager->getEntity< Harbor::ServiceConfigDir >( "controller/service/config" );
   hubstoreStatus_ = entityManager->getEntity< Hubstore::Status >( "controller/status" );
   auto const clusters = entityManager->getEntity< Kestrel::ClusterStatusDir >( "controller/cluster/statusDir" );
   clusterStatus_ = clusters ? clusters->clusterStatus( "default" ) : nullptr;
   servicePolicyConfigDir_ = entityManager->getEntity< Lum::Dir >( "kiv/servicePolicyConfig" );
   serviceIntfConfigDir_ = entityManager->getEntity< Lum::Dir >( "kiv/serviceIntfConfig" );
   servicePolicySourceStateDir_ = entityManager->getEntity< Lum::Dir >( "kiv/servicePolicySourceState" );
   policyRunningInfoCol_ = entityManager->getEntity< PolicyRunningInfoCol >( "kiv/servicePolicyStatus" );
   if( !wanted() ) {
      TRACE6( trace(), " Should not be running. " );
      TRACE6( trace(), "Clearing the running flag" );
      kivAgentStatus_->runningIs( false );
   }
}

// Whether the running flag of the previous run may stand. A missing hubstore status decides nothing here; a missing
// cluster status means no. The difference is meant.
bool Agent::wanted() const {
   return kivAgentConfig_->enabled() && ( !hubstoreStatus_ || hubstoreStatus_->enabled() ) && clusterStatus_
          && clusterStatus_->leader();
}

void Agent::doServiceAgentInit() {
   TRACE8( trace() );
   hubstoreService_ = hubstoreServiceIs( serviceName, entityManager(), hubstoreEntityManager() );
   auto const versions = hubstoreService_->versionWhiteListIs( versionWhiteListName );
   versions->allowedVersionIs( 1, true );
   serviceMounter_ = new KivServiceMounter( this );
   auto const group = hubstoreService_->serviceMountGroupIs( serviceMountGroupName, serviceMounter_ );
   group->versionWhiteListIs( versions );
   group->controllerMountIs( vtepStatusName, "vxlan/version2/vtepStatusDir/switch", "Loomis::VtepStatusDirV2", "rCt" );
   group->controllerMountIs( policyStatusName, "kivclient/version1/policystatus/switch",
                             "Kiv::V1::KivPolicyFragmentStatus", "rCt" );
   group->closedIs( true );
}

void Agent::doControllerMounts() {
   TRACE8( trace() );
   auto const mountGroup = hubstoreEntityManager()->getMountGroup( controllerMounter() );
   mountGroup->doMount( { "", "Lum::Dir", "rt" } );
   mountGroup->doMount( { policyPublishPath, "Lum::Dir", "wi" } );
   mountGroup->doMount( { kivVniStatusPath, "Loomis::VniStatusDirV2", "wi" } );
   mountGroup->doMount( { vniPath, "Lum::Dir", "ri" } );
   mountGroup->doMount( { topologyPath, "Tessera::Status", "r" } );
   auto const group = hubstoreService( serviceName )->serviceMountGroup( serviceMountGroupName );
   mountGroup->doMount( { group->mountsDir( vtepStatusName ), "Lum::Dir", "ri" } );
   mountGroup->doMount( { group->mountsDir( policyStatusName ), "Lum::Dir", "ri" } );
   mountGroup->doClose( false, "", 0.0 );
   group->closedIs( true );
}

void Agent::doControllerMountsComplete( Quarry::MountStatus mountStatus,
                                        Lum::Ptr< Quarry::EntityManager > const & entityManager ) {
   TRACE8( trace() );
   LUM_ASSERT( mountStatus == Quarry::mountSuccess_ );
   auto const group = hubstoreService( serviceName )->serviceMountGroup( serviceMountGroupName );
   policyPublishBaseDir_ = entityManager->getEntity< Lum::Dir >( policyPublishPath );
   vtepStatusBaseDir_ = entityManager->getEntity< Lum::Dir >( group->mountsDir( vtepStatusName ) );
   kivPolicyStatusDir_ = entityManager->getEntity< Lum::Dir >( group->mountsDir( policyStatusName ) );
   vniDir_ = entityManager->getEntity< Lum::Dir >( vniPath );
   topoStatus_ = entityManager->getEntity< Tessera::Status >( topologyPath );
   kivVniStatusDir_ = entityManager->getEntity< Loomis::VniStatusDirV2 >( kivVniStatusPath );
   group->closedIs( true );

   servicePolicyConfig_ = new ServicePolicyConfig( "Service Policy Config" );
   serviceIntfConfig_ = new ServiceIntfConfig( "Service Interface Config" );
   servicePolicySourceState_ = new KivPolicySourceState( "Service Policy Config Convergence State" );
   servicePolicyConfig_->lumParentIs( this, 0, nullptr );
   serviceIntfConfig_->lumParentIs( this, 0, nullptr );
   servicePolicySourceState_->lumParentIs( this, 0, nullptr );
   // Copies all that the sources hold: the merged configuration stands from here on.
   serviceConfigDirMonitorSm_ =
      serviceConfigDirMonitorSmFactory( servicePolicyConfigDir_, serviceIntfConfigDir_, servicePolicySourceStateDir_,
                                        servicePolicyConfig_, serviceIntfConfig_, servicePolicySourceState_ );
   policyHelperInfo_ = new PolicyHelperInfo( "PolicyHelperInfo", taskScheduler() );
   rootSm_ = rootSmFactory( kivAgentConfig_, kivAgentStatus_, hubstoreStatus_, clusterStatus_, topoStatus_,
                            servicePolicyConfig_, serviceIntfConfig_, servicePolicySourceState_, policyPublishBaseDir_,
                            vniDir_, vtepStatusBaseDir_, kivPolicyStatusDir_, servicePolicyConfigDir_,
                            policyHelperInfo_, policyRunningInfoCol_, kivVniStatusDir_, this );
}

// The flag is set in any case, so that a root machine that comes later reads it.
void Agent::handleInitialSwitchMountsComplete() {
   initialMountsComplete_ = true;
   if( rootSm_ ) rootSm_->handleInitialSwitchMountsComplete();
}

// The publish groups of the switches arrive here, too, and need nothing.
void KivServiceMounter::doMountsComplete( Lum::Name const & groupName, Lum::Ptr< Quarry::EntityManager > const & ) {
   TRACE8( trace(), " group: ", groupName );
   if( groupName == serviceMountGroupName ) agent_->doControllerMounts();
}

void KivServiceMounter::doInitialSwitchMountsComplete( Lum::Name const & groupName,
                                                       Lum::Ptr< Quarry::EntityManager > const & ) {
   TRACE8( trace(), " group: ", groupName );
   if( groupName == serviceMountGroupName ) agent_->handleInitialSwitchMountsComplete();
}

} // namespace Kiv::KivCAgent
