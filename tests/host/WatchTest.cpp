// What a client is told, and what a restart leaves as it was.
#include "platform/lum/Machine.h"
#include "records/kiv/PolicyConfig.h"
#include "tests/host/Client.h"
#include "tests/scenery/Redirect.h"

namespace {

using Lines = std::vector< std::string >;
using Scenery::Redirect;

class WatchTest : public Client {
 protected:
   void watch( std::string const & pointer ) { ask( "{\"watch\": \"" + pointer + "\"}" ); }
   /// Writes, and gives what was told of it.
   Lines toldOf( std::string const & pointer, std::string const & value ) {
      write( pointer, value );
      return told();
   }
};

/// Raises at every change of the switch.
class Grumbler : public Lum::PtrInterface {
   LUM_MACHINE( Grumbler );
   LUM_ARG_INPUT( config, Kiv::Config const, LUM_ON( enabled, grumble ) );

   void handleInitialized() {}
   void grumble() { throw std::runtime_error( "not again" ); }
};

std::string const flow = fragment + "/flow/f";

} // namespace

TEST_F( WatchTest, EachWriteIsOneLineInTheOrderOfThePatch ) {
   watch( "" );
   watch( group );
   EXPECT_EQ( toldOf( sources, R"({"site": {"servicePolicy": {"web": {
                 "farIntfUuid": "far", "serviceDeviceId": "", "nearIntfUuid": "a"}}}})" ),
              ( Lines{ at( sources + "/site", "{}" ), at( group, "{}" ), at( group, R"({"farIntfUuid":"far"})" ),
                       at( group, R"({"nearIntfUuid":"a"})" ) } ) );
}

TEST_F( WatchTest, TellsWhatConcernsThePlaceAlone ) {
   for( char const * place : { "/nearIntfUuid", "/policyName", "/interceptFlow/10.0.0.1" } ) watch( group + place );
   watch( flow + "/matchVni" );
   struct {
      std::string pointer, value;
      Lines told;
   } const cases[] = {
      { group, R"({"serviceDeviceId": "d"})", {} },
      { group + "/nearIntfUuid", R"("n")", { at( group, R"({"nearIntfUuid":"n"})" ) } },
      { group + "/nearIntfUuid", R"("n")", {} },
      { group + "/policyName", R"({"a/b": true})", { at( group, R"({"policyName":{"a/b":true}})" ) } },
      { group + "/policyName", "null", { at( group, R"({"policyName":{"a/b":null}})" ) } },
      // The key is a host's address; it is told under the prefix.
      { group + "/interceptFlow/10.0.0.1", "{}", { at( group + "/interceptFlow", R"({"10.0.0.1/32":{}})" ) } },
      { group + "/nearIntfUuid", "null", { at( group, R"({"nearIntfUuid":""})" ) } },
      { sources, R"({"other": {}, "site": null})", { at( sources + "/site", "null" ) } },
      { sources + "/site", "{}", {} },
      { flow, R"({"rewriteVni": 2, "matchVni": 1})", { at( flow, R"({"matchVni":1,"rewriteVni":2})" ) } },
   };
   for( auto const & [ pointer, value, expected ] : cases ) EXPECT_EQ( toldOf( pointer, value ), expected ) << value;
}

TEST_F( WatchTest, AFieldThatAValueLostIsNull ) {
   write( flow, R"({"matchVni": 1, "rewriteVni": 2})" );
   watch( "/hub/kiv" );
   std::pair< char const *, char const * > const cases[] = {
      { R"({"matchVni": null})", R"({"matchVni":null,"rewriteVni":2})" },
      { R"({"serviceIntf": "near"})", R"({"rewriteVni":2,"serviceIntf":"near"})" },
      { R"({"serviceIntf": null, "rewriteVni": null})", R"({"rewriteVni":null,"serviceIntf":null})" },
      { R"({"matchVni": 1})", R"({"matchVni":1})" },
      { "null", "null" },
   };
   for( auto const & [ value, change ] : cases ) EXPECT_EQ( toldOf( flow, value ), Lines{ at( flow, change ) } );
}

TEST_F( WatchTest, TheAgentsWritesComeBeforeTheAnswer ) {
   ask( R"({"start": true})" );
   for( char const * dir : { "Config", "SourceState" } )
      write( std::string( "/state/kiv/servicePolicy" ) + dir + "/site", "{}" );
   write( "/state/kiv/serviceIntfConfig/site", "{}" );
   watch( "/state/kiv" );
   watch( "/agent/servicePolicyConfig" );
   EXPECT_EQ( enable( "1-9" ), R"({"ok":true})" );
   EXPECT_EQ( told(), ( Lines{ at( "/state/kiv/config/vniRange", "\"1-9\"" ), at( "/state/kiv/config/enabled", "true" ),
                               at( "/state/kiv/status/running", "true" ) } ) );
   EXPECT_EQ( toldOf( group, "{}" ),
              ( Lines{ at( group, "{}" ), at( "/agent/servicePolicyConfig/servicePolicy/web", "{}" ) } ) );
   ask( R"({"restart": true})" );
   EXPECT_EQ( told(), Lines{ at( "/agent/servicePolicyConfig/servicePolicy/web", "{}" ) } )
      << "ended as by a kill: the new agent takes up what is there, and nothing was taken back before";
   EXPECT_EQ( get( "/state/kiv/status" ), R"({"running":true})" );
}

TEST_F( WatchTest, WhatAHandlerRaisesIsNamedAndThePatchStands ) {
   Lum::Ptr< Kiv::Config const > const watched = session.tree().state()->getEntity< Kiv::Config >( "kiv/config" );
   auto const grumbler = Lum::Factory< Grumbler >()( watched );
   EXPECT_EQ( write( config, R"({"enabled": true, "vniRange": "7"})" ), R"({"ok":true,"raised":["not again"]})" );
   EXPECT_EQ( get( config ), R"({"enabled":true,"vniRange":"7"})" );
   EXPECT_EQ( ask( R"({"log": true})" ), R"({"ok":true,"log":[]})" );
}

TEST_F( Redirect, ARestartKeepsTheLogAndTheClockAndBringsALostDirectoryBack ) {
   redirect();
   fabric.patch( Scenery::egressOf( 'A' ), "3" );
   fabric.advance( 1 );
   fabric.restart();
   EXPECT_NE( fabric.ask( R"({"log": true})" ).find( "ZAR_KIV_REDIRECT_RULE_PROGRAM_ERROR" ), std::string::npos );
   EXPECT_EQ( fabric.ask( R"({"log": true})" ), R"({"ok":true,"log":[]})" );
   EXPECT_EQ( fabric.ask( R"({"advance": 1})" ), R"({"ok":true,"now":2.0})" );

   // The directory goes while it is published: the view goes with it.
   fabric.patch( "/hub/kiv/version1/policy/switch", "null" );
   EXPECT_EQ( fabric.get( "/switch" ), "{}" );
   fabric.restart(); // and comes back with the next agent
   EXPECT_FALSE( fabric.published().empty() );
}
