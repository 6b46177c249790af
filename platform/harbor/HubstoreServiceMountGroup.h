#pragma once

#include "platform/harbor/HubstoreServiceMounter.h"
#include "platform/harbor/OwnChanges.h"
#include "platform/harbor/WhiteList.h"
#include "platform/lum/Machine.h"
#include "platform/lum/ValueRecord.h"

namespace Harbor {

class HubstoreService;
class HubstoreServiceMountGroup;

/// A mount that each switch exposes to the controller.
struct ControllerMount {
   LUM_VALUE_RECORD( ControllerMount );
   LUM_KEY_FIELD( name, Lum::Name );
   LUM_FIELD( path, Lum::String );
   LUM_FIELD( type, Lum::String );
   LUM_FIELD( flags, Lum::String );
};

/// A mount that the controller publishes to switches: what stands under `source` in the hubstore is seen as `target`.
struct PublishMount {
   LUM_VALUE_RECORD( PublishMount );
   LUM_KEY_FIELD( source, Lum::String );
   LUM_FIELD( target, Lum::String );
   LUM_FIELD( type, Lum::String );
};

/// Keeps a group's `allowedSwitch` equal to a white list.
class AllowedSwitchSm : public Lum::PtrInterface {
   LUM_MACHINE( AllowedSwitchSm );
   LUM_ARG_INPUT( whiteList, SwitchWhiteListBase const, LUM_ON( allowedSwitch, handleAllowedSwitch ) );
   LUM_PARENT( parent, HubstoreServiceMountGroup );

   void handleInitialized() { handleAllowedSwitch(); }
   void handleAllowedSwitch();
   void handleAllowedSwitch( SystemId systemId );
};

/// Mounts of a service that are declared together. Any change of the declarations opens a closed group again, until it
/// is closed anew; what a switch may read follows the declarations at once, open or closed.
class HubstoreServiceMountGroup : public Lum::Entity {
   LUM_ENTITY( HubstoreServiceMountGroup, name, Lum::Name );

   LUM_VALUE( closed, bool );
   LUM_RECORDS( controllerMount, Lum::Name, ControllerMount );
   LUM_RECORDS( publishMount, Lum::String, PublishMount ); // withdrawn with publishMountDel( source )
   LUM_SET( allowedSwitch, SystemId );                     // written by the group alone, after its switch white list

   void controllerMountIs( Lum::Name name, Lum::String path, Lum::String type, Lum::String flags ) {
      controllerMountIs( { std::move( name ), std::move( path ), std::move( type ), std::move( flags ) } );
   }
   void publishMountIs( Lum::String source, Lum::String target, Lum::String type ) {
      publishMountIs( { std::move( source ), std::move( target ), std::move( type ) } );
   }

   /// The hubstore's path under which the switches' mounts of a declared controller mount stand, each by its system id.
   /// Raises RangeException if the group has no controller mount of that name.
   Lum::String mountsDir( Lum::Name const & subPath ) const;

   /// Without a switch white list a group takes controller mounts from every switch and publishes to none.
   Lum::Ptr< SwitchWhiteListBase const > switchWhiteList() const;
   void switchWhiteListIs( Lum::Ptr< SwitchWhiteListBase const > whiteList );
   Lum::Ptr< VersionWhiteListBase const > const & versionWhiteList() const { return versionWhiteList_; }
   void versionWhiteListIs( Lum::Ptr< VersionWhiteListBase const > whiteList );

 private:
   friend class HubstoreService;

   HubstoreService * service() const; // null when the group has left it, or the service has gone
   void reopen() { closedIs( false ); }
   void handleClosed();

   Moth::Weak< HubstoreServiceMounter > mounter_;
   bool announced_ = false;
   Lum::Ptr< VersionWhiteListBase const > versionWhiteList_;
   Lum::MachineSlot< AllowedSwitchSm > allowedSwitchSm_;
   OwnChanges< HubstoreServiceMountGroup, LumAttribute_controllerMount, LumAttribute_publishMount,
               LumAttribute_allowedSwitch > const declarations_{ this, &HubstoreServiceMountGroup::reopen };
   OwnChanges< HubstoreServiceMountGroup, LumAttribute_closed > const closing_{
      this, &HubstoreServiceMountGroup::handleClosed
   };
};

} // namespace Harbor
