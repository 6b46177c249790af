#include "platform/harbor/HubstoreService.h"

namespace Harbor {

void HubstoreServiceMounter::doMountsComplete( Lum::Name const &, Lum::Ptr< Quarry::EntityManager > const & ) {}

void HubstoreServiceMounter::doHandleControllerMountState( SystemId const &, Lum::Name const &, Quarry::MountStatus,
                                                           Lum::Ptr< Quarry::EntityManager > const & ) {}

void HubstoreServiceMounter::doInitialSwitchMountsComplete( Lum::Name const &,
                                                            Lum::Ptr< Quarry::EntityManager > const & ) {}

HubstoreService::HubstoreService( Lum::Name name, Lum::Ptr< Quarry::EntityManager > quarryEntityManager,
                                  Lum::Ptr< Quarry::EntityManager > hubstoreEntityManager )
   : HubstoreService( std::move( name ) ) {
   quarryEntityManager_ = std::move( quarryEntityManager );
   hubstoreEntityManager_ = std::move( hubstoreEntityManager );
}

Lum::Ptr< HubstoreServiceMountGroup >
HubstoreService::serviceMountGroupIs( Lum::Name name, Lum::Ptr< HubstoreServiceMounter > const & mounter ) {
   auto group = serviceMountGroupIs( std::move( name ) );
   group->mounter_ = Moth::Weak( mounter.get() );
   return group;
}

Lum::Ptr< VersionWhiteListBase > HubstoreService::versionWhiteListIs( Lum::Name name ) {
   auto & whiteList = versionWhiteList_[ name ];
   if( !whiteList ) {
      whiteList = new VersionWhiteListBase( name );
      reopen();
   }
   return whiteList;
}

Lum::Ptr< SwitchWhiteListBase > HubstoreService::switchWhiteListIs( Lum::Name name ) {
   auto & whiteList = switchWhiteList_[ name ];
   if( !whiteList ) {
      whiteList = new SwitchWhiteListBase( name );
      reopen();
   }
   return whiteList;
}

void HubstoreService::switchWhiteListDel( Lum::Name const & name ) {
   auto const gone = switchWhiteList_.extract( name );
   if( !gone ) return;
   gone.mapped()->allowedSwitchDelAll();
   reopen();
}

std::vector< PublishMount > HubstoreService::publishedTo( SystemId const & systemId ) const {
   std::vector< PublishMount > published;
   for( auto const & [ name, group ] : serviceMountGroup() ) {
      if( !group->allowedSwitch( systemId ) ) continue;
      for( auto const & [ source, mount ] : group->publishMount() ) published.push_back( mount );
   }
   return published;
}

void HubstoreService::announce( Lum::Ptr< HubstoreServiceMountGroup > const & group, Event event ) {
   hubstoreEntityManager_->taskScheduler().post( [ group, event ] {
      Lum::Ptr< HubstoreService > const service( group->service() );
      Lum::Ptr< HubstoreServiceMounter > const mounter( group->mounter_.get() );
      if( service && mounter ) ( *service.*event )( *group, *mounter );
   } );
}

void HubstoreService::mountsComplete( HubstoreServiceMountGroup & group, HubstoreServiceMounter & mounter ) {
   mounter.doMountsComplete( group.name(), hubstoreEntityManager_ );
   if( !group.controllerMount().empty() ) announce( &group, &HubstoreService::switchMountsComplete );
}

void HubstoreService::switchMountsComplete( HubstoreServiceMountGroup & group, HubstoreServiceMounter & mounter ) {
   for( auto const & systemId : switchesOf( group ) ) {
      mounter.doHandleControllerMountState( systemId, group.name(), Quarry::mountSuccess_, hubstoreEntityManager_ );
   }
   mounter.doInitialSwitchMountsComplete( group.name(), hubstoreEntityManager_ );
}

// The switches that have something under one of the group's mounts and are admitted.
std::set< SystemId > HubstoreService::switchesOf( HubstoreServiceMountGroup const & group ) const {
   std::set< SystemId > switches;
   for( auto const & [ name, mount ] : group.controllerMount() ) {
      auto const dir = hubstoreEntityManager_->getEntity< Lum::Dir >( mount.path );
      if( !dir ) continue;
      for( auto const & [ text, entity ] : dir->entityPtr() ) {
         auto const systemId = systemIdFromString( text );
         if( !group.switchWhiteList() || group.allowedSwitch( systemId ) ) switches.insert( systemId );
      }
   }
   return switches;
}

} // namespace Harbor
