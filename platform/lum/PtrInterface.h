// Objects with identity: reference counts, ownership, and the switches that detach a machine from activity.
#pragma once

#include "platform/lum/Fault.h"
#include "platform/lum/String.h"

#include <atomic>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstddef>
#include <cstdint>

namespace Lum {

/// The process-wide switch between plain and atomic reference counts. The logic runs on one thread and needs no atomic
/// ones; it must not be changed while objects exist on several threads.
struct VFPtrInterface {
   static inline bool threadSafePointers_ = false;
};

/// An owning pointer to a reference-counted object. `Ptr< T const >` is the same with read-only access.
template< class T >
using Ptr = boost::intrusive_ptr< T >;

/// The base of every object that has identity. It lives as long as a Ptr holds it; a child knows its owner by a raw
/// pointer, never by a counted one.
class PtrInterface {
 public:
   PtrInterface() = default;
   PtrInterface( PtrInterface const & ) = delete;
   PtrInterface & operator=( PtrInterface const & ) = delete;
   virtual ~PtrInterface() = default;

   static void * lumMemAlloc( std::size_t size );
   static void * operator new( std::size_t size ) { return lumMemAlloc( size ); }
   static void operator delete( void * memory );

   /// The type's full name and, for a member of a collection, the text of its key: the runtime's own accounting.
   virtual String fwkType() const { return "Lum::PtrInterface"; }
   virtual String fwkKey() const { return {}; }

   /// True once the object is a zombie: none of its reactors calls it any more.
   bool lumMarkedForDeletion() const { return markedForDeletion_; }
   void lumMarkedForDeletionIs( bool marked ) { markedForDeletion_ = marked; }

   /// Whether the object takes part in activity. A machine forwards a change to its reactors and child machines, in
   /// the order of their declaration; with the flag off its reactors are off their lists, but it is still alive.
   bool hasNotificationActive() const { return notificationActive_; }
   virtual void hasNotificationActiveIs( bool active ) { notificationActive_ = active; }

   /// Makes the reactors of a machine zombies (or, with false, living again) and then marks the machine. It does not
   /// descend into child machines.
   virtual void lumDoZombieReactors( bool zombie ) { lumMarkedForDeletionIs( zombie ); }

   /// The object that holds this one, null at the top. While a handler runs, its machine and all owners above stay.
   PtrInterface * lumOwner() const { return owner_; }
   void lumOwnerIs( PtrInterface * owner ) { owner_ = owner; }

   std::uint32_t references() const { return references_; }

   friend void intrusive_ptr_add_ref( PtrInterface const * object ) noexcept {
      if( VFPtrInterface::threadSafePointers_ ) [[unlikely]] {
         std::atomic_ref( object->references_ ).fetch_add( 1, std::memory_order_relaxed );
      } else {
         ++object->references_;
      }
   }

   friend void intrusive_ptr_release( PtrInterface const * object ) noexcept {
      if( VFPtrInterface::threadSafePointers_ ) [[unlikely]] {
         if( std::atomic_ref( object->references_ ).fetch_sub( 1, std::memory_order_acq_rel ) > 1 ) return;
      } else if( --object->references_ > 0 ) {
         return;
      }
      const_cast< PtrInterface * >( object )->zeroReferencesIs();
   }

 protected:
   /// The last pointer is gone. Runs while the object is still whole.
   virtual void handleZeroRef();

 private:
   void zeroReferencesIs();

   PtrInterface * owner_ = nullptr;
   mutable std::uint32_t references_ = 0;
   bool markedForDeletion_ = false;
   bool notificationActive_ = true;
};

/// Keeps an object and all owners above it alive for a scope, whatever is deleted meanwhile.
class KeepAlive {
 public:
   explicit KeepAlive( PtrInterface * object ) {
      for( ; object; object = object->lumOwner() ) {
         LUM_ASSERT( depth_ < maxDepth );
         intrusive_ptr_add_ref( object );
         held_[ depth_++ ] = object;
      }
   }
   KeepAlive( KeepAlive const & ) = delete;
   KeepAlive & operator=( KeepAlive const & ) = delete;
   ~KeepAlive() {
      for( unsigned i = 0; i < depth_; ++i ) intrusive_ptr_release( held_[ i ] );
   }

 private:
   static constexpr unsigned maxDepth = 8; // of the tree of machines; five are in use

   PtrInterface * held_[ maxDepth ];
   unsigned depth_ = 0;
};

} // namespace Lum
