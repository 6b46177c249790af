#include "platform/lum/Machine.h"

namespace Lum {

void detachMachine( PtrInterface & machine ) {
   machine.hasNotificationActiveIs( false );
   machine.lumOwnerIs( nullptr );
}

} // namespace Lum
