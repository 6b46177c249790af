#include "platform/vxlan/Vni.h"
#include "platform/lum/Strep.h"

#include <gtest/gtest.h>

using namespace Vxlan;

namespace {

template< class Raise >
std::string raised( Raise raise ) {
   try {
      raise();
      return "nothing";
   } catch( Lum::RangeException const & exception ) {
      return exception.what();
   }
}

TEST( Vni, RangeFailures ) {
   EXPECT_EQ( raised( [] { Vni( 0xffffff ); } ), "nothing" );
   EXPECT_EQ( raised( [] { Vni( 0x1000000 ); } ), "Vni::value < Vni::min or > Vni::max not allowed" );
   EXPECT_EQ( raised( [] { VniOrNone( 0x1000000 ); } ), "nothing" );
   EXPECT_EQ( raised( [] { VniOrNone( 0x1000001 ); } ), "VniOrNone::value < 0 or > 0x1000000 not allowed" );
   EXPECT_EQ( raised( [] { Vni{ VniOrNone() }; } ), "Vni::value < Vni::min or > Vni::max not allowed" );
}

TEST( Vni, WidensAndNarrows ) {
   VniOrNone const widened = Vni( 7 );
   EXPECT_EQ( widened, Vni( 7 ) );
   EXPECT_EQ( Vni( widened ), Vni( 7 ) );
   EXPECT_TRUE( widened < VniOrNone() );
}

TEST( Vni, Texts ) {
   EXPECT_EQ( VniOrNone().stringValue( false ), "16777216" );
   EXPECT_EQ( VniOrNone().stringValue( true ), "none" );
   EXPECT_EQ( VniOrNone( 10100 ).stringValue( true ), "10100" );
   EXPECT_EQ( Lum::strepToValue< VniOrNone >( Lum::valueToStrep( VniOrNone() ).view() ), VniOrNone() );
   EXPECT_EQ( Vni::parse( "16777215" ), Vni( 0xffffff ) );
   EXPECT_EQ( VniOrNone::parse( "16777216" ), VniOrNone() );
   EXPECT_FALSE( Vni::parse( "16777216" ) || VniOrNone::parse( "16777217" ) );
   for( auto const * bad : { "4294967296", "-1", "+1", "-0", "007", "7 ", "none", "" } ) {
      EXPECT_FALSE( Vni::parse( bad ) || VniOrNone::parse( bad ) ) << bad;
   }
}

} // namespace
