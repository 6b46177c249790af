#include "platform/lum/Dir.h"

namespace Lum {

void Dir::entityPtrIs( Name key, Ptr< Entity > entity ) {
   refuseNull< Dir >( entity, "entityPtr" );
   if( auto * node = entityPtr_.find( key ) ) {
      if( node->value == entity ) return;
      LumAttribute_entityPtr::detach( *node );
      node->value = entity;
   } else {
      entityPtr_.insert( std::make_unique< KeyValueNode< Name, Ptr< Entity > > >( key, entity ) );
   }
   entity->lumParentIs( this, lumId_entityPtr, nullptr );
   entityPtrFire( key, entity.get() );
}

} // namespace Lum
