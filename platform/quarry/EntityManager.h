#pragma once

#include "platform/lum/Dir.h"
#include "platform/moth/TaskScheduler.h"
#include "platform/quarry/Mount.h"

namespace Quarry {

/// A database: entities under paths, their names separated by "/". It works on the loop of `taskScheduler`, which must
/// outlive it.
class EntityManager : public Lum::PtrInterface {
 public:
   explicit EntityManager( Moth::TaskScheduler & taskScheduler ) : taskScheduler_( taskScheduler ) {}

   Moth::TaskScheduler & taskScheduler() const { return taskScheduler_; }

   /// The entity at `path`, the root directory for the empty one; null when there is none.
   virtual Lum::Ptr< Lum::Entity > getEntity( Lum::String const & path ) = 0;
   /// The same as a T; null, too, when an entity of another type stands there.
   template< class T >
   Lum::Ptr< T > getEntity( Lum::String const & path ) {
      return Lum::narrow< T >( getEntity( path ) );
   }

   /// A new group, whose completion `mounter` is told. It may go before that.
   virtual Lum::Ptr< MountGroup > getMountGroup( Mounter * mounter ) = 0;

 private:
   Moth::TaskScheduler & taskScheduler_;
};

} // namespace Quarry
