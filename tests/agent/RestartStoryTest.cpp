// The agent is killed and starts again on what the databases hold.
#include "tests/scenery/Redirect.h"

#include <functional>

using namespace Scenery;

namespace {

struct Redirected : Scene {
   Redirected() { group( "web", { "10.0.0.1" } ); }
};

std::string const running = "/state/kiv/servicePolicyStatus/policyRunningInfo/web/";

} // namespace

TEST( Restart, InEachPhaseLeavesWhatIsPublishedAndComesToTheSameEnd ) {
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
           for( char letter : { 'A', 'B', 'C' } ) fabric.patch( Fabric::report( letter ) + "/grCookie", "null" );
        } },
      { "one switch never comes back",
        []( Fabric & fabric ) {
           fabric.switchesAnswer();
           fabric.patch( Fabric::reports( 'C' ), "null" );
        } },
   };
   for( auto const & [ phase, happened, servedPast ] : cases ) {
      SCOPED_TRACE( phase );
      Redirected fabric;
      happened( fabric );
      for( bool const again : { false, true } ) {
         bool const keeps = again || !servedPast;
         auto const before = fabric.get( "/hub/kiv/version1/policy/switch" );
         auto const seen = fabric.published();
         fabric.journal();
         fabric.restart();
         if( keeps ) {
            EXPECT_EQ( fabric.journal(), std::vector< std::string >() );
            EXPECT_EQ( fabric.get( "/hub/kiv/version1/policy/switch" ), before );
            EXPECT_EQ( fabric.published(), seen );
         }
         fabric.switchesAnswer();
         for( auto const & write : fabric.journal() ) {
            EXPECT_TRUE( !keeps || write.find( " -" ) == std::string::npos ) << write;
         }
         EXPECT_EQ( fabric.published(), diverted( "AB", "C" ) );
         EXPECT_EQ( fabric.get( running + "originalToServiceVni/5010" ), "20000" );
         EXPECT_EQ( fabric.stateOf( "web" ), "\"policyRunning\"" );
         fabric.expectRepeatChangesNothing();
      }
   }
}

TEST( Restart, KeepsAHostThatCameFromAServiceVtepWhereItIs ) {
   Redirected fabric;
   fabric.group( "web", { "10.0.0.2" } );
   fabric.host( "10.0.0.2", shop, 'A' ); // a first sighting is taken as it is
   fabric.switchesAnswer();
   fabric.host( "10.0.0.2", shop, 'D', 5010, 2 );
   fabric.switchesAnswer();
   fabric.host( "10.0.0.2", shop, 'A', 5010, 3 ); // its redirected traffic
   fabric.journal();
   fabric.restart();
   fabric.switchesAnswer();
   EXPECT_EQ( fabric.journal(), std::vector< std::string >() );
   EXPECT_TRUE( fabric.flows( 'D' ).contains( "InsideVtepIngress-10.0.0.2" ) );
}

TEST( Restart, TheMajorityOfTheSwitchesDecidesOfTheServiceVni ) {
   for( std::string const letters : { "A", "B", "C", "AC" } ) {
      SCOPED_TRACE( letters );
      bool const majority = letters.size() > 1;
      Redirected fabric;
      fabric.switchesAnswer();
      for( char letter : letters ) fabric.patch( Fabric::report( letter ) + "/serviceVni", "20007" );
      fabric.journal();
      fabric.restart();
      EXPECT_EQ( fabric.journal().empty(), !majority ) << "one switch alone moves nothing";
      fabric.switchesAnswer();
      EXPECT_EQ( fabric.get( "/hub/kiv/version1/policy/switch/" + Fabric::id( 'C', '-' )
                             + "/policyFragment/web-5010/serviceVni" ),
                 majority ? "20007" : "20000" );
      fabric.expectRepeatChangesNothing();
   }
}

TEST( Restart, AGroupThatOnlyASwitchRemembersTakesNobodysFlows ) {
   Redirected fabric;
   fabric.switchesAnswer();
   fabric.patch( Fabric::report( 'D', "ghost-5010" ),
                 R"({"originalVni": 5010, "grCookie": {"interceptInfo": {"10.0.0.1": {"mac": ")" + web + R"("}}}})" );
   fabric.journal();
   fabric.restart();
   EXPECT_EQ( fabric.journal(), std::vector< std::string >() );
   EXPECT_EQ( fabric.stateOf( "ghost" ), "" );
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
      { "removed", hostsOfWeb + "10.0.0.2~132", "null" },
   };
   for( auto const & [ change, pointer, value ] : cases ) {
      SCOPED_TRACE( change );
      Redirected before;
      std::vector< std::string > hosts;
      for( char digit = '1'; digit <= '5'; ++digit ) {
         hosts.push_back( std::string( "10.0.0." ) + digit );
         before.host( hosts.back(), std::string( "02:00:aa:00:00:0" ) + digit, 'C' );
      }
      before.group( "web", hosts );
      before.switchesAnswer();
      Fabric after;
      after.takeOver( before );
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
      Redirected before;
      before.host( "10.0.0.2", "02:00:aa:00:00:02", at );
      before.group( "web", { "10.0.0.2" } );
      before.switchesAnswer();
      auto const published = "/hub/kiv/version1/policy/switch/" + Fabric::id( at, '-' );
      auto const cookie = published + "/policyFragment/web-5010/grCookie/interceptInfo/10.0.0.2";
      EXPECT_NE( before.get( cookie ), "" );
      Fabric after;
      after.takeOver( before );
      for( char letter = 'A'; letter <= 'E'; ++letter ) after.patch( Fabric::reports( letter ), "null" );
      after.patch( published + "/policyFragment/web-5010/flow/InsideVtepIngress-10.0.0.2", "null" );
      after.host( "10.0.0.2", "02:00:aa:00:00:03", at );
      after.start();
      EXPECT_EQ( after.get( cookie ), "" );
   }
}

// A service VTEP that has not reported keeps the hosts from new flows, but those that they have are theirs.
TEST( Restart, HostsOfAnUnconvergedGroupCanMoveAndGo ) {
   Redirected before;
   before.host( "10.0.0.2", shop, 'D' );
   before.group( "web", { "10.0.0.2" } );
   before.switchesAnswer();
   for( bool const joins : { true, false } ) {
      SCOPED_TRACE( joins ? "it is a new one" : "it remembers what it was, and has nothing programmed yet" );
      Fabric after;
      after.takeOver( before );
      if( joins ) {
         after.port( "near", 'E' );
      } else {
         after.patch( Fabric::report( 'B' ) + "/flowStatus", "null" );
      }
      after.start();
      EXPECT_EQ( after.flows( 'D' ), insideFlows( { "10.0.0.2" } ) );
      after.patch( hostsOfWeb + "10.0.0.2~132", "null" );
      EXPECT_EQ( after.flows( 'A' ), bothFlows( { "10.0.0.1" } ) );
      after.host( "10.0.0.1", web, 'D', 5010, 2 );
      after.switchesAnswer();
      EXPECT_EQ( after.published(), diverted( joins ? "ABE" : "AB", "D" ) );
   }
}

// What changes while nobody listens: the feature is off, or another start's documents differ.
TEST( Restart, TheConfigurationMayHaveChangedMeanwhile ) {
   struct {
      char const * change;
      std::string pointer;
      std::string value;
      Published end;
   } const cases[] = {
      { "the host left the group", hostsOfWeb + "10.0.0.1~132", "null", {} },
      { "the group is gone", groups + "web", "null", {} },
      { "the host has moved", "/hub/loomis/version2/vni/5010/macVtepTable/" + web,
        R"({"vtepIp": "192.0.2.3", "moveCount": 2})", diverted( "AB", "D" ) },
      { "a service VTEP lost its ports", "/state/kiv/serviceIntfConfig/site/intfSet",
        R"({"near": {"intf": {"02:00:00:00:00:0b/near": null}}, "far": {"intf": {"02:00:00:00:00:0b/far": null}}})",
        diverted( "A", "C" ) },
      { "the device has no near port left", "/state/kiv/serviceIntfConfig/site/intfSet/near", "null", {} },
      { "the feature is off", "/state/kiv/config/enabled", "false", {} },
      { "another range of service VNIs", "/state/kiv/config/vniRange", "\"300-310\"", diverted( "AB", "C" ) },
      { "another near set", groups + "web/nearIntfUuid", "\"n2\"", diverted( "ABE", "C" ) },
   };
   for( auto const & [ change, pointer, value, end ] : cases ) {
      SCOPED_TRACE( change );
      Redirected before;
      before.port( "n2", 'E' );
      before.switchesAnswer();
      Fabric after; // a new process, whose documents were saved and edited
      after.takeOver( before );
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
