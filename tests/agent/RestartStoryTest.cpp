// The agent is killed and starts again on what the databases hold.
#include "tests/scenery/Redirect.h"

#include <functional>
#include <gtest/gtest.h>

using namespace Scenery;

namespace {

/// The device's ports on the pair "A", "B", the group "web" with a host behind "C".
void build( Fabric & fabric ) {
   setScene( fabric );
   fabric.group( "web", { "10.0.0.1" } );
}

std::string const running = "/state/kiv/servicePolicyStatus/policyRunningInfo/web/";
std::string const status = "/hub/kivclient/version1/policystatus/switch/";

void reportServiceVni( Fabric & fabric, char letter, unsigned vni ) {
   fabric.patch( status + Fabric::id( letter, '-' ) + "/policyFragment/web-5010/serviceVni", std::to_string( vni ) );
}

} // namespace

TEST( Restart, AtRestWritesNothingToThePublishedTree ) {
   Fabric fabric;
   build( fabric );
   fabric.switchesAnswer();
   auto const before = fabric.get( "/hub/kiv/version1/policy/switch" );
   for( int times = 0; times < 2; ++times ) {
      fabric.journal();
      fabric.restart();
      EXPECT_EQ( fabric.journal(), std::vector< std::string >() );
      EXPECT_EQ( fabric.get( "/hub/kiv/version1/policy/switch" ), before );
      EXPECT_EQ( fabric.published().size(), 3u );
      fabric.switchesAnswer();
      fabric.expectRepeatChangesNothing();
   }
   EXPECT_EQ( fabric.stateOf( "web" ), "\"policyRunning\"" );
}

TEST( Restart, InEachPhaseComesToTheSameEnd ) {
   struct {
      char const * phase;
      std::function< void( Fabric & ) > happened;
      bool servedPast = false; // a silent service VTEP, until it speaks, flow by flow
   } const cases[] = {
      { "nothing is known yet", []( Fabric & ) {} },
      { "one service VTEP has answered", []( Fabric & fabric ) { fabric.switchesAnswer( "A" ); }, true },
      { "the intercept flows are out, unanswered", []( Fabric & fabric ) { fabric.switchesAnswer( "AB" ); } },
      { "all has converged", []( Fabric & fabric ) { fabric.switchesAnswer(); } },
      { "the host has just moved away and back",
        []( Fabric & fabric ) {
           fabric.switchesAnswer();
           fabric.host( "10.0.0.1", web, 'D', 5010, 2 );
           fabric.host( "10.0.0.1", web, 'C', 5010, 3 );
        } },
      { "no switch remembers a cookie",
        []( Fabric & fabric ) {
           fabric.switchesAnswer();
           for( char letter : { 'A', 'B', 'C' } ) {
              fabric.patch( status + Fabric::id( letter, '-' ) + "/policyFragment/web-5010/grCookie", "null" );
           }
        } },
      { "one switch never comes back",
        []( Fabric & fabric ) {
           fabric.switchesAnswer();
           fabric.patch( status + Fabric::id( 'C', '-' ), "null" );
        } },
   };
   for( auto const & [ phase, happened, servedPast ] : cases ) {
      SCOPED_TRACE( phase );
      Fabric fabric;
      build( fabric );
      happened( fabric );
      fabric.journal();
      fabric.restart();
      fabric.switchesAnswer();
      for( auto const & write : fabric.journal() ) {
         EXPECT_TRUE( servedPast || write.find( " -" ) == std::string::npos ) << write;
      }
      EXPECT_EQ( fabric.published(), ( Published{ { 'A', { { "web-5010", bothFlows( { "10.0.0.1" } ) } } },
                                                  { 'B', { { "web-5010", bothFlows( { "10.0.0.1" } ) } } },
                                                  { 'C', { { "web-5010", insideFlows( { "10.0.0.1" } ) } } } } ) );
      EXPECT_EQ( fabric.get( running + "originalToServiceVni/5010" ), "20000" );
      fabric.expectRepeatChangesNothing();
   }
}

TEST( Restart, KeepsAHostThatCameFromAServiceVtepWhereItIs ) {
   Fabric fabric;
   build( fabric );
   fabric.group( "web", { "10.0.0.2" } );
   fabric.host( "10.0.0.2", "02:00:aa:00:00:02", 'A' ); // a first sighting is taken as it is
   fabric.switchesAnswer();
   fabric.host( "10.0.0.2", "02:00:aa:00:00:02", 'D', 5010, 2 );
   fabric.switchesAnswer();
   fabric.host( "10.0.0.2", "02:00:aa:00:00:02", 'A', 5010, 3 ); // its redirected traffic
   fabric.journal();
   fabric.restart();
   fabric.switchesAnswer();
   EXPECT_EQ( fabric.journal(), std::vector< std::string >() );
   EXPECT_TRUE( fabric.flows( 'D' ).contains( "InsideVtepIngress-10.0.0.2" ) );
}

// A switch whose memory is wrong, or of another time, costs nobody a flow.
TEST( Restart, OneSwitchAloneMovesNothing ) {
   for( char letter : { 'A', 'B', 'C', 'D' } ) {
      SCOPED_TRACE( letter );
      Fabric fabric;
      build( fabric );
      fabric.switchesAnswer();
      if( letter == 'D' ) {
         fabric.patch( status + Fabric::id( letter, '-' ) + "/policyFragment/ghost-5010",
                       R"({"originalVni": 5010, "grCookie": {"interceptInfo": {"10.0.0.1": {"mac": ")" + web
                          + R"("}}}})" );
      } else {
         reportServiceVni( fabric, letter, 20007 );
      }
      fabric.journal();
      fabric.restart();
      EXPECT_EQ( fabric.journal(), std::vector< std::string >() );
      EXPECT_EQ( fabric.stateOf( "ghost" ), "" );
   }
}

// What happens to one of several hosts during the outage is nothing to the others.
TEST( Restart, NeighboursKeepTheirFlows ) {
   struct {
      char const * change;
      std::string pointer;
      std::string value;
   } const cases[] = {
      { "moved", "/hub/loomis/version2/vni/5010/macVtepTable/02:00:aa:00:00:02/vtepIp", "\"192.0.2.3\"" },
      { "in another VNI", "/hub/loomis/version2/vni",
        R"({"5010": {"ipToMacTable": {"10.0.0.2": null}},
            "5011": {"ipToMacTable": {"10.0.0.2": {"mac": "02:00:aa:00:00:02"}}}})" },
      { "removed", "/state/kiv/servicePolicyConfig/site/servicePolicy/web/interceptFlow/10.0.0.2~132", "null" },
   };
   for( auto const & [ change, pointer, value ] : cases ) {
      SCOPED_TRACE( change );
      Fabric before;
      build( before );
      std::vector< std::string > hosts;
      for( char digit = '1'; digit <= '5'; ++digit ) {
         hosts.push_back( std::string( "10.0.0." ) + digit );
         before.host( hosts.back(), std::string( "02:00:aa:00:00:0" ) + digit, 'C' );
      }
      before.group( "web", hosts );
      before.switchesAnswer();
      Fabric after;
      after.patch( "/state", before.get( "/state" ) );
      after.patch( "/hub", before.get( "/hub" ) );
      after.patch( pointer, value );
      after.journal();
      after.start();
      after.switchesAnswer();
      for( auto const & write : after.journal() ) {
         bool const own = write.find( "-InsideVtepIngress-10.0.0.2" ) != std::string::npos;
         EXPECT_TRUE( own || write.find( " -" ) == std::string::npos ) << write;
      }
      EXPECT_FALSE( after.flows( 'C' ).contains( "InsideVtepIngress-10.0.0.2" ) );
   }
}

// No switch remembers the old MAC, but the published tree does: a later restart would place it again.
TEST( Restart, ACookieOfAnotherMacGoes ) {
   for( char at : { 'A', 'C' } ) {
      SCOPED_TRACE( at );
      Fabric before;
      build( before );
      before.host( "10.0.0.2", "02:00:aa:00:00:02", at );
      before.group( "web", { "10.0.0.2" } );
      before.switchesAnswer();
      auto const published = "/hub/kiv/version1/policy/switch/" + Fabric::id( at, '-' );
      auto const cookie = published + "/policyFragment/web-5010/grCookie/interceptInfo/10.0.0.2";
      EXPECT_NE( before.get( cookie ), "" );
      Fabric after;
      after.patch( "/state", before.get( "/state" ) );
      after.patch( "/hub", before.get( "/hub" ) );
      for( char letter = 'A'; letter <= 'E'; ++letter ) after.patch( status + Fabric::id( letter, '-' ), "null" );
      after.patch( published + "/policyFragment/web-5010/flow/InsideVtepIngress-10.0.0.2", "null" );
      after.host( "10.0.0.2", "02:00:aa:00:00:03", at );
      after.start();
      EXPECT_EQ( after.get( cookie ), "" );
   }
}

// A service VTEP that has not reported keeps the hosts from new flows, but those that they have are theirs.
TEST( Restart, HostsOfAnUnconvergedGroupCanMoveAndGo ) {
   Fabric before;
   build( before );
   before.host( "10.0.0.2", "02:00:aa:00:00:02", 'D' );
   before.group( "web", { "10.0.0.2" } );
   before.switchesAnswer();
   for( bool const joins : { true, false } ) {
      SCOPED_TRACE( joins ? "it is a new one" : "it remembers what it was, and has nothing programmed yet" );
      Fabric after;
      after.patch( "/state", before.get( "/state" ) );
      after.patch( "/hub", before.get( "/hub" ) );
      if( joins ) {
         after.port( "near", 'E' );
      } else {
         after.patch( status + Fabric::id( 'B', '-' ) + "/policyFragment/web-5010/flowStatus", "null" );
      }
      after.start();
      EXPECT_EQ( after.flows( 'D' ), insideFlows( { "10.0.0.2" } ) );
      after.patch( "/state/kiv/servicePolicyConfig/site/servicePolicy/web/interceptFlow/10.0.0.2~132", "null" );
      EXPECT_EQ( after.flows( 'A' ), bothFlows( { "10.0.0.1" } ) );
      after.host( "10.0.0.1", web, 'D', 5010, 2 );
      after.switchesAnswer();
      EXPECT_EQ( after.flows( 'C' ), std::set< std::string >() );
      EXPECT_EQ( after.flows( 'D' ), insideFlows( { "10.0.0.1" } ) );
   }
}

TEST( Restart, TheMajorityOfTheSwitchesKeepsTheServiceVni ) {
   Fabric fabric;
   build( fabric );
   fabric.switchesAnswer();
   for( char letter : { 'A', 'C' } ) reportServiceVni( fabric, letter, 20007 );
   fabric.restart();
   fabric.switchesAnswer();
   EXPECT_EQ( fabric.get( running + "originalToServiceVni/5010" ), "20007" );
   EXPECT_EQ(
      fabric.get( "/hub/kiv/version1/policy/switch/" + Fabric::id( 'C', '-' ) + "/policyFragment/web-5010/serviceVni" ),
      "20007" );
   fabric.expectRepeatChangesNothing();
}

// What changes while nobody listens: the feature is off, or another start's documents differ.
TEST( Restart, TheConfigurationMayHaveChangedMeanwhile ) {
   struct {
      char const * change;
      std::string pointer;
      std::string value;
      Published end;
   } const cases[] = {
      { "the host left the group",
        "/state/kiv/servicePolicyConfig/site/servicePolicy/web/interceptFlow/10.0.0.1~132",
        "null",
        {} },
      { "the group is gone", "/state/kiv/servicePolicyConfig/site/servicePolicy/web", "null", {} },
      { "the host has moved",
        "/hub/loomis/version2/vni/5010/macVtepTable/" + web,
        R"({"vtepIp": "192.0.2.3", "moveCount": 2})",
        { { 'A', { { "web-5010", bothFlows( { "10.0.0.1" } ) } } },
          { 'B', { { "web-5010", bothFlows( { "10.0.0.1" } ) } } },
          { 'D', { { "web-5010", insideFlows( { "10.0.0.1" } ) } } } } },
      { "a service VTEP lost its ports",
        "/state/kiv/serviceIntfConfig/site/intfSet",
        R"({"near": {"intf": {"02:00:00:00:00:0b/near": null}}, "far": {"intf": {"02:00:00:00:00:0b/far": null}}})",
        { { 'A', { { "web-5010", bothFlows( { "10.0.0.1" } ) } } },
          { 'C', { { "web-5010", insideFlows( { "10.0.0.1" } ) } } } } },
      { "the device has no near port left", "/state/kiv/serviceIntfConfig/site/intfSet/near", "null", {} },
      { "the feature is off", "/state/kiv/config/enabled", "false", {} },
      { "another range of service VNIs",
        "/state/kiv/config/vniRange",
        "\"300-310\"",
        { { 'A', { { "web-5010", bothFlows( { "10.0.0.1" } ) } } },
          { 'B', { { "web-5010", bothFlows( { "10.0.0.1" } ) } } },
          { 'C', { { "web-5010", insideFlows( { "10.0.0.1" } ) } } } } },
      { "another near set",
        "/state/kiv/servicePolicyConfig/site/servicePolicy/web/nearIntfUuid",
        "\"n2\"",
        { { 'A', { { "web-5010", bothFlows( { "10.0.0.1" } ) } } },
          { 'B', { { "web-5010", bothFlows( { "10.0.0.1" } ) } } },
          { 'C', { { "web-5010", insideFlows( { "10.0.0.1" } ) } } },
          { 'E', { { "web-5010", bothFlows( { "10.0.0.1" } ) } } } } },
   };
   for( auto const & [ change, pointer, value, end ] : cases ) {
      SCOPED_TRACE( change );
      Fabric before;
      build( before );
      before.port( "n2", 'E' );
      before.switchesAnswer();
      auto const state = before.get( "/state" );
      auto const hub = before.get( "/hub" );
      Fabric after; // a new process, whose documents were saved and edited
      after.patch( "/state", state );
      after.patch( "/hub", hub );
      after.patch( pointer, value );
      after.start();
      after.switchesAnswer();
      EXPECT_EQ( after.published(), end );
      if( end.empty() ) { // nor does the running info speak of what was
         EXPECT_EQ( after.get( running + "serviceVtepSwitchId/" + Fabric::id( 'A' ) ), "" );
      }
      after.expectRepeatChangesNothing();
   }
}
