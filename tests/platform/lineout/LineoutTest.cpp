// Faults of the output of operator commands.

#include "platform/lineout/Lineout.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <optional>
#include <stdexcept>
#include <unistd.h>

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
