#include "bench/Harness.h"

#include "bench/Processes.h"
#include "bench/Table.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <random>
#include <regex>
#include <set>
#include <stdexcept>
#include <system_error>
#include <unistd.h>

namespace Bench {

namespace {

constexpr unsigned repetitions = 9;
char const * const unitName = "one plain virtual call";

class ThreadClock : public Meter {
   static double now() {
      timespec time{};
      clock_gettime( CLOCK_THREAD_CPUTIME_ID, &time );
      return 1e9 * static_cast< double >( time.tv_sec ) + static_cast< double >( time.tv_nsec );
   }
   void begin() override { begin_ = now(); }
   double end() override { return now() - begin_; }

   double begin_ = 0;
};

/// Of several makes, so that the compiler cannot guess whose call it is.
struct Plain {
   virtual ~Plain() = default;
   virtual void call() = 0;
   std::uint64_t calls = 0;
};
struct Up final : Plain {
   void call() override { ++calls; }
};
struct Down final : Plain {
   void call() override { --calls; }
};

void virtualCalls( Meter & meter ) {
   constexpr unsigned count = 5'000'000;
   Up up;
   Down down;
   Plain * object = std::time( nullptr ) ? static_cast< Plain * >( &up ) : &down;
   meter.measure( count, [ & ] {
      for( unsigned i = 0; i < count; ++i ) {
         asm volatile( "" : "+r"( object ) ); // its type is not known to the compiler
         object->call();
      }
   } );
}

double quartile( std::vector< double > values, unsigned number ) {
   std::sort( values.begin(), values.end() );
   return values[ number * ( values.size() - 1 ) / 4 ];
}

double slope( std::vector< double > const & x, std::vector< double > const & y ) {
   double sumX = 0, sumY = 0, sumXX = 0, sumXY = 0;
   auto const n = static_cast< double >( x.size() );
   for( std::size_t i = 0; i < x.size(); ++i ) {
      sumX += x[ i ];
      sumY += y[ i ];
      sumXX += x[ i ] * x[ i ];
      sumXY += x[ i ] * y[ i ];
   }
   return ( n * sumXY - sumX * sumY ) / ( n * sumXX - sumX * sumX );
}

std::set< std::string > needsOf( std::vector< Row const * > const & rows ) {
   std::set< std::string > needs;
   for( auto const * row : rows ) needs.insert( row->needs.begin(), row->needs.end() );
   return needs;
}

/// The values of each timing.
std::map< std::string, std::vector< double > > timesOf( Suite const & suite, std::set< std::string > const & needs,
                                                        unsigned seed ) {
   std::map< std::string, Suite::Repetition > wanted;
   for( auto const & [ name, repetition ] : suite.timings() ) {
      if( needs.contains( name ) ) wanted[ name ] = repetition;
   }
   if( !wanted.empty() ) wanted[ unitName ] = virtualCalls;
   std::vector< std::string > order;
   for( auto const & [ name, repetition ] : wanted ) order.insert( order.end(), repetitions, name );
   std::shuffle( order.begin(), order.end(), std::mt19937( seed ) );
   std::map< std::string, std::vector< double > > times;
   for( std::size_t i = 0; i < order.size(); ++i ) {
      progress( i, order.size(), "repetitions" );
      ThreadClock clock;
      wanted[ order[ i ] ]( clock );
      times[ order[ i ] ].push_back( clock.perOperation() );
   }
   progress( order.size(), order.size(), "repetitions" );
   return times;
}

/// The figure of a row; nothing when something that it needs is missing.
std::optional< double > figureOf( Row const & row, std::map< std::string, double > const & quantities ) {
   std::vector< double > values;
   for( auto const & need : row.needs ) {
      auto const found = quantities.find( need );
      if( found == quantities.end() ) return std::nullopt;
      values.push_back( found->second );
   }
   return row.figure( values );
}

} // namespace

void Suite::timed( std::string const & name, std::optional< double > mark, Repetition repetition ) {
   timing( name, std::move( repetition ) );
   row( { name, Unit::calls, mark, { name } } );
}

void Suite::ratio( std::string const & name, double mark, std::string const & timing, std::string const & to ) {
   row( { name, Unit::times, mark, { timing, to }, []( auto const & times ) { return times[ 0 ] / times[ 1 ]; } } );
}

void Suite::exponent( std::string const & name, double mark, std::map< double, std::string > const & quantityOfSize ) {
   Row row{ name, Unit::exponent, mark, {} };
   std::vector< double > sizes;
   for( auto const & [ size, quantity ] : quantityOfSize ) {
      sizes.push_back( std::log( size ) );
      row.needs.push_back( quantity );
   }
   row.figure = [ sizes ]( std::vector< double > values ) {
      for( auto & value : values ) value = std::log( value );
      return slope( sizes, values );
   };
   rows_.push_back( row );
}

void progress( std::size_t done, std::size_t all, char const * what ) {
   if( all > 0 && isatty( STDERR_FILENO ) )
      std::fprintf( stderr, "\r%zu of %zu %s%s", done, all, what, done < all ? "" : "\n" );
}

int run( Suite const & suite, Options const & options ) {
   std::regex const chosen( options.rows );
   std::vector< Row const * > rows;
   for( auto const & row : suite.rows() ) {
      if( !row.leftOut && std::regex_search( row.name, chosen ) ) rows.push_back( &row );
   }
   if( rows.empty() ) throw std::runtime_error( "--rows: no row matches '" + options.rows + "'" );
   if( !options.json.empty() && !std::ofstream( options.json, std::ios::app ) ) // better now than at the end
      throw std::system_error( errno, std::generic_category(), "--json: " + options.json );
   auto const needs = needsOf( rows );
   auto quantities = runApart( suite, needs, options.quick ); // before any time is taken: they use all processors
   auto const times = timesOf( suite, needs, options.seed );
   for( auto const & [ name, values ] : times ) quantities[ name ] = quartile( values, 1 );

   Table table;
   table.seed = options.seed;
   table.quick = options.quick;
   if( auto const unit = times.find( unitName ); unit != times.end() ) {
      table.unit = quantities[ unitName ];
      table.spread = quartile( unit->second, 3 ) / table.unit - 1;
   }
   for( auto const & row : suite.rows() ) {
      bool const runs = std::find( rows.begin(), rows.end(), &row ) != rows.end();
      table.add( row, runs ? figureOf( row, quantities ) : std::nullopt );
   }
   table.print();
   if( !options.json.empty() ) table.write( options.json );
   return table.reachesAll() ? 0 : 1;
}

} // namespace Bench
