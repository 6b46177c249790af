#include "collector/KivServiceConfigCollector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>
#include <utility>
#include <vector>

namespace {

using namespace Kiv;
using Texts = std::vector< std::string >;

InterceptFlowInfo flow( char const * host ) { return { Neroli::IpGenAddrWithMask( Lum::String( host ) ) }; }
ServiceInterface port( Lum::String const & switchId, Lum::String const & vlan = "7" ) {
   ServiceInterface made( SwitchIntfPair( switchId, "Ethernet1" ) );
   if( !vlan.empty() ) made.allowedVlan[ vlan ] = true;
   return made;
}

/// A whole record, collections in order; empty when there is none.
Texts show( Lum::Ptr< ServicePolicy const > const & policy ) {
   if( !policy ) return {};
   std::set< std::string > members;
   for( auto const & [ name, member ] : policy->policyName() ) members.insert( name.str() );
   for( auto const & [ key, host ] : policy->interceptFlow() ) members.insert( key.stringValue().str() );
   Texts text{ policy->serviceDeviceId().str(), policy->nearIntfUuid().str(), policy->farIntfUuid().str() };
   text.insert( text.end(), members.begin(), members.end() );
   return text;
}
Texts show( Lum::Ptr< ServiceIntfInfo const > const & set ) {
   if( !set ) return {};
   std::set< std::string > ports;
   for( auto const & [ key, each ] : set->intf() ) ports.insert( each.stringValue().str() );
   Texts text{ set->zone().str() };
   text.insert( text.end(), ports.begin(), ports.end() );
   return text;
}

/// What a watcher of the merged policies sees: "+" and the device when one comes or changes, "x" when it goes.
class JournalSm : public Lum::PtrInterface {
   LUM_MACHINE( JournalSm );
   LUM_ARG_INPUT( config, ServicePolicyConfig, LUM_ON_MEMBERSHIP( servicePolicy, handlePolicy ),
                  LUM_ON_MEMBER( servicePolicy, serviceDeviceId, handlePolicy ) );
   void handleInitialized() {}
   void handlePolicy( Lum::Ptr< ServicePolicy > policy ) {
      lines.push_back( policy->lumParent() ? "+" + policy->serviceDeviceId().str() : "x" );
   }
   Texts lines;
};

struct Collector : testing::Test {
   Lum::Ptr< Lum::Dir > const dirs[ 3 ] = { new Lum::Dir( "policy" ), new Lum::Dir( "intf" ), new Lum::Dir( "state" ) };
   Lum::Ptr< ServicePolicyConfig > const policies = new ServicePolicyConfig( "merged" );
   Lum::Ptr< ServiceIntfConfig > const sets = new ServiceIntfConfig( "merged" );
   Lum::Ptr< KivPolicySourceState > const state = new KivPolicySourceState( "merged" );
   Lum::Ptr< ServiceConfigDirMonitorSm > monitor = collect();

   Lum::Ptr< ServiceConfigDirMonitorSm > collect() {
      return serviceConfigDirMonitorSmFactory( dirs[ 0 ], dirs[ 1 ], dirs[ 2 ], policies, sets, state );
   }
   /// Puts one of a source's three entities: a policy "p", an interface set "u", both full of the source's name, or the
   /// word that it has converged.
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
   void sourceIs( Lum::Name const & name ) {
      for( std::size_t const which : { 0, 1, 2 } ) put( which, name );
   }
   auto policyOf( Lum::Name const & name ) {
      return Lum::entryOf< ServicePolicyConfig >( dirs[ 0 ], name )->servicePolicy( "p" );
   }
   auto setOf( Lum::Name const & name ) { return Lum::entryOf< ServiceIntfConfig >( dirs[ 1 ], name )->intfSet( "u" ); }

   /// The merged records are those of one source, whole and unmixed.
   void expectWinner( Lum::Name const & name ) {
      EXPECT_EQ( show( policies->servicePolicy( "p" ) ), show( policyOf( name ) ) );
      EXPECT_EQ( show( sets->intfSet( "u" ) ), show( setOf( name ) ) );
   }
   void expectNothing() { EXPECT_EQ( policies->servicePolicy().size() + sets->intfSet().size(), 0U ); }
};

TEST_F( Collector, TheLowestNameWinsInWhateverOrderSourcesComeAndGo ) {
   Texts names = { "B", "a", "ab", "b" }; // in byte order
   do {
      SCOPED_TRACE( testing::PrintToString( names ) );
      std::set< std::string > standing;
      for( auto const & name : names ) {
         sourceIs( name );
         standing.insert( name );
         expectWinner( *standing.begin() );
      }
      for( std::size_t which = 0; auto const & name : names ) {
         dirs[ which++ % 3 ]->entityPtrDel( name ); // any of the three ends the source
         standing.erase( name );
         standing.empty() ? expectNothing() : expectWinner( *standing.begin() );
      }
   } while( std::next_permutation( names.begin(), names.end() ) );
}

TEST_F( Collector, ASourceNeedsItsThreeEntitiesWhicheverComesLast ) {
   for( std::size_t const last : { 0, 1, 2 } ) {
      put( ( last + 1 ) % 3, "a" );
      put( ( last + 2 ) % 3, "a" );
      expectNothing();
      put( last, "a" );
      expectWinner( "a" );
      dirs[ last ]->entityPtrIs( "a", new Lum::Dir( "a" ) ); // of a wrong type: as good as none
      expectNothing();
      for( auto const & dir : dirs ) dir->entityPtrDel( "a" );
   }
}

TEST_F( Collector, WatchersSeeATakeOverAsOneRecordGoingAndAnotherComing ) {
   sourceIs( "b" );
   auto const journal = Lum::Factory< JournalSm >()( policies );
   sourceIs( "a" );
   EXPECT_EQ( std::exchange( journal->lines, {} ), ( Texts{ "x", "+", "+a" } ) );
   sourceIs( "c" );
   dirs[ 2 ]->entityPtrDel( "c" ); // a standby comes and goes unseen
   EXPECT_EQ( journal->lines, Texts{} );
   Lum::entryOf< ServicePolicyConfig >( dirs[ 0 ], "a" )->servicePolicyDel( "p" );
   EXPECT_EQ( journal->lines, ( Texts{ "x", "+", "+b" } ) );
   EXPECT_EQ( sets->intfSet( "u" )->zone(), "a" ); // each key has a winner of its own
}

TEST_F( Collector, OnlyTheWinnersChangesAreCopiedOneByOne ) {
   sourceIs( "b" );
   sourceIs( "a" ); // b has been the winner, and must not write any more
   for( Lum::Name const name : { "a", "b" } ) {
      auto const policy = policyOf( name );
      auto const set = setOf( name );
      std::pair< char const *, std::function< void() > > const changes[] = {
         { "device", [ & ] { policy->serviceDeviceIdIs( "new" + name ); } },
         { "near", [ & ] { policy->nearIntfUuidIs( "new" + name ); } },
         { "far", [ & ] { policy->farIntfUuidIs( "new" + name ); } },
         { "name added", [ & ] { policy->policyNameIs( "new" + name, true ); } },
         { "name removed", [ & ] { policy->policyNameDel( name + "-rule" ); } },
         { "host added", [ & ] { policy->interceptFlowIs( flow( "10.0.0.9" ) ); } },
         { "hosts removed", [ & ] { policy->interceptFlowDelAll(); } },
         { "zone", [ & ] { set->zoneIs( "new" + name ); } },
         { "port added", [ & ] { set->intfIs( port( "new" + name ) ); } },
         { "VLAN of a port", [ & ] { set->intfIs( port( "new" + name, "8" ) ); } },
         { "port removed", [ & ] { set->intfDel( port( name ).switchIntf ); } },
      };
      for( auto const & [ story, change ] : changes ) {
         SCOPED_TRACE( name.str() + ": " + story );
         change();
         expectWinner( "a" );
      }
   }
   setOf( "a" )->intfIs( port( "newa", "" ) ); // a port without VLANs counts as none
   EXPECT_TRUE( sets->intfSet( "u" )->intf().empty() );
   dirs[ 0 ]->entityPtrDel( "a" );
   expectWinner( "b" ); // with all that changed while it stood by
}

TEST_F( Collector, AllSourcesMustHaveConverged ) {
   EXPECT_TRUE( state->convergenceComplete() ); // there is none
   sourceIs( "a" );
   auto const b = dirs[ 2 ]->createEntity< KivPolicySourceState >( "b" );
   EXPECT_TRUE( state->convergenceComplete() ); // b is no source yet
   put( 0, "b" );
   put( 1, "b" );
   EXPECT_FALSE( state->convergenceComplete() );
   b->convergenceCompleteIs( true );
   EXPECT_TRUE( state->convergenceComplete() );
   b->convergenceCompleteIs( false );
   EXPECT_FALSE( state->convergenceComplete() );
   dirs[ 1 ]->entityPtrDel( "b" ); // gone before it converged: it holds nothing back
   EXPECT_TRUE( state->convergenceComplete() );
}

TEST_F( Collector, AnEntityReplacedByAnotherIsAnErrorAndTheOldOneStays ) {
   sourceIs( "a" );
   auto const before = show( policies->servicePolicy( "p" ) );
   for( std::size_t const which : { 0, 1, 2 } ) {
      auto const faults = Lum::notificationExceptions();
      put( which, "a" );
      EXPECT_GT( Lum::notificationExceptions(), faults );
   }
   policyOf( "a" )->serviceDeviceIdIs( "unseen" );
   EXPECT_EQ( show( policies->servicePolicy( "p" ) ), before );
}

TEST_F( Collector, WhatStandsAtTheStartIsCollectedAndGoesWithTheMonitor ) {
   monitor = nullptr;
   for( auto const * const name : { "c", "a", "b" } ) sourceIs( name );
   monitor = collect();
   expectWinner( "a" );
   monitor = nullptr;
   expectNothing();
   policyOf( "a" )->serviceDeviceIdIs( "late" );
   setOf( "b" )->zoneIs( "late" );
   expectNothing();
}

} // namespace
