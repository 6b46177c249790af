// The large rows. Their world is made of records already, and what the switches report is prepared, before anything is
// measured; writing the published flows and the reports into the databases is part of the work.
#include "bench/Floor.h"
#include "bench/Ring.h"
#include "bench/Rows.h"
#include "bench/World.h"

#include <cmath>

namespace Bench {

namespace {

using Operation = void ( * )( World &, Meter & );
using Extent = World::Extent;

void moves( World & world, Meter & meter ) {
   auto const hosts = world.drawn( 200 );
   meter.measure( static_cast< double >( hosts.size() ), [ & ] {
      for( unsigned const host : hosts ) world.move( host );
   } );
   for( unsigned const host : hosts ) LUM_ASSERT( world.diverted( host ) );
   world.answer();
}

void named( World & world, Meter & meter, bool measuredIsAdded ) {
   auto const hosts = world.drawn( 100 );
   auto const interceptIs = [ & ]( bool intercept ) {
      auto const work = [ & ] {
         for( unsigned const host : hosts ) world.interceptIs( host, intercept );
      };
      if( intercept == measuredIsAdded ) {
         meter.measure( static_cast< double >( hosts.size() ), work );
      } else {
         work();
      }
      for( unsigned const host : hosts ) LUM_ASSERT( world.diverted( host ) == intercept );
      world.answer();
   };
   interceptIs( false );
   interceptIs( true );
}
void hostsAdded( World & world, Meter & meter ) { named( world, meter, true ); }
void hostsTaken( World & world, Meter & meter ) { named( world, meter, false ); }

// Added is a group when the service VTEPs have reported and its host is diverted.
void groups( World & world, Meter & meter, bool measuredIsAdded ) {
   unsigned const first = world.extent().groups, end = first + 10;
   unsigned const firstHost = world.extent().hosts;
   for( unsigned group = first; group < end; ++group ) world.makeSpareGroup( group );
   auto const run = [ & ]( bool measured, unsigned operations, auto const & work ) {
      measured ? meter.measure( operations, work ) : work();
   };
   for( unsigned group = first; group < end; ++group ) {
      run( measuredIsAdded, 1, [ & ] { world.policyIs( group ); } );
      auto const reports = world.reports( World::serviceVteps, World::fragmentName( group ) );
      run( measuredIsAdded, 0, [ & ] { world.write( reports ); } );
      LUM_ASSERT( world.diverted( firstHost + group - first ) );
   }
   world.answer();
   for( unsigned group = first; group < end; ++group ) {
      run( !measuredIsAdded, 1, [ & ] { world.policyDel( group ); } );
      LUM_ASSERT( !world.diverted( firstHost + group - first ) );
   }
   world.answer();
}
void groupsAdded( World & world, Meter & meter ) { groups( world, meter, true ); }
void groupsRemoved( World & world, Meter & meter ) { groups( world, meter, false ); }

/// Both tables of random VNIs learn addresses that no group lists.
void strangers( World & world, Meter & meter ) {
   constexpr unsigned count = 1'000, firstAddress = 0x200000;
   static std::mt19937 random( 1 );
   struct Entry {
      Loomis::VniFdbStatusV2 & tables;
      Loomis::IpToMacV2 binding;
      Loomis::MacVtepV2 learnt;
   };
   std::vector< Entry > entries;
   for( unsigned i = 0; i < count; ++i ) {
      unsigned const address = firstAddress + random() % firstAddress;
      Entry entry{ *world.tables( world.drawnGroup() ), {}, {} };
      entry.binding.ip = World::ip( address );
      entry.binding.mac = entry.learnt.mac = World::mac( address );
      entry.learnt.vtepIp = world.vtepIp( World::serviceVteps + i % world.leaves() );
      entries.push_back( entry );
   }
   meter.measure( 2 * count, [ & ] {
      for( auto const & entry : entries ) {
         entry.tables.ipToMacTableIs( entry.binding );
         entry.tables.macVtepTableIs( entry.learnt );
      }
      world.settle();
   } );
   for( auto const & entry : entries ) {
      entry.tables.ipToMacTableDel( entry.binding.ip );
      entry.tables.macVtepTableDel( entry.learnt.mac );
   }
}

/// A service VTEP reports the flows of all hosts.
void flowsReported( World & world, Meter & meter ) {
   world.forgetHostFlows();
   auto const reports = world.reports( 1, {} );
   meter.measure( world.extent().hosts, [ & ] { world.write( reports ); } );
   world.answer();
}

void memberLost( World & world, Meter & meter ) {
   meter.measure( World::hostsOfPair, [ & ] { world.pairIs( false ); } );
   world.answer();
   world.pairIs( true );
   LUM_ASSERT( world.allDiverted() );
   world.answer();
}

/// A service VTEP has not programmed a service flow of a VNI any more, then it has again.
void flipped( World & world, Meter & meter, bool measuredIsBack ) {
   unsigned const group = world.drawnGroup();
   auto const hosts = world.hostsOf( group );
   for( bool const converged : { false, true } ) {
      world.convergenceIs( group, converged );
      auto const reports = world.reports( 1, World::fragmentName( group ) );
      auto const work = [ & ] { world.write( reports ); };
      if( converged == measuredIsBack ) {
         meter.measure( static_cast< double >( hosts.size() ), work );
      } else {
         work();
      }
      for( unsigned const host : hosts ) LUM_ASSERT( world.diverted( host ) == converged );
      world.answer();
   }
}
void flippedOff( World & world, Meter & meter ) { flipped( world, meter, false ); }
void flippedBack( World & world, Meter & meter ) { flipped( world, meter, true ); }

/// Both periods are 30 s.
void quietRounds( World & world, Meter & meter ) {
   world.advance( 30 );
   for( int round = 0; round < 3; ++round ) meter.measure( world.extent().hosts, [ & ] { world.advance( 30 ); } );
}

void restarts( World & world, Meter & meter ) {
   world.kill();
   meter.measure( world.extent().hosts, [ & ] { world.start(); } );
   LUM_ASSERT( world.allDiverted() && world.reports().empty() );
}

void addressesReported( World & world, Meter & meter ) {
   world.start();
   meter.measure( 1, [ & ] {
      for( unsigned place = 0; place < world.extent().switches; ++place ) world.addressIs( place );
   } );
   world.answer();
   LUM_ASSERT( world.allDiverted() );
}

World * running( Extent extent ) {
   auto world = std::make_unique< World >( extent );
   world->coldStart();
   return world.release();
}

Suite::Repetition over( Lazy< World > world, Operation operation ) {
   return [ world, operation ]( Meter & meter ) mutable {
      ringIs( Ring::on );
      operation( *world, meter );
   };
}

void coldStarts( Meter & meter, Extent extent, Ring ring ) {
   World world( extent );
   ringIs( ring );
   world.coldStart( meter );
   ringIs( Ring::on );
}

// The scenes of the counts: a world of its own for each, and what is counted in it.

struct Counted {
   char const * name;
   Operation operation;
};
constexpr Counted move{ "a move", moves };
constexpr Counted stranger{ "an entry", strangers };
constexpr Counted added{ "a host added", hostsAdded };
constexpr Counted taken{ "a host taken", hostsTaken };
constexpr Counted groupAdded{ "a group added", groupsAdded };
constexpr Counted groupRemoved{ "a group removed", groupsRemoved };
constexpr Counted report{ "a flow reported", flowsReported };
constexpr Counted lost{ "a member lost", memberLost };
constexpr Counted off{ "convergence off", flippedOff };
constexpr Counted back{ "convergence back on", flippedBack };
constexpr Counted quiet{ "quiet rounds", quietRounds };
constexpr Counted restart{ "restart", restarts };
char const * const coldStart = "cold start";

void scene( Suite & suite, std::string const & name, Extent extent, std::vector< Counted > const & counted,
            Ring ring = Ring::on ) {
   suite.apart( name, Suite::Under::callgrind, [ = ]( Apart & apart ) {
      World world( extent );
      ringIs( ring );
      apart.count( coldStart, [ & ]( Meter & meter ) { world.coldStart( meter ); } );
      for( auto const & each : counted ) {
         apart.count( each.name, [ & ]( Meter & meter ) { each.operation( world, meter ); } );
      }
   } );
}

/// Scenes of several sizes; gives their names.
class Sweep {
 public:
   Sweep( Suite & suite, std::string name, std::vector< unsigned > const & sizes, Extent ( *extentOf )( unsigned ),
          std::vector< Counted > const & counted )
      : suite_( suite ), name_( std::move( name ) ), sizes_( sizes ) {
      for( unsigned const size : sizes ) scene( suite, nameOf( size ), extentOf( size ), counted );
   }

   void exponent( std::string const & row, double mark, std::string const & counted ) const {
      std::map< double, std::string > quantities;
      for( unsigned const size : sizes_ ) quantities[ size ] = nameOf( size ) + "/" + counted;
      suite_.exponent( row, mark, quantities );
   }

 private:
   std::string nameOf( unsigned size ) const { return Lum::textOf( name_, " ", size ); }

   Suite & suite_;
   std::string name_;
   std::vector< unsigned > sizes_;
};

std::string publishedBy( World & world ) {
   rapidjson::StringBuffer buffer;
   Host::Writer writer( buffer );
   world.tree().get( { "hub", "kiv", "version1", "policy" }, writer );
   return buffer.GetString();
}

/// Whether the program written by hand publishes what the agent publishes, at the start and behind moves. Who of two
/// groups got which service VNI is left open: there is one.
bool floorIsRight() {
   Extent const extent{ .hosts = 1'000, .groups = 1 };
   World world( extent );
   world.coldStart();
   World byHand( extent );
   Floor floor( byHand );
   floor.publishServiceFlows();
   floor.publishHosts();
   for( unsigned const host : world.drawn( 200 ) ) {
      world.move( host );
      floor.move( host );
   }
   return Host::parsed( publishedBy( world ) ) == Host::parsed( publishedBy( byHand ) );
}

/// The rows of one process about memory.
void addMemory( Suite & suite, unsigned groups ) {
   suite.apart( Lum::textOf( "memory ", groups ), Suite::Under::nothing, [ groups ]( Apart & apart ) {
      double const hosts = Extent().hosts;
      World world( { .groups = groups } );
      double const before = heap();
      world.start();
      // The service VTEPs' reports bring the hosts' flows out; they are not the agent's.
      double const reports = [ & ] {
         auto const all = world.reports();
         world.write( all );
         double const beforeCopy = heap();
         std::map< Lum::String, Lum::Ptr< Kiv::V1::KivPolicyFragmentStatus > > copies;
         for( auto each : all ) {
            auto & copy = copies[ each.to->name() ];
            if( !copy ) copy = new Kiv::V1::KivPolicyFragmentStatus( each.to->name() );
            each.to = copy;
            each.flows.clear();
            each.cookies.clear();
            each.write();
         }
         return heap() - beforeCopy;
      }();
      LUM_ASSERT( world.allDiverted() );
      apart.value( "agent", ( heap() - before - reports ) / hosts / 1000 );
   } );
   suite.apart( Lum::textOf( "memory by hand ", groups ), Suite::Under::nothing, [ groups ]( Apart & apart ) {
      LUM_ASSERT( floorIsRight() );
      World world( { .groups = groups } );
      double const before = heap();
      {
         Floor floor( world );
         floor.publishServiceFlows();
         floor.publishHosts();
      }
      LUM_ASSERT( world.allDiverted() );
      apart.value( "published", ( heap() - before ) / Extent().hosts / 1000 );
   } );
}

/// All groups go and come back, ten times.
void policiesGoAndComeBack( Apart & apart ) {
   World world( { .policies = false } );
   world.start();
   double const before = heap();
   auto const all = [ & ]( void ( World::*act )( unsigned ) ) {
      for( unsigned group = 0; group < world.extent().groups; ++group ) ( world.*act )( group );
      world.answer();
      return heap();
   };
   all( &World::policyIs );
   std::vector< double > gone, whole;
   while( whole.size() < 10 ) {
      gone.push_back( all( &World::policyDel ) );
      whole.push_back( all( &World::policyIs ) );
      LUM_ASSERT( world.allDiverted() );
   }
   apart.value( "growth", 100 * ( whole[ 9 ] / whole[ 1 ] - 1 ) );
   apart.value( "left over", 100 * ( gone[ 9 ] / before - 1 ) );
}

std::vector< unsigned > sizesOf( Suite const & suite, std::vector< unsigned > sizes, unsigned mostOfQuick ) {
   if( suite.quick() ) std::erase_if( sizes, [ = ]( unsigned size ) { return size > mostOfQuick; } );
   return sizes;
}

} // namespace

void addAgentRows( Suite & suite ) {
   Sweep const hosts( suite, "hosts", sizesOf( suite, { 1'000, 2'200, 4'600, 10'000, 32'000, 100'000 }, 10'000 ),
                      []( unsigned size ) { return Extent{ .hosts = size }; }, { move, stranger, lost } );
   Sweep const together( suite, "hosts, groups and VNIs", sizesOf( suite, { 10, 22, 46, 100, 320, 1'000 }, 100 ),
                         []( unsigned size ) { return Extent{ .hosts = 100 * size, .groups = size }; },
                         { move, stranger, groupAdded, groupRemoved } );
   Sweep const switches( suite, "switches", sizesOf( suite, { 16, 64, 250, 1'000 }, 1'000 ),
                         []( unsigned size ) { return Extent{ .hosts = 2'500, .groups = 25, .switches = size }; },
                         { move } );
   Sweep const ofVni( suite, "hosts of a VNI", sizesOf( suite, { 30, 100, 300, 1'000 }, 1'000 ),
                      []( unsigned size ) { return Extent{ .hosts = 20 * size, .groups = 20 }; }, { move, report } );
   scene( suite, "2 500 hosts", { .hosts = 2'500 },
          { move, added, taken, groupAdded, groupRemoved, stranger, report, lost, off, back, quiet, restart } );
   scene( suite, "2 500 hosts, ring off", { .hosts = 2'500 }, {}, Ring::off );
   auto const instructions = [ & ]( std::string const & name, std::optional< double > mark,
                                    std::string const & quantity ) {
      suite.row( { name + ", at 2 500 hosts", Unit::instructions, mark, { quantity } } );
   };
   auto const alsoCounted = [ & ]( std::string const & name, Counted const & counted ) {
      instructions( name, std::nullopt, std::string( "2 500 hosts/" ) + counted.name );
   };

   std::string const start = "cold start, a host, 10 000 hosts, ring on";
   suite.timed( start, 15'000, []( Meter & meter ) { coldStarts( meter, {}, Ring::on ); } );
   suite.timed( "cold start, a host, 10 000 hosts, ring off", 11'000,
                []( Meter & meter ) { coldStarts( meter, {}, Ring::off ); } );
   suite.timed( "cold start, the same result written by hand", std::nullopt, []( Meter & meter ) {
      World world( {} );
      Floor( world ).coldStart( meter );
   } );
   instructions( "cold start, ring on", 150'000, std::string( "2 500 hosts/" ) + coldStart );
   instructions( "cold start, ring off", 80'000, std::string( "2 500 hosts, ring off/" ) + coldStart );
   hosts.exponent( "cold start, exponent over hosts", 0.05, coldStart );
   together.exponent( "cold start, exponent over hosts, groups and VNIs together", 0.05, coldStart );

   Lazy< World > const world( [] { return running( {} ); } );
   suite.timed( "one host moves, 10 000 hosts", 10'000, over( world, moves ) );
   Lazy< World > const byHand( [] { return new World( {} ); } );
   Lazy< Floor > const floor( [ byHand ]() mutable {
      auto made = std::make_unique< Floor >( *byHand );
      made->publishServiceFlows();
      made->publishHosts();
      return made.release();
   } );
   suite.timed( "one host moves, the same result written by hand", std::nullopt, [ = ]( Meter & meter ) mutable {
      auto const drawn = ( *byHand ).drawn( 200 );
      auto & program = *floor;
      meter.measure( static_cast< double >( drawn.size() ), [ & ] {
         for( unsigned const host : drawn ) program.move( host );
      } );
      for( unsigned const host : drawn ) LUM_ASSERT( ( *byHand ).diverted( host ) );
   } );
   alsoCounted( "one host moves", move );
   hosts.exponent( "one host moves, exponent over hosts", 0.05, move.name );
   together.exponent( "one host moves, exponent over hosts, groups and VNIs together", 0.05, move.name );
   switches.exponent( "one host moves, exponent over switches", 0.05, move.name );
   ofVni.exponent( "one host moves, exponent over the hosts of its VNI", 0.05, move.name );

   suite.timed( "one host added, 10 000 hosts", 25'000, over( world, hostsAdded ) );
   suite.timed( "one host taken, 10 000 hosts", 18'000, over( world, hostsTaken ) );
   alsoCounted( "one host added", added );
   alsoCounted( "one host taken", taken );

   suite.timed( "a group with one host added, 10 000 hosts", 45'000, over( world, groupsAdded ) );
   suite.timed( "a group with one host removed, 10 000 hosts", 32'000, over( world, groupsRemoved ) );
   alsoCounted( "a group with one host added", groupAdded );
   alsoCounted( "a group with one host removed", groupRemoved );
   together.exponent( "a group with one host added, exponent over groups and VNIs", 0.2, groupAdded.name );
   together.exponent( "a group with one host removed, exponent over groups and VNIs", 0.2, groupRemoved.name );

   suite.timed( "a table entry of a host that no policy names", 100, over( world, strangers ) );
   alsoCounted( "a table entry of a host that no policy names", stranger );
   hosts.exponent( "a table entry, exponent over intercepted hosts", 0.05, stranger.name );
   together.exponent( "a table entry, exponent over intercepted hosts, groups and VNIs", 0.05, stranger.name );

   suite.timed( "a switch reports 10 000 host flows with move counts, a flow", 500, over( world, flowsReported ) );
   alsoCounted( "a switch reports the flows of all hosts, a flow", report );
   ofVni.exponent( "a switch reports host flows, exponent over the hosts of the group", 0.05, report.name );

   suite.timed( "a VTEP loses a member, a host behind it", 12'000, over( world, memberLost ) );
   alsoCounted( "a VTEP loses a member, a host behind it", lost );
   hosts.exponent( "a VTEP loses a member, exponent over the other hosts", 0.1, lost.name );

   std::map< double, std::string > addresses;
   for( unsigned const size : { 64U, 160U, 400U, 1'000U } ) {
      auto const name = Lum::textOf( "addresses ", size );
      suite.apart( name, Suite::Under::callgrind, [ size ]( Apart & apart ) {
         World scene( { .hosts = 10 * size, .groups = 25, .switches = size, .addresses = false } );
         apart.count( "all", [ & ]( Meter & meter ) { addressesReported( scene, meter ); } );
      } );
      addresses[ size ] = name + "/all";
   }
   suite.exponent( "64 to 1 000 switches report their VTEP address at the start, exponent", 1.15, addresses );

   Lazy< World > const largeVnis( [] { return running( { .groups = 10 } ); } );
   suite.timed( "a service VTEP's convergence goes, VNI of 1 000 hosts, a host", 5'000, over( largeVnis, flippedOff ) );
   suite.timed( "a service VTEP's convergence comes back, a host", 5'000, over( largeVnis, flippedBack ) );
   alsoCounted( "a service VTEP's convergence goes, a host", off );
   alsoCounted( "a service VTEP's convergence comes back, a host", back );

   suite.timed( "a quiet ageing and a quiet revoke round together, 10 000 hosts, a host", 200,
                over( world, quietRounds ) );
   alsoCounted( "a quiet ageing and a quiet revoke round together, a host", quiet );

   Lazy< World > const restarted( [] { return running( {} ); } );
   std::string const again = "restart, a host, 10 000 hosts";
   suite.timed( again, std::nullopt, over( restarted, restarts ) );
   alsoCounted( "restart, a host", restart );
   suite.ratio( "restart over cold start, 10 000 hosts, 100 VNIs", 1.3, again, start );
   Extent const large{ .hosts = 100'000, .groups = 1'000 };
   Row atLarge{ "restart over cold start, 100 000 hosts, 1 000 VNIs", Unit::times, 1.3, {} };
   if( suite.quick() ) {
      atLarge.leftOut = true;
      suite.row( atLarge );
   } else {
      Lazy< World > const largeWorld( [ large ] { return running( large ); } );
      std::string const largeStart = "cold start, a host, 100 000 hosts, 1 000 VNIs";
      std::string const largeAgain = "restart, a host, 100 000 hosts, 1 000 VNIs";
      suite.timed( largeStart, std::nullopt, [ large ]( Meter & meter ) { coldStarts( meter, large, Ring::on ); } );
      suite.timed( largeAgain, std::nullopt, over( largeWorld, restarts ) );
      suite.ratio( atLarge.name, *atLarge.mark, largeAgain, largeStart );
   }

   for( auto const & [ count, mark ] : { std::pair( 100U, 3.5 ), { 1'000, 5.5 } } ) {
      addMemory( suite, count );
      suite.row( { Lum::textOf( "memory, the agent and what it publishes, a host, groups and VNIs: ", count ),
                   Unit::kilobytes,
                   mark,
                   { Lum::textOf( "memory ", count, "/agent" ) } } );
      suite.row( { Lum::textOf( "memory, the same result written by hand, groups and VNIs: ", count ),
                   Unit::kilobytes,
                   std::nullopt,
                   { Lum::textOf( "memory by hand ", count, "/published" ) } } );
   }
   suite.apart( "rounds", Suite::Under::nothing, policiesGoAndComeBack );
   suite.row( { "memory after all policies are gone and came back, tenth round over second",
                Unit::percent,
                1,
                { "rounds/growth" } } );
   suite.row( { "heap in use after all policies are gone, over what it was before they came",
                Unit::percent,
                5,
                { "rounds/left over" } } );
}

} // namespace Bench
