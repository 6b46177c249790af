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
            static_cast< std::vector< std::uint64_t > * >( to )->push_back( message.count );
         },
         &counts );
   }
   ~LogTest() override {
      Lum::logSinkIs( nullptr, nullptr );
      Lum::clockIs( nullptr );
   }

   std::vector< std::uint64_t > counts; // of the messages that got through
};

TEST_F( LogTest, TheLimitHoldsPerMessageAndCountedArguments ) {
   Lum::LogHandle const handle( "LOG_TEST_LIMITED", Lum::LogSeverity( 3 ), "%s %s %s", "", "", 10.0, 2.0, 2 );
   Lum::LogHandle const other( "LOG_TEST_OTHER", Lum::LogSeverity( 3 ), "%s %s %s", "", "", 10.0, 2.0, 2 );
   struct {
      char const * story;
      double at;
      Lum::LogHandle const & handle;
      char const *first, *second;
      unsigned count; // 0: held back
   } const events[] = { { "first", 100, handle, "a", "b", 1 },
                        { "the burst is two", 100, handle, "a", "b", 1 },
                        { "and no more", 100, handle, "a", "b", 0 },
                        { "another argument", 100, handle, "a", "c", 1 },
                        { "the same ones, exchanged", 100, handle, "b", "a", 1 },
                        { "another message", 100, other, "a", "b", 1 },
                        { "the interval is not over", 102, handle, "a", "b", 0 },
                        { "now it is, and tells what was held back", 110, handle, "a", "b", 3 },
                        { "a long silence gives the burst", 1000, handle, "a", "b", 1 },
                        { "which is two", 1000, handle, "a", "b", 1 },
                        { "and no more than that", 1000, handle, "a", "b", 0 } };
   for( auto const & [ story, at, emitter, first, second, count ] : events ) {
      present = at;
      counts.clear();
      Lum::log( emitter, first, second, Lum::textOf( "not counted: ", at ) );
      EXPECT_EQ( counts, count ? std::vector< std::uint64_t >{ count } : std::vector< std::uint64_t >() ) << story;
   }
}

} // namespace
