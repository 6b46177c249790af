#include "bench/Ring.h"
#include "bench/Rows.h"
#include "bench/World.h"
#include "platform/lum/Machine.h"
#include "platform/ribbon/TwinRibbon.h"

#include <algorithm>
#include <numeric>
#include <random>
#include <unordered_map>

TRACE_MODULE( "Bench" );

namespace Bench {

namespace {

using Key = Neroli::IpGenAddr;
using Keys = std::vector< Key >;

class Tree : public Lum::Entity {
   LUM_ENTITY( Tree, name, Lum::String );
   LUM_VALUE( height, unsigned );
   LUM_VALUES( fruit, Key, unsigned );
};

std::uint64_t calls = 0; // every handler's whole work is to count itself

class HeightSm : public Lum::PtrInterface {
   LUM_MACHINE( HeightSm );
   LUM_ARG_INPUT( tree, Tree const, LUM_ON( height, handleHeight ) );
   void handleInitialized() {}
   void handleHeight() { ++calls; }
};

class AnyTreeSm : public Lum::PtrInterface {
   LUM_MACHINE( AnyTreeSm );
   LUM_INPUT( tree, Tree const, LUM_ON( height, handleHeight ) );
   void handleInitialized() {}
   void handleHeight() { ++calls; }
};

class IdleSm : public Lum::PtrInterface {
   LUM_MACHINE( IdleSm );
   void handleInitialized() {}
};

class FruitSm : public Lum::PtrInterface {
   LUM_MACHINE( FruitSm );
   LUM_ARG_INPUT( tree, Tree const, LUM_ON( fruit, handleFruit ) );
   void handleInitialized() {}
   void handleFruit() {}
   void handleFruit( Key ) { ++calls; }
};

class OneFruitSm : public Lum::PtrInterface {
   LUM_MACHINE( OneFruitSm );
   LUM_ARG( key, Key );
   LUM_ARG_INPUT( tree, Tree const, LUM_ON_KEY( fruit, key, handleFruit ) );
   void handleInitialized() {}
   void handleFruit() { ++calls; }
};

class Row8 : public Lum::Entity {
   LUM_ENTITY( Row8, name, Lum::String );
   LUM_VALUE( a, unsigned );
   LUM_VALUE( b, unsigned );
   LUM_VALUE( c, unsigned );
   LUM_VALUE( d, unsigned );
   LUM_VALUE( e, unsigned );
   LUM_VALUE( f, unsigned );
   LUM_VALUE( g, unsigned );
   LUM_VALUE( h, unsigned );
};

class ChainSm : public Lum::PtrInterface {
   LUM_MACHINE( ChainSm );
   LUM_ARG_INPUT( row, Row8, LUM_ON( a, handleA ), LUM_ON( b, handleB ), LUM_ON( c, handleC ), LUM_ON( d, handleD ),
                  LUM_ON( e, handleE ), LUM_ON( f, handleF ), LUM_ON( g, handleG ), LUM_ON( h, handleH ) );
   void handleInitialized() {}
   void handleA() { row()->bIs( row()->a() ); }
   void handleB() { row()->cIs( row()->b() ); }
   void handleC() { row()->dIs( row()->c() ); }
   void handleD() { row()->eIs( row()->d() ); }
   void handleE() { row()->fIs( row()->e() ); }
   void handleF() { row()->gIs( row()->f() ); }
   void handleG() { row()->hIs( row()->g() ); }
   void handleH() { ++calls; }
};

/// A tree and the machines that watch it.
template< class Sm >
struct Watched {
   explicit Watched( unsigned reactors ) {
      for( unsigned i = 0; i < reactors; ++i ) machines.push_back( Lum::Factory< Sm >()( tree ) );
   }
   Lum::Ptr< Tree > tree{ new Tree( "oak" ) };
   std::vector< Lum::Ptr< Sm > > machines;
};

template< class Work >
void repeat( Meter & meter, unsigned count, Work const & work ) {
   meter.measure( count, [ & ] {
      for( unsigned i = 0; i < count; ++i ) work();
   } );
}

std::mt19937 & generator() {
   static std::mt19937 the( 1 );
   return the;
}

/// Addresses drawn at random, all different.
Keys randomKeys( unsigned count ) {
   Keys keys;
   while( keys.size() < count ) keys.push_back( Neroli::IpAddr( 0x0a000000 + ( generator()() & 0xffffff ) ) );
   std::sort( keys.begin(), keys.end() );
   keys.erase( std::unique( keys.begin(), keys.end() ), keys.end() );
   std::shuffle( keys.begin(), keys.end(), generator() );
   return keys;
}

/// A collection in which 10 000 members stay, and others come and go.
struct Orchard : Watched< FruitSm > {
   explicit Orchard( unsigned reactors ) : Watched( reactors ) {
      guests = randomKeys( 11'000 );
      for( ; guests.size() > 1'000; guests.pop_back() ) tree->fruitIs( guests.back(), 0 );
   }

   /// Measures `operation` on each guest; before that, `before` is for each, and `after` behind it.
   template< class Before, class Operation, class After >
   void measure( Meter & meter, Before const & before, Operation const & operation, After const & after ) {
      auto const all = [ this ]( auto const & work ) {
         for( auto const & key : guests ) work( key );
      };
      for( int round = 0; round < 20; ++round ) {
         all( before );
         meter.measure( static_cast< double >( guests.size() ), [ & ] { all( operation ); } );
         all( after );
      }
   }

   Keys guests;
   unsigned value = 0;
};

/// Each member has a machine of its own.
struct OneEach {
   OneEach() {
      for( auto const & key : keys ) {
         machines.push_back( Lum::Factory< OneFruitSm >()( key, tree ) );
         tree->fruitIs( key, 0 );
      }
   }
   Lum::Ptr< Tree > tree{ new Tree( "oak" ) };
   Keys keys = randomKeys( 10'000 );
   std::vector< Lum::Ptr< OneFruitSm > > machines;
   unsigned value = 0;
};

void addValueRows( Suite & suite ) {
   auto const set = [ & ]( unsigned reactors, double mark ) {
      Lazy< Watched< HeightSm > > scene( [ reactors ] { return new Watched< HeightSm >( reactors ); } );
      suite.timed( Lum::textOf( "set a value, reactors: ", reactors ), mark, [ scene, reactors ]( Meter & meter ) {
         auto const tree = ( *scene ).tree;
         unsigned height = tree->height();
         repeat( meter, 6'000'000 / ( 2 + reactors ), [ & ] { tree->heightIs( ++height ); } );
      } );
   };
   set( 1, 2.5 );
   set( 4, 5.5 );
   set( 64, 80 );
   Lazy< Watched< HeightSm > > scene( [] { return new Watched< HeightSm >( 1 ); } );
   suite.timed( "the same value again", 1, [ scene ]( Meter & meter ) {
      auto const tree = ( *scene ).tree;
      tree->heightIs( 1 );
      unsigned height = 1;
      repeat( meter, 3'000'000, [ & ] {
         asm volatile( "" : "+r"( height ) ); // not known to the compiler
         tree->heightIs( height );
      } );
   } );
   suite.timed( "chain of 8 attributes, each set by the one before", 30, [ value = 0U ]( Meter & meter ) mutable {
      Lum::Ptr< Row8 > const row( new Row8( "row" ) );
      auto const machine = Lum::Factory< ChainSm >()( row );
      repeat( meter, 100'000, [ & ] { row->aIs( ++value ); } );
      LUM_ASSERT( row->h() == value );
   } );
}

void addCollectionRows( Suite & suite ) {
   struct Marks {
      unsigned reactors;
      double insert, update, del;
   };
   for( auto const & marks : { Marks{ 1, 14, 6, 15 }, Marks{ 4, 19, 9, 19 } } ) {
      Lazy< Orchard > scene( [ reactors = marks.reactors ] { return new Orchard( reactors ); } );
      auto const name = Lum::textOf( "collection of 10 000, reactors: ", marks.reactors, ", " );
      auto const row = [ & ]( char const * what, double mark, auto work ) {
         suite.timed( name + what, mark, [ scene, work ]( Meter & meter ) {
            auto & tree = *( *scene ).tree;
            auto & value = ( *scene ).value;
            auto const nothing = []( Key const & ) {};
            auto const write = [ & ]( Key const & key ) { tree.fruitIs( key, ++value ); };
            auto const del = [ & ]( Key const & key ) { tree.fruitDel( key ); };
            work( *scene, meter, nothing, write, del );
         } );
      };
      row( "insert", marks.insert, []( auto & orchard, auto & meter, auto nothing, auto write, auto del ) {
         orchard.measure( meter, nothing, write, del );
      } );
      row( "update", marks.update, []( auto & orchard, auto & meter, auto nothing, auto write, auto del ) {
         for( auto const & key : orchard.guests ) write( key );
         orchard.measure( meter, nothing, write, nothing );
         for( auto const & key : orchard.guests ) del( key );
      } );
      row( "delete", marks.del, []( auto & orchard, auto & meter, auto nothing, auto write, auto del ) {
         orchard.measure( meter, write, del, nothing );
      } );
   }
}

void addWalkRows( Suite & suite ) {
   constexpr unsigned members = 100'000;
   Lazy< Keys > keys( [] { return new Keys( randomKeys( members ) ); } );
   std::string const ours = "walk 100 000 members deleting each, 1 reactor";
   std::string const theirs = "the same with std::unordered_map";
   suite.timed( ours, std::nullopt, [ keys ]( Meter & meter ) {
      Watched< FruitSm > const scene( 1 );
      for( auto const & key : *keys ) scene.tree->fruitIs( key, 1 );
      meter.measure( static_cast< double >( ( *keys ).size() ), [ & ] {
         for( auto const & [ key, value ] : scene.tree->fruit() ) scene.tree->fruitDel( key );
      } );
   } );
   suite.timed( theirs, std::nullopt, [ keys ]( Meter & meter ) {
      std::unordered_map< Key, unsigned > map;
      for( auto const & key : *keys ) map.emplace( key, 1 );
      meter.measure( static_cast< double >( ( *keys ).size() ), [ & ] {
         for( auto each = map.begin(); each != map.end(); ) each = map.erase( each );
      } );
   } );
   suite.ratio( "walk deleting each, next to std::unordered_map", 1.5, ours, theirs );
}

void addMachineRows( Suite & suite ) {
   suite.timed( "detach and attach a reactor", 4, []( Meter & meter ) {
      Lum::Ptr< Tree const > const tree( new Tree( "oak" ) );
      auto const machine = Lum::Factory< AnyTreeSm >()();
      machine->treeIs( tree );
      repeat( meter, 500'000, [ & ] {
         machine->hasNotificationActiveIs( false );
         machine->hasNotificationActiveIs( true );
      } );
   } );
   suite.timed( "make and drop a machine with one", 14, []( Meter & meter ) {
      Lum::Ptr< Tree const > const tree( new Tree( "oak" ) );
      repeat( meter, 200'000, [ & ] { Lum::Factory< HeightSm >()( tree ); } );
   } );
   suite.apart( "reactor", Suite::Under::nothing, []( Apart & apart ) {
      constexpr unsigned machines = 10'000;
      Watched< HeightSm > scene( 1 );
      auto const heapOf = [ & ]( auto make ) {
         std::vector< decltype( make() ) > made;
         made.reserve( machines );
         double const before = heap();
         while( made.size() < machines ) made.push_back( make() );
         return ( heap() - before ) / machines;
      };
      double const with = heapOf( [ & ] { return Lum::Factory< HeightSm >()( scene.tree ); } );
      apart.value( "bytes", with - heapOf( [] { return Lum::Factory< IdleSm >()(); } ) );
   } );
   suite.row( { "bytes of a reactor with its registration", Unit::bytes, 96, { "reactor/bytes" } } );
   Lazy< OneEach > scene( [] { return new OneEach; } );
   suite.timed( "one key changes, 10 000 reactors with a key each", 16, [ scene ]( Meter & meter ) {
      auto & [ tree, keys, machines, value ] = *scene;
      auto const all = [ &tree = tree, &keys = keys, &value = value ] {
         for( auto const & key : keys ) tree->fruitIs( key, ++value );
      };
      all(); // once for the caches
      for( int round = 0; round < 10; ++round ) meter.measure( static_cast< double >( keys.size() ), all );
   } );
}

void addRingRows( Suite & suite ) {
   auto const records = []( Clock clock ) {
      return [ clock ]( Meter & meter ) {
         static Keys const keys = randomKeys( 10'000 );
         ringIs( Ring::on );
         clockIs( clock );
         std::size_t const half = keys.size() / 2;
         meter.measure( static_cast< double >( half ), [ & ] {
            for( std::size_t i = 0; i < half; ++i ) {
               TRACE6( trace(), " ip: ", keys[ i ], " vtepIp: ", keys[ half + i ], " number: ", unsigned( i ) );
            }
         } );
         clockIs( Clock::virtualClock );
      };
   };
   suite.timed( "a ring record of two addresses and a number, virtual clock", 12, records( Clock::virtualClock ) );
   suite.timed( "a ring record of two addresses and a number, real clock", 14, records( Clock::real ) );
}

} // namespace

void addRuntimeRows( Suite & suite ) {
   addValueRows( suite );
   addCollectionRows( suite );
   addWalkRows( suite );
   addMachineRows( suite );
   addRingRows( suite );
}

} // namespace Bench
