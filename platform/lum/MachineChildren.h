// Child machines: where they are held, and how they end (platform/lum/Machine.h).
#pragma once

#include "platform/lum/MachineMaking.h"

namespace Lum {

/// When the end of a machine runs: never, on the machine that has been removed, or while its owner still holds it.
enum class End { none, removed, held };

/// The second argument of an xDel that leaves the end out.
struct WithoutEnd {};
inline constexpr WithoutEnd withoutEnd;

template< End now, class T >
void runEnd( T & machine ) {
   static_assert(
      requires { T::lumEndWhen; }, "a child machine says how it ends: LUM_END, LUM_END_BEFORE_REMOVAL or LUM_NO_END" );
   if constexpr( T::lumEndWhen == now ) machine.lumEnd();
}

/// Cuts a child machine off from its owner and from activity.
void detachMachine( PtrInterface & machine );

/// Where child machines by key are held. They are cut off when their owner goes, since they may live on.
template< class K, class T >
class MachineMap : public HashMap2018< K, Ptr< T > > {
 public:
   ~MachineMap() {
      for( auto const & [ key, machine ] : *this ) detachMachine( *machine );
   }
   Ptr< T > at( K const & key ) const { return memberOf( *this, key ); }

   template< class Owner, class... Args >
   Ptr< T > make( Owner * owner, K const & key, Args const &... args ) {
      if( auto held = at( key ) ) {
         withParent< T >(
            owner, [ & ]( auto const &... all ) { checkArguments( *held, all... ); }, args... );
         return held;
      }
      auto machine = withParent< T >(
         owner, []( auto const &... all ) { return Factory< T >()( all... ); }, args... );
      machine->lumOwnerIs( owner );
      // Its start may have woken the owner, who then asked for the same machine: that one stands.
      if( auto held = at( key ) ) {
         detachMachine( *machine );
         return held;
      }
      this->insert( std::make_unique< typename MachineMap::Node >( key, machine ) );
      return machine;
   }

   /// Removes the machine, with its end. One that takes its place meanwhile stays.
   Ptr< T > del( K const & key ) {
      auto held = at( key );
      if( held ) runEnd< End::held >( *held );
      if( at( key ) != held ) return held;
      auto gone = take( key );
      if( gone ) runEnd< End::removed >( *gone );
      return gone;
   }

   /// Removes it without.
   Ptr< T > take( K const & key ) {
      auto * node = this->find( key );
      if( !node ) return nullptr;
      auto const gone = this->remove( *node );
      detachMachine( *gone->value );
      return gone->value;
   }
};

/// Where a single child machine is held.
template< class T >
class MachineSlot {
 public:
   ~MachineSlot() {
      if( machine_ ) detachMachine( *machine_ );
   }
   Ptr< T > const & get() const { return machine_; }

   /// The machine made with these arguments; one made with others is replaced.
   template< class Owner, class... Args >
   Ptr< T > make( Owner * owner, Args const &... args ) {
      auto const made = [ & ]( auto const &... all ) {
         return machine_ && [ & ]< unsigned... i >( std::integer_sequence< unsigned, i... > ) {
            return ( ( ArgumentOf< T, i >::get( *machine_ ) == all ) && ... );
         }
         ( std::make_integer_sequence< unsigned, argumentCount< T > >{} );
      };
      if( withParent< T >( owner, made, args... ) ) return machine_;
      auto machine = withParent< T >(
         owner, []( auto const &... all ) { return Factory< T >()( all... ); }, args... );
      machine->lumOwnerIs( owner );
      take();
      return machine_ = machine;
   }

   /// Removes the machine, with its end. One that takes its place meanwhile stays.
   Ptr< T > del() {
      auto held = machine_;
      if( held ) runEnd< End::held >( *held );
      if( machine_ != held ) return held;
      auto gone = take();
      if( gone ) runEnd< End::removed >( *gone );
      return gone;
   }

   /// Removes it without.
   Ptr< T > take() {
      if( machine_ ) detachMachine( *machine_ );
      return std::exchange( machine_, nullptr );
   }

 private:
   Ptr< T > machine_;
};

} // namespace Lum

/// The end of a machine takes back what it wrote: its owner's xDel calls `operation` on the machine that it removed.
#define LUM_END( operation ) LUM_END_( operation, Lum::End::removed )
/// The same just before the removal, while the machine still hears and others find it by its key.
#define LUM_END_BEFORE_REMOVAL( operation ) LUM_END_( operation, Lum::End::held )
/// For a child machine that leaves what it wrote, or wrote nothing.
#define LUM_NO_END static constexpr Lum::End lumEndWhen = Lum::End::none
#define LUM_END_( operation, when )                                                                                    \
   static constexpr Lum::End lumEndWhen = when;                                                                        \
   void lumEnd() { operation(); }                                                                                      \
   static_assert( true )

/// A single child machine.
#define LUM_SM( attribute, ... )                                                                                       \
   LUM_TABLE_ENTRY( attribute );                                                                                       \
   Lum::Ptr< __VA_ARGS__ > const & attribute() const { return attribute##_.get(); }                                    \
   template< class... Args >                                                                                           \
   Lum::Ptr< __VA_ARGS__ > attribute##Is( Args const &... args ) {                                                     \
      return attribute##_.make( this, args... );                                                                       \
   }                                                                                                                   \
   Lum::Ptr< __VA_ARGS__ > attribute##Del() { return attribute##_.del(); }                                             \
   Lum::Ptr< __VA_ARGS__ > attribute##Del( Lum::WithoutEnd ) { return attribute##_.take(); }                           \
   struct LumAttribute_##attribute {                                                                                   \
      LUM_DESCRIBE_MACHINE_( attribute, Lum::Form::machine )                                                           \
      static void activeIs( Owner & owner, bool active ) {                                                             \
         if( owner.attribute() ) owner.attribute()->hasNotificationActiveIs( active );                                 \
      }                                                                                                                \
      static void repeat( Owner & owner ) {                                                                            \
         if( auto const machine = owner.attribute() ) Lum::repeatReactions( *machine );                                \
      }                                                                                                                \
   };                                                                                                                  \
                                                                                                                       \
 private:                                                                                                              \
   Lum::MachineSlot< __VA_ARGS__ > attribute##_;                                                                       \
                                                                                                                       \
 public:                                                                                                               \
   static_assert( true )

#define LUM_SMS_( attribute, K, ... )                                                                                  \
   auto const & attribute() const { return attribute##_; }                                                             \
   Lum::Ptr< __VA_ARGS__ > attribute( K const & key ) const { return attribute##_.at( key ); }                         \
   Lum::Ptr< __VA_ARGS__ > attribute##Del( K key ) { return attribute##_.del( key ); }                                 \
   Lum::Ptr< __VA_ARGS__ > attribute##Del( K key, Lum::WithoutEnd ) { return attribute##_.take( key ); }               \
   void attribute##DelAll() {                                                                                          \
      for( auto const & [ key, machine ] : attribute##_ ) attribute##Del( key );                                       \
   }                                                                                                                   \
                                                                                                                       \
 private:                                                                                                              \
   Lum::MachineMap< K, __VA_ARGS__ > attribute##_;                                                                     \
                                                                                                                       \
 public:                                                                                                               \
   static_assert( true )

#define LUM_DESCRIBE_SMS_( attribute )                                                                                 \
   LUM_DESCRIBE_MACHINE_( attribute, Lum::Form::machines )                                                             \
   static void activeIs( Owner & owner, bool active ) {                                                                \
      for( auto const & [ key, machine ] : owner.attribute##_ ) machine->hasNotificationActiveIs( active );            \
   }                                                                                                                   \
   static void repeat( Owner & owner ) {                                                                               \
      for( auto const & [ key, machine ] : owner.attribute##_ ) Lum::repeatReactions( *machine );                      \
   }

/// Child machines by key. The key is the machine's first constructor argument; with LUM_SMS_KEYED it is none.
#define LUM_SMS( attribute, K, ... ) LUM_SMS_IS_( attribute, ( this, key, key, args... ), K, __VA_ARGS__ )
#define LUM_SMS_KEYED( attribute, K, ... ) LUM_SMS_IS_( attribute, ( this, key, args... ), K, __VA_ARGS__ )
#define LUM_SMS_IS_( attribute, making, K, ... )                                                                       \
   LUM_TABLE_ENTRY( attribute );                                                                                       \
   template< class... Args >                                                                                           \
   Lum::Ptr< __VA_ARGS__ > attribute##Is( K key, Args const &... args ) {                                              \
      return attribute##_.make making;                                                                                 \
   }                                                                                                                   \
   struct LumAttribute_##attribute {                                                                                   \
      LUM_DESCRIBE_SMS_( attribute )                                                                                   \
   };                                                                                                                  \
   LUM_SMS_( attribute, K, __VA_ARGS__ )

/// One child machine for each record of the collection `watched` of `input`, another attribute of this machine. The
/// record is the child's first argument, and an input of it; a record that is replaced retargets the child. A child
/// whose record goes is removed. The input has a LUM_FOLLOW for it.
#define LUM_FOLLOWERS( attribute, K, T, input, watched )                                                               \
   LUM_TABLE_ENTRY( attribute );                                                                                       \
   template< class Record >                                                                                            \
   Lum::Ptr< T > attribute##Is( Lum::Ptr< Record > const & record ) {                                                  \
      Lum::refuseNull< LumSelf >( record, #attribute );                                                                \
      if( auto held = attribute##_.at( record->lumKey() ) ) {                                                          \
         Lum::ArgumentOf< T, 0 >::store( *held, record );                                                              \
         return held;                                                                                                  \
      }                                                                                                                \
      return attribute##_.make( this, record->lumKey(), record );                                                      \
   }                                                                                                                   \
   /* A loop: what a child writes at its start or its end may change the collection again. */                          \
   void attribute##Follow( K key ) {                                                                                   \
      while( input() ) {                                                                                               \
         auto const record = input()->watched( key );                                                                  \
         auto const held = attribute##_.at( key );                                                                     \
         if( held ? Lum::ArgumentOf< T, 0 >::get( *held ) == record : !record ) return;                                \
         if( record ) {                                                                                                \
            attribute##Is( record );                                                                                   \
         } else {                                                                                                      \
            attribute##Del( key );                                                                                     \
         }                                                                                                             \
      }                                                                                                                \
   }                                                                                                                   \
   void attribute##Follow() {                                                                                          \
      auto const present = input();                                                                                    \
      if( !present ) return;                                                                                           \
      for( auto const & [ key, record ] : present->watched() ) attribute##Follow( key );                               \
      for( auto const & [ key, machine ] : attribute##_ ) attribute##Follow( key );                                    \
   }                                                                                                                   \
   struct LumAttribute_##attribute {                                                                                   \
      LUM_DESCRIBE_SMS_( attribute )                                                                                   \
      static void follow( Owner & owner ) { owner.attribute##Follow(); }                                               \
   };                                                                                                                  \
   LUM_SMS_( attribute, K, T )
