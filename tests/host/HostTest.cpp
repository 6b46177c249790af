// Documents: what a client writes and reads.
#include "tests/host/Client.h"

namespace {

class HostTest : public Client {};

std::string const ok = R"({"ok":true})";
std::string const reported = "/hub/kivclient/version1/policystatus/switch/02-00-00-00-00-0a/policyFragment/web-5010";
std::string const fdb = vnis + "/5010";

} // namespace

TEST_F( HostTest, ValuesAreReadInTheirOwnForm ) {
   struct {
      char const * form;
      std::string pointer, written, read;
   } const cases[] = {
      { "truth", config + "/enabled", "true", "true" },
      { "number", config + "/flowRemovalPeriod", "1.1", "1.1" },
      { "whole number", config + "/flowRemovalTriggerLimit", "7.0", "7" },
      { "text", group + "/serviceDeviceId", R"("1-\u00e4\"\u0000\/")", "\"1-\u00e4\\\"\\u0000/\"" },
      { "MAC", host + "/mac", R"("02-00-AA-BB-CC-DD")", R"("02:00:aa:bb:cc:dd")" },
      { "no MAC", fdb + "/ipToMacTable/10.0.0.9", R"({"mac":"00:00:00:00:00:00"})", "{}" },
      { "pair", host + "/insideVtepSwitchPair", R"(["","b"])", R"(["","b"])" },
      { "enumerator", host + "/state", R"("policyIntfChanging")", R"("policyIntfChanging")" },
      { "its number", fragment + "/flow/f/interceptAt", "1", R"("interceptAtEgress")" },
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
