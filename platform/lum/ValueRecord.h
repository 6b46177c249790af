// Records of values: plain structures that are copied, compared field by field and told as text. A field is declared in
// one line; the streps and the documents of the state interface come from the table.
//
//    struct IpToMacV2 {
//       LUM_VALUE_RECORD( IpToMacV2 );
//       LUM_KEY_FIELD( ip, Neroli::IpGenAddr ); // of a record that holds its own key
//       LUM_FIELD( mac, Neroli::EthAddr );
//    };
#pragma once

#include "platform/lum/AttributeTable.h"
#include "platform/lum/Strep.h"

namespace Lum {

/// The strep of a record: the type's name, then each field by name.
template< ValueRecord T >
String valueToStrep( T const & record ) {
   std::string text = textOf( "Value('", typeName< T >(), "', ** {" );
   char const * separator = "";
   forEachAttribute< T >( [ & ]( auto field ) {
      text += textOf( separator, "'", field.name, "': ", valueToStrep( field.get( record ) ) );
      separator = ", ";
   } );
   return text + "})";
}

/// Reads a record's strep off the front of `text`; raises RangeException on any other form.
template< ValueRecord T >
T sequenceToValue( std::string_view & text ) {
   T record;
   needString( text, textOf( "Value('", typeName< T >(), "', ** {" ) );
   char const * separator = "";
   forEachAttribute< T >( [ & ]( auto field ) {
      needString( text, textOf( separator, "'", field.name, "': " ) );
      field.get( record ) = sequenceToValue< typename decltype( field )::Value >( text );
      separator = ", ";
   } );
   needString( text, "})" );
   return record;
}

} // namespace Lum

#define LUM_VALUE_RECORD( Self )                                                                                       \
   LUM_TABLE( Self );                                                                                                  \
   using LumValueRecord = void;                                                                                        \
   bool operator==( Self const & ) const = default;                                                                    \
   Lum::String stringValue() const { return Lum::valueToStrep( *this ); }                                              \
   static_assert( true )

/// A field with its zero value as default; `LUM_FIELD_DEFAULT` names another.
#define LUM_FIELD( attribute, ... ) LUM_FIELD_( attribute, false, ( __VA_ARGS__{} ), __VA_ARGS__ )
#define LUM_FIELD_DEFAULT( attribute, initially, ... ) LUM_FIELD_( attribute, false, ( initially ), __VA_ARGS__ )
/// The field that is the record's key in the collection that holds it.
#define LUM_KEY_FIELD( attribute, ... )                                                                                \
   LUM_FIELD_( attribute, true, ( __VA_ARGS__{} ), __VA_ARGS__ );                                                      \
   __VA_ARGS__ const & lumKey() const { return attribute; }                                                            \
   void lumKeyIs( __VA_ARGS__ keyOfIt ) { attribute = std::move( keyOfIt ); }                                          \
   static_assert( true )

#define LUM_FIELD_( attribute, itsKey, initially, ... )                                                                \
   LUM_TABLE_ENTRY( attribute );                                                                                       \
   __VA_ARGS__ attribute = initially;                                                                                  \
   struct LumAttribute_##attribute {                                                                                   \
      using Value = __VA_ARGS__;                                                                                       \
      static constexpr char const * name = #attribute;                                                                 \
      static constexpr Lum::Form form = Lum::Form::field;                                                              \
      static constexpr bool isKey = itsKey;                                                                            \
      static Value initial() { return initially; }                                                                     \
      static Value const & get( LumSelf const & record ) { return record.attribute; }                                  \
      static Value & get( LumSelf & record ) { return record.attribute; }                                              \
   }
