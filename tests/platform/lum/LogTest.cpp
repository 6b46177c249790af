// The operator log and its rate limit.
#include "platform/lum/Log.h"

#include "platform/lum/Clock.h"
#include "tests/platform/lum/Steps.h"

namespace {

double present = 0;

class LogTest : public testing::Test {
 protected:
   LogTest() {
      Lum::clockIs( [] { return present; } );
      Lum::logSinkIs(
         []( void * to, Lum::LogMessage const & message ) {
            *static_cast< std::string * >( to ) += std::to_string( message.count );
         },
         &counts );
   }
   ~LogTest() override {
      Lum::logSinkIs( nullptr, nullptr );
      Lum::clockIs( nullptr );
   }

   std::string counts; // of the messages that got through
};

TEST_F( LogTest, TheLimitHoldsPerMessageAndCountedArguments ) {
   Lum::LogHandle const handle( "LOG_TEST_LIMITED", Lum::LogSeverity( 3 ), "%s %s %s", "", "", 10.0, 2.0, 2 );
   Lum::LogHandle const other( "LOG_TEST_OTHER", Lum::LogSeverity( 3 ), "%s %s %s", "", "", 10.0, 2.0, 2 );
   auto const log = []( double at, Lum::LogHandle const & emitter, char const * first, char const * second ) {
      present = at;
      Lum::log( emitter, first, second, Lum::textOf( "not counted: ", at ) );
   };
   Step const story[] = {
      { "first", [ & ] { log( 100, handle, "a", "b" ); }, "1" },
      { "the burst is two", [ & ] { log( 100, handle, "a", "b" ); }, "1" },
      { "and no more", [ & ] { log( 100, handle, "a", "b" ); }, "" },
      { "another argument", [ & ] { log( 100, handle, "a", "c" ); }, "1" },
      { "the same ones, exchanged", [ & ] { log( 100, handle, "b", "a" ); }, "1" },
      { "another message", [ & ] { log( 100, other, "a", "b" ); }, "1" },
      { "the interval is not over", [ & ] { log( 102, handle, "a", "b" ); }, "" },
      { "now it is, and tells what was held back", [ & ] { log( 110, handle, "a", "b" ); }, "3" },
      { "a long silence gives the burst", [ & ] { log( 1000, handle, "a", "b" ); }, "1" },
      { "which is two", [ & ] { log( 1000, handle, "a", "b" ); }, "1" },
      { "and no more than that", [ & ] { log( 1000, handle, "a", "b" ); }, "" },
   };
   play( story, [ this ] { return std::exchange( counts, {} ); } );
}

} // namespace
