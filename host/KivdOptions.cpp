#include "host/KivdOptions.h"

#include <CLI/CLI.hpp>

namespace Host {

std::optional< int > readOptions( int argc, char ** argv, std::string const & requests, KivdOptions & options ) {
   CLI::App app( "Hosts the agent: its databases, its clock and the state interface, one JSON request a line." );
   app.add_flag( "--stdio", options.stdio, "serve standard input and output" )->required();
   app.add_option( "--load", options.files, "a document to apply before the agent starts; may be repeated" )
      ->type_name( "FILE" )
      ->allow_extra_args( false );
   app.add_flag( "--no-start", options.noStart, "wait for a start request" );
   app.add_option( "--clock", options.clock, "the clock (default: real)" )
      ->check( CLI::IsMember( { "virtual", "real" } ) );
   app.footer( "Requests, one JSON object a line; {\"help\": true} gives an example of each:\n" + requests );
   app.set_version_flag( "--version", "kivd " KIV_VERSION );
   app.failure_message( CLI::FailureMessage::help ); // with what is allowed
   try {
      app.parse( argc, argv );
      return std::nullopt;
   } catch( CLI::ParseError const & error ) {
      return app.exit( error ) == 0 ? 0 : 2;
   }
}

} // namespace Host
