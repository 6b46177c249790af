// Which controller of the cluster leads.
#pragma once

#include "platform/lum/Entity.h"
#include "records/Writers.h"

namespace Kestrel {

/// Written by the cluster's election.
class ClusterStatus : public Lum::Entity {
   LUM_ENTITY( ClusterStatus, name, Lum::Name );
   LUM_VALUE( leader, bool ); // this controller leads; until it does the feature does not run
};

class ClusterStatusDir : public Lum::Entity {
   LUM_ENTITY( ClusterStatusDir, name, Lum::Name );
   RECORD_WRITER( "controller" );
   LUM_CHILDREN( clusterStatus, Lum::Name, ClusterStatus ); // by cluster; the agent reads the one named "default"
};

} // namespace Kestrel
