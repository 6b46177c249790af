// The benchmarks. Exit status: 0 when every row that has a mark reaches it, 1 when one does not, 2 when the call is
// wrong.
#include "bench/Processes.h"
#include "bench/Rows.h"

#include <CLI/CLI.hpp>
#include <iostream>
#include <random>
#include <regex>

namespace {

std::string badPattern( std::string const & text ) {
   try {
      std::regex const pattern( text );
      return "";
   } catch( std::regex_error const & error ) {
      return "'" + text + "' is no regular expression: " + error.what();
   }
}

} // namespace

int main( int argc, char ** argv ) {
   Bench::Options options;
   options.seed = std::random_device()();
   CLI::App app( "Measures what Kiv costs and tells which rows reach their marks." );
   app.name( "bench/run" );
   app.add_option( "--json", options.json, "write the table to this file, too" )->type_name( "FILE" );
   app.add_option( "--rows", options.rows, "run only the rows whose names match" )
      ->type_name( "REGEX" )
      ->check( CLI::Validator( badPattern, "" ) );
   app.add_flag( "--quick", options.quick, "leave out the largest sizes" );
   app.add_option( "--seed", options.seed, "the order of the repetitions (default: another one each time)" );
   app.add_option( "--apart", options.apart )->group( "" ); // the program runs itself so
   app.add_option( "--counts", options.countFolder )->group( "" );
   app.failure_message( CLI::FailureMessage::help );
   try {
      app.parse( argc, argv );
   } catch( CLI::ParseError const & error ) {
      return app.exit( error ) == 0 ? 0 : 2;
   }
   try {
      Bench::Suite suite( options.quick );
      Bench::addRuntimeRows( suite );
      Bench::addAgentRows( suite );
      Bench::addHostRows( suite );
      if( options.apart.empty() ) return Bench::run( suite, options );
      if( Bench::beApart( suite, options ) ) return 0;
      std::cerr << "bench/run: there is no process '" << options.apart << "'\n";
   } catch( std::exception const & fault ) {
      std::cerr << "bench/run: " << fault.what() << "\n";
   }
   return 2;
}
