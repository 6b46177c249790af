// Named one-shot timers. A machine declares one together with its handler:
//
//    class AgeingSm : public Lum::PtrInterface {
//       LUM_MACHINE( AgeingSm );
//       LUM_ARG( scheduler, Lum::Ptr< Moth::TaskScheduler > );
//       LUM_TASK( task, handleRound );
//       void handleInitialized() { taskIs( scheduler(), Moth::TaskPriority( 2 ), "ageingTask" ); }
//       void handleRound() {
//          if( task()->taskCurrentlyRunning() ) age();   // false in the one call that taskIs makes
//          task()->scheduleTaskLowestDelay( 30 );
//       }
//    };
#pragma once

#include "platform/lum/Machine.h"
#include "platform/moth/TaskScheduler.h"

namespace Moth {

/// What the loop runs outside of any mutator.
class Task : public Lum::Entity {
 public:
   /// True inside the task's own run, also for whatever that calls.
   bool taskCurrentlyRunning() const { return running_; }

 protected:
   bool running_ = false;
};

/// A timer that runs once for each time it was armed. One that is dropped never runs; it may be dropped in its own run.
class TimerTask : public Task {
   LUM_ENTITY( TimerTask, name, Lum::Name );

   TimerTask( Lum::Ptr< TaskScheduler > scheduler, TaskPriority priority, Lum::Name name );
   ~TimerTask() override;

   TaskPriority priority() const { return priority_; }

   /// Arms the timer to run `seconds` from now; where it is armed already, the earlier of the two times stands. A
   /// negative delay or NaN counts as 0. It runs on a later turn in any case, and at most once a millisecond, so that a
   /// period of 0 leaves the loop to others.
   void scheduleTaskLowestDelay( double seconds );

   /// Fires at each run.
   LUM_VALUE( runs, std::uint64_t );

 private:
   friend class TaskScheduler;

   void run();

   Lum::Ptr< TaskScheduler > scheduler_;
   TaskPriority priority_{};
   std::optional< TaskScheduler::Due > due_;
   TaskScheduler::Time notBefore_{ 0 };
};

} // namespace Moth

/// The timer of a machine. `xIs( scheduler, priority, name )` makes it, and calls the handler once outside of its run;
/// `x()` is the timer, `xDel()` drops it.
#define LUM_TASK( attribute, handler )                                                                                 \
   LUM_INPUT( attribute, Moth::TimerTask, LUM_ON( runs, handler ) );                                                   \
   void attribute##Is( Lum::Ptr< Moth::TaskScheduler > const & scheduler, Moth::TaskPriority priority,                 \
                       Lum::Name const & name ) {                                                                      \
      bool const first = !attribute##Reactor_.bound();                                                                 \
      attribute##Is( Lum::Ptr< Moth::TimerTask >( new Moth::TimerTask( scheduler, priority, name ) ) );                \
      if( first ) handler(); /* later ones are announced by the reactor */                                             \
   }                                                                                                                   \
   static_assert( true )
