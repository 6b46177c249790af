// Intercept flows wait for the service side: which reports count, and when they are weighed.
#include "tests/scenery/Redirect.h"

using namespace Scenery;

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
   for( char letter : { 'A', 'B' } ) fabric.patch( Fabric::report( letter ) + "/serviceVni", "null" );
   fabric.set( "vniRange", "\"300-310\"" );
   EXPECT_EQ( fabric.flows( 'C' ), insideFlows( { "10.0.0.1" } ) );
}

// The switches have no reason to say again what they have said.
TEST_F( Redirect, WhoIsWrittenAgainBeforeTheSwitchesAnswerWaitsForNothing ) {
   redirect();
   fabric.patch( groups + "web", "null" );
   fabric.group( "web", { "10.0.0.1" } );
   EXPECT_EQ( fabric.flows( 'C' ), insideFlows( { "10.0.0.1" } ) );
   fabric.patch( hostsOfWeb + "10.0.0.1~132", "null" ); // the only host of its VNI
   EXPECT_EQ( fabric.stateOf( "web" ), "\"policyPending\"" );
   fabric.patch( hostsOfWeb + "10.0.0.1~132", "{}" );
   EXPECT_EQ( fabric.flows( 'C' ), insideFlows( { "10.0.0.1" } ) );
   fabric.set( "enabled", "false" );
   fabric.set( "enabled", "true" );
   EXPECT_EQ( fabric.flows( 'C' ), insideFlows( { "10.0.0.1" } ) );
}

// Take-up raises convergence and never lowers it: only a switch's word takes it back.
TEST_F( Redirect, ASilentServiceVtepHoldsNobodyBackAfterARestart ) {
   redirect();
   Fabric after;
   after.takeOver( fabric );
   after.patch( Fabric::reports( 'B' ), "null" );
   after.start();
   after.host( "10.0.0.2", shop, 'D' );
   after.group( "web", { "10.0.0.2" } ); // joins
   EXPECT_EQ( after.flows( 'D' ), insideFlows( { "10.0.0.2" } ) );
   after.host( "10.0.0.1", web, 'E', 5010, 2 ); // moves
   EXPECT_EQ( after.flows( 'C' ), none );
   EXPECT_EQ( after.flows( 'E' ), insideFlows( { "10.0.0.1" } ) );
   after.patch( Fabric::report( 'B' ), R"({"originalVni": 5010, "serviceVni": 20000,
      "flowStatus": {"ServiceVtepIngress": {"status": 1}}})" );
   EXPECT_EQ( after.flows( 'E' ), none ) << "now it has spoken";
}

// A host that waits is no host that was served: with many waiting, one that leaves touches nothing of the others.
TEST_F( Redirect, AWaitingHostThatLeavesTouchesNobody ) {
   fabric.host( "10.0.0.2", shop, 'D' );
   fabric.group( "web", { "10.0.0.1", "10.0.0.2" } );
   fabric.switchesAnswer( "A" ); // "B" is silent
   fabric.journal();
   fabric.patch( hostsOfWeb + "10.0.0.2~132", "null" );
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
   fabric.patch( hostsOfWeb + "10.0.0.1~132", "null" );
   EXPECT_EQ( fabric.flows( 'A' ), serviceFlows() );
   fabric.patch( egressOf( 'B' ), "2" );
   EXPECT_EQ( fabric.flows( 'D' ), insideFlows( { "10.0.0.2" } ) );
}
