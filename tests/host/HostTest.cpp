// Documents and requests: what a client writes, reads, and is refused.
#include "tests/host/Client.h"

namespace {

class HostTest : public Client {};

std::string const ok = R"({"ok":true})";
std::string const config = "/state/kiv/config";
std::string const group = "/state/kiv/servicePolicyConfig/site/servicePolicy/web";
std::string const intf = "/state/kiv/serviceIntfConfig/site/intfSet/near/intf";
std::string const host = "/state/kiv/servicePolicyStatus/policyRunningInfo/web/hostInfo/10.0.0.1";
std::string const fragment = "/hub/kiv/version1/policy/switch/02-00-00-00-00-0a/policyFragment/web-5010";
std::string const reported = "/hub/kivclient/version1/policystatus/switch/02-00-00-00-00-0a/policyFragment/web-5010";
std::string const fdb = "/hub/loomis/version2/vni/5010";
std::string const leader = "/state/controller/cluster/statusDir/clusterStatus";

} // namespace

TEST_F( HostTest, ValuesAreReadInTheirOwnForm ) {
   struct {
      char const * form;
      std::string pointer, written, read;
   } const cases[] = {
      { "truth", config + "/enabled", "true", "true" },
      { "number", config + "/flowRemovalPeriod", "0.1", "0.1" },
      { "whole number", config + "/flowRemovalTriggerLimit", "7.0", "7" },
      { "text", config + "/vniRange", R"("1-\u00e4\"\u0000\/")", "\"1-\u00e4\\\"\\u0000/\"" },
      { "MAC", host + "/mac", R"("02-00-AA-BB-CC-DD")", R"("02:00:aa:bb:cc:dd")" },
      { "no MAC", fdb + "/ipToMacTable/10.0.0.9", R"({"mac":"00:00:00:00:00:00"})", "{}" },
      { "pair", host + "/insideVtepSwitchPair", R"(["","b"])", R"(["","b"])" },
      { "enumerator", host + "/state", R"("policyIntfChanging")", R"("policyIntfChanging")" },
      { "its number", fragment + "/flow/f/interceptAt", "1", R"("interceptAtEgress")" },
      { "number of none", host + "/state", "5", "5" },
      { "set", group + "/policyName", R"({"b/c":true,"a~b":true})", R"({"a~b":true,"b/c":true})" },
      { "prefix as key", group + "/interceptFlow", R"({"10.0.0.1":{},"2001:DB8::1/64":{}})",
        R"({"10.0.0.1/32":{},"2001:db8::1/64":{}})" },
      { "port as key", intf, R"({"02:00:00:00:00:0a/Ethernet1/1":{"allowedVlan":{"100":true,"200":true}}})",
        R"({"02:00:00:00:00:0a/Ethernet1/1":{"allowedVlan":{"100":true,"200":true}}})" },
      { "MAC as key", fdb + "/macVtepTable", R"({"02-00-00-00-00-01":{"flags":16,"moveCount":1}})",
        R"({"02:00:00:00:00:01":{"moveCount":1}})" },
      { "record in a record", reported + "/flowStatus", R"({"f":{"status":2,"hostMoveCount":{"moveCount":3}}})",
        R"({"f":{"status":2,"hostMoveCount":{"moveCount":3}}})" },
      { "single child", fragment + "/grCookie", R"({"interceptInfo":{"10.0.0.1":{"mac":"02:00:00:00:00:01"}}})",
        R"({"interceptInfo":{"10.0.0.1":{"mac":"02:00:00:00:00:01"}}})" },
      { "values by key", "/state/kiv/servicePolicyStatus/policyRunningInfo/web/fragmentRunningInfo/5010",
        R"({"serviceVtepFlowConverged":{"a":false,"b":true}})", R"({"serviceVtepFlowConverged":{"a":false,"b":true}})" }
   };
   for( auto const & [ form, pointer, written, read ] : cases ) {
      EXPECT_EQ( write( pointer, written ), ok ) << form;
      EXPECT_EQ( get( pointer ), read ) << form;
   }
   auto const all = get( "/state" ) + get( "/hub" );
   ask( R"({"watch": ""})" );
   EXPECT_EQ( write( "/state", get( "/state" ) ) + write( "/hub", get( "/hub" ) ), ok + ok );
   EXPECT_EQ( told(), std::vector< std::string >() ) << "a document that was read changes nothing";
   EXPECT_EQ( get( "/state" ) + get( "/hub" ), all );
}

TEST_F( HostTest, ReadsWhatStandsAndDefaultsOfWhatMayStand ) {
   write( group, R"({"policyName":{"b/c":true,"a~b":true},"interceptFlow":{"10.0.0.1":{}}})" );
   write( fragment + "/flow/f", R"({"matchVni":5010})" );
   write( host, R"({"insideVtepSwitchPair":["a","b"]})" );
   std::string const none = "no such record";
   std::string const malformed = "no JSON Pointer: \"";
   std::pair< std::string, std::string > const cases[] = {
      { "/agent", "{}" },
      { config + "/flowRemovalPeriod", "30.0" },
      { group + "/policyName/b~1c", "true" },
      { group + "/interceptFlow/10.0.0.1", "{}" },
      { group + "/interceptFlow/10.0.0.1~133", none },
      { "/state/kiv/servicePolicyConfig/site/servicePolicy/mail/serviceDeviceId", none },
      { fragment + "/flow/f/matchVni", "5010" },
      { fragment + "/flow/f/rewriteVni", "16777216" },
      { fragment + "/flow/f/flowName", none },
      { fragment + "/grCookie", "null" },
      { fragment + "/grCookie/isServiceVtep", none },
      { host + "/insideVtepSwitchPair/1", "\"b\"" },
      { host + "/insideVtepSwitchPair/2", none },
      { leader, R"({"default":{}})" },
      { "state", malformed + "state\": it must begin with \"/\"" },
      { "/state~", malformed + "/state~\": \"~\" must be followed by 0 or 1" },
   };
   for( auto const & [ pointer, value ] : cases ) EXPECT_EQ( get( pointer ), value ) << pointer;
}

TEST_F( HostTest, ABadPatchNamesItsPlaceAndChangesNothing ) {
   struct {
      std::string pointer, value, below, reason;
   } const cases[] = {
      { config, R"({"enabled":true,"vniRange":5})", "/vniRange", "a string is expected" },
      { config, R"({"enabled":true,"enabled":1})", "/enabled", "true or false is expected" },
      { config, R"({"enabled":true,"a/b~c":1})", "/a~1b~0c", "no such attribute of Kiv::Config" },
      { config + "/staleHostThreshold", "65536", "", "out of range: 0 to 65535" },
      { config + "/staleHostThreshold", "18446744073709551616", "", "out of range: 0 to 65535" },
      { config + "/staleHostThreshold", "1.5", "", "an integer is expected" },
      { "/state/nowhere", "{}", "", "no such record" },
      { "/agent/servicePolicyConfig", "{}", "!/agent", "read-only" },
      { "/state", "null", "", "a record at a fixed path cannot be deleted" },
      { leader, "null", "", "a record at a fixed path cannot be deleted" },
      { leader, R"({"default":{"leader":true},"default":null})", "/default",
        "a record at a fixed path cannot be deleted" },
      { "/state/kiv/servicePolicyConfig", R"({"":{}})", "/", "an empty key" },
      { group + "/policyName", R"({"a":true,"b":false})", "/b", "true or null is expected" },
      { group + "/interceptFlow", R"({"10.0.0.1/33":{}})", "/10.0.0.1~133", "no valid key: \"10.0.0.1/33\"" },
      { intf, R"({"Ethernet1":{}})", "/Ethernet1", "no valid key: \"Ethernet1\"" },
      { host + "/state", R"("policyRunning\u0000")", "", "no such enumerator: \"policyRunning" },
      { host + "/insideVtepSwitchPair", R"(["a"])", "", "an array of two strings is expected" },
      { host + "/mac", R"("02:00")", "", "not of the expected form: \"02:00\"" },
      { fragment + "/originalVni", "16777217", "", "out of range: 0 to 16777216" },
      { fragment + "/flow", R"({"f":{"matchVni":1,"flowName":"f"}})", "/f/flowName", "no such field" },
      { "/hub/kiv/version2/vniStatusDir/vniStatusV2", R"({"16777216":{}})", "/16777216", "no valid key: \"16777216\"" }
   };
   auto const before = get( "" );
   ask( R"({"watch": ""})" );
   for( auto const & [ pointer, value, below, reason ] : cases ) {
      SCOPED_TRACE( pointer + " " + value );
      auto const answer = Host::parsed( write( pointer, value ) );
      ASSERT_TRUE( answer.HasMember( "error" ) );
      auto const place = below.starts_with( "!" ) ? below.substr( 1 ) : pointer + below;
      EXPECT_EQ( answer[ "error" ][ "at" ].GetString(), place );
      EXPECT_EQ( answer[ "error" ][ "reason" ].GetString(), reason );
   }
   EXPECT_EQ( get( "" ), before );
   EXPECT_EQ( told(), std::vector< std::string >() );
}

TEST_F( HostTest, NullDeletes ) {
   write( config, R"({"enabled":true,"staleHostThreshold":3})" );
   write( group, R"({"policyName":{"a":true,"b":true},"interceptFlow":{"10.0.0.1/32":{}}})" );
   write( fragment, R"({"grCookie":{},"flow":{"f":{"matchVni":1,"rewriteVni":2}}})" );
   write( leader + "/other", "{}" );
   struct {
      char const * what;
      std::string pointer, holder, left;
   } const cases[] = { { "a value", config + "/staleHostThreshold", config, R"({"enabled":true})" },
                       { "a key", group + "/policyName/a", group + "/policyName", R"({"b":true})" },
                       { "what is not there", group + "/policyName/a", group + "/policyName", R"({"b":true})" },
                       { "a record by its key in another form", group + "/interceptFlow/10.0.0.1", group,
                         R"({"policyName":{"b":true}})" },
                       { "all keys", group + "/policyName", group, "{}" },
                       { "a field", fragment + "/flow/f/matchVni", fragment + "/flow", R"({"f":{"rewriteVni":2}})" },
                       { "the only child", fragment + "/grCookie", fragment, R"({"flow":{"f":{"rewriteVni":2}}})" },
                       { "a child", group, "/state/kiv/servicePolicyConfig", R"({"site":{}})" },
                       { "an entry", "/state/kiv/servicePolicyConfig/site", "/state/kiv/servicePolicyConfig", "{}" },
                       { "all entries", "/hub/kiv/version1/policy/switch", "/hub/kiv/version1/policy/switch", "{}" },
                       { "a child beside a fixed one", leader + "/other", leader, R"({"default":{}})" } };
   for( auto const & [ what, pointer, holder, left ] : cases ) {
      EXPECT_EQ( write( pointer, "null" ), ok ) << what;
      EXPECT_EQ( get( holder ), left ) << what;
   }
}

TEST_F( HostTest, RequestsThatAreNone ) {
   auto const deep = std::string( 200'000, '[' ) + std::string( 200'000, ']' );
   std::pair< std::string, std::string > const cases[] = {
      { "{}", "no request" },
      { R"({"nothing": 1})", "unknown request \"nothing\"" },
      { R"({"log": true, "get": ""})", "more than one request in a line" },
      { R"({"get": ""} {"get": ""})", "The document root must not be followed by other values. (at character 13)" },
      { std::string( "{\"get\": \"\"}\0x", 13 ), "A zero character is no JSON. (at character 12)" },
      { "{\"get\": \"\xff\"}", "Invalid encoding in string. (at character 10)" },
      { R"({"patch": {"state": 1e400}})", "Number too big to be stored in double. (at character 21)" },
      { R"({"note": "[[[\"[", "note": )" + deep + "}", "Nested too deeply. (at character 127)" },
      { R"({"patch": null})", "a patch is a JSON object" },
      { R"({"advance": -0.5})", "a number of seconds is expected, 0 or more" },
      { R"({"advance": 1e300})", "the clock cannot advance by 1e+300 s" },
      { R"({"command": {"name": "showPolicyDetail", "params": {"_format": 1}}})", "it is missing" },
      { R"({"command": {"name": "showPolicyDetail", "params": {"_format": -1, "_revision": 1}}})",
        "an unsigned 32-bit integer is expected" },
      { R"({"command": {"name": "showPolicy", "params": {"_format": 1, "_revision": 1}}})",
        "no such command: \"showPolicy\"" }
   };
   for( auto const & [ request, reason ] : cases ) {
      auto const answer = Host::parsed( ask( request ) );
      ASSERT_TRUE( answer.HasMember( "error" ) ) << request;
      EXPECT_EQ( answer[ "error" ][ "reason" ].GetString(), reason );
   }
   EXPECT_EQ( ask( R"({"note": "said to a reader", "start": true})" + std::string( "\r" ) ), ok );
   EXPECT_EQ( ask( R"({"start": true})" ), R"({"error":{"at":"","reason":"the agent is started already"}})" );
}
