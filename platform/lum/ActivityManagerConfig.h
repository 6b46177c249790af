#pragma once

namespace Lum {

/// The settings of the event loop's back end, made before the loop runs.
class ActivityManagerConfig {
 public:
   /// Asks for epoll. Boost.Asio, which carries the loop, has no other back end on Linux: the wish is always granted
   /// and only kept, for whoever wants to know.
   static void useEpollIs( bool use ) { useEpoll_ = use; }
   static bool useEpoll() { return useEpoll_; }

 private:
   static inline bool useEpoll_ = false;
};

} // namespace Lum
