// What a machine watches, and what it does then (platform/lum/Machine.h).
#pragma once

#include "platform/lum/MachineMaking.h"

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
/// The same for those children alone whose member function `route` returns the machine's argument `keyArgument`.
#define LUM_ON_MEMBER_OF( children, route, keyArgument, attribute, handler )                                           \
   on(                                                                                                                 \
      Lum::OnMemberOf< typename LumWatched::LumAttribute_##children,                                                   \
                       typename LumWatched::LumAttribute_##children::Value::LumAttribute_##attribute,                  \
                       &LumWatched::LumAttribute_##children::Value::route >{},                                         \
      []( LumSelf & machine, auto const & child ) { machine.handler( child ); },                                       \
      []< class Self >( Self const & machine ) {                                                                       \
         static_assert(                                                                                                \
            requires { requires Self::LumAttribute_##keyArgument::form == Lum::Form::argument; },                      \
            "the key " #keyArgument " of LUM_ON_MEMBER_OF is no constructor argument (LUM_ARG)" );                     \
         return machine.keyArgument();                                                                                 \
      } )
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
