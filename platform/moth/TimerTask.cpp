#include "platform/moth/TimerTask.h"

#include <algorithm>

namespace Moth {

namespace {

constexpr std::chrono::milliseconds shortestPeriod( 1 );

} // namespace

TimerTask::TimerTask( Lum::Ptr< TaskScheduler > scheduler, TaskPriority priority, Lum::Name name )
   : TimerTask( std::move( name ) ) {
   scheduler_ = std::move( scheduler );
   priority_ = priority;
}

TimerTask::~TimerTask() {
   if( due_ ) scheduler_->disarm( *due_ );
}

void TimerTask::scheduleTaskLowestDelay( double seconds ) {
   LUM_ASSERT( scheduler_ );
   auto const time = std::max( scheduler_->time() + TaskScheduler::delayOf( seconds ), notBefore_ );
   if( due_ && due_->first <= time ) return;
   if( due_ ) scheduler_->disarm( *due_ );
   due_ = scheduler_->arm( this, time );
}

void TimerTask::run() {
   Lum::Ptr< TimerTask > const alive( this );
   due_.reset();
   notBefore_ = scheduler_->time() + shortestPeriod;
   running_ = true;
   runsIs( runs() + 1 );
   running_ = false;
}

} // namespace Moth
