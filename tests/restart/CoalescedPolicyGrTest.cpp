#include "restart/KivPolicyFragmentStatusSm.h"

#include <gtest/gtest.h>

namespace {

using namespace Kiv;

struct Memory {
   Lum::Ptr< Lum::Dir > dir{ new Lum::Dir( "status" ) };
   Lum::Ptr< VtepAllPolicyFragmentStatus > elected = vtepAllPolicyFragmentStatusFactory( "vtepPolicy" );
   Lum::Ptr< PolicyRunningInfoCol > col{ new PolicyRunningInfoCol( "col" ) };
   Lum::Ptr< PolicyHelperInfo > helper{ new PolicyHelperInfo( "helper" ) };

   Lum::Ptr< V1::ServicePolicyFragmentStatus > remembers( char const * systemId, char const * fragment,
                                                          std::uint32_t originalVni, std::uint32_t serviceVni ) {
      auto const status = dir->createEntity< V1::KivPolicyFragmentStatus >( systemId )->policyFragmentIs( fragment );
      status->originalVniIs( Vxlan::VniOrNone( originalVni ) );
      status->serviceVniIs( Vxlan::VniOrNone( serviceVni ) );
      return status;
   }
   Lum::Ptr< CoalescedPolicyGrSm > read() { return coalescedPolicyGrSmFactory( dir, elected, col, helper ); }
};

constexpr std::uint32_t none = 0x1000000;

} // namespace

TEST( VniElection, VotesAreCountedAndOneTooManyTakenBackWraps ) {
   Lum::Ptr< VniElection > const election( new VniElection( "web-7" ) );
   Vxlan::VniOrNone const vni( 500 );
   election->addVote( vni );
   election->addVote( vni );
   election->removeVote( vni );
   EXPECT_EQ( election->vote( vni ).value(), 1u );
   election->removeVote( vni );
   EXPECT_TRUE( election->vote().empty() );
   election->removeVote( vni );
   EXPECT_EQ( election->vote( vni ).value(), 0xffffffffu );
}

TEST( Coalesced, TheMostNamedServiceVniLeadsAndATieKeepsTheFirst ) {
   struct {
      char const * story;
      std::vector< std::uint32_t > reports; // one behind the other
      std::uint32_t elected;
   } const cases[] = {
      { "the first leads", { 500 }, 500 },
      { "a later one does not tie", { 500, 500, 600 }, 500 },
      { "the third report decides", { 600, 500, 500 }, 500 },
      { "a tie keeps the leader", { 500, 600 }, 500 },
      { "none votes but cannot lead", { none, none, 600 }, 600 },
      { "who knows nothing takes nothing", { 600, none }, 600 },
      { "nobody knows", { none }, none },
   };
   for( auto const & [ story, reports, elected ] : cases ) {
      SCOPED_TRACE( story );
      Memory memory;
      auto const machine = memory.read(); // reports that come while it lives are votes, too, in a known order
      char name = 'a';
      for( auto const vni : reports ) {
         std::string const systemId = std::string( "02-00-00-00-00-0" ) + name++;
         Lum::Ptr< V1::KivPolicyFragmentStatus > const status( new V1::KivPolicyFragmentStatus( systemId ) );
         status->policyFragmentIs( "a-b-7" )->originalVniIs( Vxlan::VniOrNone( vni == none ? none : 7 ) );
         status->policyFragment( "a-b-7" )->serviceVniIs( Vxlan::VniOrNone( vni ) );
         memory.dir->entityPtrIs( systemId, status );
      }
      auto const view = memory.elected->fragmentStatus( "a-b-7" );
      ASSERT_TRUE( view );
      EXPECT_EQ( view->originalVni().value(), elected == none ? none : 7u );
      EXPECT_EQ( view->serviceVni().value(), elected );
   }
}

TEST( Coalesced, ACookieRestoresTheGroupItsServiceVtepsAndItsHosts ) {
   Memory memory;
   Neroli::IpGenAddr const ip( "10.0.0.1" );
   V1::InterceptInfoCookie const host{ ip, Neroli::EthAddr( 1 ) };
   for( char const * systemId : { "02-00-00-00-00-0c", "02-00-00-00-00-0d" } ) {
      memory.remembers( systemId, "a-b-7", 7, 500 )->grCookieIs( "GrCookie" )->interceptInfoIs( host );
   }
   memory.remembers( "02-00-00-00-00-0a", "a-b-7", 7, 500 )->grCookieIs( "GrCookie" )->isServiceVtepIs( true );
   memory.remembers( "02-00-00-00-00-0a", "bare-8", 8, none );
   memory.dir->createEntity< Lum::Dir >( "foreign" );
   memory.read();
   auto const group = memory.col->policyRunningInfo( "a-b" );
   ASSERT_TRUE( group );
   EXPECT_EQ( group->policyState(), PolicyRunningState::policyRestored );
   EXPECT_EQ( group->originalToServiceVni( Vxlan::VniOrNone( 7 ) ).value(), 500u );
   EXPECT_TRUE( group->serviceVtepSwitchId( SwitchId( "02:00:00:00:00:0a" ) ) );
   EXPECT_EQ( group->serviceVtepSwitchId().size(), 1u );
   auto const restored = group->hostInfo( ip );
   ASSERT_TRUE( restored );
   EXPECT_EQ( restored->state(), PolicyRunningState::policyRestored );
   EXPECT_EQ( restored->insideVtepSwitchPair().members(), 2u );
   auto const info = memory.helper->ipToPolicy( ip );
   ASSERT_TRUE( info );
   EXPECT_EQ( info->policy(), Lum::String( "a-b" ) );
   EXPECT_EQ( info->mac(), host.mac );
   EXPECT_EQ( info->vni().value(), 7u );
   EXPECT_EQ( info->switchPair(), restored->insideVtepSwitchPair() );
   ASSERT_TRUE( memory.col->policyRunningInfo( "bare" ) ) << "without a cookie the group is restored all the same";
   EXPECT_TRUE( memory.col->policyRunningInfo( "bare" )->originalToServiceVni().empty() );
   EXPECT_TRUE( memory.helper->policyInfo( "bare" ) );
}
