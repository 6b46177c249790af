#include "agent/KivMountPublishSm.h"

#include "blackboard/KivServiceNames.h"
#include "platform/harbor/SystemId.h"
#include "platform/ribbon/TwinRibbon.h"

TRACE_MODULE( "Kiv" );

namespace Kiv {

namespace {

constexpr char const * publishTarget = "kiv/version1/policy/policy";

Lum::String publishSource( Lum::String const & name ) { return "kiv/version1/policy/switch/" + name; }

} // namespace

void MountPublishSm::handleInitialized() {
   TRACE8( trace() );
   handlePublishEligibleSwitch();
   cleanupStaleMounts();
   initializedIs( true );
}

void MountPublishSm::handlePublishEligibleSwitch( Lum::String name ) {
   TRACE8( trace(), " switch: ", name );
   if( policyHelperInfo()->publishEligibleSwitch( name ) ) {
      // The directory is made before the switch becomes eligible, and never removed.
      LUM_ASSERT( policyPublishBaseDir()->entityPtr( name ) && "Directory must be present for publish ready switch" );
      publishToSwitch( name );
   } else if( kivService()->serviceMountGroup( name ) ) {
      LUM_ASSERT( policyPublishBaseDir()->entityPtr( name ) && "Directory was deleted before unpublishing the mount" );
      TRACE6( trace(), "Unpublishing ", name );
      unpublishToSwitch( name );
   }
}

// Safe to repeat: a mutator with an unchanged value changes nothing. Each change reopens the group, so it is closed at
// the end.
void MountPublishSm::publishToSwitch( Lum::String const & name ) {
   auto group = kivService()->serviceMountGroup( name );
   if( !group ) {
      TRACE6( trace(), " Creating mount group for ", name );
      group = kivService()->serviceMountGroupIs( name, serviceMounter() );
      group->versionWhiteListIs( kivService()->serviceMountGroup( serviceMountGroupName )->versionWhiteList() );
   }
   auto const whiteList = kivService()->switchWhiteListIs( name );
   group->switchWhiteListIs( whiteList );
   whiteList->allowedSwitchIs( Harbor::systemIdFromString( name ), true );
   TRACE6( trace(), " Publishing ", publishSource( name ), " to ", publishTarget );
   group->publishMountIs( publishSource( name ), publishTarget, "Kiv::V1::KivPolicyFragment" );
   group->closedIs( true );
}

void MountPublishSm::unpublishToSwitch( Lum::String const & name ) {
   auto const group = kivService()->serviceMountGroup( name );
   if( !group ) return;
   group->publishMountDel( publishSource( name ) );
   kivService()->serviceMountGroupDel( name );
   kivService()->switchWhiteListDel( name );
   group->closedIs( true );
}

// Goes over the directory, not over the groups: what a previous run left and is no longer eligible.
void MountPublishSm::cleanupStaleMounts() {
   for( auto const & [ name, entity ] : policyPublishBaseDir()->entityPtr() ) {
      if( !policyHelperInfo()->publishEligibleSwitch( name ) ) unpublishToSwitch( name );
   }
}

void MountPublishSm::destroy() {
   TRACE8( trace() );
   for( auto const & [ name, entity ] : policyPublishBaseDir()->entityPtr() ) unpublishToSwitch( name );
}

} // namespace Kiv
