#include "collector/KivServiceConfigCollector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>

namespace {

using namespace Kiv;

InterceptFlowInfo flow( char const * host ) { return { Neroli::IpGenAddrWithMask( Lum::String( host ) ) }; }
ServiceInterface port( Lum::String const & switchId, char const * vlan = "7" ) {
   ServiceInterface made( SwitchIntfPair( SwitchId( switchId ), "Ethernet1" ) );
   if( *vlan ) made.allowedVlan[ vlan ] = true;
   return made;
}

/// A whole record; empty when there is none.
template< class Record >
std::set< std::string > show( Lum::Ptr< Record > const & record ) {
   std::set< std::string > text;
   Lum::forEachAttribute< Record >( [ & ]( auto each ) {
      if( !record ) return;
      if constexpr( each.form == Lum::Form::value ) {
         text.insert( Lum::textOf( each.name, " ", each.get( *record ) ) );
      } else {
         for( auto const & [ key, value ] : each.all( *record ) ) text.insert( Lum::textOf( each.name, value, key ) );
      }
   } );
   return text;
}

struct Collector : testing::Test {
   Lum::Ptr< Lum::Dir > const dirs[ 3 ] = { new Lum::Dir( "policy" ), new Lum::Dir( "intf" ), new Lum::Dir( "state" ) };
   Lum::Ptr< ServicePolicyConfig > const policies = new ServicePolicyConfig( "merged" );
   Lum::Ptr< ServiceIntfConfig > const sets = new ServiceIntfConfig( "merged" );
   Lum::Ptr< KivPolicySourceState > const state = new KivPolicySourceState( "merged" );
   Lum::Ptr< ServiceConfigDirMonitorSm > monitor = collect();

   Lum::Ptr< ServiceConfigDirMonitorSm > collect() {
      return serviceConfigDirMonitorSmFactory( dirs[ 0 ], dirs[ 1 ], dirs[ 2 ], policies, sets, state );
   }
   /// Puts one of a source's three entities: a policy "p", an interface set "u", or the word that it has converged.
   void put( std::size_t which, Lum::Name const & name ) {
      Lum::Ptr< ServicePolicyConfig > const policyConfig( new ServicePolicyConfig( name ) );
      auto const policy = policyConfig->servicePolicyIs( "p" );
      policy->serviceDeviceIdIs( name );
      policy->nearIntfUuidIs( name + "-near" );
      policy->farIntfUuidIs( name + "-far" );
      policy->policyNameIs( name + "-rule", true );
      policy->interceptFlowIs( flow( name == "a" ? "10.0.0.1" : "10.0.0.2" ) );
      Lum::Ptr< ServiceIntfConfig > const intfConfig( new ServiceIntfConfig( name ) );
      intfConfig->intfSetIs( "u" )->zoneIs( name );
      intfConfig->intfSetIs( "u" )->intfIs( port( name ) );
      Lum::Ptr< KivPolicySourceState > const converged( new KivPolicySourceState( name ) );
      converged->convergenceCompleteIs( true );
      Lum::Ptr< Lum::Entity > const entities[] = { policyConfig, intfConfig, converged };
      dirs[ which ]->entityPtrIs( name, entities[ which ] );
   }
   void sourceIs( Lum::Name const & name, std::size_t last = 2 ) {
      for( std::size_t i = 1; i <= 3; ++i ) put( ( last + i ) % 3, name );
   }
   auto configOf( Lum::Name const & name ) { return Lum::entryOf< ServicePolicyConfig >( dirs[ 0 ], name ); }
   auto setOf( Lum::Name const & name ) { return Lum::entryOf< ServiceIntfConfig >( dirs[ 1 ], name )->intfSet( "u" ); }

   /// The merged records are those of one source, whole and unmixed.
   void expectWinner( Lum::Name const & name ) {
      EXPECT_EQ( show( policies->servicePolicy( "p" ) ), show( configOf( name )->servicePolicy( "p" ) ) );
      EXPECT_EQ( show( sets->intfSet( "u" ) ), show( setOf( name ) ) );
   }
   void expectNothing() { EXPECT_EQ( policies->servicePolicy().size() + sets->intfSet().size(), 0U ); }
};

TEST_F( Collector, TheLowestNameWinsInWhateverOrderSourcesComeAndGo ) {
   std::vector< std::string > names = { "B", "a", "ab", "b" }; // in byte order
   do {
      SCOPED_TRACE( testing::PrintToString( names ) );
      std::set< std::string > standing;
      for( auto const & name : names ) {
         sourceIs( name, standing.size() % 3 ); // whichever entity comes last makes the source
         standing.insert( name );
         expectWinner( *standing.begin() );
      }
      monitor = nullptr; // takes everything with it,
      expectNothing();
      monitor = collect(); // and a new one finds what stands
      expectWinner( *standing.begin() );
      for( auto const & name : names ) {
         auto & dir = *dirs[ standing.size() % 3 ]; // and whichever goes or has a wrong type ends it
         name == "a" ? dir.entityPtrIs( "a", new Lum::Dir( "a" ) ) : dir.entityPtrDel( name );
         standing.erase( name );
         standing.empty() ? expectNothing() : expectWinner( *standing.begin() );
      }
      for( auto const & dir : dirs ) dir->entityPtrDelAll();
   } while( std::next_permutation( names.begin(), names.end() ) );
}

TEST_F( Collector, ATakeOverMakesANewRecordAndLeavesTheOldOneAsItWas ) {
   sourceIs( "c" );
   sourceIs( "b" );
   for( auto const * const winner : { "a", "b" } ) {
      auto const old = policies->servicePolicy( "p" );
      auto const before = show( old );
      dirs[ 2 ]->entityPtrDel( "c" ); // a standby goes unseen, also one that has been the winner,
      sourceIs( "c" );                // and comes unseen
      EXPECT_EQ( policies->servicePolicy( "p" ), old );
      *winner == 'a' ? sourceIs( "a" ) : configOf( "a" )->servicePolicyDel( "p" );
      EXPECT_NE( policies->servicePolicy( "p" ), old );
      EXPECT_EQ( show( old ), before );
      EXPECT_EQ( policies->servicePolicy( "p" )->serviceDeviceId(), winner );
      EXPECT_EQ( sets->intfSet( "u" )->zone(), "a" ); // each key has a winner of its own
   }
}

TEST_F( Collector, OnlyTheWinnersChangesAreCopiedOneByOne ) {
   sourceIs( "b" );
   sourceIs( "a" ); // b has been the winner, and must not write any more
   for( Lum::Name const name : { "a", "b" } ) {
      auto const policy = configOf( name )->servicePolicy( "p" );
      auto const set = setOf( name );
      std::function< void() > const changes[] = {
         [ & ] { policy->serviceDeviceIdIs( "new" + name ); },
         [ & ] { policy->nearIntfUuidIs( "new" + name ); },
         [ & ] { policy->farIntfUuidIs( "new" + name ); },
         [ & ] { policy->policyNameIs( "new" + name, true ); },
         [ & ] { policy->policyNameDel( name + "-rule" ); },
         [ & ] { policy->interceptFlowIs( flow( "10.0.0.9" ) ); },
         [ & ] { policy->interceptFlowDelAll(); },
         [ & ] { set->zoneIs( "new" + name ); },
         [ & ] { set->intfIs( port( "new" + name ) ); },
         [ & ] { set->intfIs( port( "new" + name, "8" ) ); },
         [ & ] { set->intfDel( port( name ).switchIntf ); },
      };
      for( auto const & change : changes ) {
         SCOPED_TRACE( name.str() + ": change " + std::to_string( &change - changes ) );
         change();
         expectWinner( "a" );
      }
   }
   setOf( "a" )->intfIs( port( "newa", "" ) ); // a port without VLANs counts as none
   EXPECT_TRUE( sets->intfSet( "u" )->intf().empty() );
   dirs[ 0 ]->entityPtrDel( "a" );
   EXPECT_EQ( sets->intfSet( "u" )->zone(), "newb" ); // with what changed while it stood by
}

TEST_F( Collector, AllSourcesMustHaveConverged ) {
   EXPECT_TRUE( state->convergenceComplete() ); // there is none
   sourceIs( "a" );
   auto const b = dirs[ 2 ]->createEntity< KivPolicySourceState >( "b" );
   put( 0, "b" );
   EXPECT_TRUE( state->convergenceComplete() ); // b is no source yet
   put( 1, "b" );
   EXPECT_FALSE( state->convergenceComplete() );
   b->convergenceCompleteIs( true );
   EXPECT_TRUE( state->convergenceComplete() );
   for( auto const * const name : { "a", "b" } ) { // whichever is looked at first
      auto const source = Lum::entryOf< KivPolicySourceState >( dirs[ 2 ], name );
      source->convergenceCompleteIs( false );
      EXPECT_FALSE( state->convergenceComplete() );
      source->convergenceCompleteIs( *name == 'a' );
   }
   dirs[ 1 ]->entityPtrDel( "b" ); // gone before it converged: it holds nothing back
   EXPECT_TRUE( state->convergenceComplete() );
}

TEST_F( Collector, AnEntityReplacedByAnotherIsAnErrorAndTheOldOneStays ) {
   for( std::size_t const which : { 0, 1, 2 } ) {
      sourceIs( "a" );
      auto const old = configOf( "a" )->servicePolicy( "p" );
      auto const faults = Lum::notificationExceptions();
      put( which, "a" );
      EXPECT_EQ( Lum::notificationExceptions(), faults + 1 );
      old->serviceDeviceIdIs( "old" );
      EXPECT_EQ( policies->servicePolicy( "p" )->serviceDeviceId(), "old" );
      for( auto const & dir : dirs ) dir->entityPtrDelAll();
   }
}

} // namespace
