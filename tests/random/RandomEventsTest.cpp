// Random but valid events, one behind the other, against the running agent: nothing may stop it, and after each of them
// what it publishes must be what is wanted. KIV_SEED and KIV_EVENTS choose another run, for example KIV_EVENTS=100000;
// KIV_SHOW prints the requests.
#include "tests/scenery/Fabric.h"

#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <random>

using namespace Scenery;

namespace {

unsigned fromEnvironment( char const * name, unsigned otherwise ) {
   char const * const text = std::getenv( name );
   return text ? static_cast< unsigned >( std::strtoul( text, nullptr, 10 ) ) : otherwise;
}

/// A small world in which anything may happen that operators, fabrics and switches do. No VNI falls quiet in it: what
/// the quiet rounds take away follows from how long it was so, not from what stands.
class World {
 public:
   World( unsigned seed, bool restarts ) : random_( seed ), restarts_( restarts ) {
      fabric_.source( "early" );
      fabric_.start();
      fabric_.enable();
      fabric_.set( "flowRemovalTriggerLimit", "65535" );
      fabric_.set( "retainInterceptFlows", chance( 3 ) ? "true" : "false" ); // for life: what it kept outlives it
   }

   void happen() {
      using Event = void ( World::* )();
      static constexpr Event events[] = {
         &World::hostMoves,     &World::hostMoves,     &World::hostIsHeardOf,   &World::hostIsForgotten,
         &World::groupComes,    &World::groupComes,    &World::groupGoes,       &World::uuidIsCorrected,
         &World::hostsJoin,     &World::hostsJoin,     &World::hostsLeave,      &World::portComes,
         &World::portComes,     &World::portGoes,      &World::portFlaps,       &World::vtepMoves,
         &World::switchAnswers, &World::switchAnswers, &World::switchAnswers,   &World::allAnswer,
         &World::flowFails,     &World::switchGoes,    &World::countIsReported, &World::settingChanges,
         &World::timePasses,    &World::sourceChanges, &World::agentRestarts,   &World::fabricSettles,
      };
      ( this->*events[ below( std::size( events ) ) ] )();
   }

   void check() {
      fabric_.expectAsWanted();
      if( fabric_.get( "/state/kiv/status/running" ) == "false" ) {
         EXPECT_TRUE( fabric_.published().empty() );
      }
      // Switches that disagree after a restart may bring one service VNI to two groups.
      if( !restarts_ ) expectOneUserPerServiceVni();
   }

 private:
   void expectOneUserPerServiceVni() {
      auto const running = Host::parsed( fabric_.get( "/state/kiv/servicePolicyStatus/policyRunningInfo" ) );
      std::set< unsigned > owned;
      for( auto const & group : running.GetObject() ) {
         if( !group.value.HasMember( "originalToServiceVni" ) ) continue;
         for( auto const & grant : group.value[ "originalToServiceVni" ].GetObject() ) {
            EXPECT_TRUE( owned.insert( grant.value.GetUint() ).second ) << grant.value.GetUint();
         }
      }
   }

   std::size_t below( std::size_t end ) {
      return std::uniform_int_distribution< std::size_t >( 0, end - 1 )( random_ );
   }
   bool chance( unsigned oneIn ) { return below( oneIn ) == 0; }
   char letter() { return static_cast< char >( 'A' + below( 5 ) ); }
   // Two hosts have an address of the other family, too.
   std::string ip() {
      auto const host = 1 + below( 8 );
      return ( host < 3 && chance( 2 ) ? "2001:db8::" : "10.0.0." ) + std::to_string( host );
   }
   std::string macOf( std::string const & address ) {
      return "02:00:aa:00:00:0" + address.substr( address.size() - 1 );
   }
   unsigned vni() { return static_cast< unsigned >( 5010 + below( 3 ) ); }
   std::string sourceName() { return chance( 4 ) ? "early" : "site"; }
   std::size_t number() { return below( 4 ); } // of a group
   std::string groupPath( std::size_t group, std::string const & source ) {
      return "/state/kiv/servicePolicyConfig/" + source + "/servicePolicy/group-" + std::to_string( group );
   }
   std::string uuid( std::size_t group, bool near ) { return ( near ? "near" : "far" ) + std::to_string( group / 2 ); }
   std::string tables() { return "/hub/loomis/version2/vni/" + std::to_string( vni() ); }
   std::string ipEntry( std::string const & address ) { return tables() + "/ipToMacTable/" + address; }
   std::string macEntry( std::string const & address ) { return tables() + "/macVtepTable/" + macOf( address ); }

   void hostMoves() {
      auto const address = ip();
      fabric_.host( address, macOf( address ), letter(), vni(), ++moves_ );
   }
   // One table without the other.
   void hostIsHeardOf() {
      auto const address = ip();
      if( chance( 2 ) ) {
         fabric_.patch( ipEntry( address ) + "/mac", Lum::textOf( "\"", macOf( chance( 4 ) ? ip() : address ), "\"" ) );
      } else {
         fabric_.patch( macEntry( address ) + "/vtepIp", Lum::textOf( "\"192.0.2.", 2 + below( 6 ), "\"" ) );
      }
   }
   void hostIsForgotten() {
      auto const address = ip();
      if( chance( 10 ) ) return fabric_.patch( tables(), "null" );
      fabric_.patch( chance( 2 ) ? macEntry( address ) : ipEntry( address ), "null" );
   }
   void groupComes() {
      auto const group = number();
      fabric_.group( "group-" + std::to_string( group ), { ip(), ip() }, uuid( group, true ), uuid( group, false ),
                     sourceName() );
   }
   void groupGoes() { fabric_.patch( groupPath( number(), sourceName() ), "null" ); }
   void uuidIsCorrected() {
      auto const path = groupPath( number(), sourceName() );
      if( fabric_.get( path ).empty() ) return;
      auto const to = chance( 5 ) ? "" : uuid( number(), chance( 2 ) );
      fabric_.patch( path + ( chance( 2 ) ? "/nearIntfUuid" : "/farIntfUuid" ), Lum::textOf( "\"", to, "\"" ) );
   }
   void hostsJoin() { changeHost( "{}" ); }
   void hostsLeave() { changeHost( "null" ); }
   void changeHost( std::string const & value ) {
      auto const path = groupPath( number(), sourceName() );
      if( fabric_.get( path ).empty() ) return;
      auto const address = ip();
      fabric_.patch( path + "/interceptFlow/" + address + ( address[ 0 ] == '1' ? "~132" : "~1128" ), value );
   }
   void portComes() { fabric_.port( uuid( number(), chance( 2 ) ), letter(), sourceName() ); }
   void portGoes() {
      auto const set = uuid( number(), chance( 2 ) );
      auto const path = "/state/kiv/serviceIntfConfig/" + sourceName() + "/intfSet/" + set;
      if( fabric_.get( path ).empty() ) return;
      fabric_.patch( chance( 4 ) ? path : path + "/intf/" + Fabric::id( letter() ) + "~1" + set, "null" );
   }
   void portFlaps() {
      auto const set = uuid( number(), chance( 2 ) );
      for( char at = 'A'; at <= 'E'; ++at ) {
         auto const port =
            "/state/kiv/serviceIntfConfig/site/intfSet/" + set + "/intf/" + Fabric::id( at ) + "~1" + set;
         auto const was = fabric_.get( port );
         if( was.empty() ) continue;
         fabric_.patch( port, "null" );
         if( chance( 3 ) ) fabric_.switchesAnswer();
         fabric_.patch( port, was );
      }
   }
   void vtepMoves() {
      auto const at = letter();
      fabric_.vtep( at, chance( 6 ) ? "0.0.0.0" : "192.0.2." + std::to_string( 2 + below( 6 ) ) );
   }
   void switchAnswers() { fabric_.switchesAnswer( chance( 2 ) ? "ABCDE" : std::string( 1, letter() ) ); }
   void allAnswer() { fabric_.switchesAnswer(); }
   void flowFails() {
      auto const at = letter();
      for( auto const & [ fragment, flows ] : fabric_.flowsOf( at ) ) {
         for( auto const & flow : flows ) {
            if( !chance( 4 ) ) continue;
            fabric_.patch( Fabric::report( at, fragment ) + "/flowStatus/" + flow,
                           chance( 2 ) ? "{\"status\": 3}" : "null" );
         }
      }
   }
   void countIsReported() {
      auto const at = letter();
      auto const address = ip();
      for( auto const & [ fragment, flows ] : fabric_.flowsOf( at ) ) {
         fabric_.patch( Fabric::report( at, fragment ) + "/flowStatus/InsideVtepIngress-" + address,
                        Lum::textOf( R"({"status": 2, "hostMoveCount": {"mac": ")", macOf( address ),
                                     R"(", "moveCount": )", moves_, "}}" ) );
      }
   }
   void switchGoes() { fabric_.patch( Fabric::reports( letter() ), "null" ); }
   void settingChanges() {
      static char const * const ranges[] = { "\"20000-20099\"", "\"300-302\"", "\"300\"", "\"\"", "\"3-5,400\"" };
      switch( below( 4 ) ) {
      case 0:
         return fabric_.set( "enabled", chance( 3 ) ? "false" : "true" );
      case 1:
         return fabric_.set( "vniRange", ranges[ below( std::size( ranges ) ) ] );
      case 2:
         return fabric_.set( "staleHostThreshold", std::to_string( below( 4 ) ) );
      default:
         fabric_.patch( "/state/controller/cluster/statusDir/clusterStatus/default/leader",
                        chance( 4 ) ? "false" : "true" );
      }
   }
   void timePasses() { fabric_.advance( static_cast< double >( below( 100 ) ) ); }
   void sourceChanges() {
      auto const path = "/state/kiv/servicePolicySourceState/" + sourceName();
      fabric_.patch( path, chance( 3 ) ? "null" : "{\"convergenceComplete\": true}" );
   }
   void agentRestarts() {
      if( restarts_ && chance( 4 ) ) fabric_.restart();
   }
   void fabricSettles() {
      fabric_.patch( "/hub/topology/version3/global/status/convergenceStatus/convergenceInProgress",
                     chance( 3 ) ? "true" : "false" );
   }

   Fabric fabric_;
   std::mt19937 random_;
   bool restarts_;
   unsigned moves_ = 1;
};

void live( bool restarts ) {
   unsigned const seed = fromEnvironment( "KIV_SEED", 1 );
   unsigned const events = fromEnvironment( "KIV_EVENTS", 5000 );
   World world( seed, restarts );
   for( unsigned i = 1; i <= events && !::testing::Test::HasFailure(); ++i ) {
      SCOPED_TRACE( Lum::textOf( "KIV_SEED=", seed, " event ", i ) );
      world.happen();
      world.check();
   }
}

} // namespace

TEST( RandomEvents, WhatIsPublishedIsWhatIsWanted ) { live( false ); }

TEST( RandomEvents, SoItIsWithAnAgentThatRestarts ) { live( true ); }
