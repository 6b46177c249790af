// ribbon-dump FILE prints the messages of a ring file, the oldest first: time, level, place in the source, text.
// What could not be read is told on standard error. Exit status: 0; 1 when the output failed; 2 when the call is wrong,
// or the file cannot be read or is no ring file.
#include "platform/ribbon/RibbonReader.h"

#include <cstdio>
#include <stdexcept>

namespace {

/// Texts come from outside: nothing in them may steer a terminal or pass for another line.
std::string printable( std::string text ) {
   for( char & each : text ) {
      if( static_cast< unsigned char >( each ) < 0x20 || each == 0x7f ) each = '?';
   }
   return text;
}

void print( Ribbon::Contents const & contents ) {
   for( auto const & message : contents.messages ) {
      std::printf( "%.6f %u %s:%u %s\n", message.time, message.level, printable( message.file ).c_str(), message.line,
                   printable( message.text ).c_str() );
   }
   for( auto const & note : contents.notes ) std::fprintf( stderr, "ribbon-dump: %s\n", note.c_str() );
}

} // namespace

int main( int argc, char ** argv ) {
   if( argc != 2 ) {
      std::fprintf( stderr, "usage: ribbon-dump FILE\n" );
      return 2;
   }
   try {
      print( Ribbon::readFile( argv[ 1 ] ) );
   } catch( std::exception const & exception ) {
      std::fprintf( stderr, "ribbon-dump: %s\n", exception.what() );
      return 2;
   }
   if( std::fflush( stdout ) != 0 || std::ferror( stdout ) ) {
      std::perror( "ribbon-dump: standard output" );
      return 1;
   }
   return 0;
}
