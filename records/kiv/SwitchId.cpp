#include "records/kiv/SwitchId.h"

#include "platform/lum/Strep.h"
#include "platform/neroli/EthAddr.h"

#include <algorithm>

namespace Kiv {

SwitchId::SwitchId( Lum::String const & text ) : text_( text ), systemId_( Harbor::systemIdFromString( text ) ) {
   if( auto const mac = Neroli::EthAddr::parse( text.view() ) ) text_ = mac->stringValue();
}

Lum::String SwitchId::strep() const { return Lum::valueToStrep( text_ ); }

SwitchId SwitchId::sequenceToValue( std::string_view & rest ) {
   return SwitchId( Lum::sequenceToValue< Lum::String >( rest ) );
}

SwitchId switchIdFromSystemId( Lum::String const & systemId ) {
   std::string text = systemId.str();
   std::replace( text.begin(), text.end(), '-', ':' );
   return SwitchId( text );
}

} // namespace Kiv
