// The fabric's VTEP records, as the switches report them.
#pragma once

#include "platform/lum/Entity.h"
#include "platform/neroli/IpAddr.h"
#include "records/Writers.h"

namespace Loomis {

/// One VTEP of a switch, written by that switch.
class VtepStatusV2 : public Lum::Entity {
   LUM_ENTITY( VtepStatusV2, name, Lum::Name );
   LUM_VALUE( vtepIpAddr, Neroli::IpAddr ); // the VTEP's own address; the default address: none
};

/// All VTEP records that one switch reports; named by its system id.
class VtepStatusDirV2 : public Lum::Entity {
   LUM_ENTITY( VtepStatusDirV2, name, Lum::Name );
   RECORD_WRITER( "switch" );
   LUM_CHILDREN( vtepStatus, Lum::Name, VtepStatusV2 ); // by name; none: the switch is no VTEP
};

} // namespace Loomis
