// Which controller of the cluster leads.
#pragma once

#include "platform/lum/Entity.h"

namespace Kestrel {

class ClusterStatus : public Lum::Entity {
   LUM_ENTITY( ClusterStatus, name, Lum::Name );
   LUM_VALUE( leader, bool ); // this controller leads
};

class ClusterStatusDir : public Lum::Entity {
   LUM_ENTITY( ClusterStatusDir, name, Lum::Name );
   LUM_CHILDREN( clusterStatus, Lum::Name, ClusterStatus );
};

} // namespace Kestrel
