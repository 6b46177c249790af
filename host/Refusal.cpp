#include "host/Refusal.h"

#include "platform/lum/Strep.h"

#include <algorithm>
#include <map>
#include <numeric>

namespace Host {

namespace {

constexpr std::size_t longest = 200;

/// How many characters must be put in, taken out or replaced to make `b` of `a`.
std::size_t edits( std::string_view a, std::string_view b ) {
   std::vector< std::size_t > row( b.size() + 1 ); // of the part of `a` so far: to each beginning of `b`
   std::iota( row.begin(), row.end(), 0 );
   for( std::size_t i = 0; i < a.size(); ++i ) {
      std::size_t diagonal = row[ 0 ]++;
      for( std::size_t j = 0; j < b.size(); ++j ) {
         auto const replaced = diagonal + ( a[ i ] != b[ j ] );
         diagonal = row[ j + 1 ];
         row[ j + 1 ] = std::min( { replaced, row[ j ] + 1, diagonal + 1 } );
      }
   }
   return row.back();
}

} // namespace

std::string shortened( std::string_view text ) {
   auto const begins = []( char byte ) { return ( byte & 0xc0 ) != 0x80; }; // a character of UTF-8
   std::size_t characters = 0;
   auto const end =
      std::find_if( text.begin(), text.end(), [ & ]( char byte ) { return begins( byte ) && ++characters > longest; } );
   return { text.begin(), end };
}

std::string quoted( std::string_view text ) { return Lum::textOf( "\"", shortened( text ), "\"" ); }

Refusal misfit( std::string_view place, std::string_view what, std::string_view text, std::string_view expected ) {
   return { place, Lum::textOf( what, ": ", quoted( text ), "; expected is ", expected ) };
}

Refusal unknown( std::string_view place, std::string_view what, std::string_view name,
                 std::vector< std::string > const & known ) {
   std::multimap< std::size_t, std::string > byDistance;
   for( auto const & each : known ) byDistance.emplace( edits( shortened( name ), each ), each );
   std::string list;
   for( auto const & [ distance, each ] : byDistance ) list += Lum::textOf( list.empty() ? " " : ", ", each );
   return { place, Lum::textOf( what, ": ", quoted( name ), "; known", known.size() > 1 ? " are" : " is",
                                known.empty() ? " none" : list ) };
}

} // namespace Host
