// What a client is refused, where, and what it is told.
#include "tests/host/Client.h"

namespace {

class RefusalTest : public Client {
 protected:
   /// The error of an answer, "<at> <reason>", or "ok".
   static std::string errorOf( std::string const & answer ) {
      auto const document = Host::parsed( answer );
      if( !document.HasMember( "error" ) ) return "ok";
      auto const & error = document[ "error" ];
      return std::string( error[ "at" ].GetString() ) + " " + error[ "reason" ].GetString();
   }
   std::string watch( std::string const & pointer ) { return errorOf( ask( "{\"watch\": \"" + pointer + "\"}" ) ); }
};

} // namespace

TEST_F( RefusalTest, ABadPatchNamesItsPlaceAndChangesNothing ) {
   std::string const key = "no valid key: ", twice = "the key stands twice in its object";
   std::string const prefix = "; expected is a prefix, as \"10.0.0.1/32\"", vlan = "; expected is a VLAN, 0 to 4095";
   std::string const states = "; known are policyDeleted, policyPending, policyRestored, policyRunning, "
                              "policyOrchestrating, policyIntfChanging";
   struct {
      std::string pointer, value, below, reason; // the reason in its beginning
   } const cases[] = {
      { config, R"({"enabled":true,"vniRange":5})", "/vniRange", "a string is expected" },
      { config, R"({"enabled":true,"enabld":1})", "/enabld",
        "no such attribute of Kiv::Config: \"enabld\"; known are enabled, vniRange, " },
      { config, R"({"enabled":true,"a/b~c":1})", "/a~1b~0c", "no such attribute of Kiv::Config: \"a/b~c\"" },
      { config + "/staleHostThreshold", "65536", "", "out of range: 0 to 65535" },
      { config + "/staleHostThreshold", "1.5", "", "an integer is expected" },
      { config + "/flowRemovalPeriod", "0.999", "", "a period is at least 1 s" },
      { config + "/staleHostCheckPeriod", "-1", "", "a period is at least 1 s" },
      { "/state/controler", "{}", "", "no such record: \"controler\"; known are controller, kiv" },
      { "/agent/servicePolicyConfig", "{}", "!/agent", "read-only" },
      { "/switch", "null", "", "read-only" },
      { "/state", "null", "", "a record at a fixed path cannot be deleted" },
      { config, "null", "", "a record at a fixed path cannot be deleted" },
      { leader, "null", "", "a record at a fixed path cannot be deleted" },
      { leader + "/default", "null", "", "a record at a fixed path cannot be deleted" },
      { config, R"({"enabled":true,"enabled":false})", "/enabled", twice },
      { group + "/interceptFlow", R"({"10.0.0.1":{},"10.0.0.1/32":{}})", "/10.0.0.1~132",
        "the key stands in its object as \"10.0.0.1\", too" },
      { group + "/policyName", R"({"a":true,"b":false})", "/b", "true or null is expected" },
      { group + "/interceptFlow", R"({"10.0.0.1/33":{}})", "/10.0.0.1~133", key + "\"10.0.0.1/33\"" + prefix },
      { intf, R"({"Ethernet1":{}})", "/Ethernet1", key + "\"Ethernet1\"; expected is a port, as" },
      { intf, R"({"a/1":{"allowedVlan":{"4096":true}}})", "/a~11/allowedVlan/4096", key + "\"4096\"" + vlan },
      { intf, R"({"a/1":{"allowedVlan":{"-1":null}}})", "/a~11/allowedVlan/-1", key + "\"-1\"" + vlan },
      { host + "/state", R"("policyDelete")", "", "no such enumerator: \"policyDelete\"" + states },
      { host + "/state", R"("policyRunning\u0000")", "", "no such enumerator: \"policyRunning" },
      { host + "/state", "4294967296", "", "no such enumerator: \"4294967296\"; known are " },
      { host + "/state", "true", "", "no such enumerator: \"true\"; known are policy" },
      { host + "/insideVtepSwitchPair", R"(["a"])", "", "an array of two strings is expected" },
      { host + "/mac", R"("02:00")", "", "not of the expected form: \"02:00\"; expected is a MAC, as" },
      { fragment + "/originalVni", "18446744073709551616", "", "out of range: 0 to 16777216" },
      { fragment + "/flow", R"({"f":{"matchVni":1,"matchSmac":"f"}})", "/f/matchSmac",
        "no such field of Kiv::V1::PolicyFlowInfo: \"matchSmac\"; known are matchSMac, " },
      { fragment + "/flow", R"({"f":{"flowName":"f"}})", "/f/flowName", "no such field of Kiv::V1::PolicyFlowInfo" },
      { "/hub/kiv/version2/vniStatusDir/vniStatusV2", R"({"16777216":{}})", "/16777216",
        key + "\"16777216\"; expected is a VNI, 0 to 16777215" },
      { sources, R"({"":{}})", "/", "an empty key" },
      { vnis, R"({"05":{}})", "/05", key + "\"05\"; expected is \"5\"" },
      { vnis, R"({"05010":{}})", "/05010", key + "\"05010\"; expected is \"5010\"" },
      { vnis, R"({"5010 ":null})", "/5010 ", key + "\"5010 \"; expected is \"5010\"" },
      { vnis, R"({"00":{}})", "/00", key + "\"00\"; expected is \"0\"" },
      { vnis, R"({"+1":{}})", "/+1", key + "\"+1\"; expected is a VNI, 0 to 16777215" },
      { published, R"({"02:00:00:00:00:0a":{}})", "/02:00:00:00:00:0a",
        key + "\"02:00:00:00:00:0a\"; expected is \"02-00-00-00-00-0a\"" },
   };
   auto const before = get( "" );
   ask( R"({"watch": ""})" );
   for( auto const & [ pointer, value, below, reason ] : cases ) {
      auto const place = below.starts_with( "!" ) ? below.substr( 1 ) : pointer + below;
      auto const error = errorOf( write( pointer, value ) );
      EXPECT_TRUE( error.starts_with( place + " " + reason ) ) << pointer << " " << value << "\n" << error;
   }
   EXPECT_EQ( get( "" ), before );
   EXPECT_EQ( told(), std::vector< std::string >() );
}

TEST_F( RefusalTest, ARangeOfVnisIsReadStrictly ) {
   for( std::string const range : { "", "1", "16777215", "1-16777215", "7-7", "20000-20999,300,007" } )
      EXPECT_EQ( errorOf( write( config + "/vniRange", "\"" + range + "\"" ) ), "ok" ) << range;
   auto const expectRefused = [ & ]( std::string const & ranges, std::string const & which ) {
      auto const error = errorOf( write( config + "/vniRange", "\"" + ranges + "\"" ) );
      auto const reason = ", but must be \"a\" or \"a-b\" with 1 <= a <= b <= 16777215";
      EXPECT_TRUE( error.starts_with( config + "/vniRange range " + which + reason ) ) << ranges << "\n" << error;
   };
   expectRefused( ",,,", "1 is \"\"" );
   expectRefused( "1,2,,3", "3 is \"\"" );
   expectRefused( "1,20000junk", "2 is \"20000junk\"" );
   for( std::string const range : { "5-1", "0", "0-5", "1-2-3", "1-", "-1", "+1", "1 -2", " 1", "1-2 ", "16777216",
                                    "1-16777216", "18446744073709551617", "0x10" } )
      expectRefused( range, "1 is \"" + range + "\"" );
}

TEST_F( RefusalTest, WhatTheFormAllowsPasses ) {
   std::pair< std::string, std::string > const cases[] = {
      { "a foreign switch id", at( published + "/Leaf 1", "{}" ) },
      { "the zero VNI and the last", at( vnis, R"({"0": {}, "16777215": {}})" ) },
      { "a key of a collection in another form", at( host, "{}" ) },
      { "the number of an enumerator", at( host + "/state", "7.0" ) },
      { "the first and the last VLAN", at( intf, R"({"a/1": {"allowedVlan": {"0": true, "4095": true}}})" ) },
      { "the shortest period", at( config, R"({"flowRemovalPeriod": 1, "staleHostCheckPeriod": 1e300})" ) },
      { "an entry deleted that is not there", at( vnis + "/7", "null" ) },
   };
   for( auto const & [ what, document ] : cases ) EXPECT_EQ( errorOf( patch( document ) ), "ok" ) << what;
}

TEST_F( RefusalTest, WhatAClientWroteIsCutInAnError ) {
   std::string const far = "/state/kiv/config/" + std::string( 181, 'x' ); // one character short of the end
   std::string const wide = "\u00e4\u00e4\u00e4";
   auto const answer = Host::parsed( write( far + wide, "1" ) );
   auto const & error = answer[ "error" ];
   EXPECT_EQ( error[ "at" ].GetString(), far + "\u00e4" ) << "200 characters, none of them in part";
   std::string const reason = error[ "reason" ].GetString();
   EXPECT_TRUE(
      reason.starts_with( "no such attribute of Kiv::Config: \"" + std::string( 181, 'x' ) + wide + "\"; " ) );
   EXPECT_LT( write( "/state/" + std::string( 100'000, 'y' ), "{}" ).size(), 1000u );
   EXPECT_LT( ask( "{\"get\": \"" + std::string( 100'000, 'y' ) + "\"}" ).size(), 1000u );
   EXPECT_LT( ask( "{\"get\": \"/" + std::string( 100'000, 'y' ) + "\"}" ).size(), 1000u );
}

TEST_F( RefusalTest, RequestsThatAreNone ) {
   auto const deep = std::string( 200'000, '[' ) + std::string( 200'000, ']' );
   auto const show = []( std::string const & rest ) {
      return R"({"command": {"name": "showPolicyDetail", "params": {"_format": )" + rest + "}}}";
   };
   ask( R"({"start": true})" );
   enable( "7" );
   std::pair< std::string, std::string > const cases[] = {
      { "{}", " no request" },
      { R"({"note": "alone"})", " no request" },
      { R"([])", " a request is a JSON object" },
      { R"({"wach": "/hub"})", " unknown request: \"wach\"; known are watch, patch, " },
      { R"({"turns": true, "watch": "/hub"})", "/turns no such member of a watch request: \"turns\"; known is note" },
      { R"({"log": true, "get": ""})", " more than one request in a line" },
      { R"({"get": "", "get": ""})", "/get the key stands twice in its object" },
      { R"({"get": "", "note": {"a": [1, {"b": 1, "b": 2}]}})", "/note/a/1/b the key stands twice in its object" },
      { R"({"get": ""} {"get": ""})", " The document root must not be followed by other values. (at character 13)" },
      { std::string( "{\"get\": \"\"}\0x", 13 ), " A zero character is no JSON. (at character 12)" },
      { "{\"get\": \"\xff\"}", " Invalid encoding in string. (at character 10)" },
      { R"({"get": "/\ud83d\udc00x\udc00"})", " A low surrogate without a high one. (at character 24)" },
      { R"({"patch": {"state": 1e400}})", " Number too big to be stored in double. (at character 21)" },
      { R"({"note": "[[[\"[", "note": )" + deep + "}", " Nested too deeply. (at character 127)" },
      { R"({"patch": null})", " a patch is a JSON object" },
      { R"({"start": true})", " the agent is started already" },
      { R"({"restart": 1})", " true is expected" },
      { R"({"advance": -0.5})", " a number of seconds is expected, 0 or more" },
      { R"({"advance": "1"})", " a number of seconds is expected, 0 or more" },
      { R"({"advance": NaN})", " Invalid value. (at character 13)" },
      { R"({"advance": 1e300})", " the clock cannot advance by 1e+300 s" },
      { R"({"command": "showPolicyDetail"})", "/command an object is expected" },
      { R"({"command": {"name": "showPolicyDetail", "param": {}}})",
        "/command/param no such member of a command: \"param\"; known are params, name" },
      { show( "1" ), "/command/params/_revision it is missing" },
      { show( R"(-1, "_revision": 1)" ), "/command/params/_format an unsigned 32-bit integer is expected" },
      { show( R"(1, "_revision": 1, "policy": 1)" ), "/command/params/policy a string is expected" },
      { show( R"(1, "_revision": 1, "polcy": "web")" ),
        "/command/params/polcy no such parameter: \"polcy\"; known are policy, " },
      { show( R"(1, "_revision": 1, "_format": 2)" ), "/command/params/_format the key stands twice" },
      { R"({"command": {"name": "showPolicy", "params": {"_format": 1, "_revision": 1}}})",
        "/command/name no such command: \"showPolicy\"; known is showPolicyDetail" },
   };
   for( auto const & [ request, error ] : cases ) {
      auto const given = errorOf( ask( request ) );
      EXPECT_TRUE( given.starts_with( error ) ) << request.substr( 0, 100 ) << "\n" << given;
   }
   EXPECT_EQ( ask( R"({"note": "said to a reader", "log": true})" + std::string( "\r" ) ), R"({"ok":true,"log":[]})" );
}

TEST_F( RefusalTest, APlaceThatCannotComeIsNotWatched ) {
   std::string const flow = fragment + "/flow/f";
   for( auto const & pointer : { std::string(), std::string( "/switch/02-00-00-00-00-0a/kiv/version1" ),
                                 std::string( "/agent/policyHelperInfo/ipToPolicy/10.0.0.1/mac" ), flow + "/matchVni",
                                 intf + "/a~11/allowedVlan/7", std::string( "/service/Kiv/serviceMountGroup/mg1" ) } )
      EXPECT_EQ( watch( pointer ), "ok" ) << pointer;
   std::pair< std::string, std::string > const cases[] = {
      { "/stat", "no such record: \"stat\"; known are state, " },
      { "/agent/policyHelper", "no such record: \"policyHelper\"; known are policyHelperInfo, " },
      { "/switch/02-00-00-00-00-0A", "no valid key: \"02-00-00-00-00-0A\"; expected is \"02-00-00-00-00-0a\"" },
      { "/switch/a/kiv/version2", "no such record: \"version2\"; known is version1" },
      { config + "/enable", "no such attribute of Kiv::Config: \"enable\"; known are enabled, " },
      { config + "/enabled/x", "nothing stands below a value" },
      { vnis + "/5010/ipToMacTable/10.0.0", "no valid key: \"10.0.0\"; expected is an address" },
      { flow + "/matchVn", "no such field of Kiv::V1::PolicyFlowInfo: \"matchVn\"; known are matchVni, " },
      { intf + "/a~11/allowedVlan/x", "no valid key: \"x\"; expected is a VLAN" },
      { host + "/insideVtepSwitchPair/2", "no such member: \"2\"; known are 0, 1" },
   };
   for( auto const & [ pointer, reason ] : cases ) {
      auto const error = watch( pointer );
      EXPECT_TRUE( error.starts_with( pointer + " " + reason ) ) << pointer << "\n" << error;
   }
}
