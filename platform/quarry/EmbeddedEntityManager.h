#pragma once

#include "platform/quarry/EntityManager.h"

namespace Quarry {

/// A database in this process. Everybody sees the same entities, whatever the flags of their mounts, and a mount group
/// is complete on the next turn of the loop. A path where nothing stands, or something of another type, is no failure:
/// it shows when it is fetched.
class EmbeddedEntityManager : public EntityManager {
 public:
   explicit EmbeddedEntityManager( Moth::TaskScheduler & taskScheduler ) : EntityManager( taskScheduler ) {}

   Lum::Ptr< Lum::Dir > const & root() const { return root_; }

   using EntityManager::getEntity;
   Lum::Ptr< Lum::Entity > getEntity( Lum::String const & path ) override;
   Lum::Ptr< MountGroup > getMountGroup( Mounter * mounter ) override;

   /// The T at `path`, made with the directories on the way if it is not there; an entity of another type at the path
   /// is replaced. Raises NameInUseException when a record stands where a directory is needed, RangeException when the
   /// path has no last name.
   template< class T >
   Lum::Ptr< T > createEntity( Lum::String const & path ) {
      return parentOf( path )->createEntity< T >( nameIn( path ) );
   }

 private:
   static Lum::Name nameIn( Lum::String const & path );
   Lum::Ptr< Lum::Dir > parentOf( Lum::String const & path );

   Lum::Ptr< Lum::Dir > const root_{ new Lum::Dir( "" ) };
};

} // namespace Quarry
