#include "records/kiv/PolicyFragment.h"

#include <boost/describe/enum_to_string.hpp>
#include <ostream>

namespace Kiv::V1 {

Lum::String stringValue( InterceptPoint point ) { return boost::describe::enum_to_string( point, "unknown" ); }

std::ostream & operator<<( std::ostream & out, InterceptPoint point ) { return out << stringValue( point ); }

} // namespace Kiv::V1
