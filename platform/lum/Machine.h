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

#include "platform/lum/Reactor.h"

namespace Lum {

/// Makes a machine of class T from its constructor arguments.
template< class T >
struct Factory {
   template< class... Args >
   Ptr< T > operator()( Args const &... args ) const {
      Ptr< T > machine( new T() );
      storeArguments( *machine, args... );
      if constexpr( requires { machine->parent(); } ) machine->lumOwnerIs( machine->parent() );
      makeFollowers( *machine );
      try {
         machine->handleInitialized();
      } catch( ... ) {
         onNotificationException( textOf( typeName< T >(), " at its start" ) );
      }
      return machine;
   }
};

/// The number of constructor arguments of T.
template< class T >
constexpr unsigned argumentCount = decltype( T::lumArgumentCount( Rank< maxAttributes >{} ) )::rank;

template< class T, unsigned index >
using ArgumentOf = decltype( T::lumArgument( std::integral_constant< unsigned, index >{} ) );

/// Stores the plain arguments first: a subscription to one key needs the key when its input is connected.
template< class T, class... Args >
void storeArguments( T & machine, Args const &... args ) {
   static_assert( sizeof...( Args ) == argumentCount< T >, "the constructor arguments of the machine, in order" );
   auto const store = [ & ]( auto argument, auto const & value, Form form ) {
      if( ( argument.form == Form::input ) == ( form == Form::input ) ) argument.store( machine, value );
   };
   for( Form const form : { Form::argument, Form::input } ) {
      [ & ]< unsigned... i >( std::integer_sequence< unsigned, i... > ) {
         ( store( ArgumentOf< T, i >{}, args, form ), ... );
      }
      ( std::make_integer_sequence< unsigned, argumentCount< T > >{} );
   }
}

template< class T >
void makeFollowers( T & machine ) {
   forEachAttribute< T >( [ & ]( auto attribute ) {
      if constexpr( requires { attribute.follow( machine ); } ) attribute.follow( machine );
   } );
}

/// The strep of an argument in the reinstantiation error. An object goes by its type and key, never by its address: the
/// text is read outside of the process.
template< class Value >
String argumentStrep( Value const & value ) {
   if constexpr( requires { value->fwkType(); } ) {
      if( !value ) return "None";
      return textOf( "Ptr('", value->fwkType(), "', '", value->fwkKey(), "')" );
   } else {
      return valueToStrep( value );
   }
}

/// The text of a machine's first argument, which is the key where it is a member of a collection.
template< class T >
String machineKey( T const & machine ) {
   if constexpr( argumentCount< T > == 0 ) {
      return {};
   } else if constexpr( requires { ArgumentOf< T, 0 >::get( machine )->fwkKey(); } ) {
      auto const & entity = ArgumentOf< T, 0 >::get( machine );
      return entity ? entity->fwkKey() : String();
   } else {
      return textOf( ArgumentOf< T, 0 >::get( machine ) );
   }
}

/// Runs every reaction of the machine, and of all below it, once more. Handlers read the present state and assume
/// nothing of what changed, so at rest this writes nothing: a check of that promise.
template< class T >
void repeatReactions( T & machine ) {
   KeepAlive const alive( &machine );
   forEachAttribute< T >( [ & ]( auto attribute ) {
      if constexpr( requires { attribute.repeat( machine ); } ) attribute.repeat( machine );
   } );
}

/// Raises NameInUseException unless the arguments equal those that `machine` was made with.
template< class T, class... Args >
void checkArguments( T const & machine, Args const &... args ) {
   auto const check = [ & ]( auto argument, auto const & value ) {
      auto const & held = argument.get( machine );
      auto const & wanted = static_cast< decltype( held ) >( value );
      if( held == wanted ) return;
      throwNameInUseException( textOf( "Reinstantiating the pointer interface where constructor parameter attribute _",
                                       argument.name, " has a different value of ", argumentStrep( wanted ),
                                       " than the current value of ", argumentStrep( held ), " not allowed" ) );
   };
   [ & ]< unsigned... i >( std::integer_sequence< unsigned, i... > ) { ( check( ArgumentOf< T, i >{}, args ), ... ); }
   ( std::make_integer_sequence< unsigned, argumentCount< T > >{} );
}

/// Calls `use` with the arguments, and with the owner behind them when T has a back pointer.
template< class T, class Owner, class Use, class... Args >
decltype( auto ) withParent( Owner * owner, Use use, Args const &... args ) {
   if constexpr( requires( T & machine ) { machine.parent(); } ) {
      return use( args..., owner );
   } else {
      return use( args... );
   }
}

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

   /// Removes the machine, with its end.
   Ptr< T > del( K const & key ) {
      if( auto const held = at( key ) ) runEnd< End::held >( *held );
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

   /// Removes the machine, with its end.
   Ptr< T > del() {
      if( auto const held = machine_ ) runEnd< End::held >( *held );
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

/// The handler for all keys: the one for a single key, for each that is in the collection.
#define LUM_ALL_KEYS( handler, input, attribute )                                                                      \
   void handler() {                                                                                                    \
      for( auto const & [ each, value ] : input()->attribute() ) handler( each );                                      \
   }                                                                                                                   \
   static_assert( true )

#define LUM_DESCRIBE_MACHINE_( attribute, formOfIt )                                                                   \
   using Owner = LumSelf;                                                                                              \
   [[maybe_unused]] static constexpr char const * name = #attribute;                                                   \
   [[maybe_unused]] static constexpr Lum::Form form = formOfIt;

/// Enters `attribute` as the next constructor argument.
#define LUM_ARGUMENT_( attribute )                                                                                     \
   static constexpr unsigned lumArgument_##attribute =                                                                 \
      decltype( lumArgumentCount( Lum::Rank< Lum::maxAttributes >{} ) )::rank;                                         \
   static Lum::Rank< lumArgument_##attribute + 1 > lumArgumentCount( Lum::Rank< lumArgument_##attribute + 1 > );       \
   static LumAttribute_##attribute lumArgument( std::integral_constant< unsigned, lumArgument_##attribute > )

/// A constructor argument.
#define LUM_ARG( attribute, ... )                                                                                      \
   LUM_TABLE_ENTRY( attribute );                                                                                       \
   LUM_ARGUMENT_( attribute );                                                                                         \
   __VA_ARGS__ const & attribute() const { return attribute##_; }                                                      \
   struct LumAttribute_##attribute {                                                                                   \
      LUM_DESCRIBE_MACHINE_( attribute, Lum::Form::argument )                                                          \
      static __VA_ARGS__ const & get( Owner const & owner ) { return owner.attribute##_; }                             \
      template< class Value >                                                                                          \
      static void store( Owner & owner, Value const & value ) {                                                        \
         owner.attribute##_ = value;                                                                                   \
      }                                                                                                                \
   };                                                                                                                  \
                                                                                                                       \
 private:                                                                                                              \
   __VA_ARGS__ attribute##_{};                                                                                         \
                                                                                                                       \
 public:                                                                                                               \
   static_assert( true )

/// The back pointer to the owner: not counted, always the last argument, and always named `parent`.
#define LUM_PARENT( parent, ... ) LUM_ARG( parent, __VA_ARGS__ * )

/// Reactions, the variable arguments of an input. `handler` is called without argument for an attribute without keys,
/// with the key for one member of a collection. When the input was replaced, it is called without argument, too; a
/// handler that takes a key only is called for every key instead.
#define LUM_ON( attribute, handler )                                                                                   \
   on(                                                                                                                 \
      Lum::OnAttribute< typename LumWatched::LumAttribute_##attribute >{},                                             \
      []( auto & machine, auto const &... key ) requires requires { machine.handler( key... ); } {                     \
         machine.handler( key... );                                                                                    \
      } )
/// Keeps the child machines `followers` (LUM_FOLLOWERS) equal to the collection, whether `initialized` or not.
#define LUM_FOLLOW( attribute, followers )                                                                             \
   on( Lum::OnFollowed< typename LumWatched::LumAttribute_##attribute >{},                                             \
       []( LumSelf & machine, auto const &... key ) { machine.followers##Follow( key... ); } )
/// Only for one key of a collection, a constructor argument of the machine; `handler` takes no argument.
#define LUM_ON_KEY( attribute, keyArgument, handler )                                                                  \
   on(                                                                                                                 \
      Lum::OnKey< typename LumWatched::LumAttribute_##attribute >{}, []( LumSelf & machine ) { machine.handler(); },   \
      []< class Self >( Self const & machine ) {                                                                       \
         static_assert(                                                                                                \
            requires { requires Self::LumAttribute_##keyArgument::form == Lum::Form::argument; },                      \
            "the key " #keyArgument " of LUM_ON_KEY is no constructor argument (LUM_ARG)" );                           \
         return machine.keyArgument();                                                                                 \
      } )
/// An attribute of every child in `children`; `handler` takes the child.
#define LUM_ON_MEMBER( children, attribute, handler )                                                                  \
   on( Lum::OnMember< typename LumWatched::LumAttribute_##children,                                                    \
                      typename LumWatched::LumAttribute_##children::Value::LumAttribute_##attribute >{},               \
       []( LumSelf & machine, auto const & child ) { machine.handler( child ); } )
/// A child in `children` comes or goes; `handler` takes the child, which in the latter case is in the collection no
/// more.
#define LUM_ON_MEMBERSHIP( children, handler )                                                                         \
   on( Lum::OnMembership< typename LumWatched::LumAttribute_##children >{},                                            \
       []( LumSelf & machine, auto const & child ) { machine.handler( child ); } )

// More than eight count as nine.
#define LUM_COUNT_( ... ) LUM_COUNT_AT_( __VA_OPT__( __VA_ARGS__, ) 9, 9, 9, 9, 9, 9, 9, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0 )
#define LUM_COUNT_AT_( a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, count, ... ) count

#define LUM_INPUT_( attribute, formOfIt, T, ... )                                                                      \
   LUM_TABLE_ENTRY( attribute );                                                                                       \
   Lum::Ptr< T > const & attribute() const { return attribute##Reactor_.notifier(); }                                  \
   struct LumAttribute_##attribute {                                                                                   \
      LUM_DESCRIBE_MACHINE_( attribute, formOfIt )                                                                     \
      using Machine = LumSelf;                                                                                         \
      using Watched = T;                                                                                               \
      static constexpr unsigned count = LUM_COUNT_( __VA_ARGS__ );                                                     \
      static_assert( count <= 8, "an input has at most eight reactions: " #attribute );                                \
      template< class On >                                                                                             \
      static void reactions( [[maybe_unused]] On on ) {                                                                \
         using LumWatched [[maybe_unused]] = std::remove_const_t< T >;                                                 \
         __VA_ARGS__;                                                                                                  \
      }                                                                                                                \
      static Lum::Ptr< T > const & get( Owner const & owner ) { return owner.attribute(); }                            \
      static void store( Owner & owner, Lum::Ptr< T > value ) {                                                        \
         owner.attribute##Reactor_.notifierIs( std::move( value ) );                                                   \
      }                                                                                                                \
      static void activeIs( Owner & owner, bool active ) { owner.attribute##Reactor_.activeIs( active ); }             \
      static void zombieIs( Owner & owner, bool zombie ) { owner.attribute##Reactor_.zombieIs( zombie ); }             \
      static void repeat( Owner & owner ) { owner.attribute##Reactor_.repeat(); }                                      \
   };                                                                                                                  \
                                                                                                                       \
 private:                                                                                                              \
   Lum::Reactor< LumAttribute_##attribute > attribute##Reactor_{ this };                                               \
                                                                                                                       \
 public:                                                                                                               \
   static_assert( true )

/// An entity that is a constructor argument and is watched.
#define LUM_ARG_INPUT( attribute, T, ... )                                                                             \
   LUM_INPUT_( attribute, Lum::Form::input, T, __VA_ARGS__ );                                                          \
   LUM_ARGUMENT_( attribute )

/// An entity that is watched as soon as it is set.
#define LUM_INPUT( attribute, T, ... )                                                                                 \
   LUM_INPUT_( attribute, Lum::Form::input, T, __VA_ARGS__ );                                                          \
   void attribute##Is( Lum::Ptr< T > watched ) {                                                                       \
      Lum::KeepAlive const alive( this );                                                                              \
      bool const first = !attribute##Reactor_.bound();                                                                 \
      attribute##Reactor_.notifierIs( std::move( watched ) );                                                          \
      if( first ) Lum::makeFollowers( *this ); /* which no handler has made */                                         \
   }                                                                                                                   \
   void attribute##Del() { attribute##Reactor_.notifierIs( nullptr ); }                                                \
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
