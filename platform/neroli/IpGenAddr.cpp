#include "platform/neroli/IpGenAddr.h"

#include "platform/lum/Strep.h"

#include <cstring>

namespace Neroli {

std::optional< IpGenAddr > IpGenAddr::parse( std::string_view text ) {
   if( text.empty() ) return IpGenAddr();
   if( text.find( ':' ) != text.npos ) return Ip6Addr::parse( text );
   return IpAddr::parse( text );
}

void IpGenAddr::handleInitialized( Lum::String const & text ) { *this = Lum::strepToValue< IpGenAddr >( text.view() ); }

std::size_t IpGenAddr::toBytes( char * to ) const {
   *to = static_cast< char >( family_ );
   std::uint64_t const words[] = { address_.high(), address_.low() };
   auto const ipv4 = static_cast< std::uint32_t >( words[ 1 ] );
   if( family_ == Family::ipv4 ) std::memcpy( to + 1, &ipv4, sizeof ipv4 );
   if( family_ == Family::ipv6 ) std::memcpy( to + 1, words, sizeof words );
   return 1 + bits() / 8;
}

std::optional< IpGenAddr > IpGenAddr::fromBytes( std::string_view & bytes ) {
   IpGenAddr ip;
   if( bytes.empty() || bytes[ 0 ] > static_cast< char >( Family::ipv6 ) ) return std::nullopt;
   ip.family_ = static_cast< Family >( bytes[ 0 ] );
   std::size_t const size = 1 + ip.bits() / 8;
   if( bytes.size() < size ) return std::nullopt;
   std::uint64_t words[ 2 ] = {};
   std::uint32_t ipv4 = 0;
   if( ip.family_ == Family::ipv4 ) std::memcpy( &ipv4, bytes.data() + 1, sizeof ipv4 );
   if( ip.family_ == Family::ipv6 ) std::memcpy( words, bytes.data() + 1, sizeof words );
   ip.address_ = Ip6Addr( words[ 0 ], words[ 1 ] | ipv4 );
   bytes.remove_prefix( size );
   return ip;
}

Lum::String IpGenAddr::stringValue() const {
   switch( family_ ) {
   case Family::unset:
      return {};
   case Family::ipv4:
      return IpAddr( static_cast< std::uint32_t >( address_.low() ) ).stringValue();
   case Family::ipv6:
      return address_.stringValue();
   }
   return {};
}

IpGenAddrWithMask::IpGenAddrWithMask( IpGenAddr address, unsigned mask )
   : address_( address ), mask_( static_cast< std::uint8_t >( mask ) ) {
   if( mask > address.bits() ) {
      Lum::throwRangeException( Lum::textOf( "mask ", mask, " of \"", address, "\" not allowed" ) );
   }
}

std::optional< IpGenAddrWithMask > IpGenAddrWithMask::parse( std::string_view text ) {
   std::size_t const slash = text.find( '/' );
   auto const address = IpGenAddr::parse( text.substr( 0, slash ) );
   if( !address ) return std::nullopt;
   if( slash == text.npos ) return IpGenAddrWithMask( *address );
   auto const mask = Lum::parseNumber< unsigned >( text.substr( slash + 1 ) );
   if( address->isUnset() || !mask || *mask > address->bits() ) return std::nullopt;
   return IpGenAddrWithMask( *address, *mask );
}

void IpGenAddrWithMask::handleInitialized( Lum::String const & text ) {
   *this = Lum::strepToValue< IpGenAddrWithMask >( text.view() );
}

Lum::String IpGenAddrWithMask::stringValue() const {
   if( isUnset() ) return {};
   return Lum::textOf( address_, "/", mask() );
}

} // namespace Neroli
