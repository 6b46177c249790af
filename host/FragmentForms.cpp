// The forms of what is published to the switches, and of what they report.
#include "host/RecordFormOf.h"
#include "records/kiv/PolicyFragment.h"

namespace Host {

template RecordForm const & recordForm< Kiv::V1::KivPolicyFragment >();
template RecordForm const & recordForm< Kiv::V1::KivPolicyFragmentStatus >();

} // namespace Host
