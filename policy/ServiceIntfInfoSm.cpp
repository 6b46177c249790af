#include "policy/KivServicePolicySm.h"

#include "blackboard/KivUtils.h"
#include "platform/ribbon/TwinRibbon.h"
#include "policy/KivPolicyFragment.h"

TRACE_MODULE( "KivServicePolicy" );

namespace Kiv {

using State = PolicyRunningState;

// The loss of a set, or of the last group that names it, brings the readiness of each group up to date at once. When
// the owner itself ends, it has revoked its groups or ends as a killed process does, and nothing is to be done.
ServiceIntfInfoSm::~ServiceIntfInfoSm() {
   if( intfUuidToPolicy() && parent()->hasNotificationActive() ) handleCleanup();
}

void ServiceIntfInfoSm::handleCleanup() {
   TRACE8( trace(), " uuid: ", uuid() );
   askReadiness();
}

void ServiceIntfInfoSm::askReadiness() {
   for( auto const & [ group, member ] : intfUuidToPolicy()->policy() ) {
      if( auto const brain = parent()->servicePolicyBrainSm( group ) ) brain->setOrchestrationReadinessForPolicy();
   }
}

bool ServiceIntfInfoSm::holds( SwitchIntfPair const & intf ) const {
   return serviceIntfInfo()->intf( intf ) != ServiceInterface( intf );
}

bool ServiceIntfInfoSm::isNamedBy( Lum::String const & group ) const {
   auto const brain = parent()->servicePolicyBrainSm( group );
   return brain
          && ( brain->servicePolicy()->nearIntfUuid() == uuid() || brain->servicePolicy()->farIntfUuid() == uuid() );
}

void ServiceIntfInfoSm::handleInitialized() {
   initializedIs( true );
   handleIntf();
}

void ServiceIntfInfoSm::handleIntf( SwitchIntfPair intf ) {
   TRACE8( trace(), " uuid: ", uuid(), " Intf: ", intf );
   // It may have been the last port. Asked first, the group takes everything back in its own order: the diversion
   // before the service side.
   if( !holds( intf ) ) askReadiness();
   for( auto const & [ group, member ] : intfUuidToPolicy()->policy() ) {
      auto const running = policyRunningInfoCol()->policyRunningInfo( group );
      if( !running ) {
         TRACE6( trace(), " return - Policy state is: ", "Empty" );
         continue;
      }
      // Without any original VNI the port may still be what a pending group lacks; then the brain asks when its first
      // service VNI comes.
      for( auto const & [ vni, serviceVni ] : running->originalToServiceVni() ) updateIntfForPolicy( group, vni, intf );
   }
}

void ServiceIntfInfoSm::handleUuidToPolicy( Lum::String group ) {
   TRACE8( trace(), " uuid: ", uuid(), " policy: ", group );
   auto const running = policyRunningInfoCol()->policyRunningInfo( group );
   if( !running ) return;
   for( auto const & [ intf, port ] : serviceIntfInfo()->intf() ) {
      for( auto const & [ vni, serviceVni ] : running->originalToServiceVni() ) updateIntfForPolicy( group, vni, intf );
   }
}

void ServiceIntfInfoSm::updateIntfForPolicy( Lum::String const & group, Vxlan::VniOrNone vni,
                                             SwitchIntfPair const & intf ) {
   TRACE8( trace(), " policy: ", group, " VNI: ", vni, " Intf: ", intf );
   auto const running = policyRunningInfoCol()->policyRunningInfo( group );
   if( !running ) {
      TRACE6( trace(), " return - Policy state is: ", "Empty" );
      return;
   }
   auto const state = running->policyState();
   if( state == State::policyDeleted || state == State::policyRestored ) {
      TRACE6( trace(), " return - Policy state is: ", state );
      return;
   }
   if( state == State::policyPending ) {
      // A pending group publishes nothing, but the port may be what it lacked; then its take-up comes back here.
      TRACE6( trace(), " Policy is in pending state" );
      if( auto const brain = parent()->servicePolicyBrainSm( group ) ) brain->setOrchestrationReadinessForPolicy();
      return;
   }
   char const * const intfSetName = uuid() == running->nearIntfUuid()  ? "near"
                                    : uuid() == running->farIntfUuid() ? "far"
                                                                       : nullptr;
   if( !intfSetName && ( state == State::policyIntfChanging || !isNamedBy( group ) ) ) {
      // It named this one while it was pending, and stays in its list until its own end; or it is on its way here, and
      // will ask for the ports once it has arrived.
      TRACE6( trace(), " return - ", group, " names another uuid" );
      return;
   }
   LUM_ASSERT( intfSetName && " uuid did not match far or near intf uuid " );
   updateServiceIntfChange( group, vni, intf, intfSetName );
}

void ServiceIntfInfoSm::updateServiceIntfChange( Lum::String const & group, Vxlan::VniOrNone vni,
                                                 SwitchIntfPair const & intf, char const * side ) {
   TRACE8( trace(), " Policy:", group, " VNI: ", vni, " SwitchIntf: ", intf );
   auto const fragmentName = fragmentNameOf( group, vni );
   auto const users = policyHelperInfo()->intfUuidToPolicy( uuid() );
   bool const present = holds( intf ) && users && users->policy( group );
   if( present ) {
      addPort( *policyRunningInfoCol()->policyRunningInfo( group ), fragmentName, intf, side );
   } else {
      removePort( group, fragmentName, intf, side );
   }
   TRACE7( trace(), " return" );
}

void ServiceIntfInfoSm::addPort( PolicyRunningInfo & running, Lum::String const & fragmentName,
                                 SwitchIntfPair const & intf, char const * side ) {
   TRACE6( trace(), " Creating Policy:", fragmentName, " and updating SwitchIntf: ", intf );
   running.serviceVtepSwitchIdIs( intf.switchId(), true ); // so a switch becomes a service VTEP
   auto const fragment =
      createAndPublishPolicy( intf.switchId(), fragmentName, policyPublishBaseDir(), policyHelperInfo() );
   fragment->serviceIntfSetIs( side )->intfIs( intf.intf(), true );
}

// A fragment without ports is not revoked here: that is the per-VNI machines' answer to a service VTEP that goes.
void ServiceIntfInfoSm::removePort( Lum::String const & group, Lum::String const & fragmentName,
                                    SwitchIntfPair const & intf, char const * side ) {
   TRACE6( trace(), " Deleting SwitchIntf: ", intf, " from Policy: ", group );
   if( auto const brain = parent()->servicePolicyBrainSm( group ) ) brain->maybeDeleteServiceVtep( intf.switchId() );
   auto const fragment = getPolicyFragment( intf.switchId(), fragmentName, policyPublishBaseDir() );
   if( fragment ) removeServiceIntf( *fragment, side, intf.intf() );
}

} // namespace Kiv
