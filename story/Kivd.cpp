#include "story/Kivd.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace Story {

namespace {

void check( bool ok, char const * what ) {
   if( !ok ) throw std::system_error( errno, std::generic_category(), what );
}

[[noreturn]] void becomeKivd( std::vector< std::string > command, int input, int output ) {
   dup2( input, STDIN_FILENO );
   dup2( output, STDOUT_FILENO );
   std::vector< char * > words;
   words.reserve( command.size() + 1 );
   for( auto & word : command ) words.push_back( word.data() );
   words.push_back( nullptr );
   execv( words[ 0 ], words.data() );
   std::perror( words[ 0 ] );
   _exit( 127 );
}

} // namespace

Kivd::Kivd( std::string const & program, std::vector< std::string > const & arguments ) {
   std::signal( SIGPIPE, SIG_IGN ); // a kivd that is gone shows at the next read
   std::vector< std::string > command{ program, "--stdio", "--clock", "virtual" };
   command.insert( command.end(), arguments.begin(), arguments.end() );
   int in[ 2 ];
   int out[ 2 ];
   check( pipe2( in, O_CLOEXEC ) == 0 && pipe2( out, O_CLOEXEC ) == 0, "pipe" );
   process_ = fork();
   check( process_ >= 0, "fork" );
   if( process_ == 0 ) becomeKivd( std::move( command ), in[ 0 ], out[ 1 ] );
   close( in[ 0 ] );
   close( out[ 1 ] );
   requests_ = fdopen( in[ 1 ], "w" );
   answers_ = fdopen( out[ 0 ], "r" );
   check( requests_ && answers_, "fdopen" );
}

Kivd::~Kivd() {
   if( requests_ ) std::fclose( requests_ );
   if( answers_ ) std::fclose( answers_ );
   if( process_ > 0 ) waitpid( process_, nullptr, 0 );
}

void Kivd::kill() { ::kill( process_, SIGKILL ); }

rapidjson::Document Kivd::ask( std::string const & request ) {
   std::fputs( ( request + "\n" ).c_str(), requests_ );
   std::fflush( requests_ );
   for( ;; ) {
      rapidjson::Document answer;
      answer.Parse( readLine().c_str() );
      if( !answer.IsObject() ) throw std::runtime_error( "kivd answered with no JSON object" );
      if( !answer.HasMember( "changed" ) ) return answer;
   }
}

rapidjson::Document Kivd::get( std::string const & pointer ) {
   auto answer = ask( "{\"get\": \"" + pointer + "\"}" );
   rapidjson::Document value;
   if( answer.HasMember( "value" ) ) value.CopyFrom( answer[ "value" ], value.GetAllocator() );
   return value;
}

std::string Kivd::readLine() {
   char * line = nullptr;
   std::size_t capacity = 0;
   auto const size = getline( &line, &capacity, answers_ );
   std::string text( line && size > 0 ? line : "", size > 0 ? static_cast< std::size_t >( size ) : 0 );
   std::free( line );
   if( size < 0 ) throw std::runtime_error( "kivd has ended" );
   return text;
}

} // namespace Story
