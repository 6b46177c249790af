#include "host/Stdio.h"

#include <boost/asio/posix/stream_descriptor.hpp>
#include <cerrno>
#include <csignal>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Host {

namespace {

/// Whether what just failed may be tried again.
bool comesAgain() { return errno == EINTR || errno == EAGAIN; }

void waitFor( int fd, short events ) {
   pollfd waiting{ fd, events, 0 };
   poll( &waiting, 1, -1 );
}

} // namespace

ProtocolOutput::ProtocolOutput() : fd_( dup( STDOUT_FILENO ) ) {
   std::signal( SIGPIPE, SIG_IGN );
   dup2( STDERR_FILENO, STDOUT_FILENO );
}

ProtocolOutput::~ProtocolOutput() { close( fd_ ); }

void ProtocolOutput::line( std::string const & text ) {
   std::string const all = text + "\n";
   for( std::size_t written = 0; written < all.size(); ) {
      auto const size = write( fd_, all.data() + written, all.size() - written );
      if( size > 0 ) written += static_cast< std::size_t >( size );
      if( size < 0 && !comesAgain() ) return;
      if( size < 0 ) waitFor( fd_, POLLOUT ); // a pipe that its other end made non-blocking
   }
}

namespace {

/// Waits on the loop, whose timers go on, for input or for the end.
class Input {
 public:
   Input( boost::asio::io_context & loop, boost::asio::signal_set & signals ) : loop_( loop ) {
      signals.async_wait( [ this ]( boost::system::error_code const & error, int ) { stopped_ = stopped_ || !error; } );
      struct stat status {};
      // A regular file is always ready, and nothing that the loop could wait for.
      if( fstat( STDIN_FILENO, &status ) != 0 || !S_ISREG( status.st_mode ) )
         descriptor_.emplace( loop, dup( STDIN_FILENO ) );
   }

   /// The next bytes; nothing at the end of input or when the program is to
   /// stop.
   std::string next() {
      std::string bytes( 1 << 16, '\0' );
      ssize_t size = 0;
      do {
         waitForInput();
         size = stopped_ ? 0 : read( STDIN_FILENO, bytes.data(), bytes.size() );
      } while( size < 0 && comesAgain() );
      bytes.resize( size > 0 ? static_cast< std::size_t >( size ) : 0 );
      return bytes;
   }

   bool stopped() {
      loop_.restart();
      loop_.poll();
      return stopped_;
   }

 private:
   void waitForInput() {
      if( !descriptor_ ) return;
      bool ready = false;
      descriptor_->async_wait( boost::asio::posix::stream_descriptor::wait_read,
                               [ & ]( boost::system::error_code const & ) { ready = true; } );
      loop_.restart();
      while( !ready && !stopped_ ) loop_.run_one();
      if( ready ) return;
      descriptor_->cancel();
      while( !ready ) loop_.run_one();
   }

   boost::asio::io_context & loop_;
   std::optional< boost::asio::posix::stream_descriptor > descriptor_;
   bool stopped_ = false;
};

bool isBlank( std::string_view line ) { return line.find_first_not_of( " \t\r" ) == std::string_view::npos; }

} // namespace

void serveStdio( Session & session, boost::asio::io_context & loop, boost::asio::signal_set & signals,
                 ProtocolOutput & output ) {
   Input input( loop, signals );
   std::string pending;
   auto const serve = [ & ]( std::string_view line ) {
      if( !isBlank( line ) ) output.line( session.answer( line ) );
   };
   while( !session.quits() && !input.stopped() ) {
      auto const searched = pending.size();
      auto const bytes = input.next();
      if( bytes.empty() ) {
         if( !input.stopped() ) serve( pending ); // a last line without an end
         return;
      }
      pending += bytes;
      std::size_t begin = 0;
      for( auto end = pending.find( '\n', searched ); end != std::string::npos && !session.quits();
           end = pending.find( '\n', begin ) ) {
         serve( std::string_view( pending ).substr( begin, end - begin ) );
         begin = end + 1;
      }
      pending.erase( 0, begin );
   }
}

} // namespace Host
