#include "records/kiv/SwitchPair.h"

#include "platform/lum/Strep.h"
#include "records/kiv/SwitchIntfPair.h"

#include <gtest/gtest.h>

using namespace Kiv;

namespace {

SwitchId const A( "A" ), B( "B" ), C( "C" ), nobody;
SwitchPair const none, a( A ), b( B ), c( C ), ab( A, B ), ba( B, A ), ac( A, C ), onlySecond( nobody, B );

TEST( SwitchId, HasTwoFormsWhicheverItCameIn ) {
   struct {
      char const *text, *shown, *key;
   } const cases[] = { { "02:00:00:00:00:0a", "02:00:00:00:00:0a", "02-00-00-00-00-0a" },
                       { "02-00-00-00-00-0A", "02:00:00:00:00:0a", "02-00-00-00-00-0a" },
                       { "leaf-1", "leaf-1", "leaf-1" },
                       { "", "", "" } };
   for( auto const & [ text, shown, key ] : cases ) {
      SwitchId const id( text );
      EXPECT_EQ( Lum::textOf( id, " ", id.systemId() ), Lum::textOf( shown, " ", key ) );
      EXPECT_EQ( Lum::strepToValue< SwitchId >( Lum::valueToStrep( id ).view() ), id );
   }
   EXPECT_EQ( switchIdFromSystemId( "02-00-00-00-00-0a" ), SwitchId( "02:00:00:00:00:0A" ) );
   EXPECT_EQ( switchIdFromSystemId( "leaf-1" ), SwitchId( "leaf:1" ) );
}

TEST( SwitchPair, AnEmptySlotIsNoMember ) {
   EXPECT_EQ( none.members() + onlySecond.members() + ab.members(), 3u );
   EXPECT_TRUE( ab.isMember( B ) && onlySecond.isMember( B ) );
   EXPECT_FALSE( ab.isMember( C ) || a.isMember( nobody ) || none.isMember( nobody ) );
   EXPECT_EQ( onlySecond.getValidSwitch(), B );
   EXPECT_FALSE( ab == ba );
}

TEST( SwitchPair, InclusionAndDifference ) {
   struct {
      char const * story;
      SwitchPair pair, other;
      bool includes;
      SwitchPair difference;
   } const cases[] = { { "one drops out", ab, a, true, onlySecond },
                       { "the first drops out", ab, b, true, a },
                       { "a switch joins", a, ab, false, none },
                       { "the same in other slots", ab, ba, false, none },
                       { "another partner", ab, ac, false, onlySecond },
                       { "a stranger", ab, c, false, ab },
                       { "nothing left", a, none, true, a },
                       { "nothing at all", none, none, false, none },
                       { "from nothing", none, a, false, none } };
   for( auto const & [ story, pair, other, includes, difference ] : cases ) {
      SCOPED_TRACE( story );
      EXPECT_EQ( pair.strictInclude( other ), includes );
      EXPECT_EQ( pair.difference( other ), difference );
   }
}

TEST( SwitchPair, Texts ) {
   EXPECT_EQ( Lum::textOf( none, " ", onlySecond, " ", ab ), "none B A/B" );
   EXPECT_EQ( Lum::valueToStrep( a ), "Value('Kiv::SwitchPair', ** {'first': 'A', 'second': ''})" );
   for( auto const & pair : { none, onlySecond, SwitchPair( SwitchId( "it's, 'a' }" ), SwitchId( "\\" ) ) } ) {
      EXPECT_EQ( Lum::strepToValue< SwitchPair >( Lum::valueToStrep( pair ).view() ), pair );
   }
}

TEST( SwitchIntfPair, TextIsCutAtTheFirstSlashAndSpellsTheSwitchInEitherForm ) {
   EXPECT_EQ( SwitchIntfPair::parse( "a/Ethernet1/1" ), SwitchIntfPair( SwitchId( "a" ), "Ethernet1/1" ) );
   EXPECT_EQ( SwitchIntfPair::parse( "02-00-00-00-00-0A/1" ), SwitchIntfPair( SwitchId( "02:00:00:00:00:0a" ), "1" ) );
   for( auto const * bad : { "", "/", "/Ethernet1", "a/" } ) EXPECT_FALSE( SwitchIntfPair::parse( bad ) ) << bad;
}

} // namespace
