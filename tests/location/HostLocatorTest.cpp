// How a host is found in the fabric's tables, followed and lost.
#include "location/KivHostLocator.h"
#include "platform/moth/VirtualTaskScheduler.h"
#include "tests/platform/lum/Steps.h"

#include <algorithm>

using namespace Kiv;

namespace {

Neroli::IpGenAddr const hostIp( "10.1.0.1" ), otherIp( "2001:db8::1" );
Neroli::EthAddr const mac1( 1 ), mac2( 2 );
Neroli::IpAddr const vtep1( 0x0a000001 ), vtep2( 0x0a000002 );
Vxlan::VniOrNone const vni100( 100 ), vni5000( 5000 ), vni6000( 6000 );

/// The hosts are in VNI 100.
struct Fabric {
   void start() {
      root = vniFdbStatusDirSmFactory( Lum::Ptr< Lum::Dir const >( dir ), helper, Lum::Ptr< Config const >( config ) );
   }
   Lum::Ptr< Loomis::VniFdbStatusV2 > tables( unsigned vni ) {
      return dir->createEntity< Loomis::VniFdbStatusV2 >( std::to_string( vni ) );
   }
   void bind( Neroli::IpGenAddr ip, Neroli::EthAddr mac ) { tables( 100 )->ipToMacTableIs( { ip, mac } ); }
   void learn( Neroli::EthAddr mac, Neroli::IpAddr vtep, unsigned vni = 100 ) {
      tables( vni )->macVtepTableIs( { mac, vtep, 0, 0 } );
   }
   void pairAt( Neroli::IpAddr vtep, char const * first, char const * second = "" ) {
      helper->vtepIpToSwitchPairIs( vtep, SwitchPair( SwitchId( first ), SwitchId( second ) ) );
   }
   Lum::Ptr< HostInfo > intercept( Neroli::IpGenAddr ip = hostIp ) {
      auto const host = helper->ipToPolicyIs( ip );
      host->policyIs( "web" );
      return host;
   }
   void serviceVniIs( Vxlan::VniOrNone vni ) { helper->policyInfoIs( "web" )->originalToServiceVniIs( vni100, vni ); }
   void seenIf( bool seen ) { seen ? learn( mac1, vtep2, 5000 ) : tables( 5000 )->macVtepTableDel( mac1 ); }
   void tablesIf( bool there ) { there ? void( tables( 5000 ) ) : dir->entityPtrDel( "5000" ); }
   /// VNI, MAC and switches.
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
   Lum::Ptr< Lum::Dir > dir{ new Lum::Dir( "vni" ) };
   Lum::Ptr< VniFdbStatusDirSm > root;
};

TEST( HostLocator, AHostIsFoundInWhateverOrderItsTracesArrive ) {
   using Trace = std::function< void( Fabric & ) >;
   Trace const traces[] = { []( Fabric & it ) { it.start(); }, []( Fabric & it ) { it.intercept(); },
                            []( Fabric & it ) { it.bind( hostIp, mac1 ); },
                            []( Fabric & it ) { it.learn( mac1, vtep1 ); },
                            []( Fabric & it ) { it.pairAt( vtep1, "a", "b" ); } };
   std::vector< std::size_t > order{ 0, 1, 2, 3, 4 };
   do {
      Fabric fabric;
      fabric.bind( otherIp, mac2 ); // nobody intercepts it
      for( auto const index : order ) traces[ index ]( fabric );
      EXPECT_EQ( fabric.place(), "100 1 a/b" ) << testing::PrintToString( order );
      EXPECT_EQ( fabric.held(), 2u );
   } while( std::next_permutation( order.begin(), order.end() ) );
}

TEST( HostLocator, TheAddressesOfAMacShareItsPlace ) {
   Fabric it;
   it.start();
   Neroli::IpGenAddr const ips[] = { hostIp, otherIp, Neroli::IpGenAddr( "10.1.0.3" ) };
   it.pairAt( vtep1, "a", "b" );
   it.pairAt( vtep2, "c" );
   it.learn( mac1, vtep1 );
   for( auto const & ip : ips ) {
      it.intercept( ip );
      it.bind( ip, mac1 );
   }
   auto const places = [ & ] {
      std::string text;
      for( auto const & ip : ips ) text += it.helper->ipToPolicy( ip ) ? it.place( ip ) + ", " : "gone, ";
      return text;
   };
   Step const story[] = {
      { "three", [] {}, "100 1 a/b, 100 1 a/b, 100 1 a/b, " },
      { "they move", [ & ] { it.learn( mac1, vtep2 ); }, "100 1 c, 100 1 c, 100 1 c, " },
      { "the one that is followed goes, and they move",
        [ & ] { it.helper->ipToPolicyDel( ips[ 2 ] ), it.learn( mac1, vtep1 ); }, "100 1 a/b, 100 1 a/b, gone, " },
      { "one that is not has another MAC", [ & ] { it.bind( ips[ 0 ], mac2 ); }, "100 2 none, 100 1 a/b, gone, " },
      { "their VTEP moves", [ & ] { it.pairAt( vtep1, "d" ); }, "100 2 none, 100 1 d, gone, " },
      { "it comes back", [ & ] { it.bind( ips[ 0 ], mac1 ); }, "100 1 d, 100 1 d, gone, " },
      { "the one that is followed by now has another MAC, and they move",
        [ & ] { it.bind( ips[ 0 ], mac2 ), it.learn( mac1, vtep2 ); }, "100 2 none, 100 1 c, gone, " },
      { "it comes back, and their VTEP moves", [ & ] { it.bind( ips[ 0 ], mac1 ), it.pairAt( vtep2, "d" ); },
        "100 1 d, 100 1 d, gone, " },
      { "one comes when the MAC has vanished",
        [ & ] { it.tables( 100 )->macVtepTableDel( mac1 ), it.intercept( ips[ 2 ] ); }, "100 1 d, 100 1 d, 100 1 d, " },
      { "the VNI goes", [ & ] { it.dir->entityPtrDel( "100" ); }, "none 0 none, none 0 none, none 0 none, " },
   };
   play( story, places );
   EXPECT_EQ( it.held(), 0u );
}

TEST( HostLocator, AHostIsFollowed ) {
   Fabric it;
   it.start();
   for( unsigned const vni : { 50u, 100u, 0xffffffu, 0x1000000u } ) it.tables( vni ); // the last one is none
   EXPECT_EQ( it.root->l2StatusSm().size(), 3u );
   it.pairAt( vtep2, "c" );
   auto const host = it.intercept();
   Step const story[] = {
      { "its MAC is bound, but not learnt", [ & ] { it.bind( hostIp, mac1 ); }, "100 1 none" },
      { "and learnt at a VTEP without switches", [ & ] { it.learn( mac1, vtep1 ); }, "100 1 none" },
      { "which then has them", [ & ] { it.pairAt( vtep1, "a", "b" ); }, "100 1 a/b" },
      { "it vanishes, which proves nothing", [ & ] { it.tables( 100 )->macVtepTableDel( mac1 ); }, "100 1 a/b" },
      { "it is there without a VTEP", [ & ] { it.learn( mac1, Neroli::IpAddr() ); }, "100 1 a/b" },
      { "it moves", [ & ] { it.learn( mac1, vtep2 ); }, "100 1 c" },
      { "another MAC", [ & ] { it.bind( hostIp, mac2 ); }, "100 2 none" },
      { "the old one means nothing any more", [ & ] { it.learn( mac1, vtep1 ); }, "100 2 none" },
      { "no group controls the host", [ & ] { host->policyIs( "" ); }, "none 0 none" },
      { "the tables go on", [ & ] { it.learn( mac2, vtep1 ); }, "none 0 none" },
      { "a group controls it again", [ & ] { host->policyIs( "dmz" ); }, "100 2 a/b" },
      { "the VNI is something else", [ & ] { it.dir->entityPtrIs( "100", new Lum::Dir( "" ) ); }, "none 0 none" }
   };
   play( story, [ & ] { return it.place(); } );
   EXPECT_EQ( it.held(), 0u );
}

TEST( HostLocator, OneVniAtATimeFollowsAHost ) {
   Fabric it;
   it.tables( 0x1000001 ); // no VNI, which stops nobody else
   it.bind( hostIp, mac1 );
   it.learn( mac1, vtep1 );
   it.pairAt( vtep1, "a" );
   it.pairAt( vtep2, "c" );
   auto const host = it.intercept();
   it.start();
   EXPECT_EQ( it.place(), "100 1 a" );
   it.tables( 50 )->ipToMacTableIs( { hostIp, mac1 } );
   EXPECT_EQ( it.place(), "50 1 a" ) << "until its MAC is learnt there, too";
   it.learn( mac1, vtep2, 50 );
   EXPECT_EQ( it.place(), "50 1 c" );
   it.pairAt( vtep1, "b" );
   it.dir->entityPtrDel( "100" );
   EXPECT_EQ( it.place(), "50 1 c" );
   EXPECT_EQ( it.held(), 2u );
   host->switchPairIs( SwitchPair() ); // it ages out, and another VTEP's switches do not bring it back
   it.pairAt( vtep1, "a" );
   EXPECT_EQ( it.place(), "50 1 none" );
}

TEST( HostLocator, TwoHostsOfOneMacDoNotTakeEachOtherAway ) {
   Fabric it;
   for( unsigned const vni : { 50, 100 } ) it.tables( vni );
   auto const restored = it.intercept(); // after a restart, its address has not been seen yet
   restored->macIs( mac1 );
   restored->vniIs( vni100 );
   it.start();
   it.pairAt( vtep1, "a" );
   it.learn( mac1, vtep1 );
   EXPECT_EQ( it.place(), "100 1 a" );
   auto const other = it.intercept( otherIp );
   it.bind( otherIp, mac1 );
   it.helper->ipToPolicyDel( hostIp );
   it.pairAt( vtep1, "b" );
   EXPECT_EQ( it.place( otherIp ), "100 1 b" );
   other->policyIs( "" );
   it.helper->ipToPolicyDel( otherIp );
   EXPECT_EQ( it.held(), 0u );
}

TEST( HostLocator, AHostAgesOutThatIsNotSeenOnItsServiceVni ) {
   struct {
      char const * story;
      std::uint16_t threshold;
      std::function< void( Fabric &, unsigned ) > before; // each round
      unsigned agedIn;                                    // round; the first one enters the host. 0: not in ten
   } const cases[] = {
      { "at once", 0, []( auto &, auto ) {}, 2 },
      { "behind the threshold", 3, []( auto &, auto ) {}, 4 },
      { "seen", 3, []( auto & it, auto ) { it.seenIf( true ); }, 0 },
      { "seen once", 3, []( auto & it, auto round ) { it.seenIf( round == 4 ); }, 8 },
      { "no tables", 3, []( auto & it, auto round ) { it.tablesIf( round != 3 ); }, 5 },
      { "another VNI", 3, []( auto & it, auto round ) { it.serviceVniIs( round < 4 ? vni5000 : vni6000 ); }, 7 },
      { "another MAC", 3, []( auto & it, auto round ) { it.bind( hostIp, round < 3 ? mac1 : mac2 ); }, 6 },
      { "the group has gone", 3, []( auto & it, auto ) { it.helper->policyInfoDel( "web" ); }, 0 }
   };
   for( auto const & [ story, threshold, before, agedIn ] : cases ) {
      Fabric it;
      it.config->staleHostThresholdIs( threshold );
      for( unsigned const vni : { 5000, 6000 } ) it.tables( vni );
      for( auto const & mac : { mac1, mac2 } ) it.learn( mac, vtep1 );
      it.pairAt( vtep1, "a" );
      it.bind( hostIp, mac1 );
      it.serviceVniIs( vni5000 );
      auto const host = it.intercept();
      it.start();
      unsigned aged = 0;
      for( unsigned round = 1; round <= 10 && !aged; ++round ) {
         before( it, round );
         it.scheduler->advance( it.config->staleHostCheckPeriod() );
         if( host->switchPair().members() == 0 ) aged = round;
      }
      EXPECT_EQ( aged, agedIn ) << story;
   }
}

} // namespace
