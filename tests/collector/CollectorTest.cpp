#include "collector/KivServiceConfigCollector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <vector>

namespace {

using namespace Kiv;
using Texts = std::vector< std::string >;

Neroli::IpGenAddrWithMask flowOf( char const * text ) { return Neroli::IpGenAddrWithMask( Lum::String( text ) ); }

template< class Walk >
std::string keysOf( Walk const & walk ) {
   Texts keys;
   for( auto const & [ key, value ] : walk ) keys.push_back( Lum::textOf( key ) );
   std::ranges::sort( keys );
   std::string all;
   for( auto const & key : keys ) all += ( all.empty() ? "" : "," ) + key;
   return all;
}

/// A whole record as one text; "-" for none.
std::string show( Lum::Ptr< ServicePolicy const > const & policy ) {
   if( !policy ) return "-";
   return policy->serviceDeviceId().str() + " " + policy->nearIntfUuid().str() + " " + policy->farIntfUuid().str() +
          " " + keysOf( policy->policyName() ) + " " + keysOf( policy->interceptFlow() );
}
std::string show( Lum::Ptr< ServiceIntfInfo const > const & set ) {
   return set ? set->zone().str() + " " + keysOf( set->intf() ) : "-";
}

/// What a watcher of the merged policies sees: "+device" when one comes or is written, "x" when it goes.
class JournalSm : public Lum::PtrInterface {
   LUM_MACHINE( JournalSm );
   LUM_ARG_INPUT( config, ServicePolicyConfig, LUM_ON_MEMBERSHIP( servicePolicy, handlePolicy ),
                  LUM_ON_MEMBER( servicePolicy, serviceDeviceId, handlePolicy ) );
   void handleInitialized() {}
   void handlePolicy( Lum::Ptr< ServicePolicy > policy ) {
      lines.push_back( config()->servicePolicy( policy->name() ) ? "+" + policy->serviceDeviceId().str() : "x" );
   }
   Texts lines;
};

struct Collector : testing::Test {
   static Lum::Ptr< Lum::Dir > dir() { return new Lum::Dir( "dir" ); }
   Lum::Ptr< Lum::Dir > const dirs[ 3 ] = { dir(), dir(), dir() };
   Lum::Ptr< ServicePolicyConfig > const policies = new ServicePolicyConfig( "merged" );
   Lum::Ptr< ServiceIntfConfig > const sets = new ServiceIntfConfig( "merged" );
   Lum::Ptr< KivPolicySourceState > const state = new KivPolicySourceState( "merged" );
   Lum::Ptr< ServiceConfigDirMonitorSm > monitor =
      serviceConfigDirMonitorSmFactory( dirs[ 0 ], dirs[ 1 ], dirs[ 2 ], policies, sets, state );

   static Lum::Ptr< ServicePolicyConfig > policyConfig( Lum::Name const & name ) {
      Lum::Ptr< ServicePolicyConfig > config( new ServicePolicyConfig( name ) );
      auto const policy = config->servicePolicyIs( "p" );
      policy->serviceDeviceIdIs( name );
      policy->nearIntfUuidIs( name + "-near" );
      policy->farIntfUuidIs( name + "-far" );
      policy->policyNameIs( name + "-rule", true );
      policy->interceptFlowIs( { flowOf( name == "a" ? "10.0.0.1" : "10.0.0.2" ) } );
      return config;
   }
   static Lum::Ptr< ServiceIntfConfig > intfConfig( Lum::Name const & name ) {
      Lum::Ptr< ServiceIntfConfig > config( new ServiceIntfConfig( name ) );
      auto const set = config->intfSetIs( "u" );
      set->zoneIs( name );
      set->intfIs( port( name + "-switch" ) );
      return config;
   }
   static ServiceInterface port( Lum::String const & switchId ) {
      ServiceInterface it( SwitchIntfPair( switchId, "Ethernet1" ) );
      it.allowedVlan[ "7" ] = true;
      return it;
   }
   /// Puts one of the three entities of a source; the third says that it has converged.
   void put( unsigned which, Lum::Name const & name ) {
      Lum::Ptr< KivPolicySourceState > const done( new KivPolicySourceState( name ) );
      done->convergenceCompleteIs( true );
      Lum::Ptr< Lum::Entity > const entities[] = { policyConfig( name ), intfConfig( name ), done };
      dirs[ which ]->entityPtrIs( name, entities[ which ] );
   }
   void sourceIs( Lum::Name const & name ) {
      for( unsigned which : { 0, 1, 2 } ) put( which, name );
   }
   void sourceDel( Lum::Name const & name, unsigned which = 2 ) { dirs[ which ]->entityPtrDel( name ); }
   auto policyOf( char const * source ) {
      return Lum::entryOf< ServicePolicyConfig >( dirs[ 0 ], source )->servicePolicy( "p" );
   }
   auto setOf( char const * source ) {
      return Lum::entryOf< ServiceIntfConfig >( dirs[ 1 ], source )->intfSet( "u" );
   }
   auto stateOf( char const * source ) { return Lum::entryOf< KivPolicySourceState >( dirs[ 2 ], source ); }

   /// The merged records are those of `source`, whole and unmixed.
   void expectWinner( char const * source ) {
      EXPECT_EQ( show( policies->servicePolicy( "p" ) ), show( policyOf( source ) ) );
      EXPECT_EQ( show( sets->intfSet( "u" ) ), show( setOf( source ) ) );
   }
   void expectNothing() {
      EXPECT_TRUE( policies->servicePolicy().empty() );
      EXPECT_TRUE( sets->intfSet().empty() );
   }
};

TEST_F( Collector, TheLowestNameWinsInWhateverOrderSourcesComeAndGo ) {
   Texts names = { "B", "a", "ab", "b" }; // in byte order
   do {
      SCOPED_TRACE( names[ 0 ] + names[ 1 ] + names[ 2 ] + names[ 3 ] );
      std::string winner = names[ 0 ];
      for( auto const & name : names ) {
         sourceIs( name );
         winner = std::min( winner, name );
         expectWinner( winner.c_str() );
      }
      for( std::size_t gone = 0; gone < names.size(); ++gone ) {
         sourceDel( names[ gone ], gone % 3 );
         auto const next = std::min_element( names.begin() + gone + 1, names.end() );
         if( next != names.end() ) expectWinner( next->c_str() );
      }
      expectNothing();
   } while( std::ranges::next_permutation( names ).found );
}

TEST_F( Collector, SourcesFoundAtTheStartCompeteLikeLaterOnes ) {
   monitor = nullptr;
   for( auto const name : { "c", "a", "b" } ) sourceIs( name );
   monitor = serviceConfigDirMonitorSmFactory( dirs[ 0 ], dirs[ 1 ], dirs[ 2 ], policies, sets, state );
   expectWinner( "a" );
   EXPECT_TRUE( state->convergenceComplete() );
   auto const journal = Lum::Factory< JournalSm >()( policies );
   monitor = nullptr; // no source is left standing, and none falls back on one that is gone
   expectNothing();
   EXPECT_EQ( journal->lines.back(), "x" );
   policyOf( "a" )->serviceDeviceIdIs( "late" );
   expectNothing();
}

TEST_F( Collector, WatchersSeeATakeOverAsOneRecordGoingAndAnotherComing ) {
   sourceIs( "b" );
   auto const journal = Lum::Factory< JournalSm >()( policies );
   sourceIs( "a" );
   EXPECT_EQ( journal->lines, ( Texts{ "x", "+", "+a" } ) );
   journal->lines.clear();
   sourceIs( "c" ); // waits
   sourceDel( "c" );
   EXPECT_EQ( journal->lines, Texts{} );
   Lum::entryOf< ServicePolicyConfig >( dirs[ 0 ], "a" )->servicePolicyDel( "p" );
   EXPECT_EQ( journal->lines, ( Texts{ "x", "+", "+b" } ) );
   EXPECT_EQ( sets->intfSet( "u" )->zone(), "a" ); // each key has a winner of its own
}

TEST_F( Collector, OnlyTheWinnersChangesAreCopied ) {
   sourceIs( "b" );
   sourceIs( "a" ); // evicts: b has been a winner, and must not write any more
   for( auto const source : { "a", "b" } ) {
      auto const policy = policyOf( source );
      auto const set = setOf( source );
      std::pair< char const *, std::function< void() > > const changes[] = {
         { "device", [ & ] { policy->serviceDeviceIdIs( "new" ); } },
         { "near", [ & ] { policy->nearIntfUuidIs( "new" ); } },
         { "far", [ & ] { policy->farIntfUuidIs( "new" ); } },
         { "name added", [ & ] { policy->policyNameIs( "rule", true ); } },
         { "name removed", [ & ] { policy->policyNameDel( Lum::String( source ) + "-rule" ); } },
         { "host added", [ & ] { policy->interceptFlowIs( { flowOf( "10.0.0.9" ) } ); } },
         { "all hosts removed", [ & ] { policy->interceptFlowDelAll(); } },
         { "zone", [ & ] { set->zoneIs( "new" ); } },
         { "port added", [ & ] { set->intfIs( port( "switch" ) ); } },
         { "port that lost its VLANs", [ & ] { set->intfIs( ServiceInterface( port( "switch" ).switchIntf ) ); } },
         { "all ports removed", [ & ] { set->intfDelAll(); } },
      };
      for( auto const & [ story, change ] : changes ) {
         SCOPED_TRACE( std::string( source ) + ": " + story );
         change();
         // A port without VLANs counts as none, so it is not copied.
         EXPECT_FALSE( sets->intfSet( "u" )->intf( port( "switch" ).switchIntf ) ==
                          ServiceInterface( port( "switch" ).switchIntf ) &&
                       sets->intfSet( "u" )->intf().size() > 1 );
         EXPECT_EQ( show( policies->servicePolicy( "p" ) ), show( policyOf( "a" ) ) );
         EXPECT_EQ( sets->intfSet( "u" )->zone(), setOf( "a" )->zone() );
      }
   }
   EXPECT_TRUE( sets->intfSet( "u" )->intf().empty() );
}
} // namespace
