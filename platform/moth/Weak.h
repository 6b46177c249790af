// A pointer that does not keep its object and knows when it has gone, for work that waits for a later turn of the loop.
#pragma once

#include <memory>

namespace Moth {

/// The base of an object that may be pointed to weakly.
class WeakTarget {
 public:
   WeakTarget() = default;
   WeakTarget( WeakTarget const & ) = delete;
   WeakTarget & operator=( WeakTarget const & ) = delete;

 protected:
   ~WeakTarget() = default;

 private:
   template< class T >
   friend class Weak;

   std::shared_ptr< void > const presence_ = std::make_shared< char >();
};

/// Null by default.
template< class T >
class Weak {
 public:
   Weak() = default;
   explicit Weak( T * target ) : target_( target ) {
      if( target ) presence_ = static_cast< WeakTarget const * >( target )->presence_;
   }

   /// The object, null if it has gone.
   T * get() const { return presence_.expired() ? nullptr : target_; }

 private:
   T * target_ = nullptr;
   std::weak_ptr< void > presence_;
};

} // namespace Moth
