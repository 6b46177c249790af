// What an operator reads.
#include "cli/KivCliCallback.h"

#include <cstdio>
#include <gtest/gtest.h>

using namespace Kiv;

namespace {

class ShowPolicyDetailTest : public testing::Test {
 protected:
   std::string show( std::string const & parameters ) {
      std::FILE * const file = std::tmpfile();
      command->handleCommand( static_cast< std::uint32_t >( ::fileno( file ) ), parameters );
      std::string text( 4096, '\0' );
      std::rewind( file );
      text.resize( std::fread( text.data(), 1, text.size(), file ) );
      std::fclose( file );
      return text;
   }

   Lum::Ptr< PolicyRunningInfoCol > running{ new PolicyRunningInfoCol( "running" ) };
   Lum::Ptr< PolicyRunningInfo > web = running->policyRunningInfoIs( "web" );
   Lum::Ptr< Cli::ShowPolicyDetail > command =
      Cli::showPolicyDetailFactory( "showPolicyDetail", "showPolicyDetail", running );
};

TEST_F( ShowPolicyDetailTest, AGroupAndItsHosts ) {
   EXPECT_EQ( show( R"({"_format": 1, "_revision": 1})" ),
              "Policy Group: web\n Policies: \n Status: pending\n Service VTEPs: \n Near zone: \n  VLAN: 0\n"
              " Far zone: \n  VLAN: 0\n Original VNI: 16777216\n Service VNI: 16777216\n Hosts\n" );

   web->serviceVtepSwitchIdIs( SwitchId( "02:00:00:00:00:0a" ), true );
   web->nearIntfUuidIs( "uuid-near" );
   web->farIntfUuidIs( "100%s" ); // a text, whatever it looks like
   web->farVlanIs( 4094 );
   web->policyStateIs( PolicyRunningState::policyRunning );
   for( std::uint32_t const vni : { 100, 200 } ) {
      web->originalToServiceVniIs( Vxlan::VniOrNone( vni ), Vxlan::VniOrNone( vni + 5000 ) );
   }
   auto const host = web->hostInfoIs( Neroli::IpGenAddr( "10.0.0.1" ) );
   host->macIs( *Neroli::EthAddr::parse( "02:00:00:00:01:01" ) );
   host->originalVniIs( Vxlan::VniOrNone( 100 ) );
   host->originalVniSeenIs( true );
   host->stateIs( PolicyRunningState::policyOrchestrating );
   auto const shown = show( R"({"_format": 1, "_revision": 1, "policy": ""})" );
   // One pair of VNIs stands for all, whichever comes first.
   char const * const vnis = shown.find( " 5100\n" ) != shown.npos ? " Original VNI: 100\n Service VNI: 5100\n"
                                                                   : " Original VNI: 200\n Service VNI: 5200\n";
   EXPECT_EQ( shown, Lum::textOf( "Policy Group: web\n Policies: \n Status: running\n"
                                  " Service VTEPs: 02:00:00:00:00:0a\n Near zone: uuid-near\n  VLAN: 0\n"
                                  " Far zone: 100%s\n  VLAN: 4094\n",
                                  vnis,
                                  " Hosts\n  IP address: 10.0.0.1\n  State: orchestrating\n"
                                  "  MAC address: 02:00:00:00:01:01\n  Original VNI: 100\n  Intercept VTEP: none\n"
                                  "  Original VNI seen: True\n  Service VNI seen: False\n" ) );
}

TEST_F( ShowPolicyDetailTest, AFilterNamesASourcePolicy ) {
   for( char const * each : { "allow-web", "common" } ) web->policyNameIs( each, true );
   running->policyRunningInfoIs( "db" )->policyNameIs( "common", true );
   struct {
      char const * policy;
      bool web, db;
   } const cases[] = { { R"("")", true, true },
                       { R"("allow-web")", true, false },
                       { R"("common")", true, true },
                       { R"("web")", false, false },
                       { "null", true, true } };
   for( auto const & [ policy, showsWeb, showsDb ] : cases ) {
      SCOPED_TRACE( policy );
      auto const shown = show( Lum::textOf( R"({"policy": )", policy, R"(, "_revision": 1, "_format": 1})" ) );
      EXPECT_EQ( shown.find( "Policy Group: web\n Policies: " ) != shown.npos, showsWeb );
      bool const joined =
         shown.find( ": allow-web, common\n" ) != shown.npos || shown.find( ": common, allow-web\n" ) != shown.npos;
      EXPECT_EQ( joined, showsWeb );
      EXPECT_EQ( shown.find( "Policy Group: db\n Policies: common\n" ) != shown.npos, showsDb );
   }
}

TEST_F( ShowPolicyDetailTest, WhatCannotBeAnswered ) {
   for( char const * parameters : { "", "{", "[]", R"({"_format": 1})", R"({"_format": -1, "_revision": 1})" } ) {
      EXPECT_DEATH( show( parameters ), "Assertion `.*' failed" ) << parameters;
   }
   testing::internal::CaptureStdout();
   command->handleCommand( 9999, R"({"_format": 1, "_revision": 1})" );
   EXPECT_EQ( testing::internal::GetCapturedStdout(), "exiting output on descriptor 9999: Bad file descriptor\n" );
}

} // namespace
