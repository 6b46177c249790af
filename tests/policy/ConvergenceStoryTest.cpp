// Intercept flows wait for the service side: which reports count, and when they are weighed.
#include "tests/scenery/Redirect.h"

using namespace Scenery;

namespace {

std::set< std::string > const none;
std::string const groups = "/state/kiv/servicePolicyConfig/site/servicePolicy/";

std::string fragmentOf( char letter, char const * fragment = "web-5010" ) {
   return reports + Fabric::id( letter, '-' ) + "/policyFragment/" + fragment;
}

std::string egressOf( char letter ) { return fragmentOf( letter ) + "/flowStatus/ServiceVtepEgress/status"; }

} // namespace

TEST_F( Redirect, AnotherServiceVniIsDivertedToWhenItIsProgrammed ) {
   redirect();
   fabric.set( "vniRange", "\"300-310\"" );
   EXPECT_EQ( fabric.flows( 'A' ), serviceFlows() );
   EXPECT_EQ( fabric.flows( 'C' ), none ) << "what stands was said of the old one";
   fabric.switchesAnswer( "A" );
   EXPECT_EQ( fabric.flows( 'C' ), none );
   fabric.switchesAnswer( "B" );
   EXPECT_EQ( fabric.flows( 'C' ), insideFlows( { "10.0.0.1" } ) );
   fabric.expectRepeatChangesNothing();
}

TEST_F( Redirect, AReportWithoutAServiceVniCountsForAny ) {
   redirect();
   for( char letter : { 'A', 'B' } ) fabric.patch( fragmentOf( letter ) + "/serviceVni", "null" );
   fabric.set( "vniRange", "\"300-310\"" );
   EXPECT_EQ( fabric.flows( 'C' ), insideFlows( { "10.0.0.1" } ) );
}

// The switches have no reason to say again what they have said.
TEST_F( Redirect, WhoIsWrittenAgainBeforeTheSwitchesAnswerWaitsForNothing ) {
   redirect();
   fabric.patch( groups + "web", "null" );
   fabric.group( "web", { "10.0.0.1" } );
   EXPECT_EQ( fabric.flows( 'C' ), insideFlows( { "10.0.0.1" } ) );
   fabric.patch( groups + "web/interceptFlow/10.0.0.1~132", "null" ); // the only host of its VNI
   EXPECT_EQ( fabric.stateOf( "web" ), "\"policyPending\"" );
   fabric.patch( groups + "web/interceptFlow/10.0.0.1~132", "{}" );
   EXPECT_EQ( fabric.flows( 'C' ), insideFlows( { "10.0.0.1" } ) );
   fabric.set( "enabled", "false" );
   fabric.set( "enabled", "true" );
   EXPECT_EQ( fabric.flows( 'C' ), insideFlows( { "10.0.0.1" } ) );
}

TEST_F( Redirect, AServiceVtepThatComesBackIsJudgedByTheReportThatStands ) {
   redirect();
   for( char const * uuid : { "near", "far" } ) fabric.unplug( uuid, 'B' );
   for( char const * uuid : { "near", "far" } ) fabric.port( uuid, 'B' );
   EXPECT_EQ( fabric.flows( 'C' ), insideFlows( { "10.0.0.1" } ) );
   fabric.patch( egressOf( 'A' ), "3" );
   EXPECT_EQ( fabric.flows( 'C' ), none );
   fabric.patch( egressOf( 'A' ), "2" );
   EXPECT_EQ( fabric.flows( 'C' ), insideFlows( { "10.0.0.1" } ) );
}

// Take-up raises convergence and never lowers it: only a switch's word takes it back.
TEST_F( Redirect, ASilentServiceVtepHoldsNobodyBackAfterARestart ) {
   redirect();
   Fabric after;
   after.patch( "/state", fabric.get( "/state" ) );
   after.patch( "/hub", fabric.get( "/hub" ) );
   after.patch( reports + Fabric::id( 'B', '-' ), "null" );
   after.start();
   after.host( "10.0.0.2", shop, 'D' );
   after.group( "web", { "10.0.0.2" } ); // joins
   EXPECT_EQ( after.flows( 'D' ), insideFlows( { "10.0.0.2" } ) );
   after.host( "10.0.0.1", web, 'E', 5010, 2 ); // moves
   EXPECT_EQ( after.flows( 'C' ), none );
   EXPECT_EQ( after.flows( 'E' ), insideFlows( { "10.0.0.1" } ) );
   after.patch( fragmentOf( 'B' ), R"({"originalVni": 5010, "serviceVni": 20000,
      "flowStatus": {"ServiceVtepIngress": {"status": 1}}})" );
   EXPECT_EQ( after.flows( 'E' ), none ) << "now it has spoken";
}

// A host that waits is no host that was served: with many waiting, one that leaves touches nothing of the others.
TEST_F( Redirect, AWaitingHostThatLeavesTouchesNobody ) {
   fabric.host( "10.0.0.2", shop, 'D' );
   fabric.group( "web", { "10.0.0.1", "10.0.0.2" } );
   fabric.switchesAnswer( "A" ); // "B" is silent
   fabric.journal();
   fabric.patch( groups + "web/interceptFlow/10.0.0.2~132", "null" );
   EXPECT_EQ( fabric.journal(), std::vector< std::string >() );
   fabric.switchesAnswer();
   EXPECT_EQ( fabric.flows( 'C' ), insideFlows( { "10.0.0.1" } ) );
}

// Nor does the last one that was served take the service side from those who wait.
TEST_F( Redirect, WhoWaitsKeepsTheServiceSide ) {
   redirect();
   fabric.patch( egressOf( 'B' ), "3" );
   fabric.host( "10.0.0.2", shop, 'D' );
   fabric.group( "web", { "10.0.0.1", "10.0.0.2" } );
   fabric.patch( groups + "web/interceptFlow/10.0.0.1~132", "null" );
   EXPECT_EQ( fabric.flows( 'A' ), serviceFlows() );
   fabric.patch( egressOf( 'B' ), "2" );
   EXPECT_EQ( fabric.flows( 'D' ), insideFlows( { "10.0.0.2" } ) );
}

// Flows select the MAC: a dual-stack host's addresses share one place, whichever of them the fabric's tables show.
TEST_F( Redirect, BothAddressesOfAHostMoveTogether ) {
   fabric.host( "2001:db8::1", web, 'C' );
   fabric.group( "web", { "10.0.0.1" } );
   fabric.patch( groups + "web/interceptFlow/2001:db8::1~1128", "{}" );
   fabric.switchesAnswer();
   EXPECT_EQ( fabric.flows( 'C' ), insideFlows( { "10.0.0.1", "2001:db8::1" } ) );
   fabric.patch( "/hub/loomis/version2/vni/5010/macVtepTable/" + web + "/vtepIp", "\"192.0.2.3\"" );
   EXPECT_EQ( fabric.flows( 'C' ), none );
   EXPECT_EQ( fabric.flows( 'D' ), insideFlows( { "10.0.0.1", "2001:db8::1" } ) );
   fabric.patch( "/hub/loomis/version2/vni/5010/ipToMacTable/2001:db8::1/mac", "\"" + shop + "\"" );
   EXPECT_EQ( fabric.flows( 'D' ), insideFlows( { "10.0.0.1" } ) ) << "the other MAC has no place yet";
   fabric.patch( "/hub/loomis/version2/vni/5010/macVtepTable/" + web + "/vtepIp", "\"192.0.2.4\"" );
   EXPECT_EQ( fabric.flows( 'E' ), insideFlows( { "10.0.0.1" } ) )
      << "it is followed in the stead of the one that left";
}
