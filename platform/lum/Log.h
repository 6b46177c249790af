// The operator log: the few messages that a person should act on. A module declares each of its messages as a static
// LogHandle and emits it with log().
#pragma once

#include "platform/lum/Strep.h"
#include "platform/lum/String.h"

#include <cstdint>
#include <initializer_list>
#include <string>

namespace Lum {

/// The lower the more urgent.
enum class LogSeverity : unsigned char { emergency, alert, critical, error, warning, notice, informational, debugging };

/// What to do about a message that the operator cannot settle alone.
inline constexpr char const CallSupportIfPersists[] =
   "If this message persists, contact the support organisation with the output of the agent's commands.";

/// One kind of message. All texts must outlive the handle; literals are meant.
class LogHandle {
 public:
   /// @param format  the text, with "%s" or "%d" for an argument (either takes any argument) and "%%" for a percent
   /// sign
   /// @param interval  seconds until a message may be repeated once more; 0.0: nothing is ever held back
   /// @param burst  how many equal messages get through at once before `interval` counts; less than 1.0 is taken as 1.0
   /// @param rateLimitArgs  how many arguments, from the first, make messages different for the limit; with 0 all
   ///    messages of the handle are equal
   LogHandle( char const * name, LogSeverity severity, char const * format, char const * explanation,
              char const * recommendedAction, double interval, double burst, unsigned char rateLimitArgs );
   LogHandle( LogHandle const & ) = delete;
   LogHandle & operator=( LogHandle const & ) = delete;

   char const * name() const { return name_; }
   LogSeverity severity() const { return severity_; }
   char const * format() const { return format_; }
   char const * explanation() const { return explanation_; }
   char const * recommendedAction() const { return recommendedAction_; }
   unsigned rateLimitArgs() const { return rateLimitArgs_; }
   std::uint64_t idHash() const { return idHash_; }

   /// Whether the message of this hash may go out now, by Lum::now(). A yes counts against the limit, a no is counted.
   bool okToLog( std::uint64_t hash ) const;
   /// How many messages of this hash were held back since the last call.
   std::uint64_t heldBack( std::uint64_t hash ) const;

 private:
   char const * name_;
   LogSeverity severity_;
   char const * format_;
   char const * explanation_;
   char const * recommendedAction_;
   double interval_;
   double burst_;
   unsigned char rateLimitArgs_;
   std::uint64_t idHash_;
};

struct LogMessage {
   String handle;
   LogSeverity severity;
   String text;
   std::uint64_t count; // of the equal messages it stands for: itself, and those that the limit held back before it
};

/// Takes the messages in place of standard error; null gives them back to it.
using LogSink = void ( * )( void * context, LogMessage const & message );
void logSinkIs( LogSink sink, void * context );

/// Formats and delivers, whatever the limit. As many arguments as the format asks for; anything else is an assertion.
void logText( LogHandle const & handle, std::initializer_list< std::string > args, std::uint64_t count );

/// A hash of the texts of the first `count` arguments; the others are not converted.
template< class... Args >
std::uint64_t logArgsHash( unsigned count, Args const &... args ) {
   std::uint64_t hash = 0;
   auto const add = [ & ]( auto const & arg ) {
      if( count == 0 ) return;
      --count;
      hash = ( hash ^ String( textOf( arg ) ).hash() ) * 0x9e3779b97f4a7c15ull;
   };
   ( add( args ), ... );
   return hash;
}

/// Emits a message, unless the handle's limit holds it back.
template< class... Args >
void log( LogHandle const & handle, Args const &... args ) {
   auto const hash = logArgsHash( handle.rateLimitArgs(), args... ) ^ handle.idHash();
   if( handle.okToLog( hash ) ) logText( handle, { textOf( args )... }, 1 + handle.heldBack( hash ) );
}

} // namespace Lum
