// How groups ask for service VNIs and what they are granted.
#include "tests/platform/lum/Steps.h"
#include "vni/KivServiceVniSm.h"

#include <map>

using namespace Kiv;

namespace {

Vxlan::VniOrNone const vni100( 100 ), vni200( 200 ), none;

struct ServiceVniTest : testing::Test {
   void start() {
      machine = serviceVniSmFactory( helper, Lum::Ptr< Config const >( config ),
                                     Lum::Ptr< VtepAllPolicyFragmentStatus const >( remembered ) );
   }
   void request( char const * group, Vxlan::VniOrNone original ) {
      helper->policyInfoIs( group )->originalToServiceVniIs( original, none );
   }
   /// Who holds the VNIs, in their order: "500=web-100 501=dmz-100 ". The groups' entries say the same.
   std::string grants() const {
      std::map< std::uint32_t, Lum::String > holders, grantees;
      for( auto const & [ vni, name ] : machine->allocator()->allocatedVni() ) holders[ vni.value() ] = name;
      for( auto const & [ name, group ] : helper->policyInfo() ) {
         for( auto const & [ original, vni ] : group->originalToServiceVni() ) {
            if( !vni.isNone() ) grantees[ vni.value() ] = name + "-" + original.stringValue();
         }
      }
      EXPECT_EQ( holders, grantees );
      std::string text;
      for( auto const & [ vni, name ] : holders ) text += Lum::textOf( vni, "=", name, " " );
      return text;
   }

   Lum::Ptr< PolicyHelperInfo > helper{ new PolicyHelperInfo( "PolicyHelperInfo" ) };
   Lum::Ptr< Config > config{ new Config( "config" ) };
   Lum::Ptr< VtepAllPolicyFragmentStatus > remembered = vtepAllPolicyFragmentStatusFactory( "remembered" );
   Lum::Ptr< ServiceVniSm > machine;
};

TEST_F( ServiceVniTest, AGrantFollowsItsRequestAndTheRanges ) {
   auto const web = helper->policyInfoIs( "web" );
   Step const story[] = {
      { "a request before there is a pool", [ & ] { start(), request( "web", vni100 ); }, "" },
      { "the pool serves it", [ & ] { config->vniRangeIs( "500-501" ); }, "500=web-100 " },
      { "the next VNI of the group", [ & ] { request( "web", vni200 ); }, "500=web-100 501=web-200 " },
      { "the pool is spent", [ & ] { request( "dmz", vni100 ); }, "500=web-100 501=web-200 " },
      { "a free VNI wakes nobody", [ & ] { web->originalToServiceVniDel( vni100 ); }, "501=web-200 " },
      { "a grant in range stays", [ & ] { config->vniRangeIs( "501-502" ); }, "501=web-200 502=dmz-100 " },
      { "another one moves", [ & ] { config->vniRangeIs( "400,502" ); }, "400=web-200 502=dmz-100 " },
      { "a bad range moves none", [ & ] { config->vniRangeIs( "600,x" ); }, "400=web-200 502=dmz-100 " },
      { "a group goes with its entries", [ & ] { helper->policyInfoDel( "web" ); }, "502=dmz-100 " },
      { "no range at all", [ & ] { config->vniRangeIs( "" ); }, "" }
   };
   play( story, [ & ] { return grants(); } );
}

TEST_F( ServiceVniTest, AfterARestartTheGrantsThatTheSwitchesRememberAreTakenUp ) {
   auto const remember = [ & ]( char const * fragment, Vxlan::VniOrNone original, Vxlan::VniOrNone service ) {
      remembered->fragmentStatusIs( fragment )->originalVniIs( original );
      remembered->fragmentStatusIs( fragment )->serviceVniIs( service );
   };
   remember( "web-farm-100", vni100, Vxlan::VniOrNone( 500 ) );
   remember( "dmz-100", vni100, Vxlan::VniOrNone( 502 ) );
   remember( "lab-100", vni100, none ); // a request
   remember( "cold-100", none, Vxlan::VniOrNone( 503 ) );
   remember( "gone-100", vni100, Vxlan::VniOrNone( 501 ) );
   for( auto const & [ pool, expected ] :
        { std::pair( "500-502", "500=web-farm-100 501=lab-100 502=dmz-100 " ), std::pair( "502", "502=dmz-100 " ),
          std::pair( "x", "500=web-farm-100 502=dmz-100 " ) } ) {
      helper = new PolicyHelperInfo( "PolicyHelperInfo" );
      for( char const * group : { "web-farm", "dmz", "cold", "lab" } ) helper->policyInfoIs( group );
      config->vniRangeIs( pool );
      start();
      EXPECT_EQ( grants(), expected ) << pool;
   }
}

} // namespace
