#include "platform/quarry/EmbeddedEntityManager.h"

namespace Quarry {

namespace {

/// Takes the first name off the front of `path`.
Lum::Name takeName( std::string_view & path ) {
   auto const end = path.find( '/' );
   Lum::Name name = path.substr( 0, end );
   path.remove_prefix( end == std::string_view::npos ? path.size() : end + 1 );
   return name;
}

class EmbeddedMountGroup : public MountGroup {
 public:
   EmbeddedMountGroup( Lum::Ptr< EntityManager > entityManager, Mounter * mounter )
      : entityManager_( std::move( entityManager ) ), mounter_( mounter ) {}

   void doMount( Mount ) override { LUM_ASSERT( !closed_ ); }

   void doClose( bool, Lum::String const &, double ) override {
      LUM_ASSERT( !closed_ );
      closed_ = true;
      entityManager_->taskScheduler().post( [ waiting = mounter_, entityManager = entityManager_ ] {
         if( auto * const mounter = waiting.get() ) {
            mounter->handleMountStatus( mountSuccess_ );
            mounter->doQuarryMountsComplete( mountSuccess_, entityManager );
         }
      } );
   }

 private:
   Lum::Ptr< EntityManager > entityManager_;
   Moth::Weak< Mounter > mounter_;
   bool closed_ = false;
};

} // namespace

Lum::Ptr< Lum::Entity > EmbeddedEntityManager::getEntity( Lum::String const & path ) {
   Lum::Ptr< Lum::Entity > entity = root_;
   for( auto rest = path.view(); entity && !rest.empty(); ) {
      auto const dir = Lum::narrow< Lum::Dir >( entity );
      entity = dir ? dir->entityPtr( takeName( rest ) ) : nullptr;
   }
   return entity;
}

Lum::Ptr< MountGroup > EmbeddedEntityManager::getMountGroup( Mounter * mounter ) {
   LUM_ASSERT( mounter );
   return new EmbeddedMountGroup( this, mounter );
}

Lum::Name EmbeddedEntityManager::nameIn( Lum::String const & path ) {
   Lum::Name name = path.view().substr( path.view().rfind( '/' ) + 1 );
   if( name.empty() ) Lum::throwRangeException( Lum::textOf( "no entity can be made at \"", path, "\"" ) );
   return name;
}

Lum::Ptr< Lum::Dir > EmbeddedEntityManager::parentOf( Lum::String const & path ) {
   auto dir = root_;
   for( auto rest = path.view().substr( 0, path.size() - nameIn( path ).size() ); !rest.empty(); ) {
      auto const name = takeName( rest );
      if( dir->entityPtr( name ) && !Lum::entryOf< Lum::Dir >( dir, name ) ) {
         Lum::throwNameInUseException( Lum::textOf( "\"", name, "\" on the way to \"", path, "\" is no directory" ) );
      }
      dir = dir->createEntity< Lum::Dir >( name );
   }
   return dir;
}

} // namespace Quarry
