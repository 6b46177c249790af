#include "records/kiv/SwitchPair.h"

#include "platform/lum/Strep.h"

namespace Kiv {

Lum::String SwitchPair::stringValue() const {
   if( members() == 0 ) return "none";
   if( members() == 1 ) return getValidSwitch().stringValue();
   return Lum::textOf( first_, "/", second_ );
}

Lum::String SwitchPair::strep() const {
   return Lum::textOf( "Value('Kiv::SwitchPair', ** {'first': ", Lum::valueToStrep( first_ ),
                       ", 'second': ", Lum::valueToStrep( second_ ), "})" );
}

SwitchPair SwitchPair::sequenceToValue( std::string_view & rest ) {
   Lum::needString( rest, "Value('Kiv::SwitchPair', ** {'first': " );
   auto first = Lum::sequenceToValue< SwitchId >( rest );
   Lum::needString( rest, ", 'second': " );
   auto second = Lum::sequenceToValue< SwitchId >( rest );
   Lum::needString( rest, "})" );
   return SwitchPair( std::move( first ), std::move( second ) );
}

} // namespace Kiv
