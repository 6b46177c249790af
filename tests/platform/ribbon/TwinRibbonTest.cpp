// The trace macros and the settings of the trace stream.
#include "platform/ribbon/TwinRibbon.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

using Lum::TraceFacility;
using Lum::TraceHandle;

struct Address {
   Lum::String stringValue() const { return "10.0.0.1"; }
};

class TwinRibbonTest : public testing::Test {
 protected:
   TwinRibbonTest() { TraceFacility::sinkIs( take, this ); }
   ~TwinRibbonTest() override {
      TraceFacility::sinkIs( nullptr, nullptr );
      for( unsigned level = 0; level < TraceFacility::levels; ++level ) {
         TraceFacility::levelIs( "*", TraceFacility::FacilityLevel( level ), false );
      }
   }

   static void take( void * context, TraceFacility::Line const & line ) {
      EXPECT_TRUE( std::string_view( line.file ).ends_with( "TwinRibbonTest.cpp" ) );
      static_cast< TwinRibbonTest * >( context )->lines.push_back(
         Lum::textOf( line.handle, "/", static_cast< int >( line.level ), "/", line.function, "/", line.text ) );
   }

   std::vector< std::string > lines;
};

template< class T >
void moved( TraceHandle & handle, T vni ) {
   TRACE8( handle, " vni: ", vni );
   TRACE7( handle, " return" );
}

TEST_F( TwinRibbonTest, ALineSaysWhereItComesFrom ) {
   TraceHandle handle( "Kiv", true );
   moved( handle, 7u );
   TRACE6( handle, " ip: ", Address(), " on ", true, static_cast< void * >( nullptr ), Lum::String( "!" ) );
   ASSERT_EQ( lines.size(), 3u );
   EXPECT_TRUE( lines[ 0 ].starts_with( "Kiv/8/moved/void {anonymous}::moved(" )
                || lines[ 0 ].starts_with( "Kiv/8/moved/void (anonymous namespace)::moved(" ) )
      << lines[ 0 ];
   EXPECT_TRUE( lines[ 0 ].ends_with( " vni: 7" ) );
   EXPECT_EQ( lines[ 1 ], "Kiv/7/moved/ return" );
   EXPECT_EQ( lines[ 2 ], "Kiv/6/TestBody/ ip: 10.0.0.1 on True0x0!" );
}

TEST_F( TwinRibbonTest, ALineThatNobodyWantsIsNotEvaluated ) {
   TraceHandle handle( "Kiv", false );
   int evaluated = 0;
   auto const passAll = [ & ] {
      evaluated = 0;
      TRACE8( handle, " ", ++evaluated );
      TRACE7( handle, " ", ++evaluated );
      TRACE6( handle, " ", ++evaluated );
      return evaluated;
   };
   EXPECT_EQ( passAll(), 0 );
   TraceFacility::ringLevelsIs( 1u << TraceFacility::level8 );
   EXPECT_EQ( passAll(), 1 );
   EXPECT_TRUE( lines.empty() );
   TraceFacility::levelIs( "Kiv", TraceFacility::level8, true ); // for both, evaluated once
   EXPECT_EQ( passAll(), 1 );
   EXPECT_EQ( lines.size(), 1u );
   TraceFacility::ringLevelsIs( 0 );
   TraceFacility::levelIs( "Kiv", TraceFacility::level8, false );
   EXPECT_EQ( passAll(), 0 );
}

TEST_F( TwinRibbonTest, SettingsReachHandlesBeforeAndAfterThem ) {
   auto const levelsOf = []( TraceHandle const & handle ) {
      std::string on;
      for( unsigned level = 0; level < TraceFacility::levels; ++level ) {
         if( handle.enabled( TraceFacility::FacilityLevel( level ) ) ) on += std::to_string( level );
      }
      return on;
   };
   struct {
      char const * handle;
      char const * levels;
   } const cases[] = { { "Kiv", "079" }, { "KivHostLocator", "0678" }, { "KivUtils", "07" }, { "Other", "7" } };
   std::vector< std::unique_ptr< TraceHandle > > before;
   for( auto const & each : cases ) before.push_back( std::make_unique< TraceHandle >( each.handle, false ) );
   TraceFacility::settingIs( "Kiv/8-9,KivHostLocator/6-8,*/7,Kiv*/0" );
   TraceFacility::levelIs( "Kiv", TraceFacility::level8, false );
   for( std::size_t i = 0; i < before.size(); ++i ) {
      SCOPED_TRACE( cases[ i ].handle );
      EXPECT_EQ( levelsOf( *before[ i ] ), cases[ i ].levels );
      EXPECT_EQ( levelsOf( TraceHandle( cases[ i ].handle, false ) ), cases[ i ].levels );
   }
}

TEST_F( TwinRibbonTest, AMalformedSettingIsNamedAndChangesNothing ) {
   TraceHandle const handle( "Kiv", false );
   struct {
      char const * setting;
      char const * reason;
   } const cases[] = { { "Kiv", "at character 4: '/' and a level are expected" },
                       { "Kiv/8,/7", "at character 7: a handle's name is expected" },
                       { "Kiv/8,KivUtils/", "at character 16: a level from 0 to 9 is expected" },
                       { "Kiv/8,Kiv/10", "at character 11: a level from 0 to 9 is expected" },
                       { "Kiv/6-", "at character 7: a level from 0 to 9 is expected" },
                       { "Kiv/6,Kiv/8-6", "at character 11: the range is empty" } };
   for( auto const & [ setting, reason ] : cases ) {
      SCOPED_TRACE( setting );
      try {
         TraceFacility::settingIs( setting );
         ADD_FAILURE() << "accepted";
      } catch( Lum::RangeException const & exception ) {
         EXPECT_STREQ( exception.what(), reason );
      }
      EXPECT_FALSE( handle.enabled( TraceFacility::level8 ) || handle.enabled( TraceFacility::level6 ) );
   }
}

} // namespace
