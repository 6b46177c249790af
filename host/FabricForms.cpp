// The forms of the controller's and the fabric's records.
#include "host/RecordFormOf.h"
#include "platform/harbor/ServiceConfigDir.h"
#include "records/hubstore/Status.h"
#include "records/kestrel/ClusterStatus.h"
#include "records/loomis/VniStatus.h"
#include "records/loomis/VtepStatus.h"
#include "records/tessera/Status.h"

namespace Host {

template RecordForm const & recordForm< Harbor::ServiceConfigDir >();
template RecordForm const & recordForm< Hubstore::Status >();
template RecordForm const & recordForm< Kestrel::ClusterStatusDir >();
template RecordForm const & recordForm< Loomis::VniFdbStatusV2 >();
template RecordForm const & recordForm< Loomis::VniStatusDirV2 >();
template RecordForm const & recordForm< Loomis::VtepStatusDirV2 >();
template RecordForm const & recordForm< Tessera::Status >();

} // namespace Host
