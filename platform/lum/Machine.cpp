#include "platform/lum/Machine.h"

namespace Lum {

void detachMachine( PtrInterface & machine ) {
   machine.hasNotificationActiveIs( false );
   Visit::keepOwner( machine );
   machine.lumOwnerIs( nullptr );
}

} // namespace Lum
