#pragma once

#include "platform/moth/TaskScheduler.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

namespace Moth {

/// A loop on the machine's monotonic clock. It runs inside `loop`, which its owner runs, and which must outlive it.
class SteadyTaskScheduler : public TaskScheduler {
 public:
   explicit SteadyTaskScheduler( boost::asio::io_context & loop ) : loop_( loop ), timer_( loop ) {}

   void post( Work work ) override;

 protected:
   Time time() const override { return Clock::now() - start_; }
   void handleFirstDue() override;

 private:
   using Clock = std::chrono::steady_clock;

   void runDue();

   boost::asio::io_context & loop_;
   boost::asio::steady_timer timer_;
   Clock::time_point const start_ = Clock::now();
};

} // namespace Moth
