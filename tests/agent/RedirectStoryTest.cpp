// The running agent, from a policy to published flows and back.
#include "tests/scenery/Redirect.h"

#include <algorithm>

using namespace Scenery;

namespace {

std::size_t indexOf( std::vector< std::string > const & journal, std::string const & write ) {
   return static_cast< std::size_t >( std::find( journal.begin(), journal.end(), write ) - journal.begin() );
}

} // namespace

TEST_F( Redirect, ServiceSideFirstAndTheHostsOwnSwitchLast ) {
   fabric.group( "web", { "10.0.0.1" } );
   EXPECT_EQ( fabric.stateOf( "web" ), "\"policyRunning\"" );
   EXPECT_EQ( fabric.published(), ( Published{ { 'A', { { "web-5010", serviceFlows() } } },
                                               { 'B', { { "web-5010", serviceFlows() } } } } ) );
   fabric.switchesAnswer( "A" );
   EXPECT_EQ( fabric.flows( 'C' ), none ) << "one service VTEP of two is not enough";
   fabric.journal();
   fabric.switchesAnswer();
   auto const journal = fabric.journal();
   auto const own = indexOf( journal, "C web-5010 +InsideVtepIngress-10.0.0.1" );
   ASSERT_LT( own, journal.size() );
   EXPECT_LT( indexOf( journal, "A web-5010 +InsideVtepIngress-10.0.0.1" ), own );
   EXPECT_LT( indexOf( journal, "B web-5010 +InsideVtepEgress" ), own );
   EXPECT_EQ( fabric.published(), diverted( "AB", "C" ) );
   EXPECT_NE( fabric.get( "/switch/" + Fabric::id( 'C', '-' )
                          + "/kiv/version1/policy/policy/policyFragment/web-5010/grCookie/interceptInfo/10.0.0.1/mac" ),
              "" );
   fabric.expectRepeatChangesNothing();
}

TEST_F( Redirect, AGroupIsPendingUntilItHasAllItNeeds ) {
   fabric.patch( "/state/kiv/serviceIntfConfig/site/intfSet/far", "null" );
   fabric.group( "web", { "10.0.0.1" } );
   EXPECT_EQ( fabric.stateOf( "web" ), "\"policyPending\"" ) << "no far set";
   fabric.port( "far", 'A' );
   EXPECT_EQ( fabric.stateOf( "web" ), "\"policyRunning\"" );
   fabric.host( "10.0.0.3", "02:00:aa:00:00:03", 'D' );
   fabric.port( "both", 'E' );
   fabric.group( "same", { "10.0.0.3" }, "both", "both" );
   EXPECT_EQ( fabric.stateOf( "same" ), "\"policyPending\"" );
   fabric.group( "nowhere", { "10.0.0.9" }, "n2", "f2" );
   fabric.device( 'E', "n2", "f2" );
   EXPECT_EQ( fabric.stateOf( "nowhere" ), "\"policyPending\"" ) << "no host is located";
   fabric.expectRepeatChangesNothing();
}

TEST_F( Redirect, AMoveTouchesOnlyTheSwitchesThatChanged ) {
   fabric.vtep( 'D', "192.0.2.20" );
   fabric.vtep( 'E', "192.0.2.20" );
   redirect();
   fabric.host( "10.0.0.1", web, 'D', 5010, 2 ); // a pair
   EXPECT_EQ( fabric.published(), diverted( "AB", "DE" ) );
   for( auto const & write : fabric.journal() )
      EXPECT_EQ( std::string( "AB" ).find( write[ 0 ] ), std::string::npos ) << write;
   fabric.switchesAnswer();
   fabric.vtep( 'E', "192.0.2.99" ); // one of the pair drops out
   EXPECT_EQ( fabric.published(), diverted( "AB", "D" ) );
   for( auto const & write : fabric.journal() ) EXPECT_EQ( write[ 0 ], 'E' ) << write;
   fabric.vtep( 'E', "192.0.2.20" ); // and joins again
   EXPECT_EQ( fabric.published(), diverted( "AB", "DE" ) );
   fabric.host( "10.0.0.1", web, 'A', 5010, 3 ); // its redirected traffic shows on a service VTEP: no move
   EXPECT_EQ( fabric.published(), diverted( "AB", "DE" ) );
   fabric.expectRepeatChangesNothing();
}

TEST_F( Redirect, HostsShareAFragmentAndLeaveItOneByOne ) {
   redirect();
   fabric.host( "10.0.0.2", shop, 'C' );
   fabric.group( "web", { "10.0.0.1", "10.0.0.2" } );
   EXPECT_EQ( fabric.flows( 'C' ), insideFlows( { "10.0.0.1", "10.0.0.2" } ) );
   fabric.patch( hostsOfWeb + "10.0.0.2~132", "null" );
   EXPECT_EQ( fabric.published(), diverted( "AB", "C" ) );
   fabric.patch( hostsOfWeb + "10.0.0.1~132", "null" );
   EXPECT_TRUE( fabric.published().empty() );
   EXPECT_EQ( fabric.stateOf( "web" ), "\"policyPending\"" ) << "its last service VNI went back";
   fabric.expectRepeatChangesNothing();
}

// Location comes in three writes; a host without a place must not take the service flows from one that waits.
TEST_F( Redirect, AHostWithoutAPlaceDisturbsNobody ) {
   fabric.group( "web", { "10.0.0.1", "10.0.0.2" } );
   fabric.journal();
   fabric.patch( "/hub/loomis/version2/vni/5010/ipToMacTable/10.0.0.2/mac", "\"" + shop + "\"" );
   EXPECT_EQ( fabric.journal(), std::vector< std::string >() );
   fabric.switchesAnswer();
   EXPECT_EQ( fabric.flows( 'C' ), insideFlows( { "10.0.0.1" } ) );
}

TEST_F( Redirect, AHostThatIsNotSeenAgesOut ) {
   redirect();
   fabric.set( "staleHostThreshold", "2" );
   fabric.patch( "/hub/loomis/version2/vni/20000", "{}" );
   fabric.advance( 30 ); // entered
   fabric.advance( 30 );
   EXPECT_EQ( fabric.flows( 'C' ), insideFlows( { "10.0.0.1" } ) ) << "one round unseen of two";
   fabric.advance( 30 );
   EXPECT_EQ( fabric.flows( 'C' ), none );
   fabric.switchesAnswer();
   fabric.host( "10.0.0.1", web, 'D', 5010, 2 ); // it speaks again
   fabric.switchesAnswer();
   EXPECT_EQ( fabric.flows( 'D' ), insideFlows( { "10.0.0.1" } ) );
}

TEST_F( Redirect, AQuietVniLosesItsServiceFlows ) {
   redirect();
   fabric.set( "flowRemovalTriggerLimit", "2" );
   auto const quieten = [ & ] { // no switch holds the host's flow any more
      for( char letter : { 'A', 'B', 'C' } ) {
         fabric.patch( Fabric::report( letter ) + "/flowStatus/InsideVtepIngress-10.0.0.1", "null" );
      }
   };
   fabric.advance( 90 );
   EXPECT_EQ( fabric.flows( 'A' ), bothFlows( { "10.0.0.1" } ) ) << "one host keeps the VNI from being quiet";
   quieten();
   fabric.advance( 30 );
   fabric.switchesAnswer();
   fabric.advance( 30 );
   quieten();
   fabric.advance( 30 );
   EXPECT_EQ( fabric.flows( 'A' ), bothFlows( { "10.0.0.1" } ) ) << "a host that is back begins the count anew";
   fabric.advance( 30 );
   EXPECT_EQ( fabric.flows( 'A' ), insideFlows( { "10.0.0.1" } ) );
}

TEST_F( Redirect, LostConvergenceTakesTheDiversionAway ) {
   redirect();
   fabric.patch( egressOf( 'B' ), "3" );
   EXPECT_EQ( fabric.flows( 'C' ), none );
   EXPECT_EQ( fabric.flows( 'A' ), serviceFlows() );
   fabric.patch( egressOf( 'B' ), "2" );
   EXPECT_EQ( fabric.flows( 'C' ), insideFlows( { "10.0.0.1" } ) );
   fabric.set( "retainInterceptFlows", "true" );
   fabric.patch( egressOf( 'B' ), "1" );
   EXPECT_EQ( fabric.flows( 'C' ), insideFlows( { "10.0.0.1" } ) );
   fabric.patch( groups + "web", "null" ); // also a host that kept its flows loses them with its group
   EXPECT_TRUE( fabric.published().empty() );
}

TEST_F( Redirect, AServiceVtepThatLeavesHoldsNobodyBack ) {
   auto const unplug = [ & ] {
      for( char const * uuid : { "near", "far" } ) fabric.unplug( uuid, 'B' );
      EXPECT_EQ( fabric.flows( 'C' ), insideFlows( { "10.0.0.1" } ) );
   };
   fabric.group( "web", { "10.0.0.1" } );
   fabric.switchesAnswer( "A" ); // and "B" is silent
   unplug();
   fabric.device( 'B' );
   fabric.switchesAnswer();
   fabric.patch( egressOf( 'B' ), "3" );
   EXPECT_EQ( fabric.flows( 'C' ), none );
   unplug();
}

TEST_F( Redirect, AGroupThatLeavesTakesEverythingBackAndOffersItsInterfaces ) {
   redirect();
   fabric.host( "10.0.0.2", shop, 'D' );
   fabric.group( "shop", { "10.0.0.2" } );
   EXPECT_EQ( fabric.stateOf( "shop" ), "\"policyPending\"" );
   fabric.journal();
   fabric.patch( groups + "web", "null" );
   auto const journal = fabric.journal();
   EXPECT_LT( indexOf( journal, "C -web-5010" ), indexOf( journal, "A -web-5010" ) ) << "inside first";
   EXPECT_EQ( fabric.stateOf( "web" ), "" );
   EXPECT_EQ( fabric.stateOf( "shop" ), "\"policyRunning\"" );
   EXPECT_EQ( fabric.get( "/state/kiv/servicePolicyStatus/policyRunningInfo/shop/originalToServiceVni/5010" ), "20001" )
      << "granted while both were there, and never moved";
   fabric.switchesAnswer();
   EXPECT_EQ( fabric.flows( 'D', "shop-5010" ), insideFlows( { "10.0.0.2" } ) );
}

TEST_F( Redirect, OneGroupControlsAHostAndTheNextOneFollows ) {
   redirect();
   fabric.device( 'E', "n2", "f2" );
   fabric.group( "shop", { "10.0.0.1" }, "n2", "f2" );
   EXPECT_EQ( fabric.get( "/agent/policyHelperInfo/ipToPolicy/10.0.0.1/policy" ), "\"web\"" );
   EXPECT_EQ( fabric.stateOf( "shop" ), "\"policyPending\"" );
   fabric.patch( groups + "web", "null" );
   EXPECT_EQ( fabric.get( "/agent/policyHelperInfo/ipToPolicy/10.0.0.1/policy" ), "\"shop\"" );
   fabric.host( "10.0.0.1", web, 'D', 5010, 2 ); // it follows from the host's next change
   EXPECT_EQ( fabric.stateOf( "shop" ), "\"policyRunning\"" );
   fabric.switchesAnswer();
   EXPECT_EQ( fabric.flows( 'D', "shop-5010" ), insideFlows( { "10.0.0.1" } ) );
}

TEST_F( Redirect, APoolThatWasSpentServesWhoWaitsWhenItIsWidened ) {
   fabric.set( "vniRange", "\"300\"" );
   fabric.group( "web", { "10.0.0.1", "10.0.0.2" } );
   fabric.host( "10.0.0.2", shop, 'D', 5011 );
   EXPECT_EQ( fabric.get( "/agent/policyHelperInfo/policyInfo/web/originalToServiceVni/5011" ), "16777216" );
   for( char const * range : { "\"300-301\"", "\"400-401\"" } ) { // in the second, every grant moves
      fabric.set( "vniRange", range );
      fabric.switchesAnswer();
      EXPECT_EQ( fabric.flows( 'D', "web-5011" ), insideFlows( { "10.0.0.2" } ) ) << range;
   }
   fabric.expectRepeatChangesNothing();
}

TEST_F( Redirect, TheFeatureRunsOnlyWhereItMay ) {
   redirect();
   fabric.patch( "/hub/topology/version3/global/status/convergenceStatus/convergenceInProgress", "true" );
   EXPECT_FALSE( fabric.published().empty() ) << "once begun, an unsettled topology stops nothing";
   fabric.set( "enabled", "false" );
   EXPECT_TRUE( fabric.published().empty() );
   EXPECT_EQ( fabric.get( "/state/kiv/status/running" ), "false" );
   EXPECT_EQ( fabric.get( "/hub/kiv/version1/policy/switch/" + Fabric::id( 'A', '-' ) ), "{}" );
   fabric.switchesAnswer();
   fabric.set( "enabled", "true" );
   EXPECT_EQ( fabric.get( "/state/kiv/status/running" ), "true" );
   EXPECT_TRUE( fabric.published().empty() ) << "it waits for the topology";
   fabric.patch( "/hub/topology/version3/global/status/convergenceStatus/convergenceInProgress", "false" );
   fabric.switchesAnswer();
   EXPECT_EQ( fabric.flows( 'C' ), insideFlows( { "10.0.0.1" } ) );
   fabric.expectRepeatChangesNothing();
}
