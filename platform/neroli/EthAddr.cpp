#include "platform/neroli/EthAddr.h"

#include "platform/lum/Fault.h"

namespace Neroli {

namespace {

constexpr std::size_t pairs = 6;
constexpr std::size_t textSize = 3 * pairs - 1;

/// -1 for what is no hexadecimal digit; independent of the locale.
constexpr int hexDigit( char c ) {
   if( c >= '0' && c <= '9' ) return c - '0';
   if( c >= 'a' && c <= 'f' ) return c - 'a' + 10;
   if( c >= 'A' && c <= 'F' ) return c - 'A' + 10;
   return -1;
}

} // namespace

EthAddr::EthAddr( std::uint64_t value ) : value_( value ) {
   if( value >> 48 ) Lum::throwRangeException( "EthAddr::value > 0xffffffffffff not allowed" );
}

std::optional< EthAddr > EthAddr::parse( std::string_view text ) {
   if( text.size() != textSize ) return std::nullopt;
   char const separator = text[ 2 ];
   if( separator != ':' && separator != '-' ) return std::nullopt;
   EthAddr mac;
   for( std::size_t i = 0; i < textSize; i += 3 ) {
      int const high = hexDigit( text[ i ] );
      int const low = hexDigit( text[ i + 1 ] );
      if( high < 0 || low < 0 || ( i > 0 && text[ i - 1 ] != separator ) ) return std::nullopt;
      mac.value_ = mac.value_ << 8 | static_cast< std::uint64_t >( high << 4 | low );
   }
   return mac;
}

Lum::String EthAddr::stringValue( char separator ) const {
   char text[ textSize ];
   for( std::size_t i = 0; i < textSize; i += 3 ) {
      auto const byte = value_ >> ( 8 * ( pairs - 1 - i / 3 ) ) & 0xff;
      text[ i ] = "0123456789abcdef"[ byte >> 4 ];
      text[ i + 1 ] = "0123456789abcdef"[ byte & 0xf ];
      if( i > 0 ) text[ i - 1 ] = separator;
   }
   return std::string_view( text, textSize );
}

} // namespace Neroli
