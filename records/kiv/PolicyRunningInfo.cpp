#include "records/kiv/PolicyRunningInfo.h"

#include <ostream>

namespace Kiv {

Lum::String stringValue( PolicyRunningState state ) {
   switch( state ) {
   case PolicyRunningState::policyPending:
      return "pending";
   case PolicyRunningState::policyOrchestrating:
      return "orchestrating";
   case PolicyRunningState::policyRunning:
      return "running";
   case PolicyRunningState::policyIntfChanging:
      return "changing";
   case PolicyRunningState::policyDeleted:
      return "deleted";
   case PolicyRunningState::policyRestored:
      return "restored";
   }
   return "unknown";
}

std::ostream & operator<<( std::ostream & out, PolicyRunningState state ) { return out << stringValue( state ); }

} // namespace Kiv
