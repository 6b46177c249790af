#include "feedback/KivMacMove.h"
#include "tests/platform/lum/Steps.h"

namespace {

using namespace Kiv;

Neroli::IpGenAddr const ip( "10.0.0.1" ), otherIp( "10.0.0.2" );
Neroli::EthAddr const mac( 1 ), otherMac( 2 );
Neroli::IpAddr const serviceVtep( 0xc000020a ), leaf( 0xc0000201 );
Vxlan::Vni const vni( 5010 );

/// A group with a host on VNI 5010 behind a leaf, a service VTEP, and a switch that reports.
struct MacMove : testing::Test {
   MacMove() {
      helper->vtepSwitchIdToIpIs( SwitchId( "02:00:00:00:00:0a" ), serviceVtep );
      running->serviceVtepSwitchIdIs( SwitchId( "02:00:00:00:00:0a" ), true );
      host( ip, mac );
      learn( mac, leaf, 5 );
      machine = start();
   }

   Lum::Ptr< MacMoveSm > start() { return macMoveSmFactory( statusDir, helper, col, vniDir, output ); }

   Lum::Ptr< HostRunningInfo > host( Neroli::IpGenAddr address, Neroli::EthAddr hardware ) {
      auto const made = running->hostInfoIs( address );
      made->macIs( hardware );
      made->originalVniIs( vni );
      return made;
   }

   void learn( Neroli::EthAddr hardware, Neroli::IpAddr at, std::uint32_t moves ) {
      vniDir->createEntity< Loomis::VniFdbStatusV2 >( "5010" )->macVtepTableIs( { hardware, at, moves, 0 } );
   }

   void report( char const * flow, std::uint32_t moves, Neroli::EthAddr hardware = mac ) {
      fragment->flowStatusIs( { flow, 0, "", { hardware, moves } } );
   }

   std::uint32_t count() { return running->hostInfo( ip )->moveCountByVtep(); }
   /// The count of the entry that outbids the fabric's; 0 without one.
   std::uint32_t outbid( Neroli::EthAddr hardware = mac ) {
      auto const table = output->vniStatusV2( vni );
      return table ? table->macVtepTable( hardware ).moveCount : 0;
   }

   Lum::Ptr< Lum::Dir > statusDir{ new Lum::Dir( "status" ) };
   Lum::Ptr< Lum::Dir > vniDir{ new Lum::Dir( "vni" ) };
   Lum::Ptr< PolicyHelperInfo > helper{ new PolicyHelperInfo( "helper" ) };
   Lum::Ptr< PolicyRunningInfoCol > col{ new PolicyRunningInfoCol( "col" ) };
   Lum::Ptr< Loomis::VniStatusDirV2 > output{ new Loomis::VniStatusDirV2( "output" ) };
   Lum::Ptr< PolicyRunningInfo > running = col->policyRunningInfoIs( "web-shop" );
   Lum::Ptr< V1::KivPolicyFragmentStatus > reports =
      statusDir->createEntity< V1::KivPolicyFragmentStatus >( "02-00-00-00-00-01" );
   Lum::Ptr< V1::ServicePolicyFragmentStatus > fragment = reports->policyFragmentIs( "web-shop-5010" );
   Lum::Ptr< MacMoveSm > machine;
};

} // namespace

TEST_F( MacMove, ReportsOnlyRaiseTheCountAndItsFlowTakesItBack ) {
   report( "InsideVtepIngress-10.0.0.1", 7 );
   EXPECT_EQ( count(), 7u );
   report( "InsideVtepIngress-10.0.0.1", 3 );
   report( "InsideVtepEgress", 9, Neroli::EthAddr() );
   EXPECT_EQ( count(), 7u );
   fragment->flowStatusDel( "InsideVtepIngress-10.0.0.1" );
   EXPECT_EQ( count(), 0u );
   report( "InsideVtepIngress-10.0.0.1", 8 );
   statusDir->entityPtrDel( "02-00-00-00-00-01" ); // the whole switch
   EXPECT_EQ( count(), 0u );
}

TEST_F( MacMove, AnEntryIsWrittenOnlyWhenAllIsKnown ) {
   auto const info = running->hostInfo( ip );
   auto const given = [ & ]( PolicyRunningState state, unsigned moves, Neroli::IpAddr learntAt,
                             bool vtepKnown = true ) {
      info->stateIs( PolicyRunningState::policyDeleted );
      info->moveCountByVtepIs( 0 );
      output->vniStatusV2DelAll();
      learn( mac, learntAt, 5 );
      vtepKnown ? helper->vtepSwitchIdToIpIs( SwitchId( "02:00:00:00:00:0a" ), serviceVtep )
                : helper->vtepSwitchIdToIpDel( SwitchId( "02:00:00:00:00:0a" ) );
      info->stateIs( state );
      info->moveCountByVtepIs( moves );
   };
   using enum PolicyRunningState;
   Step const story[] = {
      { "all there", [ & ] { given( policyRunning, 5, leaf ); }, "6" },
      { "another state, even with flows", [ & ] { given( policyOrchestrating, 5, leaf ); }, "0" },
      { "the switch has not seen the move yet", [ & ] { given( policyRunning, 4, leaf ); }, "0" },
      { "no count", [ & ] { given( policyRunning, 0, leaf ); }, "0" },
      { "it stands at the service VTEP already", [ & ] { given( policyRunning, 5, serviceVtep ); }, "0" },
      { "no address of a service VTEP", [ & ] { given( policyRunning, 5, leaf, false ); }, "0" },
   };
   play( story, [ this ] { return std::to_string( outbid() ); } );
}

TEST_F( MacMove, AnEntryTakesItsTableAlongOnlyWhileOthersAreInIt ) {
   host( otherIp, otherMac );
   learn( otherMac, leaf, 1 );
   for( auto const & [ address, info ] : running->hostInfo() ) {
      info->stateIs( PolicyRunningState::policyRunning );
      info->moveCountByVtepIs( 5 );
   }
   ASSERT_EQ( outbid( otherMac ), 2u );
   running->hostInfo( ip )->stateIs( PolicyRunningState::policyDeleted );
   EXPECT_FALSE( output->vniStatusV2( vni ) );
   running->hostInfo( otherIp )->moveCountByVtepIs( 6 ); // its next event writes it again
   EXPECT_EQ( outbid( otherMac ), 2u );
   running->hostInfoDel( otherIp );
   ASSERT_TRUE( output->vniStatusV2( vni ) );
   EXPECT_TRUE( output->vniStatusV2( vni )->macVtepTable().empty() );
}

TEST_F( MacMove, AStartRemovesWhatNobodyKnowsAndTakesUpTheRest ) {
   machine = nullptr;
   for( auto const & [ at, hardware ] : { std::pair( 5010u, mac ), { 5010u, otherMac }, { 5011u, mac } } ) {
      output->vniStatusV2Is( Vxlan::Vni( at ) )->macVtepTableIs( { hardware, serviceVtep, 6, 0 } );
   }
   learn( mac, serviceVtep, 6 );
   running->hostInfo( ip )->stateIs( PolicyRunningState::policyRunning );
   running->hostInfo( ip )->moveCountByVtepIs( 6 );
   machine = start();
   EXPECT_EQ( outbid( mac ), 6u );
   EXPECT_EQ( outbid( otherMac ), 0u );
   EXPECT_FALSE( output->vniStatusV2( Vxlan::Vni( 5011 ) ) );
   running->hostInfo( ip )->moveCountByVtepIs( 0 );
   EXPECT_EQ( outbid( mac ), 0u ) << "taken up at the start, so it can be removed";
}
