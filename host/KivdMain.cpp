// kivd: the agent host. It holds the embedded databases, makes the agent and
// serves the state interface.
#include "host/Stdio.h"

#include <CLI/CLI.hpp>
#include <csignal>
#include <fstream>
#include <iostream>
#include <sstream>

namespace {

struct Options {
   bool stdio = false;
   bool noStart = false;
   std::string clock = "real";
   std::vector< std::string > files;
};

/// Loads a document; false, with the file, the place and the reason on standard
/// error, when it is bad.
bool load( Host::Session & session, std::string const & file ) {
   std::ifstream in( file );
   std::ostringstream text;
   if( in ) text << in.rdbuf();
   if( !in || in.bad() ) {
      std::cerr << "kivd: " << file << ": cannot be read\n";
      return false;
   }
   try {
      session.load( text.str() );
      return true;
   } catch( Host::Refusal const & refusal ) {
      std::cerr << "kivd: " << file << ": " << refusal.at << ( refusal.at.empty() ? "" : ": " ) << refusal.reason
                << "\n";
      return false;
   }
}

int serve( Options const & options ) {
   using Clock = Host::Session::Clock;
   Host::ProtocolOutput output;
   boost::asio::io_context loop;
   boost::asio::signal_set signals( loop, SIGINT, SIGTERM ); // from now on; answered when requests are served
   Host::Session session( options.clock == "virtual" ? Clock::virtualClock : Clock::real, loop,
                          [ & ]( std::string const & line ) { output.line( line ); } );
   for( auto const & file : options.files ) {
      if( !load( session, file ) ) return 2;
   }
   if( !options.noStart ) session.start();
   Host::serveStdio( session, loop, signals, output );
   return 0;
}

} // namespace

int main( int argc, char ** argv ) {
   CLI::App app( "Hosts the agent: its databases, its clock and the state "
                 "interface, one JSON request a line." );
   Options options;
   app.add_flag( "--stdio", options.stdio, "serve standard input and output" )->required();
   app.add_option( "--load", options.files, "a document to apply before the agent starts; may be repeated" )
      ->type_name( "FILE" )
      ->allow_extra_args( false );
   app.add_flag( "--no-start", options.noStart, "wait for a start request" );
   app.add_option( "--clock", options.clock, "the clock (default: real)" )
      ->check( CLI::IsMember( { "virtual", "real" } ) );
   try {
      app.parse( argc, argv );
   } catch( CLI::ParseError const & error ) {
      return app.exit( error ) == 0 ? 0 : 2;
   }
   return serve( options );
}
