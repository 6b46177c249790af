// The attribute table of a class: its attributes in the order of their declaration, each described by a small type with
// static members. The declaring macros write the descriptions; everything generic (the documents of the state
// interface, the reinstantiation check, a dump) walks them, so nothing lists a class's attributes a second time.
//
//    Lum::forEachAttribute< HostInfo >( []( auto attribute ) { puts( attribute.name ); } );
//
// An attribute takes the next free number of its class when it is declared: each declaration adds an overload of
// `lumCount` for one rank more, and overload resolution finds the highest rank so far.
#pragma once

#include "platform/lum/Notifiee.h"
#include "platform/lum/Strep.h"

#include <string_view>
#include <type_traits>
#include <utility>

// Outside the namespace: within it the compiler prints the names of its types without it.
template< class T >
constexpr std::string_view lumTypeName() {
   constexpr std::string_view text = __PRETTY_FUNCTION__;
   constexpr auto begin = text.find( "T = " ) + 4;
   constexpr auto end = text.find_first_of( ";]", begin );
   return text.substr( begin, end - begin );
}

namespace Lum {

constexpr unsigned maxAttributes = 40;

template< unsigned N >
struct Rank : Rank< N - 1 > {
   static constexpr unsigned rank = N;
};

template<>
struct Rank< 0 > {
   static constexpr unsigned rank = 0;
};

/// What an attribute is. The first six are an entity's, `field` a record of values', the others a machine's.
enum class Form {
   value,    ///< one value
   set,      ///< a set of keys
   values,   ///< values by key
   records,  ///< values that hold their own key
   children, ///< child entities by key
   child,    ///< a single child entity, or none
   field,    ///< a field of a record of values
   argument, ///< a constructor argument of a machine
   input,    ///< an entity that a machine watches
   machine,  ///< a single child machine
   machines, ///< child machines by key
};

template< AttributeId id >
using AttributeNumber = std::integral_constant< AttributeId, id >;

/// How many attributes T has.
template< class T >
constexpr AttributeId attributeCount = decltype( T::lumCount( Rank< maxAttributes >{} ) )::rank;

/// The description of attribute number `id` of T.
template< class T, AttributeId id >
using AttributeOf = decltype( T::lumAttribute( AttributeNumber< id >{} ) );

/// Calls `visitor` with the description of each attribute of T, in the order of declaration.
template< class T, class Visitor >
constexpr void forEachAttribute( Visitor && visitor ) {
   [ & ]< AttributeId... ids >( std::integer_sequence< AttributeId, ids... > ) {
      ( visitor( AttributeOf< T, ids >{} ), ... );
   }
   ( std::make_integer_sequence< AttributeId, attributeCount< T > >{} );
}

/// The full name of T as its declaration reads, "Kiv::HostInfo".
template< class T >
constexpr std::string_view typeName() {
   return lumTypeName< T >();
}

/// Raises RangeException for a null pointer that is to become a member of a collection of T.
template< class T, class Record >
void refuseNull( Ptr< Record > const & value, char const * attribute ) {
   if( value ) return;
   throwRangeException(
      textOf( "null _", attribute, " parameter to mutator for ", typeName< T >(), "::", attribute, " not allowed\"" ) );
}

/// Values of other kinds pass.
template< class T, class V >
void refuseNull( V const & /*value*/, char const * /*attribute*/ ) {}

} // namespace Lum

// What an attribute finds when its class does not open a table: the compiler then says that before all else.
struct LumSelf;
Lum::Rank< 0 > lumCount( Lum::Rank< 0 > );

/// Opens the attribute table of a class. Written once by the class's own marker macro, before the first attribute.
#define LUM_TABLE( Self )                                                                                              \
 public:                                                                                                               \
   using LumSelf = Self;                                                                                               \
   static void lumAttribute( void ); /* for a class without attributes: a name to look up */                           \
   static Lum::Rank< 0 > lumCount( Lum::Rank< 0 > )

/// Adds `attribute` to the table, with the description LumAttribute_<attribute> that the caller defines behind it.
#define LUM_TABLE_ENTRY( attribute )                                                                                   \
   static constexpr Lum::AttributeId lumId_##attribute =                                                               \
      decltype( lumCount( Lum::Rank< Lum::maxAttributes >{} ) )::rank;                                                 \
   static_assert( lumId_##attribute < Lum::maxAttributes,                                                              \
                  #attribute " is one attribute too many: see maxAttributes" );                                        \
   static Lum::Rank< lumId_##attribute + 1 > lumCount( Lum::Rank< lumId_##attribute + 1 > );                           \
   void lumMarked_##attribute() const {                                                                                \
      static_assert( std::is_same_v< decltype( this ), LumSelf const * >, #attribute                                   \
                     " stands in a class that does not begin with LUM_ENTITY, LUM_MACHINE or LUM_VALUE_RECORD" );      \
   }                                                                                                                   \
   struct LumAttribute_##attribute;                                                                                    \
   static LumAttribute_##attribute lumAttribute( Lum::AttributeNumber< lumId_##attribute > )
