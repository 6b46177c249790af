// A reactor: a machine's set of subscriptions on one entity. Machines do not write reactors; they declare an input with
// its reactions (Machine.h), and this class carries them out.
#pragma once

#include "platform/lum/Entity.h"

#include <array>
#include <type_traits>
#include <utility>

namespace Lum {

/// The kinds of subscription that a reaction may ask for; see LUM_ON and its kin in Machine.h.
template< class Attribute >
struct OnAttribute { // every change: all keys of a collection
   static constexpr char const * name = Attribute::name;
};
template< class Attribute >
struct OnFollowed : OnAttribute< Attribute > { // the same, for the machine's followers
};
template< class Attribute >
struct OnKey { // one key of a collection
   static constexpr char const * name = Attribute::name;
};
template< class Children, class Attribute >
struct OnMember { // an attribute of every child
   static constexpr char const * name = Attribute::name;
};
template< class Children, class Attribute, auto route >
struct OnMemberOf { // the same of those children whose route is the machine's key
   static constexpr char const * name = Attribute::name;
};
template< class Children >
struct OnMembership { // a child comes or goes
   static constexpr char const * name = Children::name;
};

/// `Input` is the description of the machine's input: Machine, Watched, the count of reactions, and
/// `reactions( visitor )`, which shows the visitor each of them in order.
template< class Input >
class Reactor final : public NotifieeConst {
 public:
   using Machine = typename Input::Machine;
   using Watched = typename Input::Watched;

   explicit Reactor( Machine * machine ) : NotifieeConst( machine ) {}
   Reactor( Reactor const & ) = delete;
   Reactor & operator=( Reactor const & ) = delete;
   ~Reactor() { disconnect(); }

   Ptr< Watched > const & notifier() const { return notifier_; }

   /// Watches `notifier` from now on. The first binding calls nothing; a later one to another entity calls the
   /// all-keys handlers once, before it returns.
   void notifierIs( Ptr< Watched > notifier ) {
      if( notifier == notifier_ ) return;
      disconnect();
      notifier_ = std::move( notifier );
      connect();
      if( notifier_ && std::exchange( bound_, true ) ) callAllKeys();
   }
   /// Whether there has been a notifier.
   bool bound() const { return bound_; }

   /// Runs all handlers once more, as if the notifier had been replaced by itself.
   void repeat() {
      if( notifier_ ) callAllKeys();
   }

   void zombieIs( bool zombie ) {
      zombie_ = zombie;
      reconnect();
   }
   void activeIs( bool active ) {
      active_ = active;
      reconnect();
   }

   void onAttribute( Subscription const & which, Change const & change ) override {
      std::size_t index = Input::count > 1 ? static_cast< std::size_t >( &which - subscriptions_.data() ) : 0;
      Input::reactions( [ & ]( auto kind, auto handler, auto... ) {
         if( index-- == 0 && hears( kind ) ) call( kind, handler, change );
      } );
   }

 private:
   Machine & machine() const { return static_cast< Machine & >( *NotifieeConst::machine() ); }

   /// Whether the machine's reactions run at all. The upkeep of followers is none: what they are is told by the
   /// collection.
   template< class Kind >
   bool hears( Kind ) const {
      if constexpr( requires( Machine & any ) { any.lumHears(); } ) return machine().lumHears();
      return true;
   }
   template< class A >
   bool hears( OnFollowed< A > ) const {
      return true;
   }

   void reconnect() {
      disconnect();
      connect();
   }

   void connect() {
      if( !notifier_ || zombie_ || !active_ ) return;
      std::size_t index = 0;
      Input::reactions( [ & ]( auto kind, auto, auto... key ) {
         subscriptions_[ index++ ].subscribe( listOf( kind, key... ), this );
      } );
   }
   void disconnect() {
      if constexpr( Input::count > 0 ) {
         if( !subscriptions_[ 0 ].subscribed() ) return;
         std::size_t index = 0;
         Input::reactions( [ & ]( auto kind, auto, auto... key ) {
            subscriptions_[ index++ ].unsubscribe();
            drop( kind, key... );
         } );
      }
   }

   template< class A >
   NotifieeList & listOf( OnAttribute< A > ) const {
      return A::list( *notifier_ );
   }
   template< class A, class KeyOf >
   NotifieeList & listOf( OnKey< A >, KeyOf keyOf ) const {
      return A::keyNotifiees( *notifier_ ).list( keyOf( machine() ) );
   }
   template< class C, class A >
   NotifieeList & listOf( OnMember< C, A > ) const {
      return C::memberNotifiees( *notifier_ ).list( A::id );
   }
   template< class C, class A, auto route, class KeyOf >
   NotifieeList & listOf( OnMemberOf< C, A, route >, KeyOf keyOf ) const {
      return C::memberNotifiees( *notifier_ ).template by< route >().notifiees( A::id ).list( keyOf( machine() ) );
   }
   template< class C >
   NotifieeList & listOf( OnMembership< C > ) const {
      return C::list( *notifier_ );
   }

   // A key's list goes with its last subscriber. The key must be a constructor argument of the machine, so that it is
   // still the same.
   template< class A, class KeyOf >
   void drop( OnKey< A >, KeyOf keyOf ) const {
      A::keyNotifiees( *notifier_ ).dropIfEmpty( keyOf( machine() ) );
   }
   template< class C, class A, auto route, class KeyOf >
   void drop( OnMemberOf< C, A, route >, KeyOf keyOf ) const {
      C::memberNotifiees( *notifier_ ).template by< route >().notifiees( A::id ).dropIfEmpty( keyOf( machine() ) );
   }
   template< class Kind >
   void drop( Kind ) const {}

   template< class A, class Handler >
   void call( OnAttribute< A >, Handler handler, Change const & change ) {
      if constexpr( requires { typename A::Key; } ) {
         handler( machine(), *static_cast< typename A::Key const * >( change.key ) );
      } else {
         handler( machine() );
      }
   }
   template< class A, class Handler >
   void call( OnKey< A >, Handler handler, Change const & ) {
      handler( machine() );
   }
   /// A member that an earlier handler of the visit has removed is watched no more.
   template< class C, class A, class Handler >
   void call( OnMember< C, A >, Handler handler, Change const & change ) {
      auto const member = childOf< C >( change.entity );
      if( member->lumParent() == notifier_.get() ) handler( machine(), member );
   }
   template< class C, class A, auto route, class Handler >
   void call( OnMemberOf< C, A, route >, Handler handler, Change const & change ) {
      call( OnMember< C, A >{}, handler, change );
   }
   template< class C, class Handler >
   void call( OnMembership< C >, Handler handler, Change const & change ) {
      handler( machine(), childOf< C >( change.member ) );
   }
   /// A child in C as the input shows it: read-only where the input is.
   template< class C >
   using Child = std::conditional_t< std::is_const_v< Watched >, typename C::Value const, typename C::Value >;
   template< class C >
   static Ptr< Child< C > > childOf( PtrInterface * object ) {
      return static_cast< typename C::Value * >( object );
   }

   /// As in a visit: the machine stays, an exception ends at its handler, and nobody is called any more whom an earlier
   /// handler has retargeted or made a zombie.
   void callAllKeys() {
      KeepAlive const alive( NotifieeConst::machine() );
      auto const target = notifier_;
      Input::reactions( [ & ]( auto kind, auto handler, auto... ) {
         auto const watches = [ & ] { return !zombie_ && notifier_ == target && this->hears( kind ); };
         if( !watches() ) return;
         try {
            this->callAllKeys( kind, handler, watches );
         } catch( ... ) {
            onNotificationException( textOf( typeName< std::remove_const_t< Watched > >(), "::", kind.name ) );
         }
      } );
   }
   template< class Kind, class Handler, class Watches >
   void callAllKeys( Kind, Handler handler, Watches ) {
      handler( machine() );
   }
   /// A handler that takes a key only is called for each.
   template< class A, class Handler, class Watches >
   void callAllKeys( OnAttribute< A >, Handler handler, Watches watches ) {
      if constexpr( std::is_invocable_v< Handler, Machine & > ) {
         handler( machine() );
      } else {
         for( auto const & [ key, value ] : A::all( *notifier_ ) ) {
            if( watches() ) handler( machine(), key );
         }
      }
   }
   template< class C, class A, class Handler, class Watches >
   void callAllKeys( OnMember< C, A >, Handler, Watches ) {} // covered by the reaction to the membership
   template< class C, class A, auto route, class Handler, class Watches >
   void callAllKeys( OnMemberOf< C, A, route >, Handler, Watches ) {} // the machine knows its members
   template< class C, class Handler, class Watches >
   void callAllKeys( OnMembership< C >, Handler handler, Watches watches ) {
      for( auto const & [ key, member ] : C::all( *notifier_ ) ) {
         if( watches() ) handler( machine(), Ptr< Child< C > >( member ) );
      }
   }

   Ptr< Watched > notifier_;
   bool bound_ = false;
   bool zombie_ = false;
   bool active_ = true;
   std::array< Subscription, Input::count > subscriptions_;
};

} // namespace Lum
