// The reactor runtime: how a change of an attribute reaches the machines that watch it.
//
// Attributes fire. A mutator that really changes something stores the new value and then, before it returns, visits
// everyone who subscribed to that attribute. Handlers therefore run on the mutator's stack; a handler that writes
// another attribute nests further handlers. There is no queue: whatever must not run nested is given to a
// Moth::TimerTask.
//
//    struct Lamp : Lum::Entity {            class SwitchSm : public Lum::PtrInterface {
//       LUM_ENTITY( Lamp );                    LUM_MACHINE( SwitchSm );
//       LUM_VALUE( lit, bool );              public:
//    };                                        LUM_ARG_INPUT( lamp, Lamp const, LUM_ON( lit, handleLit ) );
//                                              void handleInitialized() { handleLit(); }
//    lamp->litIs( true );                      void handleLit();   // runs before litIs returns
//                                           };
//
// What holds during a visit:
//  - Notifiees are called in the order in which they registered. One that registers during a visit is not called by
//    it: a new machine reads the present state by itself.
//  - One that goes away during a visit (unregistered, a zombie, retargeted, destroyed) is not called any more.
//  - While a handler runs, its machine, the machine's owners and the entity that fires stay alive, whatever the handler
//    deletes.
//  - An exception that leaves a handler is caught at that one call and given to onNotificationException; the visit
//    goes on.
//  - Nobody may assume what changed: a handler reads the present state. It takes its key by value, since what it was
//    handed may be gone after its first write.
//
// Who is called. Each attribute has a list of its own, so a change costs the subscribers of that attribute. A
// subscription to a collection may be
//  - to the collection: its handler is called with the key of the member that came, changed or went;
//  - to one key: it is called for that key only, and a change of one key costs nothing to those of other keys;
//  - to an attribute of every member (child entities only): one subscription stands for a reactor on each member,
//    whatever their number, and is called with the member whose attribute changed;
//  - to that of some members: those whose route, a value of theirs, is a key of the subscriber's. The change of a
//  member
//    costs nothing to those of other keys. The route is read when the member fires.
// Subscriptions of all kinds are called in the one order of registration.
//
// Retargeting. A reactor (Reactor.h) is a set of subscriptions on one entity, its notifier, that belongs to a machine.
// Making it calls nothing. Giving it another notifier calls the all-keys handlers once, unless the new notifier is null
// or the reactor is a zombie; a handler that takes a key only is then called for every key that is there. A reactor of
// a zombie or of a machine whose notification is off is on no list. One of a machine that is not `initialized` is on
// its lists, but calls nothing.
#pragma once

#include "platform/lum/PtrInterface.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Lum {

/// The number of an attribute within its class, in the order of declaration.
using AttributeId = std::uint16_t;

class NotifieeList;
class Subscription;
class Visit;

/// What is told of a change. `key` points to the collection's key, null for an attribute without keys, and is valid
/// for the call only. `member` is the child entity that came or went, null unless the attribute is a collection of
/// children. `entity` is the one that fires; for a subscription to an attribute of the members, the member.
struct Change {
   void const * key = nullptr;
   PtrInterface * member = nullptr;
   PtrInterface * entity = nullptr;
};

/// Someone who is told of changes. `which` tells the subscriptions of one notifiee apart.
class NotifieeConst {
 public:
   virtual void onAttribute( Subscription const & which, Change const & change ) = 0;
   PtrInterface * machine() const { return machine_; }

 protected:
   explicit NotifieeConst( PtrInterface * machine ) : machine_( machine ) {}
   ~NotifieeConst() = default;

 private:
   PtrInterface * machine_;
};

/// One place in one list.
class Subscription {
 public:
   Subscription() = default;
   Subscription( Subscription const & ) = delete;
   Subscription & operator=( Subscription const & ) = delete;
   ~Subscription() { unsubscribe(); }

   bool subscribed() const { return list_ != nullptr; }
   void subscribe( NotifieeList & list, NotifieeConst * notifiee );
   void unsubscribe();

 private:
   friend class NotifieeList;
   friend class Visit;

   Subscription * previous_ = nullptr;
   Subscription * next_ = nullptr;
   NotifieeList * list_ = nullptr;
   NotifieeConst * notifiee_ = nullptr;
   std::uint64_t registration_ = 0; // rises with every subscription made
};

/// The subscribers of one attribute, or of one key of it, in the order of their registration.
class NotifieeList {
 public:
   NotifieeList() = default;
   NotifieeList( NotifieeList const & ) = delete;
   NotifieeList & operator=( NotifieeList const & ) = delete;
   ~NotifieeList();

   bool empty() const { return first_ == nullptr; }

 private:
   friend class Subscription;
   friend class Visit;

   Subscription * first_ = nullptr;
   Subscription * last_ = nullptr;
};

/// One firing under way: a walk over some lists at once, in the order of registration. It costs the entity and
/// the machines no counts: an object whose last pointer goes asks the visits whether they use it, and then stays.
class Visit {
 public:
   explicit Visit( PtrInterface * entity ) : outer_( innermost_ ), newest_( registrations_ ), entity_( entity ) {
      innermost_ = this;
   }
   Visit( Visit const & ) = delete;
   Visit & operator=( Visit const & ) = delete;
   ~Visit() {
      innermost_ = outer_;
      if( kept_ ) [[unlikely]]
         drop( std::move( kept_ ) ); // unless an outer visit uses it
   }

   /// Whether a visit under way uses `object`, which has one reference: if so, the visit takes that over until it uses
   /// the object no more.
   static bool keep( PtrInterface & object );
   /// Has the visits that use `machine` keep its owner, too, from which it is about to be cut off.
   static void keepOwner( PtrInterface const & machine );

   /// At most `maxLists` that are not empty.
   void add( NotifieeList const & list ) {
      if( list.first_ ) next_[ lists_++ ] = list.first_;
   }
   static constexpr unsigned maxLists = 5;

   /// How many firings are under way, each nested in the one before.
   static unsigned depth();

   /// Calls every subscriber; `watched` names the attribute and is asked only when an exception left a handler.
   template< class Watched >
   void run( Change const & change, Watched const & watched ) {
      while( Subscription * each = take() ) {
         machine_ = each->notifiee_->machine();
         try {
            each->notifiee_->onAttribute( *each, change );
         } catch( ... ) {
            onNotificationException( watched() );
         }
         if( kept_ ) [[unlikely]]
            release();
      }
   }

 private:
   friend class Subscription;

   /// The subscriber that registered first of those not called yet; null at the end.
   Subscription * take() {
      if( lists_ != 1 ) return takeOfSeveral();
      auto * const each = next_[ 0 ];
      if( !each || each->registration_ > newest_ ) return nullptr;
      next_[ 0 ] = each->next_;
      return each;
   }
   Subscription * takeOfSeveral();
   void left( Subscription const & gone );
   /// Whether a handler of `object` runs, or of a machine below it.
   bool runs( PtrInterface const & object ) const;
   std::vector< Ptr< PtrInterface > > & kept();
   void release();
   static void drop( std::unique_ptr< std::vector< Ptr< PtrInterface > > > gone );

   static inline Visit * innermost_ = nullptr;
   static inline std::uint64_t registrations_ = 0;

   Visit * outer_;
   std::uint64_t newest_;
   PtrInterface * entity_;            // that fires
   PtrInterface * machine_ = nullptr; // whose handler runs
   std::unique_ptr< std::vector< Ptr< PtrInterface > > > kept_;
   unsigned lists_ = 0;
   Subscription * next_[ maxLists ];
};

} // namespace Lum
