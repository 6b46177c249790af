#include "blackboard/KivUtils.h"

#include <gtest/gtest.h>

using namespace Kiv;

TEST( KivUtils, APairKeepsItsFirstTwoMembersAndTheNewestStandsFirst ) {
   SwitchPair const none, a( "a" ), ab( "a", "b" );
   EXPECT_EQ( addSwitchToSwitchPair( none, "a" ), a );
   EXPECT_EQ( addSwitchToSwitchPair( SwitchPair( "", "b" ), "a" ), ab );
   for( char const * switchId : { "a", "b", "c" } ) EXPECT_EQ( addSwitchToSwitchPair( ab, switchId ), ab );
   EXPECT_EQ( removeSwitchFromSwitchPair( ab, "b" ), a );
   EXPECT_EQ( removeSwitchFromSwitchPair( a, "a" ), none );
}
