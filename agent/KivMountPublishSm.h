#pragma once

#include "blackboard/KivLocalTypes.h"
#include "platform/harbor/HubstoreService.h"
#include "platform/lum/Dir.h"
#include "platform/lum/Machine.h"

namespace Kiv {

/// Publishes to each switch that has policy work its own directory of fragments, under one fixed name, through a mount
/// group of the switch's own; and withdraws it when the switch has none left. A switch reads only what is published to
/// it. Made after all other machines, so that its first look finds what a restart restored.
class MountPublishSm : public Lum::PtrInterface {
   LUM_MACHINE( MountPublishSm );
   LUM_ARG( kivService, Lum::Ptr< Harbor::HubstoreService > );
   LUM_ARG( serviceMounter, Lum::Ptr< Harbor::HubstoreServiceMounter > );
   LUM_ARG_INPUT( policyHelperInfo, PolicyHelperInfo const,
                  LUM_ON( publishEligibleSwitch, handlePublishEligibleSwitch ) );
   LUM_ARG( policyPublishBaseDir, Lum::Ptr< Lum::Dir > );
   LUM_END_BEFORE_REMOVAL( destroy );
   LUM_LOCAL( initialized, bool ); // never read: it publishes from its start on

   void handleInitialized();
   LUM_ALL_KEYS( handlePublishEligibleSwitch, policyHelperInfo, publishEligibleSwitch );
   void handlePublishEligibleSwitch( Lum::String name );
   /// Withdraws from all switches, eligible or not.
   void destroy();

 private:
   void publishToSwitch( Lum::String const & name );
   void unpublishToSwitch( Lum::String const & name );
   void cleanupStaleMounts();
};

inline constexpr Lum::Factory< MountPublishSm > mountPublishSmFactory;

} // namespace Kiv
