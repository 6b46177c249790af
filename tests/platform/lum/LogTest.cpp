// The operator log and its rate limit.
#include "platform/lum/Log.h"

#include "platform/lum/Clock.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

double present = 0;

class LogTest : public testing::Test {
 protected:
   LogTest() {
      Lum::clockIs( [] { return present; } );
      Lum::logSinkIs(
         []( void * to, Lum::LogMessage const & message ) {
            static_cast< std::vector< std::string > * >( to )->push_back( message.text.str() );
         },
         &texts );
   }
   ~LogTest() override {
      Lum::logSinkIs( nullptr, nullptr );
      Lum::clockIs( nullptr );
   }

   std::vector< std::string > texts;
};

struct Dear { // counts how often it is converted
   Lum::String stringValue() const { return ++conversions, "dear"; }
   static inline int conversions = 0;
};

TEST_F( LogTest, WithoutALimitEveryEventGetsThrough ) {
   Lum::LogHandle const handle( "LOG_TEST_FREE", Lum::LogSeverity( 3 ), "rule on %s for %s: %d at 100%%", "", "", 0.0,
                                1.0, 0 );
   for( int i = 0; i < 3; ++i ) Lum::log< Lum::String, char const *, int >( handle, "00:1c", "%s", 5010 );
   EXPECT_EQ( texts, std::vector< std::string >( 3, "rule on 00:1c for %s: 5010 at 100%" ) );
   EXPECT_DEATH( Lum::log( handle, "too few" ), "arg != args.end" );
   EXPECT_DEATH( Lum::log( handle, 1, 2, 3, 4 ), "arg == args.end" );
}

TEST_F( LogTest, TheLimitHoldsPerMessageAndCountedArguments ) {
   Lum::LogHandle const handle( "LOG_TEST_LIMITED", Lum::LogSeverity( 3 ), "%s %s %s", "", "", 10.0, 2.0, 2 );
   Lum::LogHandle const other( "LOG_TEST_OTHER", Lum::LogSeverity( 3 ), "%s %s %s", "", "", 10.0, 2.0, 2 );
   struct {
      char const * story;
      double at;
      Lum::LogHandle const & handle;
      char const *first, *second;
      bool through;
   } const events[] = { { "first", 100, handle, "a", "b", true },
                        { "the burst is two", 100, handle, "a", "b", true },
                        { "and no more", 100, handle, "a", "b", false },
                        { "another argument", 100, handle, "a", "c", true },
                        { "the same ones, exchanged", 100, handle, "b", "a", true },
                        { "another message", 100, other, "a", "b", true },
                        { "the interval is not over", 102, handle, "a", "b", false },
                        { "nor here", 109, handle, "a", "b", false },
                        { "now it is, however often it was asked", 110, handle, "a", "b", true },
                        { "a long silence gives the burst", 1000, handle, "a", "b", true },
                        { "which is two", 1000, handle, "a", "b", true },
                        { "and no more than that", 1000, handle, "a", "b", false } };
   for( auto const & [ story, at, emitter, first, second, through ] : events ) {
      SCOPED_TRACE( story );
      present = at;
      Dear::conversions = 0;
      texts.clear();
      Lum::log( emitter, first, second, Dear() );
      EXPECT_EQ( texts.size(), through ? 1u : 0u );
      EXPECT_EQ( Dear::conversions, through ? 1 : 0 ); // what does not count is converted for the text alone
   }
}

} // namespace
