#include "platform/harbor/HubstoreService.h"

namespace Harbor {

void AllowedSwitchSm::handleAllowedSwitch() {
   for( auto const & [ systemId, allowed ] : parent()->allowedSwitch() ) handleAllowedSwitch( systemId );
   for( auto const & [ systemId, allowed ] : whiteList()->allowedSwitch() ) handleAllowedSwitch( systemId );
}

void AllowedSwitchSm::handleAllowedSwitch( SystemId systemId ) {
   if( whiteList()->allowedSwitch( systemId ) ) {
      parent()->allowedSwitchIs( systemId, true );
   } else {
      parent()->allowedSwitchDel( systemId );
   }
}

Lum::String HubstoreServiceMountGroup::mountsDir( Lum::Name const & subPath ) const {
   auto const mount = controllerMount( subPath );
   if( mount.name.empty() ) {
      Lum::throwRangeException( Lum::textOf( "group ", name(), " has no controller mount ", subPath ) );
   }
   return mount.path;
}

Lum::Ptr< SwitchWhiteListBase const > HubstoreServiceMountGroup::switchWhiteList() const {
   return allowedSwitchSm_.get() ? allowedSwitchSm_.get()->whiteList() : nullptr;
}

void HubstoreServiceMountGroup::switchWhiteListIs( Lum::Ptr< SwitchWhiteListBase const > whiteList ) {
   if( whiteList == switchWhiteList() ) return;
   if( whiteList ) {
      allowedSwitchSm_.make( this, whiteList );
   } else {
      allowedSwitchSm_.take();
      allowedSwitchDelAll();
   }
   reopen(); // also for two lists of the same switches
}

void HubstoreServiceMountGroup::versionWhiteListIs( Lum::Ptr< VersionWhiteListBase const > whiteList ) {
   if( whiteList == versionWhiteList_ ) return;
   versionWhiteList_ = std::move( whiteList );
   reopen();
}

HubstoreService * HubstoreServiceMountGroup::service() const { return static_cast< HubstoreService * >( lumParent() ); }

void HubstoreServiceMountGroup::handleClosed() {
   if( !closed() || announced_ || !service() ) return;
   announced_ = true;
   service()->announce( this, &HubstoreService::mountsComplete );
}

} // namespace Harbor
