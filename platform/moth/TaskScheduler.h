// Time and later turns. Everything runs on one loop: a change calls its handlers at once, and what must not run nested
// in the change is given to a task (TimerTask.h) or posted.
//
// The loop has two clocks. SteadyTaskScheduler waits for the real one; VirtualTaskScheduler stands still until it is
// told to go on. The logic cannot tell them apart: nothing else in the program reads time.
#pragma once

#include "platform/lum/PtrInterface.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <utility>

namespace Moth {

class TimerTask;

/// The run class of a task. It is kept with the task and decides nothing yet: tasks that are due at one time run in the
/// order in which they were armed.
enum class TaskPriority : unsigned {};

/// The loop, as the program sees it.
class TaskScheduler : public Lum::PtrInterface {
 public:
   using Work = std::function< void() >;

   /// Seconds on the loop's clock; only differences have a meaning.
   double now() const { return std::chrono::duration< double >( time() ).count(); }

   /// Runs `work` on a later turn of the loop, never inside this call, in the order of posting. An exception that
   /// leaves it goes to Lum::onNotificationException and ends nothing. Work still pending when the loop goes is
   /// dropped.
   virtual void post( Work work ) = 0;

 protected:
   using Time = std::chrono::nanoseconds; // a whole number, so that ten times 0.1 s is one second

   /// The longest delay, 126 years; twice of it still is a time.
   static constexpr Time longest = std::chrono::seconds( 4'000'000'000 );

   /// A delay in seconds; negative and NaN count as 0, what is too long as the longest.
   static Time delayOf( double seconds );
   static void run( Work const & work );

   /// The time since this clock began.
   virtual Time time() const = 0;
   /// The task that is due first is another one, or due at another time.
   virtual void handleFirstDue() {}

   /// When the first task is due; nothing if none is armed.
   std::optional< Time > firstDue() const;
   /// Runs the task that is due first, armed no more.
   void runFirst();

 private:
   friend class TimerTask;

   using Due = std::pair< Time, std::uint64_t >; // when, and the number of the arming
   Due arm( TimerTask * task, Time time );
   void disarm( Due const & due );

   std::map< Due, TimerTask * > armed_;
   std::uint64_t armings_ = 0;
};

} // namespace Moth
