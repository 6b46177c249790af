// What the agent takes for a host: at a cold start, on a move, in memory, and for one that is not its concern.
//
// All times are CPU time and of the logic alone: the documents are records in the databases already, and the reports of
// the switches are prepared, before the clock runs. A cold start is timed from the making of the agent until every host
// is located, its service VTEPs have reported their service flows, its own flows are published, and these are reported
// as programmed, too. Writing the published flows and the reports into the databases is part of it.
#include "bench/Table.h"
#include "bench/World.h"
#include "platform/ribbon/Ribbon.h"

#include <cstdlib>
#include <malloc.h>

namespace Bench {

enum class Ring { on, off };

/// The ring file that the next agent writes: on as in production, or off.
void ringIs( Ring ring ) {
   Ribbon::finalize();
   if( ring == Ring::on ) {
      unsetenv( "RIBBON_DISABLE" );
   } else {
      setenv( "RIBBON_DISABLE", "1", 1 );
   }
}

void coldStart( benchmark::State & state, unsigned hosts, Ring ring ) {
   ringIs( ring );
   while( state.KeepRunning() ) {
      World world( hosts );
      state.SetIterationTime( world.coldStart() );
   }
   state.counters[ "operations" ] = hosts;
   state.SetLabel( "25 us" );
}

void move( benchmark::State & state, unsigned hosts, Ring ring ) {
   ringIs( ring );
   World world( hosts );
   world.coldStart();
   while( state.KeepRunning() ) {
      double const begin = cpuTime();
      for( unsigned group = 0; group < World::groups; ++group ) world.move( group ); // one host of each
      state.SetIterationTime( cpuTime() - begin );
   }
   for( unsigned group = 0; group < World::groups; ++group ) LUM_ASSERT( world.diverted( group ) );
   state.counters[ "operations" ] = World::groups;
   state.SetLabel( "20 us" );
}

double heap() {
   auto const info = mallinfo2();
   return static_cast< double >( info.uordblks + info.hblkhd );
}

void agentMemory( benchmark::State & state, unsigned hosts ) {
   World world( hosts );
   double const before = heap();
   world.start();
   world.switchesAnswer(); // of the service flows: from here on the hosts' flows are published
   double const after = heap();
   while( state.KeepRunning() ) state.SetIterationTime( 1e-9 );
   state.counters[ "bytes" ] = ( after - before ) / hosts;
   state.SetLabel( "4 kB" );
}

void wholeMemory( benchmark::State & state, unsigned hosts ) {
   double const before = heap();
   World world( hosts );
   world.coldStart();
   double const after = heap();
   while( state.KeepRunning() ) state.SetIterationTime( 1e-9 );
   state.counters[ "bytes" ] = ( after - before ) / hosts;
}

/// Each of the two tables is told something new of addresses that no group lists.
void strangers( benchmark::State & state, Lum::Ptr< Loomis::VniFdbStatusV2 > const & tables ) {
   constexpr unsigned addresses = 1024, first = 1'000'000;
   for( unsigned round = 0; state.KeepRunning(); ++round ) {
      double const begin = cpuTime();
      for( unsigned address = first; address < first + addresses; ++address ) {
         Loomis::IpToMacV2 binding;
         binding.ip = World::ip( address );
         binding.mac = World::mac( address + round );
         tables->ipToMacTableIs( binding );
         Loomis::MacVtepV2 learnt;
         learnt.mac = World::mac( address );
         learnt.vtepIp = World::vtepIp( round % World::switches );
         tables->macVtepTableIs( learnt );
      }
      state.SetIterationTime( cpuTime() - begin );
   }
   state.counters[ "operations" ] = 2 * addresses;
}

void unlisted( benchmark::State & state, unsigned hosts, Ring ring ) {
   ringIs( ring );
   World world( hosts );
   world.coldStart();
   strangers( state, world.tables( 0 ) );
}

void unwatched( benchmark::State & state ) { strangers( state, new Loomis::VniFdbStatusV2( "5000" ) ); }

void registerAll() {
   auto const add = []( std::string const & name, int iterations, auto function, auto... arguments ) {
      benchmark::RegisterBenchmark( name.c_str(), function, arguments... )
         ->UseManualTime()
         ->Iterations( iterations )
         ->Repetitions( 5 );
   };
   for( unsigned const hosts : { 2'500, 5'000, 10'000 } ) {
      add( "cold start, each of " + std::to_string( hosts ) + " hosts", 1, coldStart, hosts, Ring::on );
   }
   add( "cold start, each of 10000 hosts, no ring file", 1, coldStart, 10'000, Ring::off );
   for( unsigned const hosts : { 100, 1'000, 10'000 } ) {
      add( "a host of " + std::to_string( hosts ) + " moves", 20, move, hosts, Ring::on );
   }
   add( "a host of 10000 moves, no ring file", 20, move, 10'000, Ring::off );
   add( "memory, each of 10000 hosts: the agent and what it publishes", 1, agentMemory, 10'000 );
   add( "memory, each of 10000 hosts: and the documents and the switches' reports", 1, wholeMemory, 10'000 );
   add( "a table entry of a host that no group lists", 20, unlisted, 10'000, Ring::on );
   add( "a table entry of a host that no group lists, no ring file", 20, unlisted, 10'000, Ring::off );
   add( "the same entry in a table that nobody watches", 20, unwatched );
}

} // namespace Bench

int main( int argc, char ** argv ) { return Bench::run( argc, argv, Bench::registerAll ); }
