#include "bench/Table.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <rapidjson/ostreamwrapper.h>
#include <rapidjson/prettywriter.h>
#include <system_error>

namespace Bench {

namespace {

char const * nameOf( Unit unit ) {
   switch( unit ) {
   case Unit::calls:
      return "calls";
   case Unit::instructions:
      return "I";
   case Unit::kilobytes:
      return "kB";
   case Unit::bytes:
      return "bytes";
   case Unit::percent:
      return "%";
   case Unit::times:
      return "times";
   case Unit::exponent:
      return "exponent";
   }
   return "";
}

std::string text( std::optional< double > value ) {
   if( !value ) return "";
   char digits[ 32 ];
   double const size = std::abs( *value );
   std::snprintf( digits, sizeof digits, "%.*f", size >= 100 ? 0 : size >= 10 ? 1 : 2, *value );
   return digits;
}

std::string textOfTime( double nanoseconds ) {
   if( nanoseconds == 0 ) return "";
   return nanoseconds < 1000 ? text( nanoseconds ) + " ns" : text( nanoseconds / 1000 ) + " us";
}

} // namespace

std::optional< double > Table::Line::ofMark() const {
   if( !measured || !row.mark ) return std::nullopt;
   return *measured / *row.mark;
}

void Table::add( Row const & row, std::optional< double > figure ) {
   Line line{ row, figure };
   if( figure && row.unit == Unit::calls ) {
      line.nanoseconds = *figure;
      line.measured = *figure / unit;
   }
   lines_.push_back( line );
}

bool Table::judged( Line const & line ) const {
   return line.row.mark && line.measured && !( line.row.unit == Unit::calls && noisy() );
}

bool Table::reached( Line const & line ) const { return judged( line ) && *line.measured <= *line.row.mark; }

std::string Table::verdict( Line const & line ) const {
   if( !line.measured ) return line.row.leftOut ? "not run (--quick)" : "not run";
   if( !line.row.mark ) return "";
   if( !judged( line ) ) return "not reached (noisy)";
   return reached( line ) ? "reached" : "not reached";
}

std::size_t Table::marks() const {
   return static_cast< std::size_t >(
      std::count_if( lines_.begin(), lines_.end(), []( auto & line ) { return line.row.mark.has_value(); } ) );
}

std::size_t Table::reached() const {
   return static_cast< std::size_t >(
      std::count_if( lines_.begin(), lines_.end(), [ this ]( auto & line ) { return reached( line ); } ) );
}

void Table::print() const {
   auto const line = []( std::string const & name, std::string const & time, std::string const & measured,
                         char const * unitOf, std::string const & mark, std::string const & ofMark,
                         std::string const & verdict ) {
      std::printf( "%-84s %9s %10s %-8s %9s %8s  %s\n", name.c_str(), time.c_str(), measured.c_str(), unitOf,
                   mark.c_str(), ofMark.c_str(), verdict.c_str() );
   };
   line( "row", "time", "measured", "", "mark", "of mark", "" );
   for( auto const & each : lines_ ) {
      line( each.row.name, textOfTime( each.nanoseconds ), text( each.measured ), nameOf( each.row.unit ),
            text( each.row.mark ), text( each.ofMark() ), verdict( each ) );
   }
   std::printf( "%zu of %zu rows reached\n", reached(), marks() );
   if( unit > 0 ) {
      std::printf(
         "the unit, one plain virtual call: %.2f ns, quartiles %.1f %% apart; order of repetitions: --seed %u\n", unit,
         100 * spread, seed );
   }
   if( noisy() ) std::printf( "noisy: the unit's quartiles are more than 15 %% apart, so no row is judged in units\n" );
   if( quick ) std::printf( "--quick: the largest sizes are left out, of the exponents, too\n" );
}

void Table::write( std::string const & file ) const {
   std::ofstream out( file );
   rapidjson::OStreamWrapper stream( out );
   rapidjson::PrettyWriter writer( stream );
   auto const number = [ & ]( char const * key, std::optional< double > value ) {
      writer.Key( key );
      value ? writer.Double( *value ) : writer.Null();
   };
   writer.StartObject();
   number( "unitNanoseconds", unit );
   number( "unitSpread", spread );
   writer.Key( "noisy" );
   writer.Bool( noisy() );
   writer.Key( "quick" );
   writer.Bool( quick );
   writer.Key( "seed" );
   writer.Uint( seed );
   writer.Key( "rows" );
   writer.StartArray();
   for( auto const & line : lines_ ) {
      writer.StartObject();
      writer.Key( "row" );
      writer.String( line.row.name.c_str() );
      number( "measured", line.measured );
      writer.Key( "unit" );
      writer.String( nameOf( line.row.unit ) );
      number( "mark", line.row.mark );
      number( "ofMark", line.ofMark() );
      writer.Key( "verdict" );
      writer.String( verdict( line ).c_str() );
      writer.EndObject();
   }
   writer.EndArray();
   writer.Key( "reached" );
   writer.Uint64( reached() );
   writer.Key( "marks" );
   writer.Uint64( marks() );
   writer.EndObject();
   out << "\n";
   out.close();
   if( !out ) throw std::system_error( errno, std::generic_category(), file );
}

} // namespace Bench
