#include "vni/KivServiceVniSm.h"

#include <gtest/gtest.h>

using namespace Kiv;

TEST( VniAllocator, ThePoolIsReadToItsFirstEmptyElementAndItsLowestFreeVniHandedOut ) {
   char const * const noVni = "Vni::value < Vni::min or > Vni::max not allowed";
   struct {
      char const * text;
      std::vector< std::uint32_t > vnis;
      char const * error = ""; // what is raised; the pool is then what stands before the fault
   } const cases[] = { { "", {} },
                       { ",30", {} },
                       { "300-301,100,", { 100, 300, 301 } },
                       { "10-20,10-12", { 10, 11, 12 } },
                       { "10-12,11-13", { 10, 11, 12, 13 } },
                       { "20-10,30", { 30 } },
                       { "10-11,,30-40", { 10, 11 } },
                       { "10-11-30, +40 - 41 ,7x", { 7, 10, 11, 40, 41 } },
                       { "0,16777215", { 0, 16777215 } },
                       { "10,abc,30", { 10 }, "stoi" },
                       { "10,-5", { 10 }, "stoi" },
                       { "16777216-", {}, "stoi" },
                       { "2147483648", {}, "stoi" },
                       { "16777216", {}, noVni },
                       { "1,2--2,3", { 1 }, noVni } };
   for( auto const & [ text, vnis, error ] : cases ) {
      SCOPED_TRACE( text );
      auto const allocator = vniAllocatorFactory();
      parseVniRangeString( allocator, "1-5,900" );
      std::string raised;
      try {
         parseVniRangeString( allocator, text );
      } catch( std::exception const & exception ) {
         raised = exception.what();
      }
      EXPECT_EQ( raised, error );
      for( auto const vni : vnis ) EXPECT_EQ( allocator->allocateVni( "a-1" ).value(), vni );
      EXPECT_TRUE( allocator->allocateVni( "a-1" ).isNone() );
      allocator->releaseVni( "a-1" ); // all that the name holds
      EXPECT_EQ( allocator->allocatedVni().size(), 0u );
   }
}

TEST( VniAllocator, AGroupIsReleasedByItsWholeName ) {
   auto const allocator = vniAllocatorFactory();
   parseVniRangeString( allocator, "1-6" );
   for( char const * name : { "a-100", "a-b-100", "ab-100", "a", "a-101", "-100" } ) allocator->allocateVni( name );
   allocator->releaseAllVniPerPolicy( "a" );
   for( unsigned const vni : { 1, 4, 5 } ) EXPECT_EQ( allocator->allocateVni( "b-1" ).value(), vni );
   EXPECT_TRUE( allocator->allocateVni( "b-1" ).isNone() );
}
