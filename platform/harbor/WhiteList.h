// Whom a mount group of a service admits.
#pragma once

#include "platform/harbor/SystemId.h"
#include "platform/lum/Entity.h"

namespace Harbor {

/// The versions of a service's records that may be mounted. Switches of the embedded hubstore name no version, so it
/// turns nobody away.
class VersionWhiteListBase : public Lum::Entity {
   LUM_ENTITY( VersionWhiteListBase, name, Lum::Name );
   LUM_SET( allowedVersion, std::uint32_t );
};

/// The switches that may mount.
class SwitchWhiteListBase : public Lum::Entity {
   LUM_ENTITY( SwitchWhiteListBase, name, Lum::Name );
   LUM_SET( allowedSwitch, SystemId );
};

} // namespace Harbor
