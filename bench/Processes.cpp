#include "bench/Processes.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <unistd.h>
#include <valgrind/callgrind.h>

namespace Bench {

namespace {

namespace fs = std::filesystem;

constexpr int mostSeconds = 1200; // of CPU time that a process may take

/// Instruments the work alone: what stands before it runs several times faster so.
class InstructionCounter : public Meter {
 public:
   explicit InstructionCounter( fs::path folder ) : file_( folder / std::to_string( getpid() ) ) {}

 private:
   void begin() override {
      CALLGRIND_ZERO_STATS;
      CALLGRIND_START_INSTRUMENTATION;
   }
   double end() override {
      CALLGRIND_STOP_INSTRUMENTATION;
      CALLGRIND_DUMP_STATS;
      std::ifstream dump( file_.string() + "." + std::to_string( ++dumps_ ) );
      std::string const head = "totals: ";
      for( std::string line; std::getline( dump, line ); ) {
         if( line.starts_with( head ) ) return std::stod( line.substr( head.size() ) );
      }
      throw std::runtime_error( "callgrind has not counted" );
   }

   fs::path file_;
   static inline unsigned dumps_ = 0;
};

class PrintedValues : public Apart {
 public:
   explicit PrintedValues( fs::path folder ) : folder_( std::move( folder ) ) {}
   void value( std::string const & name, double value ) override {
      std::printf( "%.17g %s\n", value, name.c_str() );
      std::fflush( stdout ); // it stands, whatever becomes of the next one
   }
   void count( std::string const & name, std::function< void( Meter & ) > const & work ) override {
      InstructionCounter counter( folder_ );
      work( counter );
      value( name, counter.perOperation() );
   }

 private:
   fs::path folder_;
};

std::string quoted( std::string const & text ) { return "'" + text + "'"; } // no name has an apostrophe

/// The values of one process.
std::map< std::string, double > valuesOf( std::string const & name, Suite::Under under, bool quick,
                                          fs::path const & folder ) {
   auto command = "ulimit -t " + std::to_string( mostSeconds ) + "; exec ";
   if( under == Suite::Under::callgrind ) {
      command += "valgrind -q --tool=callgrind --instr-atstart=no --callgrind-out-file="
                 + quoted( folder.string() + "/%p" ) + " ";
   }
   command += quoted( fs::read_symlink( "/proc/self/exe" ) ) + " --counts " + quoted( folder ) + " --apart "
              + quoted( name ) + ( quick ? " --quick" : "" );
   std::map< std::string, double > values;
   std::FILE * const output = popen( command.c_str(), "r" );
   if( !output ) return values;
   char line[ 200 ];
   while( std::fgets( line, sizeof line, output ) ) {
      char * rest = nullptr;
      double const value = std::strtod( line, &rest );
      std::string what( rest + 1 );
      what.pop_back(); // the newline
      values[ name + "/" + what ] = value;
   }
   int const status = pclose( output );
   if( status != 0 ) std::fprintf( stderr, "\n%s: failed or took too long (status %d)\n", name.c_str(), status );
   return values;
}

fs::path newFolder() {
   auto name = ( fs::temp_directory_path() / "kiv-bench-XXXXXX" ).string();
   if( !mkdtemp( name.data() ) ) throw std::system_error( errno, std::generic_category(), name );
   return name;
}

} // namespace

std::map< std::string, double > runApart( Suite const & suite, std::set< std::string > const & needs, bool quick ) {
   std::vector< std::string > names;
   for( auto const & [ name, process ] : suite.aparts() ) {
      auto const isOurs = [ head = name + "/" ]( std::string const & need ) { return need.starts_with( head ); };
      if( std::any_of( needs.begin(), needs.end(), isOurs ) ) names.push_back( name );
   }
   std::map< std::string, double > all;
   if( names.empty() ) return all;
   auto const folder = newFolder();
   std::atomic< std::size_t > next = 0;
   std::mutex mutex;
   auto const work = [ & ] {
      for( std::size_t i; ( i = next++ ) < names.size(); ) {
         progress( i, names.size(), "processes" );
         auto const values = valuesOf( names[ i ], suite.aparts().at( names[ i ] ).under, quick, folder );
         std::scoped_lock const lock( mutex );
         all.insert( values.begin(), values.end() );
      }
   };
   std::vector< std::thread > threads( std::max( 1U, std::thread::hardware_concurrency() ) );
   for( auto & thread : threads ) thread = std::thread( work );
   for( auto & thread : threads ) thread.join();
   progress( names.size(), names.size(), "processes" );
   fs::remove_all( folder );
   return all;
}

bool beApart( Suite const & suite, Options const & options ) {
   auto const found = suite.aparts().find( options.apart );
   if( found == suite.aparts().end() ) return false;
   PrintedValues values( options.countFolder );
   found->second.process( values );
   return true;
}

} // namespace Bench
