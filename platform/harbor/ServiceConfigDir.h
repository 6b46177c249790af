// The settings of the controller's services. The agent mounts the record and reads nothing of it.
#pragma once

#include "platform/lum/Entity.h"

namespace Harbor {

class ServiceConfigDir : public Lum::Entity {
   LUM_ENTITY( ServiceConfigDir, name, Lum::Name );
};

} // namespace Harbor
