// The forms of the configuration and of the agent's status.
#include "host/RecordFormOf.h"

namespace Host {

template RecordForm const & recordForm< Kiv::Config >();
template RecordForm const & recordForm< Kiv::Status >();
template RecordForm const & recordForm< Kiv::ServicePolicyConfig >();
template RecordForm const & recordForm< Kiv::ServiceIntfConfig >();
template RecordForm const & recordForm< Kiv::KivPolicySourceState >();

} // namespace Host
