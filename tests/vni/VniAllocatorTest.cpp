#include "vni/KivServiceVniSm.h"

#include <gtest/gtest.h>

using namespace Kiv;

namespace {

Lum::Ptr< VniAllocator > allocatorOf( char const * pool ) {
   auto const allocator = vniAllocatorFactory();
   parseVniRangeString( allocator, pool );
   return allocator;
}

/// The ranges of the pool in their order, "10-20 30-30".
std::string poolOf( VniAllocator const & allocator ) {
   std::string text;
   for( auto const & [ min, range ] : allocator.vniRanges() ) {
      text += Lum::textOf( text.empty() ? "" : " ", range.vniRangeMin, "-", range.vniRangeMax );
   }
   return text;
}

TEST( VniRanges, TheTextOfThePoolIsReadToItsFirstEmptyElement ) {
   struct {
      char const * text;
      char const * pool;
      char const * error; // what is raised, if anything is
   } const cases[] = {
      { "", "", nullptr },
      { "10000-10999,12000", "10000-10999 12000-12000", nullptr },
      { "300-301,100-101,", "100-101 300-301", nullptr },
      { "10-20,10-15", "10-15", nullptr },
      { "20-10", "20-10", nullptr },
      { "10-20,,30-40", "10-20", nullptr },
      { ",30-40", "", nullptr },
      { "10-20-30, +40 - 50 ,7x", "7-7 10-20 40-50", nullptr },
      { "0,16777215", "0-0 16777215-16777215", nullptr },
      { "10-20,abc,30", "10-20", "stoi" },
      { "10-20,-5", "10-20", "stoi" },
      { "5-", "", "stoi" },
      { "2147483648", "", "stoi" },
      { "16777216", "", "Vni::value < Vni::min or > Vni::max not allowed" },
      { "1,2--2,3", "1-1", "Vni::value < Vni::min or > Vni::max not allowed" },
      { "16777216-x", "", "stoi" },
   };
   for( auto const & [ text, pool, error ] : cases ) {
      SCOPED_TRACE( text );
      auto const allocator = allocatorOf( "1-1,900-999" );
      auto const held = allocator->allocateVni( "web-1" );
      try {
         parseVniRangeString( allocator, text );
         EXPECT_EQ( error, nullptr );
      } catch( std::exception const & raised ) {
         EXPECT_STREQ( raised.what(), error );
      }
      EXPECT_EQ( poolOf( *allocator ), pool );
      EXPECT_EQ( allocator->allocatedVni( held ), "web-1" ); // the pool alone is replaced
   }
}

TEST( VniAllocator, TheLowestFreeVniIsHandedOut ) {
   struct {
      char const * pool;
      std::vector< std::uint32_t > vnis;
   } const cases[] = { { "", { Vxlan::VniOrNone::none } },
                       { "100-101", { 100, 101, Vxlan::VniOrNone::none } },
                       { "300-301,100", { 100, 300, 301, Vxlan::VniOrNone::none } },
                       { "20-10,30", { 30, Vxlan::VniOrNone::none } },
                       { "10-12,11-13", { 10, 11, 12, 13, Vxlan::VniOrNone::none } },
                       { "16777215", { 16777215, Vxlan::VniOrNone::none } } };
   for( auto const & [ pool, vnis ] : cases ) {
      SCOPED_TRACE( pool );
      auto const allocator = allocatorOf( pool );
      for( auto const vni : vnis ) EXPECT_EQ( allocator->allocateVni( "web-1" ).value(), vni );
      EXPECT_EQ( allocator->allocatedVni().size(), vnis.size() - 1 );
      if( vnis.size() == 1 ) continue;
      allocator->releaseVni( "web" );
      EXPECT_EQ( allocator->allocatedVni().size(), vnis.size() - 1 );
      allocator->releaseVni( "web-1" ); // all that the name holds
      EXPECT_EQ( allocator->allocateVni( "web-2" ).value(), vnis.front() );
   }
}

TEST( VniAllocator, AGroupIsReleasedByItsWholeName ) {
   auto const allocator = allocatorOf( "1-6" );
   for( char const * name : { "a-100", "a-b-100", "ab-100", "a", "a-101", "-100" } ) allocator->allocateVni( name );
   allocator->releaseAllVniPerPolicy( "a" );
   std::vector< std::string > left;
   for( std::uint32_t vni = 1; vni <= 6; ++vni )
      left.push_back( allocator->allocatedVni( Vxlan::VniOrNone( vni ) ).str() );
   EXPECT_EQ( left, ( std::vector< std::string >{ "", "a-b-100", "ab-100", "", "", "-100" } ) );
}

TEST( VniRanges, ARangeHoldsBothItsEnds ) {
   auto const allocator = allocatorOf( "10-20,30-25,16777215" );
   for( auto const & [ vni, inside ] : { std::pair( 9u, false ), std::pair( 10u, true ), std::pair( 20u, true ),
                                         std::pair( 21u, false ), std::pair( 27u, false ), std::pair( 30u, false ),
                                         std::pair( 0xffffffu, true ), std::pair( Vxlan::VniOrNone::none, false ) } ) {
      EXPECT_EQ( allocator->inRange( Vxlan::VniOrNone( vni ) ), inside ) << vni;
   }
   auto const strep = allocator->vniRanges( Vxlan::Vni( 10 ) ).stringValue();
   EXPECT_EQ( strep, "Value('Kiv::VniRange', ** {'vniRangeMin': 10, 'vniRangeMax': 20})" );
   EXPECT_EQ( Lum::strepToValue< VniRange >( strep.view() ), allocator->vniRanges( Vxlan::Vni( 10 ) ) );
}

} // namespace
