// State machines. A machine's header reads like its contract: constructor arguments, attributes, reactions, handlers.
//
//    class VtepPresenceSm : public Lum::PtrInterface {
//       LUM_MACHINE( VtepPresenceSm );
//
//       // Constructor arguments, in order.
//       LUM_ARG_INPUT( policyHelperInfo, PolicyHelperInfo const, LUM_ON( vtepIpToSwitchPair, handleVtepIp ) );
//       LUM_ARG( summary, Lum::Ptr< VtepSummary > );
//       LUM_PARENT( parent, VtepRootSm );
//       LUM_END( cleanup );
//
//       LUM_INITIALIZED;
//
//       void handleInitialized();                         // called last when the machine is made
//       LUM_ALL_KEYS( handleVtepIp, policyHelperInfo, vtepIpToSwitchPair );
//       void handleVtepIp( Neroli::IpGenAddr vtepIp );    // one key: came, changed or went
//       void cleanup();                                   // takes back what it wrote
//    };
//    inline constexpr Lum::Factory< VtepPresenceSm > vtepPresenceSmFactory;
//
//    attribute      what it is
//    LUM_ARG        an immutable constructor argument, x()
//    LUM_ARG_INPUT  the same, a pointer to an entity that is watched
//    LUM_PARENT     the raw back pointer to the owner, always the last argument; the owner's xIs adds it by itself
//    LUM_INPUT      a watched entity that is not an argument: x(), xIs( pointer ), xDel()
//    LUM_LOCAL      a value that nobody watches: x(), xIs( value )
//    LUM_MEMO       values by key that nobody watches: x(), x( key ), xIs( key, value ), xDel( key )
//    LUM_SM         a single child machine: x(), xIs( args... ), xDel()
//    LUM_SMS        child machines by key: x(), x( key ), xIs( key, args... ), xDel( key ), xDelAll()
//    LUM_FOLLOWERS  one child machine for each record of a watched collection: as LUM_SMS, with xIs( record ) and
//                   xFollow(), xFollow( key ), which make them equal to the collection
//
//    and            what it says of the machine
//    LUM_INITIALIZED, LUM_INITIALIZED_WITH   it has `initialized`, or shares its owner's, and reactions wait for it
//    LUM_ALL_KEYS   handleX() is handleX( key ) for each key of a collection
//    LUM_END, LUM_END_BEFORE_REMOVAL, LUM_NO_END   what xDel of its owner calls; a child machine has one of the three
//
// Asking for a child that is there with equal arguments returns it; with another argument it is a fault of the caller,
// reported by an exception, and the child stays as it is.
//
// A machine is made in this order: the arguments are stored, the inputs connected (which calls nothing), the followers
// of its inputs made, then handleInitialized() is called. What it raises ends in onNotificationException: the machine
// stands, as after a handler that raised. While its `initialized` is false no reaction runs, so what fires before the
// machine is ready is dropped, and handleInitialized() walks everything by itself. Followers are no reaction: they are
// equal to their collection from the first to the last.
//
// A machine is removed by its owner's xDel, which runs its end; xDel( ..., Lum::withoutEnd ) leaves that out. One that
// is merely dropped, with its owner or because another takes its place, has no end: a destructor writes nothing. A
// machine that goes first becomes a zombie, then is destroyed.
#pragma once

#include "platform/lum/MachineChildren.h"
#include "platform/lum/MachineInputs.h"

/// Marks a machine class.
#define LUM_MACHINE( Self )                                                                                            \
   LUM_TABLE( Self );                                                                                                  \
   static Lum::Rank< 0 > lumArgumentCount( Lum::Rank< 0 > );                                                           \
   static void lumArgument( void ); /* for a class without arguments: a name to look up */                             \
   Lum::String fwkType() const override { return Lum::typeName< Self >(); }                                            \
   Lum::String fwkKey() const override { return Lum::machineKey( *this ); }                                            \
   void hasNotificationActiveIs( bool active ) override {                                                              \
      if( active == hasNotificationActive() ) return;                                                                  \
      Lum::PtrInterface::hasNotificationActiveIs( active );                                                            \
      Lum::forEachAttribute< Self >( [ & ]( auto attribute ) {                                                         \
         if constexpr( requires { attribute.activeIs( *this, active ); } ) attribute.activeIs( *this, active );        \
      } );                                                                                                             \
   }                                                                                                                   \
   void lumDoZombieReactors( bool zombie ) override {                                                                  \
      if( zombie == lumMarkedForDeletion() ) return;                                                                   \
      Lum::forEachAttribute< Self >( [ & ]( auto attribute ) {                                                         \
         if constexpr( requires { attribute.zombieIs( *this, zombie ); } ) attribute.zombieIs( *this, zombie );        \
      } );                                                                                                             \
      lumMarkedForDeletionIs( zombie );                                                                                \
   }                                                                                                                   \
   static_assert( true )

/// The machine's `initialized`, false at first. While it is false no reaction of the machine runs; only followers keep
/// following. A handler that is called by name is not held back.
#define LUM_INITIALIZED                                                                                                \
   bool initialized() const { return initialized_; }                                                                   \
   void initializedIs( bool value ) { initialized_ = value; }                                                          \
   bool lumHears() const { return initialized_; }                                                                      \
                                                                                                                       \
 private:                                                                                                              \
   bool initialized_ = false;                                                                                          \
                                                                                                                       \
 public:                                                                                                               \
   static_assert( true )

/// The same for a machine without a flag of its own: that of its owner counts.
#define LUM_INITIALIZED_WITH( owner )                                                                                  \
   bool initialized() const { return owner()->initialized(); }                                                         \
   bool lumHears() const { return initialized(); }                                                                     \
   static_assert( true )

/// The handler for all keys: the one for a single key, for each that is in the collection.
#define LUM_ALL_KEYS( handler, input, attribute )                                                                      \
   void handler() {                                                                                                    \
      for( auto const & [ each, value ] : input()->attribute() ) handler( each );                                      \
   }                                                                                                                   \
   static_assert( true )

/// A value of the machine itself.
#define LUM_LOCAL( attribute, ... )                                                                                    \
   __VA_ARGS__ const & attribute() const { return attribute##_; }                                                      \
   void attribute##Is( __VA_ARGS__ value ) { attribute##_ = std::move( value ); }                                      \
                                                                                                                       \
 private:                                                                                                              \
   __VA_ARGS__ attribute##_{};                                                                                         \
                                                                                                                       \
 public:                                                                                                               \
   static_assert( true )

/// Values by key of the machine itself.
#define LUM_MEMO( attribute, K, ... )                                                                                  \
   auto const & attribute() const { return attribute##_; }                                                             \
   __VA_ARGS__ attribute( K const & key ) const {                                                                      \
      auto const * node = attribute##_.find( key );                                                                    \
      return node ? node->value : __VA_ARGS__{};                                                                       \
   }                                                                                                                   \
   void attribute##Is( K key, __VA_ARGS__ value ) {                                                                    \
      Lum::refuseNull< LumSelf >( value, #attribute );                                                                 \
      if( auto * node = attribute##_.find( key ) ) {                                                                   \
         node->value = std::move( value );                                                                             \
      } else {                                                                                                         \
         using Node = typename decltype( attribute##_ )::Node;                                                         \
         attribute##_.insert( std::make_unique< Node >( std::move( key ), std::move( value ) ) );                      \
      }                                                                                                                \
   }                                                                                                                   \
   void attribute##Del( K key ) {                                                                                      \
      if( auto * node = attribute##_.find( key ) ) attribute##_.remove( *node );                                       \
   }                                                                                                                   \
                                                                                                                       \
 private:                                                                                                              \
   Lum::HashMap2018< K, __VA_ARGS__ > attribute##_;                                                                    \
                                                                                                                       \
 public:                                                                                                               \
   static_assert( true )
