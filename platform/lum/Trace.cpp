#include "platform/lum/Trace.h"

#include "platform/lum/Notifiee.h"
#include "platform/lum/Strep.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace Lum {

namespace {

struct Rule {
   std::string pattern;
   std::uint32_t levels;
   bool on;

   bool matches( std::string_view name ) const {
      if( !pattern.ends_with( '*' ) ) return name == pattern;
      return name.starts_with( std::string_view( pattern ).substr( 0, pattern.size() - 1 ) );
   }
};

[[noreturn]] void malformed( std::size_t at, char const * reason ) {
   throwRangeException( textOf( "at character ", at + 1, ": ", reason ) );
}

unsigned levelOf( std::string_view text, std::size_t at ) {
   if( text.size() != 1 || text[ 0 ] < '0' || text[ 0 ] > '9' ) malformed( at, "a level from 0 to 9 is expected" );
   return static_cast< unsigned >( text[ 0 ] - '0' );
}

/// One element of a setting, which begins at character `at` of it.
Rule ruleOf( std::string_view element, std::size_t at ) {
   std::size_t const slash = element.find( '/' );
   if( slash == 0 ) malformed( at, "a handle's name is expected" );
   if( slash == std::string_view::npos ) malformed( at + element.size(), "'/' and a level are expected" );
   std::string_view const range = element.substr( slash + 1 );
   std::size_t const dash = std::min( range.find( '-' ), range.size() );
   unsigned const low = levelOf( range.substr( 0, dash ), at + slash + 1 );
   unsigned const high = dash == range.size() ? low : levelOf( range.substr( dash + 1 ), at + slash + dash + 2 );
   if( high < low ) malformed( at + slash + 1, "the range is empty" );
   return { std::string( element.substr( 0, slash ) ), ( 2u << high ) - ( 1u << low ), true };
}

std::vector< Rule > rulesOf( std::string_view setting ) {
   std::vector< Rule > rules;
   for( std::size_t at = 0; at < setting.size(); ) {
      std::size_t const end = std::min( setting.find( ',', at ), setting.size() );
      rules.push_back( ruleOf( setting.substr( at, end - at ), at ) );
      at = end + 1;
   }
   return rules;
}

std::vector< Rule > rulesOfEnvironment() {
   char const * const setting = std::getenv( "KIV_TRACE" );
   try {
      return rulesOf( setting ? setting : "" );
   } catch( RangeException const & exception ) {
      std::fprintf( stderr, "KIV_TRACE=%s is ignored: %s\n", setting, exception.what() );
      return {};
   }
}

struct Facility {
   std::vector< Rule > rules = rulesOfEnvironment();
   std::uint32_t ringLevels = 0;
   TraceHandle * first = nullptr;
   TraceFacility::Sink sink = nullptr;
   void * context = nullptr;
};

// Never destroyed: what goes down at exit still traces.
Facility & facility() {
   static auto & only = *new Facility;
   return only;
}

} // namespace

void TraceFacility::levelIs( std::string_view handlePattern, FacilityLevel level, bool on ) {
   Rule const rule{ std::string( handlePattern ), 1u << level, on };
   auto & rules = facility().rules;
   std::erase_if( rules,
                  [ & ]( Rule const & old ) { return old.pattern == rule.pattern && old.levels == rule.levels; } );
   rules.push_back( rule );
   for( auto * handle = facility().first; handle; handle = handle->next_ ) {
      if( rule.matches( handle->name().view() ) ) handle->streamLevelsIs( rule.levels, on );
   }
}

void TraceFacility::settingIs( std::string_view setting ) {
   for( auto const & rule : rulesOf( setting ) ) {
      for( unsigned level = 0; level < levels; ++level ) {
         if( rule.levels >> level & 1 ) levelIs( rule.pattern, FacilityLevel( level ), true );
      }
   }
}

void TraceFacility::ringLevelsIs( std::uint32_t mask ) {
   facility().ringLevels = mask;
   for( auto * handle = facility().first; handle; handle = handle->next_ ) handle->ringLevelsIs( mask );
}

void TraceFacility::lineIs( Line const & line ) {
   if( facility().sink ) return facility().sink( facility().context, line );
   std::string const indentation( std::size_t( 3 ) * Visit::depth(), ' ' );
   std::string const text = textOf( indentation, line.handle, " ", static_cast< unsigned >( line.level ), " ",
                                    line.file, ":", line.line, " ", line.function, ": ", line.text, "\n" );
   std::fwrite( text.data(), 1, text.size(), stderr );
}

void TraceFacility::sinkIs( Sink sink, void * context ) {
   facility().sink = sink;
   facility().context = context;
}

TraceHandle::TraceHandle( String name, bool on )
   : wanted_( on ? ( 1u << TraceFacility::levels ) - 1 : 0 ), name_( std::move( name ) ), next_( facility().first ) {
   facility().first = this;
   for( auto const & rule : facility().rules ) {
      if( rule.matches( name_.view() ) ) streamLevelsIs( rule.levels, rule.on );
   }
   ringLevelsIs( facility().ringLevels );
}

TraceHandle::~TraceHandle() {
   for( auto ** place = &facility().first; *place; place = &( *place )->next_ ) {
      if( *place != this ) continue;
      *place = next_;
      return;
   }
}

} // namespace Lum
