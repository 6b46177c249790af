// The fabric's VTEP records, as the switches report them.
#pragma once

#include "platform/lum/Entity.h"
#include "platform/neroli/IpAddr.h"

namespace Loomis {

/// One VTEP of a switch.
class VtepStatusV2 : public Lum::Entity {
   LUM_ENTITY( VtepStatusV2, name, Lum::Name );
   LUM_VALUE( vtepIpAddr, Neroli::IpAddr ); // the default address: none
};

/// All VTEP records that one switch reports.
class VtepStatusDirV2 : public Lum::Entity {
   LUM_ENTITY( VtepStatusDirV2, name, Lum::Name );
   LUM_CHILDREN( vtepStatus, Lum::Name, VtepStatusV2 );
};

} // namespace Loomis
