#pragma once

#include "platform/moth/TaskScheduler.h"

#include <deque>

namespace Moth {

/// A loop whose time stands still until it is moved. A run is a pure function of what it is told.
class VirtualTaskScheduler : public TaskScheduler {
 public:
   void post( Work work ) override { posted_.push_back( std::move( work ) ); }

   /// Moves time on, running each task when it is due; posted work is run to the end before and behind each. Raises
   /// RangeException if `seconds` is negative or no number, or if the clock would pass 126 years.
   void advance( double seconds );
   /// Runs all that is pending at the present time.
   void settle() { advance( 0 ); }

 protected:
   Time time() const override { return time_; }

 private:
   void runPosted();

   std::deque< Work > posted_;
   Time time_{ 0 };
};

} // namespace Moth
