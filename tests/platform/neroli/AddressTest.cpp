#include "platform/lum/Strep.h"
#include "platform/neroli/EthAddr.h"
#include "platform/neroli/IpGenAddr.h"

#include <gtest/gtest.h>
#include <unordered_map>

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
   IpGenAddr const unset, any = IpAddr();
   EXPECT_TRUE( !unset && !unset.isUnspecified() );
   EXPECT_TRUE( !!any && any.isUnspecified() && ip( "::" ).isUnspecified() );
   EXPECT_FALSE( ip( "::1" ).isUnspecified() );
   EXPECT_FALSE( any == unset || any == ip( "::" ) );
   EXPECT_EQ( IpAddr().stringValue(), "0.0.0.0" );
}

TEST( IpGenAddr, OrderIsByFamilyThenByNumber ) {
   char const * const ascending[] = { "",   "0.0.0.0", "9.255.255.255", "10.0.0.0", "200.0.0.1",
                                      "::", "::1",     "1::",           "f000::" };
   for( std::size_t i = 0; i + 1 < std::size( ascending ); ++i ) {
      SCOPED_TRACE( ascending[ i ] );
      EXPECT_TRUE( ip( ascending[ i ] ) < ip( ascending[ i + 1 ] ) );
      EXPECT_FALSE( ip( ascending[ i + 1 ] ) < ip( ascending[ i ] ) );
   }
}

TEST( IpGenAddr, ABadTextIsNamedAndChangesNothing ) {
   IpGenAddr address = ip( "10.0.0.1" );
   try {
      address.handleInitialized( "10.0.0.x" );
      FAIL() << "accepted";
   } catch( Lum::RangeException const & exception ) {
      EXPECT_TRUE( std::string_view( exception.what() ).find( "10.0.0.x" ) != std::string_view::npos );
   }
   EXPECT_EQ( address, ip( "10.0.0.1" ) );
   address.handleInitialized( "" );
   EXPECT_TRUE( !address );
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

/// The greatest share of one of 256 buckets that 4096 keys get, when the top bits choose; 16 would be even.
template< class MakeKey >
int fullestBucket( MakeKey makeKey ) {
   std::unordered_map< std::uint64_t, int > buckets;
   int fullest = 0;
   for( std::uint32_t i = 0; i < 4096; ++i ) {
      auto const key = makeKey( i );
      fullest = std::max( fullest, ++buckets[ std::hash< std::decay_t< decltype( key ) > >()( key ) >> 56 ] );
   }
   return fullest;
}

TEST( Hash, NeighboursSpreadOverTheTopBits ) {
   EXPECT_LT( fullestBucket( []( std::uint32_t i ) { return EthAddr( 0x020000000000 + i ); } ), 40 );
   EXPECT_LT( fullestBucket( []( std::uint32_t i ) { return IpGenAddr( IpAddr( 0x0a000000 + i ) ); } ), 40 );
   EXPECT_LT( fullestBucket( []( std::uint32_t i ) { return IpGenAddr( Ip6Addr( i, 1 ) ); } ), 40 );
   EXPECT_LT( fullestBucket( []( std::uint32_t i ) { return IpGenAddrWithMask( IpAddr( i << 8 ) ); } ), 40 );
}

} // namespace
