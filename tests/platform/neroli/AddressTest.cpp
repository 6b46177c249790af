#include "platform/lum/Strep.h"
#include "platform/neroli/EthAddr.h"
#include "platform/neroli/IpGenAddr.h"

#include <algorithm>
#include <gtest/gtest.h>

using namespace Neroli;

namespace {

/// What a type reads from `text`, written again.
template< class T >
Lum::String rewritten( char const * text ) {
   return Lum::strepToValue< T >( text ).stringValue();
}

/// Texts that are written as they are read.
template< class T >
void expectKept( std::initializer_list< char const * > texts ) {
   for( auto const * text : texts ) EXPECT_EQ( rewritten< T >( text ), text );
}

template< class T >
void expectRefused( std::initializer_list< std::string_view > texts ) {
   for( auto const & text : texts ) EXPECT_FALSE( T::parse( text ) ) << text;
}

IpGenAddr ip( char const * text ) { return IpGenAddr( Lum::String( text ) ); }

TEST( IpGenAddr, ReadsExactlyTheTextsOfBothFamilies ) {
   using namespace std::string_view_literals;
   expectKept< IpGenAddr >(
      { "", "10.0.0.1", "0.0.0.0", "255.255.255.255", "::", "2001:db8:0:1:1:1:1:1", "::ffff:10.0.0.1" } );
   EXPECT_EQ( rewritten< IpGenAddr >( "2001:DB8:0:0:1:0:0:1" ), "2001:db8::1:0:0:1" );
   expectRefused< IpGenAddr >( { "10.0.0.256", "10.0.0", "10.0.0.01", "10.0.0.1 ", " 10.0.0.1", "10.0.0.1\0x"sv,
                                 "10.0.0.1/32", "fe80::1%eth0", "2001:db8:::1", "1:2:3:4:5:6:7:8:9",
                                 "0000:0000:0000:0000:0000:0000:0000:0000:0000:0000" } );
}

TEST( IpGenAddr, UnsetIsNoAddress ) {
   EXPECT_THROW( ip( "10.0.0.x" ), Lum::RangeException );
   IpGenAddr const unset, any = IpAddr();
   EXPECT_TRUE( !unset && any.isUnspecified() && ip( "::" ).isUnspecified() );
   EXPECT_FALSE( !any || unset.isUnspecified() || ip( "::1" ).isUnspecified() );
   EXPECT_FALSE( any == unset || any == ip( "::" ) );
}

TEST( IpGenAddr, OrderIsByFamilyThenByNumber ) {
   std::vector< IpGenAddr > const ascending{ ip( "" ),   ip( "0.0.0.0" ), ip( "9.255.255.255" ), ip( "10.0.0.0" ),
                                             ip( "::" ), ip( "::1" ),     ip( "1::" ),           ip( "f000::" ) };
   EXPECT_TRUE( std::is_sorted( ascending.begin(), ascending.end() ) );
}

TEST( IpGenAddrWithMask, ReadsWithAndWithoutMask ) {
   expectKept< IpGenAddrWithMask >( { "", "10.0.0.1/24", "0.0.0.0/0", "2001:db8::/33", "2001:db8::1/128" } );
   EXPECT_EQ( rewritten< IpGenAddrWithMask >( "10.0.0.1" ), "10.0.0.1/32" );
   EXPECT_EQ( rewritten< IpGenAddrWithMask >( "2001:db8::1" ), "2001:db8::1/128" );
   expectRefused< IpGenAddrWithMask >( { "10.0.0.1/33", "::/129", "10.0.0.1/", "10.0.0.1/+8", "10.0.0.1/08",
                                         "10.0.0.1/8/8", "10.0.0.1/4294967304", "/32", "/0" } );
   EXPECT_EQ( IpGenAddrWithMask( ip( "10.0.0.1" ) ), IpGenAddrWithMask( Lum::String( "10.0.0.1/32" ) ) );
   EXPECT_EQ( IpGenAddrWithMask( ip( "10.0.0.1" ), 24 ).address(), ip( "10.0.0.1" ) );
   EXPECT_THROW( IpGenAddrWithMask( ip( "10.0.0.1" ), 288 ), Lum::RangeException ); // 32 in the low byte
}

TEST( EthAddr, ReadsBothFormsAndWritesLowerCase ) {
   expectKept< EthAddr >( { "02:00:aa:bb:cc:dd", "00:00:00:00:00:00" } );
   EXPECT_EQ( rewritten< EthAddr >( "FE-00-AA-bb-CC-09" ), "fe:00:aa:bb:cc:09" );
   expectRefused< EthAddr >( { "02:00-aa:bb:cc:dd", "02:00:aa:bb:cc", "02:00:aa:bb:cc:dg", "02:00:aa:bb:cc: 1",
                               "02:00:aa:bb:cc:dd ", "02.00.aa.bb.cc.dd", "0200:aabb:ccdd:00", "" } );
   EXPECT_EQ( EthAddr( 0x0200aabbccdd ).stringValue(), "02:00:aa:bb:cc:dd" );
   EXPECT_THROW( EthAddr( 1ull << 48 ), Lum::RangeException );
}

} // namespace
