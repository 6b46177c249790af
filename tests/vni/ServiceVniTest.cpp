// How groups ask for service VNIs and what they are granted.
#include "vni/KivServiceVniSm.h"

#include <gtest/gtest.h>

using namespace Kiv;

namespace {

Vxlan::VniOrNone const vni100( 100 ), vni200( 200 ), none;

class ServiceVniTest : public testing::Test {
 protected:
   void start() {
      machine = serviceVniSmFactory( helper, Lum::Ptr< Config const >( config ),
                                     Lum::Ptr< VtepAllPolicyFragmentStatus const >( remembered ) );
   }
   void request( char const * group, Vxlan::VniOrNone original ) {
      helper->policyInfoIs( group )->originalToServiceVniIs( original, none );
   }
   /// What was elected from the switches' reports.
   void remember( char const * fragment, Vxlan::VniOrNone original, Vxlan::VniOrNone service ) {
      auto const status = remembered->fragmentStatusIs( fragment );
      status->originalVniIs( original );
      status->serviceVniIs( service );
   }
   std::uint32_t granted( char const * group, Vxlan::VniOrNone original = vni100 ) const {
      return helper->policyInfo( group )->originalToServiceVni( original ).value();
   }
   /// Who holds the VNIs, in their order: "500=web-100 501=dmz-100".
   std::string allocations() const {
      std::map< std::uint32_t, std::string > holders;
      for( auto const & [ vni, name ] : machine->allocator()->allocatedVni() ) holders[ vni.value() ] = name.str();
      std::string text;
      for( auto const & [ vni, name ] : holders ) text += Lum::textOf( text.empty() ? "" : " ", vni, "=", name );
      return text;
   }

   Lum::Ptr< PolicyHelperInfo > helper{ new PolicyHelperInfo( "PolicyHelperInfo" ) };
   Lum::Ptr< Config > config{ new Config( "config" ) };
   Lum::Ptr< VtepAllPolicyFragmentStatus > remembered = vtepAllPolicyFragmentStatusFactory( "remembered" );
   Lum::Ptr< ServiceVniSm > machine;
};

TEST_F( ServiceVniTest, AGrantFollowsItsRequestAndTheRanges ) {
   struct {
      char const * story;
      std::function< void() > event;
      char const * allocations;
   } const steps[] = {
      { "a request before there is a pool", [ & ] { request( "web", vni100 ); }, "" },
      { "the pool serves it", [ & ] { config->vniRangeIs( "500-501" ); }, "500=web-100" },
      { "the next VNI of the group", [ & ] { request( "web", vni200 ); }, "500=web-100 501=web-200" },
      { "the pool is spent", [ & ] { request( "dmz", vni100 ); }, "500=web-100 501=web-200" },
      { "a VNI falls free and wakes nobody", [ & ] { helper->policyInfo( "web" )->originalToServiceVniDel( vni100 ); },
        "501=web-200" },
      { "a grant within the new ranges stays", [ & ] { config->vniRangeIs( "501-502" ); }, "501=web-200 502=dmz-100" },
      { "one outside of them moves to the lowest free VNI", [ & ] { config->vniRangeIs( "400,502" ); },
        "400=web-200 502=dmz-100" },
      { "a range that is no number leaves the grants, and what stood before it in the pool",
        [ & ] { config->vniRangeIs( "600,x" ); }, "400=web-200 502=dmz-100" },
      { "which serves a request", [ & ] { request( "lab", vni100 ); }, "400=web-200 502=dmz-100 600=lab-100" },
      { "no range at all", [ & ] { config->vniRangeIs( "" ); }, "" },
      { "the ranges are back",
        [ & ] {
           config->vniRangeIs( "7" );
           helper->policyInfoDel( "web" );
        },
        nullptr },
      { "a group goes with its entries",
        [ & ] {
           for( auto const & [ name, group ] : helper->policyInfo() ) helper->policyInfoDel( name );
        },
        "" }
   };
   start();
   for( auto const & [ story, event, expected ] : steps ) {
      SCOPED_TRACE( story );
      event();
      if( expected ) { EXPECT_EQ( allocations(), expected ); }
      for( auto const & [ name, group ] : helper->policyInfo() ) { // both sides agree
         for( auto const & [ original, service ] : group->originalToServiceVni() ) {
            auto const holder = machine->allocator()->allocatedVni( service );
            EXPECT_EQ( holder.str(), service.isNone() ? "" : name.str() + "-" + original.stringValue().str() );
         }
      }
   }
}

TEST_F( ServiceVniTest, AfterARestartTheGrantsThatTheSwitchesRememberAreTakenUp ) {
   struct {
      char const * pool;
      std::uint32_t web, dmz, lab;                   // lab has asked in this run; nothing is remembered of it
   } const cases[] = { { "500-502", 500, 502, 501 }, // what is remembered is passed over
                       { "502", Vxlan::VniOrNone::none, 502, Vxlan::VniOrNone::none },
                       { "x", 500, 502, Vxlan::VniOrNone::none } };
   for( auto const & [ pool, web, dmz, lab ] : cases ) {
      SCOPED_TRACE( pool );
      machine = nullptr;
      helper = new PolicyHelperInfo( "PolicyHelperInfo" );
      for( char const * group : { "web-farm", "dmz", "cold" } ) helper->policyInfoIs( group );
      request( "lab", vni100 );
      remember( "web-farm-100", vni100, Vxlan::VniOrNone( 500 ) );
      remember( "dmz-100", vni100, Vxlan::VniOrNone( 502 ) );
      remember( "cold-100", none, Vxlan::VniOrNone( 503 ) );
      remember( "gone-100", vni100, Vxlan::VniOrNone( 501 ) );
      config->vniRangeIs( pool );
      start();
      EXPECT_EQ( granted( "web-farm" ), web );
      EXPECT_EQ( granted( "dmz" ), dmz );
      EXPECT_EQ( granted( "lab" ), lab );
      EXPECT_EQ( helper->policyInfo( "cold" )->originalToServiceVni().size(), 0u );
      EXPECT_EQ( machine->allocator()->allocatedVni( Vxlan::VniOrNone( dmz ) ), "dmz-100" );
   }
}

TEST_F( ServiceVniTest, AnElectionWithoutWinnerStandsAsARequest ) {
   helper->policyInfoIs( "web" );
   remember( "web-100", vni100, none );
   config->vniRangeIs( "500" );
   start();
   EXPECT_EQ( granted( "web" ), 500u );
}

} // namespace
