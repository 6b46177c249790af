#include "platform/moth/Seqno32.h"

#include <gtest/gtest.h>

using Moth::Seqno32;

TEST( Seqno32, OrderWraps ) {
   struct {
      std::uint32_t a, b;
      bool less, greater;
   } const cases[] = { { 1, 2, true, false },          { 5, 5, false, false },
                       { 0xffffffff, 0, true, false }, { 0xfffffff0, 0x10, true, false },
                       { 0, 0x7fffffff, true, false }, { 0, 0x80000000, false, false },
                       { 0, 0x80000001, false, true } };
   for( auto const & [ a, b, less, greater ] : cases ) {
      SCOPED_TRACE( testing::Message() << a << " and " << b );
      EXPECT_EQ( Seqno32( a ) < Seqno32( b ), less );
      EXPECT_EQ( Seqno32( b ) < Seqno32( a ), greater );
   }
   EXPECT_EQ( Seqno32() - 1, Seqno32( 0xffffffff ) );
   EXPECT_EQ( Seqno32( 0xffffffff ) + 2, Seqno32( 1 ) );
}
