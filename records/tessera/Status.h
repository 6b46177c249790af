// How settled the topology of the fabric is.
#pragma once

#include "platform/lum/Entity.h"
#include "records/Writers.h"

namespace Tessera {

/// Written by the fabric's topology service.
class ConvergenceStatus : public Lum::Entity {
   LUM_ENTITY( ConvergenceStatus, name, Lum::Name );
   LUM_VALUE( convergenceInProgress, bool ); // the topology is still settling
};

class Status : public Lum::Entity {
   LUM_ENTITY( Status, name, Lum::Name );
   RECORD_WRITER( "fabric" );
   LUM_CHILD( convergenceStatus, ConvergenceStatus ); // none until the topology service has spoken
};

} // namespace Tessera
