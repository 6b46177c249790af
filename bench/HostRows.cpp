// kivd, as a client finds it: a process that is asked through its standard input. Its time is its own, whoever waits.
#include "bench/Rows.h"
#include "bench/World.h"

#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/wait.h>
#include <unistd.h>

namespace Bench {

namespace {

/// A kivd that holds the databases of a world whose hosts are all diverted.
class Kivd {
 public:
   Kivd() {
      auto file = ( std::filesystem::temp_directory_path() / "kiv-bench-XXXXXX" ).string();
      int const descriptor = mkstemp( file.data() );
      LUM_ASSERT( descriptor >= 0 );
      close( descriptor );
      write( file );
      run( file );
      ask( R"({"get": "/state/kiv/config"})" ); // it serves: the file has been read
      std::filesystem::remove( file );
      clock_getcpuclockid( process_, &clock_ );
   }
   Kivd( Kivd const & ) = delete;
   Kivd & operator=( Kivd const & ) = delete;
   ~Kivd() {
      std::fclose( to_ );
      std::fclose( from_ );
      waitpid( process_, nullptr, 0 );
   }

   /// The length of the answer.
   std::size_t ask( std::string const & request ) {
      std::fputs( ( request + "\n" ).c_str(), to_ );
      std::fflush( to_ );
      auto const length = getline( &line_, &size_, from_ );
      if( length < 0 || !std::string_view( line_, static_cast< std::size_t >( length ) ).starts_with( "{\"ok\":true" ) )
         throw std::runtime_error( "kivd does not answer as it should" );
      return static_cast< std::size_t >( length );
   }

   /// Nanoseconds of CPU time so far.
   double time() const {
      timespec time{};
      clock_gettime( clock_, &time );
      return 1e9 * static_cast< double >( time.tv_sec ) + static_cast< double >( time.tv_nsec );
   }

 private:
   static void write( std::string const & file ) {
      World world( {} );
      world.coldStart();
      rapidjson::StringBuffer buffer;
      Host::Writer writer( buffer );
      writer.StartObject();
      for( char const * database : { "state", "hub" } ) {
         writer.Key( database );
         world.tree().get( { database }, writer );
      }
      writer.EndObject();
      std::ofstream( file ) << buffer.GetString();
   }

   void run( std::string const & file ) {
      int in[ 2 ], out[ 2 ];
      LUM_ASSERT( pipe2( in, O_CLOEXEC ) == 0 && pipe2( out, O_CLOEXEC ) == 0 );
      process_ = fork();
      if( process_ == 0 ) {
         dup2( in[ 0 ], STDIN_FILENO );
         dup2( out[ 1 ], STDOUT_FILENO );
         execl( KIVD, KIVD, "--stdio", "--clock", "virtual", "--load", file.c_str(), nullptr );
         _exit( 127 );
      }
      close( in[ 0 ] );
      close( out[ 1 ] );
      to_ = fdopen( in[ 1 ], "w" );
      from_ = fdopen( out[ 0 ], "r" );
   }

   pid_t process_ = 0;
   clockid_t clock_ = 0;
   std::FILE * to_ = nullptr;
   std::FILE * from_ = nullptr;
   char * line_ = nullptr;
   std::size_t size_ = 0;
};

} // namespace

void addHostRows( Suite & suite ) {
   Lazy< Kivd > const lazy( [] { return new Kivd; } );
   suite.timed( "kivd --stdio, one patched entry of 1 000", 1'500, [ lazy, next = 0x200000U ]( Meter & meter ) mutable {
      constexpr unsigned entries = 1'000;
      auto & kivd = *lazy;
      std::string members;
      for( unsigned i = 0; i < entries; ++i ) {
         members +=
            Lum::textOf( i ? ", \"" : "\"", World::mac( next++ ), R"(": {"vtepIp": "192.0.2.7", "moveCount": 1})" );
      }
      auto const request = Lum::textOf(
         R"({"patch": {"hub": {"loomis": {"version2": {"vni": {"5000": {"macVtepTable": {)", members, "}}}}}}}}" );
      double const begin = kivd.time();
      kivd.ask( request );
      meter.add( entries, kivd.time() - begin );
   } );
   suite.timed( "kivd --stdio, the whole tree of 10 000 hosts read, a byte", 5, [ lazy ]( Meter & meter ) {
      auto & kivd = *lazy;
      double const begin = kivd.time();
      auto const length = static_cast< double >( kivd.ask( R"({"get": ""})" ) );
      meter.add( length, kivd.time() - begin );
   } );
}

} // namespace Bench
