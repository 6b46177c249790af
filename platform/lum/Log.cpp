#include "platform/lum/Log.h"

#include "platform/lum/Clock.h"

#include <algorithm>
#include <cstdio>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace Lum {

namespace {

struct {
   LogSink call = nullptr;
   void * context = nullptr;
} sink;

/// How many more equal messages may go out; it refills with time.
struct Allowance {
   double left;
   double when; // `left` held at this time
   double interval;
   double burst;
   std::uint64_t heldBack = 0;

   double leftAt( double time ) const { return std::min( burst, left + std::max( 0.0, time - when ) / interval ); }
};

using Allowances = std::unordered_map< std::uint64_t, Allowance >;

// By hash of message and arguments. When many have gathered, the full ones are dropped, and with them what they have
// held back; for the limit a full allowance is as good as none.
Allowances & allowances() {
   static Allowances all;
   return all;
}

void dropFull( Allowances & all, double time ) {
   std::erase_if( all, [ time ]( auto const & each ) { return each.second.leftAt( time ) >= each.second.burst; } );
}

std::string formatted( std::string_view format, std::initializer_list< std::string > args ) {
   std::string text;
   auto const * arg = args.begin();
   for( std::size_t i = 0; i < format.size(); ++i ) {
      char const code = format[ i ] == '%' && i + 1 < format.size() ? format[ ++i ] : '\0';
      if( code == 's' || code == 'd' ) {
         LUM_ASSERT( arg != args.end() );
         text += *arg++;
      } else {
         text += format[ i ];
      }
   }
   LUM_ASSERT( arg == args.end() );
   return text;
}

} // namespace

LogHandle::LogHandle( char const * name, LogSeverity severity, char const * format, char const * explanation,
                      char const * recommendedAction, double interval, double burst, unsigned char rateLimitArgs )
   : name_( name ), severity_( severity ), format_( format ), explanation_( explanation ),
     recommendedAction_( recommendedAction ), interval_( interval ), burst_( std::max( 1.0, burst ) ),
     rateLimitArgs_( rateLimitArgs ), idHash_( String( name ).hash() ) {}

bool LogHandle::okToLog( std::uint64_t hash ) const {
   if( interval_ <= 0 ) return true;
   constexpr std::size_t many = 1024;
   double const time = now();
   auto & all = allowances();
   if( all.size() >= many ) dropFull( all, time );
   auto & allowance = all.try_emplace( hash, Allowance{ burst_, time, interval_, burst_ } ).first->second;
   double const left = allowance.leftAt( time );
   if( left < 1 ) { // and no time is noted: parts of an interval would not add up to exactly one
      ++allowance.heldBack;
      return false;
   }
   allowance.left = left - 1;
   allowance.when = time;
   return true;
}

std::uint64_t LogHandle::heldBack( std::uint64_t hash ) const {
   auto const found = allowances().find( hash );
   return found == allowances().end() ? 0 : std::exchange( found->second.heldBack, 0 );
}

void logSinkIs( LogSink call, void * context ) { sink = { call, context }; }

void logText( LogHandle const & handle, std::initializer_list< std::string > args, std::uint64_t count ) {
   LogMessage const message{ handle.name(), handle.severity(), formatted( handle.format(), args ), count };
   if( sink.call ) return sink.call( sink.context, message );
   std::string const times = count > 1 ? " (" + std::to_string( count ) + " times)" : "";
   std::fprintf( stderr, "%s: %s%s\n", message.handle.charPtr(), message.text.charPtr(), times.c_str() );
}

} // namespace Lum
