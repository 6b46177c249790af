#include "platform/harbor/SystemId.h"

#include "platform/lum/Strep.h"
#include "platform/neroli/EthAddr.h"

namespace Harbor {

SystemId systemIdFromString( Lum::String const & text ) {
   auto const mac = Neroli::EthAddr::parse( text.view() );
   return SystemId( mac ? mac->stringValue( '-' ) : text );
}

Lum::String SystemId::strep() const { return Lum::valueToStrep( text_ ); }

SystemId SystemId::sequenceToValue( std::string_view & rest ) {
   return systemIdFromString( Lum::sequenceToValue< Lum::String >( rest ) );
}

} // namespace Harbor
