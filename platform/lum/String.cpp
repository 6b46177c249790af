#include "platform/lum/String.h"

#include "platform/lum/Fault.h"
#include "platform/lum/Hash.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <ostream>

namespace Lum {

String::Rep * String::make( std::size_t size ) {
   LUM_ASSERT( size <= UINT32_MAX );
   auto * memory = std::malloc( sizeof( Rep ) + size + 1 );
   if( !memory ) throw std::bad_alloc();
   auto * rep = new( memory ) Rep{ 1, static_cast< std::uint32_t >( size ), 0 };
   rep->text()[ size ] = '\0';
   return rep;
}

void String::free( Rep * rep ) { std::free( rep ); }

String::String( std::string_view text ) {
   if( text.empty() ) return;
   rep_ = make( text.size() );
   std::memcpy( rep_->text(), text.data(), text.size() );
}

String & String::operator+=( String const & tail ) {
   if( tail.empty() ) return *this;
   if( empty() ) return *this = tail;
   auto * joined = make( size() + tail.size() );
   std::memcpy( joined->text(), charPtr(), size() );
   std::memcpy( joined->text() + size(), tail.charPtr(), tail.size() );
   String result;
   result.rep_ = joined;
   return *this = std::move( result );
}

// FNV-1a; no seed, so that collections are walked in the same order in every run.
std::uint64_t String::hashOf( Rep & rep ) {
   std::uint64_t hash = 0xcbf29ce484222325ull;
   for( std::uint32_t i = 0; i < rep.size; ++i ) {
      hash = ( hash ^ static_cast< unsigned char >( rep.text()[ i ] ) ) * 0x100000001b3ull;
   }
   hash = mix( hash ); // the tables choose by the top bits
   return rep.hash = hash ? hash : 1;
}

String format( char const * form, ... ) {
   char brief[ 128 ]; // most texts fit
   va_list arguments;
   va_start( arguments, form );
   va_list again;
   va_copy( again, arguments );
   int const written = std::vsnprintf( brief, sizeof brief, form, arguments );
   va_end( arguments );
   auto const size = written > 0 ? static_cast< std::size_t >( written ) : 0;
   String result;
   if( size < sizeof brief ) {
      result = std::string_view( brief, size );
   } else {
      std::string text( size, '\0' );
      std::vsnprintf( text.data(), size + 1, form, again );
      result = text;
   }
   va_end( again );
   return result;
}

std::ostream & operator<<( std::ostream & out, String const & text ) { return out << text.view(); }

} // namespace Lum
