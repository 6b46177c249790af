#include "host/Stdio.h"

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <cerrno>
#include <climits>
#include <csignal>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace Host {

namespace {

/// Whether what just failed may be tried again; non-blocking is a pipe that its other end made so.
bool comesAgain() { return errno == EINTR || errno == EAGAIN; }

std::error_code lastError() { return { errno, std::generic_category() }; }

bool readyToRead( int fd ) {
   pollfd state{ fd, POLLIN, 0 };
   return poll( &state, 1, 0 ) > 0;
}

} // namespace

StopSignals::StopSignals() {
   sigset_t both;
   sigemptyset( &both );
   sigaddset( &both, SIGINT );
   sigaddset( &both, SIGTERM );
   sigprocmask( SIG_BLOCK, &both, nullptr );
   fd_ = signalfd( -1, &both, SFD_CLOEXEC );
   if( fd_ < 0 ) throw std::system_error( lastError(), "signalfd" );
}

StopSignals::~StopSignals() { close( fd_ ); }

bool StopSignals::asked() const { return readyToRead( fd_ ); }

ProtocolOutput::ProtocolOutput( StopSignals const & stop ) : stop_( stop ), fd_( dup( STDOUT_FILENO ) ) {
   dup2( STDERR_FILENO, STDOUT_FILENO );
}

ProtocolOutput::~ProtocolOutput() { close( fd_ ); }

// The descriptor is shared with other processes, so it stays blocking. What is ready takes PIPE_BUF bytes without that.
void ProtocolOutput::line( std::string const & text ) {
   std::string const all = text + "\n";
   for( std::size_t written = 0; open_ && written < all.size(); ) {
      pollfd states[] = { { fd_, POLLOUT, 0 }, { stop_.descriptor(), POLLIN, 0 } };
      poll( states, 2, -1 );
      if( !states[ 0 ].revents ) {
         open_ = !states[ 1 ].revents;
         continue;
      }
      auto const size = write( fd_, all.data() + written, std::min< std::size_t >( all.size() - written, PIPE_BUF ) );
      if( size > 0 ) written += static_cast< std::size_t >( size );
      if( size >= 0 || comesAgain() ) continue;
      error_ = lastError();
      open_ = false;
   }
}

namespace {

/// Standard input, waited for on the loop, whose timers go on.
class Input {
 public:
   Input( boost::asio::io_context & loop, StopSignals const & stop, ProtocolOutput const & output )
      : loop_( loop ), stop_( stop ), output_( output ), events_( loop, epoll_create1( EPOLL_CLOEXEC ) ) {
      watched( stop_.descriptor() );
      waits_ = watched( STDIN_FILENO );
   }

   bool over() const { return stop_.asked() || !output_.open(); }

   /// The next bytes; nothing at the end of input or once it is over. Raises std::system_error.
   std::string next() {
      for( ;; ) {
         wait();
         std::string bytes( 1 << 16, '\0' );
         auto const size = over() ? 0 : read( STDIN_FILENO, bytes.data(), bytes.size() );
         bytes.resize( size > 0 ? static_cast< std::size_t >( size ) : 0 );
         if( size >= 0 ) return bytes;
         if( !comesAgain() ) throw std::system_error( lastError(), "standard input" );
      }
   }

 private:
   /// False for what is always ready, a regular file.
   bool watched( int fd ) {
      epoll_event event{ EPOLLIN, {} };
      return epoll_ctl( events_.native_handle(), EPOLL_CTL_ADD, fd, &event ) == 0;
   }

   // What the loop waits on it makes non-blocking. Standard input is shared with others, so it waits on a set of
   // events.
   void wait() {
      loop_.restart();
      loop_.poll();
      if( !waits_ ) return;
      bool done = false;
      events_.async_wait( boost::asio::posix::stream_descriptor::wait_read,
                          [ & ]( boost::system::error_code const & ) { done = true; } );
      loop_.restart();
      while( !done && output_.open() ) loop_.run_one();
      if( !done ) events_.cancel();
      while( !done ) loop_.run_one();
   }

   boost::asio::io_context & loop_;
   StopSignals const & stop_;
   ProtocolOutput const & output_;
   boost::asio::posix::stream_descriptor events_;
   bool waits_ = false;
};

/// The line that is being read.
class Line {
 public:
   Line( Session & session, ProtocolOutput & output ) : session_( session ), output_( output ) {}

   /// One that gets too long is kept no further.
   void add( std::string_view part ) {
      tooLong_ = tooLong_ || part.size() > longest - text_.size();
      if( tooLong_ ) {
         text_ = std::string();
      } else {
         text_ += part;
      }
   }

   /// Answers it; a blank one is passed over.
   void end() {
      auto const text = std::exchange( text_, {} );
      if( std::exchange( tooLong_, false ) ) {
         output_.line( R"({"error":{"at":"","reason":"a line holds at most 64 MiB"}})" );
      } else if( text.find_first_not_of( " \t\r" ) != std::string::npos ) {
         output_.line( session_.answer( text ) );
      }
   }

 private:
   static constexpr std::size_t longest = 64 << 20;

   Session & session_;
   ProtocolOutput & output_;
   std::string text_;
   bool tooLong_ = false;
};

void serveLines( Session & session, Input & input, Line & line ) {
   while( !session.quits() && !input.over() ) {
      auto const bytes = input.next();
      if( bytes.empty() && !input.over() ) return line.end();
      std::string_view rest = bytes;
      for( auto end = rest.find( '\n' ); end != rest.npos && !session.quits() && !input.over();
           end = rest.find( '\n' ) ) {
         line.add( rest.substr( 0, end ) );
         line.end();
         rest.remove_prefix( end + 1 );
      }
      line.add( rest );
   }
}

} // namespace

void serveStdio( Session & session, boost::asio::io_context & loop, StopSignals const & stop,
                 ProtocolOutput & output ) {
   Input input( loop, stop, output );
   Line line( session, output );
   serveLines( session, input, line );
   if( output.error() ) throw std::system_error( output.error(), "standard output" );
}

} // namespace Host
