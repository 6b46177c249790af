#include "platform/moth/Seqno32.h"

#include <gtest/gtest.h>

using Moth::Seqno32;

TEST( Seqno32, OrderWraps ) {
   std::pair< std::uint32_t, std::uint32_t > const cases[] = {
      { 1, 2 }, { 0xffffffff, 0 }, { 0xfffffff0, 0x10 }, { 0, 0x7fffffff }
   };
   for( auto const & [ a, b ] : cases ) {
      EXPECT_TRUE( Seqno32( a ) < Seqno32( b ) && !( Seqno32( b ) < Seqno32( a ) ) ) << a << " and " << b;
   }
   EXPECT_FALSE( Seqno32( 5 ) < Seqno32( 5 ) || Seqno32( 0 ) < Seqno32( 0x80000000 ) );
   EXPECT_EQ( Seqno32() - 1, Seqno32( 0xffffffff ) );
}
