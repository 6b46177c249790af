#include "platform/vxlan/Vni.h"

#include "platform/lum/Strep.h"

namespace Vxlan {

std::optional< VniOrNone > VniOrNone::parse( std::string_view text ) {
   auto const value = Lum::parseNumber< std::uint32_t >( text );
   if( !value || *value > none ) return std::nullopt;
   return VniOrNone( *value );
}

Lum::String VniOrNone::stringValue( bool noneByName ) const {
   if( noneByName && isNone() ) return "none";
   return std::to_string( value_ );
}

std::optional< Vni > Vni::parse( std::string_view text ) {
   auto const value = Lum::parseNumber< std::uint32_t >( text );
   if( !value || *value > max ) return std::nullopt;
   return Vni( *value );
}

Lum::String Vni::stringValue() const { return std::to_string( value_ ); }

} // namespace Vxlan
