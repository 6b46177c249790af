// The forms of what the agent is doing.
#include "host/RecordFormOf.h"
#include "records/kiv/PolicyRunningInfo.h"

namespace Host {

template RecordForm const & recordForm< Kiv::PolicyRunningInfoCol >();

} // namespace Host
