// kivd: the agent host. It holds the embedded databases, makes the agent and serves the state interface.
// Exit status: 0 at the end of input, a quit request, SIGINT or SIGTERM; 1 when the input could not be read or an
// answer not be written; 2 when the call is wrong or a document is bad.
#include "host/KivdOptions.h"
#include "host/Stdio.h"

#include <boost/asio/io_context.hpp>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <iostream>
#include <unistd.h>

namespace {

/// What keeps the program from serving.
struct BadStart : std::runtime_error {
   using std::runtime_error::runtime_error;
};

void needStreams() {
   for( auto const & [ descriptor, name ] : { std::pair( STDIN_FILENO, "input" ), { STDOUT_FILENO, "output" } } ) {
      if( fcntl( descriptor, F_GETFD ) < 0 ) throw BadStart( std::string( "standard " ) + name + " is closed" );
   }
   // So that no other file takes that number and gets the diagnostics.
   if( fcntl( STDERR_FILENO, F_GETFD ) < 0 ) open( "/dev/null", O_WRONLY );
}

/// Until requests are served nothing has to come to its own end.
void prepareSignals() {
   for( int const signal : { SIGINT, SIGTERM } ) std::signal( signal, []( int ) { _exit( 0 ); } );
   std::signal( SIGHUP, SIG_IGN );
   std::signal( SIGPIPE, SIG_IGN ); // shows where it is written
}

std::string contentsOf( std::string const & file ) {
   try {
      std::filebuf bytes;
      if( !bytes.open( file, std::ios::in ) ) throw std::system_error( errno, std::generic_category() );
      return { std::istreambuf_iterator( &bytes ), {} };
   } catch( std::system_error const & error ) {
      throw BadStart( file + ": " + error.code().message() );
   }
}

void load( Host::Session & session, std::string const & file, std::string document ) {
   try {
      session.load( document );
   } catch( Host::Refusal const & refusal ) {
      throw BadStart( file + ": " + refusal.at + ( refusal.at.empty() ? "" : ": " ) + refusal.reason );
   }
}

void serve( Host::KivdOptions const & options ) {
   using Clock = Host::Session::Clock;
   std::vector< std::string > documents;
   for( auto const & file : options.files ) documents.push_back( contentsOf( file ) );
   Host::StopSignals const stop;
   Host::ProtocolOutput output( stop );
   boost::asio::io_context loop;
   Host::Session session( options.clock == "virtual" ? Clock::virtualClock : Clock::real, loop,
                          [ & ]( std::string const & line ) { output.line( line ); } );
   for( std::size_t i = 0; i < documents.size(); ++i ) load( session, options.files[ i ], std::move( documents[ i ] ) );
   if( !options.noStart ) session.start();
   Host::serveStdio( session, loop, stop, output );
}

int fail( int status, std::exception const & fault ) {
   std::cerr << "kivd: " << fault.what() << "\n";
   return status;
}

} // namespace

int main( int argc, char ** argv ) {
   Host::KivdOptions options;
   if( auto const status = Host::readOptions( argc, argv, Host::Session::requestList(), options ) ) return *status;
   try {
      needStreams();
      prepareSignals();
      serve( options );
      return 0;
   } catch( BadStart const & fault ) {
      return fail( 2, fault );
   } catch( std::system_error const & fault ) {
      return fail( 1, fault );
   }
}
