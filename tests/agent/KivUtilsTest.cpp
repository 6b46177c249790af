#include "agent/KivUtils.h"

#include <gtest/gtest.h>

using namespace Kiv;

TEST( SwitchPairOfAVtep, TheNewestMemberStandsFirstAndAThirdSwitchIsDropped ) {
   SwitchPair const none, a( "a" ), b( "b" ), ab( "a", "b" ), ba( "b", "a" );
   struct {
      SwitchPair pair;
      char const * switchId;
      SwitchPair added;
   } const cases[] = { { none, "a", a }, { a, "b", ba },  { SwitchPair( "", "a" ), "b", ba },
                       { a, "a", a },    { ab, "a", ab }, { ab, "b", ab },
                       { ab, "c", ab } };
   for( auto const & [ pair, switchId, added ] : cases ) {
      EXPECT_EQ( addSwitchToSwitchPair( pair, switchId ), added ) << pair << " and " << switchId;
   }
   EXPECT_EQ( removeSwitchFromSwitchPair( ab, "a" ), b );
   EXPECT_EQ( removeSwitchFromSwitchPair( ab, "b" ), a );
   EXPECT_EQ( removeSwitchFromSwitchPair( a, "a" ), none );
}

TEST( FragmentName, IsCutAtItsLastHyphen ) {
   EXPECT_EQ( fragmentNameOf( "dmz-web", Vxlan::VniOrNone( 10100 ) ), "dmz-web-10100" );
   EXPECT_EQ( getPolicyName( "dmz-web-10100" ), "dmz-web" );
   EXPECT_EQ( getPolicyName( "web" ), "web" );
}
