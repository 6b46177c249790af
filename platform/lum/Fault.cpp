#include "platform/lum/Fault.h"

#include "platform/lum/Trace.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

namespace Lum {

namespace {

struct Sink {
   NotificationExceptionSink call = nullptr;
   void * context = nullptr;
} sink;
std::uint64_t exceptions = 0;

std::string currentExceptionText() {
   try {
      throw;
   } catch( std::exception const & exception ) {
      return exception.what();
   } catch( ... ) {
      return "unknown exception";
   }
}

} // namespace

void throwRangeException( std::string const & text ) { throw RangeException( text ); }

void throwNameInUseException( std::string const & text ) { throw NameInUseException( text ); }

void assertionFailed( char const * condition, char const * file, int line ) {
   std::fprintf( stderr, "%s:%d: Assertion `%s' failed.\n", file, line, condition );
   std::abort();
}

void notificationExceptionSinkIs( NotificationExceptionSink call, void * context ) { sink = { call, context }; }

std::uint64_t notificationExceptions() { return exceptions; }

void onNotificationException( std::string const & watched ) noexcept {
   ++exceptions;
   std::string const text = currentExceptionText();
   std::fprintf( stderr, "exception in a handler of %s: %s\n", watched.c_str(), text.c_str() );
   static auto & trace = *new TraceHandle( "Lum", false );
   if( trace.streamEnabled( TraceFacility::level6 ) ) {
      TraceFacility::lineIs( { trace.name().view(), TraceFacility::level6, __FILE__, __LINE__, __func__,
                               "exception in a handler of " + watched + ": " + text } );
   }
   if( sink.call ) sink.call( sink.context, text );
}

} // namespace Lum
