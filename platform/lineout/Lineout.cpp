#include "platform/lineout/Lineout.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <stdexcept>
#include <unistd.h>
#include <utility>

namespace Lineout {

namespace {

constexpr std::size_t much = 16384;
constexpr int patience = 1000; // milliseconds

[[noreturn]] void fail( int fd, int fault ) {
   throw std::runtime_error( "output on descriptor " + std::to_string( fd ) + ": " + std::strerror( fault ) );
}

void waitForReader( int fd ) {
   pollfd each{ fd, POLLOUT, 0 };
   if( ::poll( &each, 1, patience ) == 0 ) fail( fd, ETIMEDOUT );
}

} // namespace

LineoutBuffer::LineoutBuffer( int fd ) : fd_( fd ) {
   if( ::fcntl( fd, F_GETFD ) < 0 ) fail( fd, errno );
}

LineoutBuffer::~LineoutBuffer() {
   try {
      flush();
   } catch( std::runtime_error const & ) {
      // Nobody is left to tell.
   }
}

void LineoutBuffer::append( std::string_view text ) {
   text_ += text;
   if( text_.size() >= much ) flush();
}

void LineoutBuffer::flush() {
   std::string const text = std::exchange( text_, {} );
   for( std::string_view rest = text; !rest.empty(); ) {
      ssize_t const written = ::write( fd_, rest.data(), rest.size() );
      if( written >= 0 ) {
         rest.remove_prefix( static_cast< std::size_t >( written ) );
      } else if( errno == EAGAIN ) {
         waitForReader( fd_ );
      } else if( errno != EINTR ) {
         fail( fd_, errno );
      }
   }
}

void Renderer::addFrills( char const * format, ... ) {
   va_list arguments;
   va_start( arguments, format );
   char * text = nullptr;
   int const size = ::vasprintf( &text, format, arguments );
   va_end( arguments );
   if( size < 0 ) throw std::runtime_error( "output text cannot be formatted" );
   std::unique_ptr< char, decltype( &std::free ) > const owner( text, &std::free );
   buffer_.append( { text, static_cast< std::size_t >( size ) } );
}

Printer::Printer( int fd, unsigned format, bool buffered, bool structured, bool coloured, unsigned width )
   : Renderer( fd ), format_( format ) {
   if( !buffered || structured || coloured || width != 0 ) {
      throw std::runtime_error( "only buffered plain text of any width can be put out" );
   }
}

} // namespace Lineout
