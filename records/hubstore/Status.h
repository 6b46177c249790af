// The state of the controller's own database service.
#pragma once

#include "platform/lum/Entity.h"

namespace Hubstore {

class Status : public Lum::Entity {
   LUM_ENTITY( Status, name, Lum::Name );
   LUM_VALUE( enabled, bool );
};

} // namespace Hubstore
