#include "platform/moth/SteadyTaskScheduler.h"

#include <boost/asio/post.hpp>

namespace Moth {

void SteadyTaskScheduler::post( Work work ) {
   boost::asio::post( loop_, [ mine = std::move( work ) ] { run( mine ); } );
}

void SteadyTaskScheduler::handleFirstDue() {
   auto const due = firstDue();
   if( !due ) {
      timer_.cancel();
      return;
   }
   timer_.expires_at( start_ + *due ); // which ends an earlier wait
   timer_.async_wait( [ self = Lum::Ptr< SteadyTaskScheduler >( this ) ]( boost::system::error_code const & error ) {
      if( !error ) self->runDue();
   } );
}

// Only what is due now: a task that takes longer than its period must not keep the loop from everybody else.
void SteadyTaskScheduler::runDue() {
   Time const present = time();
   for( auto due = firstDue(); due && *due <= present; due = firstDue() ) runFirst();
   handleFirstDue();
}

} // namespace Moth
