#include "platform/neroli/IpGenAddr.h"

#include "platform/lum/Strep.h"

namespace Neroli {

std::optional< IpGenAddr > IpGenAddr::parse( std::string_view text ) {
   if( text.empty() ) return IpGenAddr();
   if( text.find( ':' ) != text.npos ) return Ip6Addr::parse( text );
   return IpAddr::parse( text );
}

void IpGenAddr::handleInitialized( Lum::String const & text ) { *this = Lum::strepToValue< IpGenAddr >( text.view() ); }

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
