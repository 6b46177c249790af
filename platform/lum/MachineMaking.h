// How a machine is made: its constructor arguments, and what is done with them (platform/lum/Machine.h).
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

} // namespace Lum

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
