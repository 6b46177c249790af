#include "platform/lum/Entity.h"

namespace Lum {

void assertDupKey() {
   LUM_ASSERT( !"the key is in the collection already" );
   __builtin_unreachable();
}

void Entity::lumParentIs( Entity * parent, AttributeId attribute, MemberNotifiees const * siblings ) {
   parent_ = parent;
   parentAttribute_ = attribute;
   siblings_ = siblings;
}

} // namespace Lum
