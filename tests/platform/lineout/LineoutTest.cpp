// The output of operator commands: complete, or a clear fault.
#include "platform/lineout/Lineout.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <optional>
#include <stdexcept>
#include <thread>
#include <unistd.h>

namespace {

TEST( Lineout, ASlowReaderGetsEverythingInOrder ) {
   int ends[ 2 ];
   ASSERT_EQ( ::pipe( ends ), 0 );
   ::fcntl( ends[ 1 ], F_SETFL, O_NONBLOCK );
   std::string read;
   std::thread reader( [ & ] {
      char part[ 4096 ];
      for( ssize_t size; ( size = ::read( ends[ 0 ], part, sizeof part ) ) > 0; ) {
         read.append( part, static_cast< std::size_t >( size ) );
      }
   } );
   std::string expected;
   {
      Lineout::Printer printer( ends[ 1 ], 0, true, false, false, 0 );
      for( int line = 0; line < 30000; ++line ) {
         printer.addFrills( "%s%d\n", "Policy Group: ", line );
         expected += "Policy Group: " + std::to_string( line ) + "\n";
      }
   }
   EXPECT_EQ( ::close( ends[ 1 ] ), 0 ); // the descriptor is the caller's
   reader.join();
   ::close( ends[ 0 ] );
   EXPECT_EQ( read, expected );
}

TEST( Lineout, FaultsAreToldByAFlushAndNeverByTheEnd ) {
   EXPECT_THROW( Lineout::Printer( -1, 0, true, false, false, 0 ), std::runtime_error );
   EXPECT_THROW( Lineout::Printer( 1, 0, true, true, false, 0 ), std::runtime_error );
   int const full = ::open( "/dev/full", O_WRONLY );
   std::optional< Lineout::Printer > printer( std::in_place, full, 9, true, false, false, 0u );
   printer->addFrills( "lost" );
   EXPECT_THROW( printer->flush(), std::runtime_error );
   EXPECT_NO_THROW( printer->flush() ); // nothing is left
   printer->addFrills( "lost, too" );
   EXPECT_NO_THROW( printer.reset() );
   ::close( full );
}

} // namespace
