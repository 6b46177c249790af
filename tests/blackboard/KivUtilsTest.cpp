#include "blackboard/KivUtils.h"

#include <gtest/gtest.h>

using namespace Kiv;

TEST( KivUtils, APairKeepsItsFirstTwoMembersAndTheNewestStandsFirst ) {
   SwitchId const A( "a" ), B( "b" ), C( "c" );
   SwitchPair const none, a( A ), ab( A, B );
   EXPECT_EQ( addSwitchToSwitchPair( none, A ), a );
   EXPECT_EQ( addSwitchToSwitchPair( SwitchPair( SwitchId(), B ), A ), ab );
   for( auto const & switchId : { A, B, C } ) EXPECT_EQ( addSwitchToSwitchPair( ab, switchId ), ab );
   EXPECT_EQ( removeSwitchFromSwitchPair( ab, B ), a );
   EXPECT_EQ( removeSwitchFromSwitchPair( a, A ), none );
}
