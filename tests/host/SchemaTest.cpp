// What the interface tells of itself.
#include "tests/host/Client.h"

namespace {

class SchemaTest : public Client {
 protected:
   rapidjson::Document answered( std::string const & request ) { return Host::parsed( ask( request ) ); }
};

} // namespace

TEST_F( SchemaTest, EveryRequestIsListedWithAnExampleThatIsServed ) {
   enable( "7" );
   auto const answer = answered( R"({"help": true})" );
   std::string names;
   for( auto const & each : answer[ "help" ].GetObject() ) {
      std::string const name = each.name.GetString();
      names += name + " ";
      EXPECT_TRUE( each.value[ "example" ].HasMember( each.name ) ) << name;
      EXPECT_TRUE( ask( textOf( each.value[ "example" ] ) ).starts_with( R"({"ok":true)" ) ) << name;
      EXPECT_NE( Host::Session::requestList().find( "  " + name + " " ), std::string::npos ) << name;
   }
   EXPECT_EQ( names, "start patch get advance command log restart watch help schema quit " );
}

TEST_F( SchemaTest, TellsEachAttributeOfEachRecord ) {
   auto const answer = answered( R"({"schema": true})" );
   auto const & schema = answer[ "schema" ];
   auto const told = [ & ]( std::string const & place, char const * attribute ) {
      return textOf( schema[ place.c_str() ][ "attributes" ][ attribute ] );
   };
   std::string const policy = "/state/kiv/servicePolicyConfig/<source>/servicePolicy/<Lum::Name>";
   std::string const running = "/state/kiv/servicePolicyStatus/policyRunningInfo/<Lum::Name>";
   std::string const cookie = "/policyFragment/<Lum::String>/grCookie";
   EXPECT_EQ( told( "/state/kiv/config", "flowRemovalPeriod" ),
              R"({"form":"value","type":"double","default":30.0,"writer":"operator"})" );
   EXPECT_EQ( told( policy, "interceptFlow" ),
              R"({"form":"records","key":"Neroli::IpGenAddrWithMask","type":"Kiv::InterceptFlowInfo","fields":{},)"
              R"("writer":"source"})" );
   EXPECT_EQ( told( running, "hostInfo" ),
              R"({"form":"children","key":"Neroli::IpGenAddr","type":"Kiv::HostRunningInfo","writer":"agent"})" );
   EXPECT_EQ( told( running, "nearVlan" ), R"({"form":"value","type":"uint16","default":0,"writer":"operator"})" );
   EXPECT_EQ( told( "/hub/loomis/version2/vni/<vni>", "macVtepTable" ),
              R"({"form":"records","key":"Neroli::EthAddr","type":"Loomis::MacVtepV2","fields":{)"
              R"("vtepIp":{"type":"Neroli::IpAddr","default":"0.0.0.0"},"moveCount":{"type":"uint32","default":0},)"
              R"("flags":{"type":"uint8","default":16}},"writer":"fabric"})" );
   EXPECT_EQ( told( "/hub/topology/version3/global/status", "convergenceStatus" ),
              R"({"form":"child","type":"Tessera::ConvergenceStatus","writer":"fabric"})" );
   // One class in the hands of two writers, and one that only shows.
   std::string const isServiceVtep = R"({"form":"value","type":"bool","default":false,"writer":")";
   EXPECT_EQ( told( "/hub/kiv/version1/policy/switch/<system id>" + cookie, "isServiceVtep" ),
              isServiceVtep + "agent\"}" );
   EXPECT_EQ( told( "/hub/kivclient/version1/policystatus/switch/<system id>" + cookie, "isServiceVtep" ),
              isServiceVtep + "switch\"}" );
   EXPECT_EQ( told( "/agent/servicePolicyConfig/servicePolicy/<Lum::Name>", "serviceDeviceId" ),
              R"({"form":"value","type":"Lum::String","default":"","writer":"agent"})" );
   EXPECT_NE( told( running, "policyState" ).find( R"("names":["policyPending","policyOrchestrating",)" ),
              std::string::npos );
}

TEST_F( SchemaTest, WhatItTellsIsSo ) {
   auto const answer = answered( R"({"schema": true})" );
   for( auto const & each : answer[ "schema" ].GetObject() ) {
      std::string const place = each.name.GetString();
      bool const stands = get( place ).starts_with( "{" );
      for( auto const & attribute : each.value[ "attributes" ].GetObject() ) {
         auto const pointer = place + "/" + attribute.name.GetString();
         EXPECT_NE( std::string( attribute.value[ "writer" ].GetString() ), "" ) << pointer;
         if( !stands || pointer.ends_with( "/clusterStatus" ) ) continue; // which has a member from the start
         auto const & told = attribute.value;
         auto const initial = told.HasMember( "default" ) ? textOf( told[ "default" ] )
                              : told.HasMember( "key" )   ? "{}"
                                                          : "null";
         EXPECT_EQ( get( pointer ), initial ) << pointer;
         EXPECT_EQ( write( pointer, initial ), R"({"ok":true})" ) << pointer;
      }
   }
}
