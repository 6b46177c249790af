// The cost of a change: what it takes to reach those who watch it.
#include "bench/Table.h"
#include "platform/lum/Machine.h"
#include "platform/vxlan/Vni.h"

#include <chrono>

namespace Bench {

using Key = Vxlan::VniOrNone;

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

Lum::Ptr< Tree > makeTree() { return new Tree( "oak" ); }

void valueSet( benchmark::State & state, int reactors, char const * mark ) {
   auto const tree = makeTree();
   std::vector< Lum::Ptr< HeightSm > > machines;
   for( int i = 0; i < reactors; ++i ) machines.push_back( Lum::Factory< HeightSm >()( tree ) );
   unsigned height = 0;
   for( auto _ : state ) tree->heightIs( ++height );
   state.SetLabel( mark );
}

void attach( benchmark::State & state, char const * mark ) {
   Lum::Ptr< Tree const > const tree = makeTree();
   auto const machine = Lum::Factory< AnyTreeSm >()();
   machine->treeIs( tree );
   for( auto _ : state ) {
      machine->hasNotificationActiveIs( false );
      machine->hasNotificationActiveIs( true );
   }
   state.SetLabel( mark );
}

/// Times `operation` on every key of a batch, and not what `undo` does to the whole of it.
template< class Operation, class Undo >
void collection( benchmark::State & state, char const * mark, Operation operation, Undo undo ) {
   constexpr unsigned keys = 1024;
   auto const tree = makeTree();
   auto const machine = Lum::Factory< FruitSm >()( tree );
   for( unsigned round = 1; state.KeepRunning(); ++round ) {
      undo( *tree, keys );
      auto const begin = std::chrono::steady_clock::now();
      for( unsigned key = 0; key < keys; ++key ) operation( *tree, Key( key ), round );
      state.SetIterationTime( std::chrono::duration< double >( std::chrono::steady_clock::now() - begin ).count() );
   }
   state.counters[ "operations" ] = keys;
   state.SetLabel( mark );
}

void fill( Tree & tree, unsigned keys ) {
   for( unsigned key = 0; key < keys; ++key ) tree.fruitIs( Key( key ), 0 );
}

void oneKeyOfMany( benchmark::State & state, char const * mark ) {
   constexpr unsigned keys = 10'000, step = 7'919; // far apart, so that each is a new place in memory
   auto const tree = makeTree();
   std::vector< Lum::Ptr< OneFruitSm > > machines;
   for( unsigned key = 0; key < keys; ++key ) machines.push_back( Lum::Factory< OneFruitSm >()( Key( key ), tree ) );
   fill( *tree, keys );
   unsigned key = 0, value = 0;
   for( auto _ : state ) {
      tree->fruitIs( Key( key ), ++value );
      key = ( key + step ) % keys;
   }
   state.SetLabel( mark );
}

void registerAll() {
   using benchmark::RegisterBenchmark;
   RegisterBenchmark( "a value is set, 1 reactor", valueSet, 1, "2.5" );
   RegisterBenchmark( "a value is set, 64 reactors", valueSet, 64, "100" );
   auto const nothing = []( Tree &, unsigned ) {};
   auto const clear = []( Tree & tree, unsigned ) { tree.fruitDelAll(); };
   auto const write = []( Tree & tree, Key key, unsigned value ) { tree.fruitIs( key, value ); };
   auto const del = []( Tree & tree, Key key, unsigned ) { tree.fruitDel( key ); };
   auto const keyed = [ & ]( char const * name, char const * mark, auto operation, auto undo ) {
      RegisterBenchmark( name, [ = ]( benchmark::State & state ) {
         collection( state, mark, operation, undo );
      } )->UseManualTime();
   };
   keyed( "a key is inserted, 1 reactor to the collection", "15", write, clear );
   keyed( "a key is updated, 1 reactor to the collection", "6", write, nothing );
   keyed( "a key is deleted, 1 reactor to the collection", "15", del, fill );
   RegisterBenchmark( "a reactor is detached and attached", attach, "6" );
   RegisterBenchmark( "a key is updated, 10 000 reactors to a key each", oneKeyOfMany, "20" );
}

} // namespace Bench

int main( int argc, char ** argv ) { return Bench::run( argc, argv, Bench::registerAll ); }
