// A story in steps.
#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <span>
#include <string>

struct Step {
   char const * what;
   std::function< void() > act;
   std::string expected;
};

/// Takes one step behind the other; after each, `seen` gives what is expected of it.
template< class Seen >
void play( std::span< Step const > story, Seen const & seen ) {
   for( auto const & [ what, act, expected ] : story ) {
      act();
      EXPECT_EQ( seen(), expected ) << what;
   }
}
