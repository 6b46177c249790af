#include "platform/quarry/EntityManager.h"

namespace Quarry {

void Mounter::doQuarryMountsComplete( MountStatus mountStatus, Lum::Ptr< EntityManager > const & entityManager ) {
   doMountsComplete( mountStatus, entityManager );
}

void Mounter::handleMountStatus( MountStatus ) {}

} // namespace Quarry
