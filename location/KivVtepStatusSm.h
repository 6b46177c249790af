// Which switches own each VTEP address. Two switches of an MLAG pair share one, and flows for it go to both. These
// machines are the only writers of the blackboard's `vtepIpToSwitchPair` and `vtepSwitchIdToIp`.
#pragma once

#include "blackboard/KivLocalTypes.h"
#include "platform/lum/Dir.h"
#include "platform/lum/Machine.h"
#include "records/loomis/VtepStatus.h"

namespace Kiv {

/// The VTEP records of one switch.
class VtepStatusDirSm : public Lum::PtrInterface {
 public:
   /// One VTEP record.
   class LumVtepStatusV2 : public Lum::PtrInterface {
      LUM_MACHINE( LumVtepStatusV2 );
      LUM_ARG_INPUT( vtepStatusV2, Loomis::VtepStatusV2 const, LUM_ON( vtepIpAddr, handleVtepIpAddrEntry ) );
      LUM_PARENT( parent, VtepStatusDirSm );
      LUM_END( cleanup );

      void handleInitialized();
      void handleVtepIpAddrEntry();
      /// The record or its switch is gone: the switch leaves its pair. Its own address stays known until it reports
      /// again.
      void cleanup();

    private:
      void removeSwitch( Neroli::IpGenAddr ip, SwitchPair pair );
   };

   LUM_MACHINE( VtepStatusDirSm );
   LUM_ARG( switchId, SwitchId );
   LUM_ARG( policyHelperInfo, Lum::Ptr< PolicyHelperInfo > );
   LUM_ARG_INPUT( vtepStatusDirV2, Loomis::VtepStatusDirV2 const, LUM_FOLLOW( vtepStatus, vtepStatusV2 ) );
   LUM_END( cleanup );
   LUM_FOLLOWERS( vtepStatusV2, Lum::Name, LumVtepStatusV2, vtepStatusDirV2, vtepStatus );
   LUM_INITIALIZED;

   void handleInitialized() { initializedIs( true ); }
   /// The switch is gone.
   void cleanup() { vtepStatusV2DelAll(); }
};

/// All switches. At its end it leaves the maps as they are; the next one takes the switches off that went in between.
class VtepStatusRootSm : public Lum::PtrInterface {
   LUM_MACHINE( VtepStatusRootSm );
   LUM_ARG( policyHelperInfo, Lum::Ptr< PolicyHelperInfo > );
   LUM_ARG_INPUT( vtepStatusBaseDir, Lum::Dir const, LUM_ON( entityPtr, handleVtepEntry ) );
   LUM_NO_END;
   LUM_SMS( vtepStatusSm, SwitchId, VtepStatusDirSm );
   LUM_INITIALIZED;

   void handleInitialized();
   LUM_ALL_KEYS( handleVtepEntry, vtepStatusBaseDir, entityPtr );
   void handleVtepEntry( Lum::Name name );

 private:
   void removeGoneSwitches();
};

inline constexpr Lum::Factory< VtepStatusRootSm > vtepStatusRootSmFactory;

} // namespace Kiv
