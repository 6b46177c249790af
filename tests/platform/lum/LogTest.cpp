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
                        { "now it is, however often it was asked", 110, handle, "a", "b", true },
                        { "a long silence gives the burst", 1000, handle, "a", "b", true },
                        { "which is two", 1000, handle, "a", "b", true },
                        { "and no more than that", 1000, handle, "a", "b", false } };
   for( auto const & [ story, at, emitter, first, second, through ] : events ) {
      present = at;
      texts.clear();
      Lum::log( emitter, first, second, Lum::textOf( "not counted: ", at ) );
      EXPECT_EQ( texts.size(), through ? 1u : 0u ) << story;
   }
}

} // namespace
