#include "platform/moth/VirtualTaskScheduler.h"

#include "platform/lum/Strep.h"

namespace Moth {

void VirtualTaskScheduler::advance( double seconds ) {
   Time const end = time_ + delayOf( seconds );
   if( !( seconds >= 0 ) || end >= longest ) {
      Lum::throwRangeException( Lum::textOf( "the clock cannot advance by ", seconds, " s" ) );
   }
   runPosted();
   for( auto due = firstDue(); due && *due <= end; due = firstDue() ) {
      time_ = *due;
      runFirst();
      runPosted();
   }
   time_ = end;
}

void VirtualTaskScheduler::runPosted() {
   while( !posted_.empty() ) {
      Work const work = std::move( posted_.front() );
      posted_.pop_front();
      run( work );
   }
}

} // namespace Moth
