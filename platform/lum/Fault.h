// How the program speaks of faults: assertions for programming faults, exceptions for bad values, and the one place
// where an exception that left a handler ends.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace Lum {

/// A value out of its type's range.
class RangeException : public std::range_error {
 public:
   using std::range_error::range_error;
};

/// A name that is in use by something else: a machine asked for again with other constructor arguments.
class NameInUseException : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

/// Raises RangeException with `text`.
[[noreturn]] void throwRangeException( std::string const & text );

/// Raises NameInUseException with `text`.
[[noreturn]] void throwNameInUseException( std::string const & text );

/// Prints the condition's text and place on standard error and aborts. There is no recovery: the supervisor restarts
/// the process, and the agent rebuilds itself from what the switches hold.
[[noreturn]] void assertionFailed( char const * condition, char const * file, int line );

/// Called from a catch block: takes the exception that left a handler, counts it, traces it and writes it to standard
/// error with `watched`, the name of the attribute whose change was being told ("Kiv::Config::vniRange").
void onNotificationException( std::string const & watched ) noexcept;

/// Receives the text of every exception that reaches onNotificationException; null for nobody. The host sets it.
using NotificationExceptionSink = void ( * )( void * context, std::string const & text );
void notificationExceptionSinkIs( NotificationExceptionSink sink, void * context );

/// How many exceptions have left a handler since the process began.
std::uint64_t notificationExceptions();

} // namespace Lum

/// A programming fault if `condition` is false, in every build. The text printed is the condition as written.
#define LUM_ASSERT( condition )                                                                                        \
   ( static_cast< bool >( condition ) ? void() : ::Lum::assertionFailed( #condition, __FILE__, __LINE__ ) )
