#include "platform/vxlan/Vni.h"
#include "platform/lum/Strep.h"
#include "tests/platform/lum/Raised.h"

#include <gtest/gtest.h>

using namespace Vxlan;

namespace {

template< class T >
std::string refusalOf( std::uint32_t number ) {
   return raised< Lum::RangeException >( [ number ] { static_cast< void >( T{ VniOrNone( number ) } ); } );
}

TEST( Vni, RangeFailures ) {
   EXPECT_EQ( refusalOf< Vni >( 0xffffff ), "nothing" );
   EXPECT_EQ( refusalOf< Vni >( 0x1000000 ), "Vni::value < Vni::min or > Vni::max not allowed" );
   EXPECT_EQ( refusalOf< VniOrNone >( 0x1000000 ), "nothing" );
   EXPECT_EQ( refusalOf< VniOrNone >( 0x1000001 ), "VniOrNone::value < 0 or > 0x1000000 not allowed" );
}

TEST( Vni, Texts ) {
   EXPECT_EQ( VniOrNone().stringValue( false ), "16777216" );
   EXPECT_EQ( VniOrNone().stringValue( true ), "none" );
   EXPECT_EQ( Vni::parse( "16777215" ), Vni( 0xffffff ) );
   EXPECT_EQ( VniOrNone::parse( "16777216" ), VniOrNone() );
   EXPECT_FALSE( Vni::parse( "16777216" ) || VniOrNone::parse( "16777217" ) );
   for( auto const * bad : { "4294967296", "-1", "+1", "-0", "007", "7 ", "none", "" } ) {
      EXPECT_FALSE( Vni::parse( bad ) || VniOrNone::parse( bad ) ) << bad;
   }
}

} // namespace
