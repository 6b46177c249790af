// The operator log as a client takes it.
#include "tests/host/Client.h"

namespace {

class OperatorLogTest : public Client {
 protected:
   void emit( Lum::LogHandle const & handle, unsigned times ) {
      for( unsigned i = 0; i < times; ++i ) Lum::log( handle, i );
   }
   rapidjson::Document taken() { return Host::parsed( ask( R"({"log": true})" ) ); }
};

} // namespace

TEST_F( OperatorLogTest, KeepsTheNewestMessagesAndTellsTheLossOnce ) {
   Lum::LogHandle const handle( "LOG", Lum::LogSeverity::error, "%d", "", "", 0.0, 1.0, 0 );
   emit( handle, 10'003 );
   auto const answer = taken();
   ASSERT_EQ( answer[ "log" ].Size(), 10'000u );
   EXPECT_EQ( textOf( answer[ "log" ][ 0 ] ), R"({"handle":"LOG","severity":3,"text":"3"})" );
   EXPECT_EQ( answer[ "lost" ].GetUint(), 3u );
   emit( handle, 1 );
   EXPECT_EQ( textOf( taken() ), R"({"ok":true,"log":[{"handle":"LOG","severity":3,"text":"0"}]})" );
}

TEST_F( OperatorLogTest, AMessageCountsTheEqualOnesThatItsLimitHeldBack ) {
   Lum::LogHandle const limited( "LIMITED", Lum::LogSeverity::error, "%d", "", "", 10.0, 1.0, 0 );
   emit( limited, 3 );
   ask( R"({"advance": 10})" );
   emit( limited, 1 );
   EXPECT_EQ( textOf( taken()[ "log" ] ), R"([{"handle":"LIMITED","severity":3,"text":"0"},)"
                                          R"({"handle":"LIMITED","severity":3,"text":"0","count":3}])" );
}
