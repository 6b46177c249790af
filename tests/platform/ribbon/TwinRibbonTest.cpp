// The trace macros and the settings of the trace stream.
#include "platform/ribbon/TwinRibbon.h"

#include "tests/platform/lum/Actors.h"
#include "tests/platform/lum/Raised.h"

#include <gtest/gtest.h>
#include <vector>

TRACE_MODULE( "Gardener" );

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

class GardenerSm : public Lum::PtrInterface {
   LUM_MACHINE( GardenerSm );
   LUM_INPUT( tree, Actors::Tree, LUM_ON( height, handleHeight ), LUM_ON( crown, handleCrown ) );

   void handleInitialized() {}
   void handleHeight() {
      tree()->crownIs( "crown" );
      TRACE6( trace(), "grown" );
   }
   void handleCrown() { TRACE6( trace(), "crowned" ); }
};

TEST_F( TwinRibbonTest, TheStreamIndentsALineByTheDepthOfTheFirings ) {
   TraceFacility::sinkIs( nullptr, nullptr );
   TraceFacility::levelIs( "Gardener", TraceFacility::level6, true );
   Lum::Ptr< Actors::Tree > const tree( new Actors::Tree( "tree" ) );
   Lum::Ptr< GardenerSm > const gardener = Lum::Factory< GardenerSm >()();
   gardener->treeIs( tree );
   testing::internal::CaptureStderr();
   tree->heightIs( 1 );
   TRACE6( trace(), "done" );
   std::string const text = testing::internal::GetCapturedStderr();
   std::vector< std::string > ends;
   for( std::string_view rest = text; !rest.empty(); rest.remove_prefix( rest.find( '\n' ) + 1 ) ) {
      auto const line = rest.substr( 0, rest.find( '\n' ) );
      ends.push_back( std::to_string( line.find_first_not_of( ' ' ) ).append( line.substr( line.rfind( ' ' ) ) ) );
   }
   EXPECT_EQ( ends, ( std::vector< std::string >{ "6 crowned", "3 grown", "0 done" } ) );
}

TEST_F( TwinRibbonTest, ALineThatNobodyWantsIsNotEvaluated ) {
   TraceHandle handle( "Kiv", false );
   int evaluated = 0;
   auto const passed = [ & ] {
      TRACE8( handle, " ", ++evaluated );
      TRACE7( handle, " ", ++evaluated );
      return std::exchange( evaluated, 0 );
   };
   EXPECT_EQ( passed(), 0 );
   TraceFacility::ringLevelsIs( 1u << TraceFacility::level8 );
   EXPECT_EQ( passed(), 1 );
   EXPECT_TRUE( lines.empty() );
   TraceFacility::levelIs( "Kiv", TraceFacility::level8, true ); // for both, evaluated once
   EXPECT_EQ( passed(), 1 );
   EXPECT_EQ( lines.size(), 1u );
   TraceFacility::ringLevelsIs( 0 );
}

TEST_F( TwinRibbonTest, SettingsReachHandlesBeforeAndAfterThem ) {
   auto const levelsOf = []( TraceHandle const & handle ) {
      std::string on;
      for( unsigned level = 0; level < TraceFacility::levels; ++level ) {
         if( handle.enabled( TraceFacility::FacilityLevel( level ) ) ) on += std::to_string( level );
      }
      return on;
   };
   TraceHandle const before( "KivHostLocator", false );
   TraceFacility::settingIs( "Kiv/8-9,KivHostLocator/6-8,*/7,Kiv*/0" );
   TraceFacility::levelIs( "Kiv", TraceFacility::level8, false );
   EXPECT_EQ( levelsOf( before ), "0678" );
   std::pair< char const *, char const * > const cases[] = {
      { "Kiv", "079" }, { "KivHostLocator", "0678" }, { "KivUtils", "07" }, { "Other", "7" }
   };
   for( auto const & [ name, levels ] : cases ) EXPECT_EQ( levelsOf( TraceHandle( name, false ) ), levels ) << name;
}

TEST_F( TwinRibbonTest, AMalformedSettingIsNamedAndChangesNothing ) {
   TraceHandle const handle( "Kiv", false );
   std::pair< char const *, char const * > const cases[] = {
      { "Kiv", "at character 4: '/' and a level are expected" },
      { "Kiv/8,/7", "at character 7: a handle's name is expected" },
      { "Kiv/8,Kiv/10", "at character 11: a level from 0 to 9 is expected" },
      { "Kiv/6-", "at character 7: a level from 0 to 9 is expected" },
      { "Kiv/6,Kiv/8-6", "at character 11: the range is empty" }
   };
   for( auto const & each : cases ) {
      EXPECT_EQ( raised< Lum::RangeException >( [ & ] { TraceFacility::settingIs( each.first ); } ), each.second );
      EXPECT_FALSE( handle.enabled( TraceFacility::level8 ) || handle.enabled( TraceFacility::level6 ) );
   }
}

} // namespace
