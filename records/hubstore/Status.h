// The state of the controller's own database service.
#pragma once

#include "platform/lum/Entity.h"
#include "records/Writers.h"

namespace Hubstore {

/// Written by the service itself.
class Status : public Lum::Entity {
   LUM_ENTITY( Status, name, Lum::Name );
   RECORD_WRITER( "controller" );
   LUM_VALUE( enabled, bool ); // it serves; until then the feature does not run
};

} // namespace Hubstore
