// The forms of what shows of the agent itself.
#include "blackboard/KivLocalTypes.h"
#include "host/RecordFormOf.h"
#include "platform/harbor/HubstoreService.h"

namespace Host {

template RecordForm const & recordForm< Kiv::PolicyHelperInfo >();
template RecordForm const & recordForm< Harbor::HubstoreService >();

} // namespace Host
