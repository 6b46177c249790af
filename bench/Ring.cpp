#include "bench/Ring.h"

#include "platform/moth/SteadyTaskScheduler.h"
#include "platform/moth/VirtualTaskScheduler.h"
#include "platform/ribbon/Ribbon.h"

#include <boost/asio/io_context.hpp>
#include <cstdlib>

namespace Bench {

void ringIs( Ring ring ) {
   if( ring == Ring::off ) {
      setenv( "RIBBON_DISABLE", "1", 1 );
      Ribbon::finalize();
      return;
   }
   unsetenv( "RIBBON_DISABLE" );
   Ribbon::initialize( "Kiv-%d.rb", { 32, 32, 32, 32, 32, 32, 32, 32, 32, 32 }, nullptr, 0, 24, false, true, 512 );
   Ribbon::removeFile();
}

void clockIs( Clock clock ) {
   static boost::asio::io_context loop;
   static Lum::Ptr< Moth::TaskScheduler > const clocks[] = { new Moth::VirtualTaskScheduler,
                                                             new Moth::SteadyTaskScheduler( loop ) };
   static Moth::TaskScheduler const * now;
   now = clocks[ clock == Clock::real ].get();
   Lum::clockIs( [] { return now->now(); } );
}

} // namespace Bench
