#include "platform/moth/TaskScheduler.h"

#include "platform/moth/TimerTask.h"
#include "platform/ribbon/Ribbon.h"

namespace Moth {

TaskScheduler::Time TaskScheduler::delayOf( double seconds ) {
   if( !( seconds > 0 ) ) return Time( 0 );
   std::chrono::duration< double > const delay( seconds );
   return delay < longest ? std::chrono::round< Time >( delay ) : longest;
}

void TaskScheduler::run( Work const & work ) {
   Ribbon::Turn const turn;
   try {
      work();
   } catch( ... ) {
      Lum::onNotificationException( "posted work" );
   }
}

std::optional< TaskScheduler::Time > TaskScheduler::firstDue() const {
   return armed_.empty() ? std::nullopt : std::optional( armed_.begin()->first.first );
}

void TaskScheduler::runFirst() {
   Ribbon::Turn const turn;
   auto const first = armed_.extract( armed_.begin() );
   first.mapped()->run();
}

TaskScheduler::Due TaskScheduler::arm( TimerTask * task, Time time ) {
   Due const due( time, ++armings_ );
   armed_.emplace( due, task );
   if( armed_.begin()->first == due ) handleFirstDue();
   return due;
}

void TaskScheduler::disarm( Due const & due ) {
   bool const first = armed_.begin()->first == due;
   armed_.erase( due );
   if( first ) handleFirstDue();
}

} // namespace Moth
