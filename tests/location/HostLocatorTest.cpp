// How a host is found in the fabric's tables, followed and lost.
#include "location/KivHostLocator.h"
#include "platform/moth/VirtualTaskScheduler.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>

using namespace Kiv;

namespace {

Neroli::IpGenAddr const hostIp( "10.1.0.1" ), otherIp( "2001:db8::1" );
Neroli::EthAddr const mac1( 1 ), mac2( 2 );
Neroli::IpAddr const vtep1( 0x0a000001 ), vtep2( 0x0a000002 );
Vxlan::VniOrNone const vni100( 100 ), vni5000( 5000 ), vni6000( 6000 );

/// A fabric with a few VNIs. The hosts are in VNI 100; its service VNI is 5000.
class HostLocatorTest : public testing::Test {
 protected:
   void start() { root = vniFdbStatusDirSmFactory( Lum::Ptr< Lum::Dir const >( vniDir ), helper, configRead ); }
   void renew() {
      root = nullptr;
      helper = new PolicyHelperInfo( "PolicyHelperInfo", scheduler );
      vniDir = new Lum::Dir( "vni" );
   }
   Lum::Ptr< Loomis::VniFdbStatusV2 > tables( unsigned vni ) {
      return vniDir->createEntity< Loomis::VniFdbStatusV2 >( std::to_string( vni ) );
   }
   void bind( Neroli::IpGenAddr ip, Neroli::EthAddr mac, unsigned vni = 100 ) {
      tables( vni )->ipToMacTableIs( { ip, mac } );
   }
   void learn( Neroli::EthAddr mac, Neroli::IpAddr vtep, unsigned vni = 100 ) {
      tables( vni )->macVtepTableIs( { mac, vtep, 0, 0 } );
   }
   void pairAt( Neroli::IpAddr vtep, char const * first, char const * second = "" ) {
      helper->vtepIpToSwitchPairIs( vtep, SwitchPair( first, second ) );
   }
   Lum::Ptr< HostInfo > intercept( Neroli::IpGenAddr ip ) {
      auto const host = helper->ipToPolicyIs( ip );
      host->policyIs( "web" );
      return host;
   }
   /// VNI, MAC and switches of a host.
   std::string place( Neroli::IpGenAddr ip = hostIp ) const {
      auto const host = helper->ipToPolicy( ip );
      return Lum::textOf( host->vni().stringValue( true ), " ", host->mac().value(), " ", host->switchPair() );
   }
   /// How many hosts and MACs the machines of all VNIs hold.
   std::size_t held() const {
      std::size_t count = 0;
      for( auto const & [ vni, l2 ] : root->l2StatusSm() ) count += l2->vtepLocatorSm().size() + l2->macToIp().size();
      return count;
   }

   Lum::Ptr< Moth::VirtualTaskScheduler > scheduler{ new Moth::VirtualTaskScheduler };
   Lum::Ptr< PolicyHelperInfo > helper{ new PolicyHelperInfo( "PolicyHelperInfo", scheduler ) };
   Lum::Ptr< Config > config{ new Config( "config" ) };
   Lum::Ptr< Config const > configRead = config;
   Lum::Ptr< Lum::Dir > vniDir{ new Lum::Dir( "vni" ) };
   Lum::Ptr< VniFdbStatusDirSm > root;
};

TEST_F( HostLocatorTest, AHostIsFoundInWhateverOrderItsTracesArrive ) {
   std::function< void() > const traces[] = { [ & ] { start(); }, [ & ] { intercept( hostIp ); },
                                              [ & ] { bind( hostIp, mac1 ); }, [ & ] { learn( mac1, vtep1 ); },
                                              [ & ] { pairAt( vtep1, "a", "b" ); } };
   std::vector< std::size_t > order{ 0, 1, 2, 3, 4 };
   do {
      renew();
      for( auto const index : order ) traces[ index ]();
      EXPECT_EQ( place(), "100 1 a/b" ) << testing::PrintToString( order );
      bind( otherIp, mac2 ); // nobody intercepts it
      EXPECT_EQ( held(), 2u );
   } while( std::next_permutation( order.begin(), order.end() ) );
}

TEST_F( HostLocatorTest, AHostIsFollowed ) {
   for( unsigned const vni : { 50, 100, 200, 300 } ) tables( vni );
   start();
   auto const host = intercept( hostIp );
   struct {
      char const * story;
      std::function< void() > event;
      char const * place;
   } const steps[] = {
      { "its MAC is bound, but not learnt", [ & ] { bind( hostIp, mac1 ); }, "100 1 none" },
      { "and learnt", [ & ] { pairAt( vtep1, "a" ), learn( mac1, vtep1 ); }, "100 1 a" },
      { "a switch joins the pair", [ & ] { pairAt( vtep1, "b", "a" ); }, "100 1 b/a" },
      { "the MAC vanishes, which proves nothing", [ & ] { tables( 100 )->macVtepTableDel( mac1 ); }, "100 1 b/a" },
      { "it is there without a VTEP", [ & ] { learn( mac1, Neroli::IpAddr() ); }, "100 1 b/a" },
      { "it moves to a VTEP without switches", [ & ] { learn( mac1, vtep2 ); }, "100 1 none" },
      { "which then has one", [ & ] { pairAt( vtep2, "c" ); }, "100 1 c" },
      { "the binding vanishes", [ & ] { tables( 100 )->ipToMacTableDel( hostIp ); }, "100 1 c" },
      { "another MAC", [ & ] { bind( hostIp, mac2 ); }, "100 2 none" },
      { "the old one means nothing any more", [ & ] { learn( mac1, vtep1 ), learn( mac2, vtep2 ); }, "100 2 c" },
      { "no group controls the host", [ & ] { host->policyIs( "" ); }, "none 0 none" },
      { "the tables go on", [ & ] { learn( mac2, vtep1 ); }, "none 0 none" },
      { "a group controls it again", [ & ] { host->policyIs( "dmz" ); }, "100 2 b/a" },
      { "the VNI goes", [ & ] { vniDir->entityPtrDel( "100" ); }, "none 0 none" },
      { "another has the host", [ & ] { learn( mac1, vtep1, 200 ), bind( hostIp, mac1, 200 ); }, "200 1 b/a" },
      { "which is something else now", [ & ] { vniDir->entityPtrIs( "200", new Lum::Dir( "" ) ); }, "none 0 none" }
   };
   for( auto const & [ story, event, expected ] : steps ) {
      event();
      EXPECT_EQ( place(), expected ) << story;
   }
   EXPECT_EQ( held(), 0u );
   vniDir->createEntity< Loomis::VniFdbStatusV2 >( "16777215" );
   auto const exceptions = Lum::notificationExceptions();
   for( char const * name : { "16777216", "-1" } ) vniDir->createEntity< Loomis::VniFdbStatusV2 >( name );
   EXPECT_EQ( Lum::notificationExceptions() - exceptions, 2u );
   EXPECT_EQ( root->l2StatusSm().size(), 3u );
}

// Two hosts share a MAC, one is remembered from before a restart.
TEST_F( HostLocatorTest, HostsDoNotTakeEachOtherAway ) {
   auto const restored = intercept( hostIp );
   restored->macIs( mac1 );
   restored->vniIs( vni100 );
   for( unsigned const vni : { 50, 100 } ) tables( vni );
   start();
   pairAt( vtep1, "a" );
   learn( mac1, vtep1 ); // its address has not been seen yet
   EXPECT_EQ( place( hostIp ), "100 1 a" );
   intercept( otherIp );
   bind( otherIp, mac1 );
   helper->ipToPolicyDel( hostIp );
   pairAt( vtep1, "b" );
   EXPECT_EQ( place( otherIp ), "100 1 b" );
   for( auto const & [ ip, host ] : helper->ipToPolicy() ) host->policyIs( "" ), helper->ipToPolicyDel( ip );
   EXPECT_EQ( held(), 0u ); // of hosts that have left
}

TEST_F( HostLocatorTest, AHostAgesOutThatIsNotSeenOnItsServiceVni ) {
   auto const serviceVniIs = [ & ]( Vxlan::VniOrNone vni ) {
      helper->policyInfoIs( "web" )->originalToServiceVniIs( vni100, vni );
   };
   auto const seen = [ & ]( bool isSeen ) {
      isSeen ? learn( mac1, vtep2, 5000 ) : tables( 5000 )->macVtepTableDel( mac1 );
   };
   using Round = unsigned;
   struct {
      char const * story;
      std::uint16_t threshold;
      std::function< void( Round ) > before;
      Round agedIn; // 0: not in ten rounds; the first one enters the host
   } const cases[] = {
      { "at once", 0, []( Round ) {}, 2 },
      { "behind the threshold", 3, []( Round ) {}, 4 },
      { "not before it", 10, []( Round ) {}, 0 },
      { "it is seen", 3, [ & ]( Round ) { seen( true ); }, 0 },
      { "it is seen once, and the count starts over", 3, [ & ]( Round round ) { seen( round == 4 ); }, 8 },
      { "no tables for two rounds", 3,
        [ & ]( Round round ) { round == 3 || round == 4 ? vniDir->entityPtrDel( "5000" ) : void( tables( 5000 ) ); },
        6 },
      { "another service VNI", 3, [ & ]( Round round ) { serviceVniIs( round < 4 ? vni5000 : vni6000 ); }, 7 },
      { "no service VNI", 3, [ & ]( Round round ) { serviceVniIs( round < 4 ? vni5000 : Vxlan::VniOrNone() ); }, 0 },
      { "another MAC", 3, [ & ]( Round round ) { bind( hostIp, round < 3 ? mac1 : mac2 ); }, 6 },
      { "the group has gone", 3, [ & ]( Round ) { helper->policyInfoDel( "web" ); }, 0 }
   };
   for( auto const & [ story, threshold, before, agedIn ] : cases ) {
      renew();
      config->staleHostThresholdIs( threshold );
      for( unsigned const vni : { 5000, 6000 } ) tables( vni );
      for( auto const & mac : { mac1, mac2 } ) learn( mac, vtep1 );
      pairAt( vtep1, "a" );
      bind( hostIp, mac1 );
      auto const host = intercept( hostIp );
      serviceVniIs( vni5000 );
      start();
      Round aged = 0;
      for( Round round = 1; round <= 10 && !aged; ++round ) {
         before( round );
         scheduler->advance( config->staleHostCheckPeriod() );
         if( host->switchPair().members() == 0 ) aged = round;
      }
      EXPECT_EQ( aged, agedIn ) << story;
   }
}

} // namespace
