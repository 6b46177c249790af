#include "platform/neroli/IpAddr.h"

#include <arpa/inet.h>
#include <boost/endian/conversion.hpp>
#include <string>

namespace Neroli {

namespace {

/// Reads `text` into the bytes of an address; false if it is none.
bool bytesFromText( int family, std::string_view text, unsigned char * bytes ) {
   // The reader below stops at a zero byte, which would let trailing garbage pass.
   if( text.size() >= INET6_ADDRSTRLEN || text.find( '\0' ) != text.npos ) return false;
   return inet_pton( family, std::string( text ).c_str(), bytes ) == 1;
}

Lum::String textFromBytes( int family, unsigned char const * bytes ) {
   char text[ INET6_ADDRSTRLEN ];
   return inet_ntop( family, bytes, text, sizeof text );
}

} // namespace

std::optional< IpAddr > IpAddr::parse( std::string_view text ) {
   unsigned char bytes[ 4 ];
   if( !bytesFromText( AF_INET, text, bytes ) ) return std::nullopt;
   return IpAddr( boost::endian::load_big_u32( bytes ) );
}

Lum::String IpAddr::stringValue() const {
   return Lum::format( "%u.%u.%u.%u", value_ >> 24, value_ >> 16 & 0xff, value_ >> 8 & 0xff, value_ & 0xff );
}

std::optional< Ip6Addr > Ip6Addr::parse( std::string_view text ) {
   unsigned char bytes[ 16 ];
   if( !bytesFromText( AF_INET6, text, bytes ) ) return std::nullopt;
   return Ip6Addr( boost::endian::load_big_u64( bytes ), boost::endian::load_big_u64( bytes + 8 ) );
}

Lum::String Ip6Addr::stringValue() const {
   unsigned char bytes[ 16 ];
   boost::endian::store_big_u64( bytes, high_ );
   boost::endian::store_big_u64( bytes + 8, low_ );
   return textFromBytes( AF_INET6, bytes );
}

} // namespace Neroli
