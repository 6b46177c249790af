#pragma once

#include <string>

/// The text of the Exception that `act` raises; "nothing" if it raises none.
template< class Exception, class Act >
std::string raised( Act const & act ) {
   try {
      act();
   } catch( Exception const & exception ) {
      return exception.what();
   }
   return "nothing";
}
