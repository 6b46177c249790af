// The text forms of values. Two kinds: the plain text of a value, for traces and operators, and its strep, the form
// that parses back. Simple types have one text for both; a record of values has the strep
// "Value('<type>', ** {'<field>': <strep>, ...})".
#pragma once

#include "platform/lum/Fault.h"
#include "platform/lum/String.h"

#include <charconv>
#include <concepts>
#include <string>
#include <string_view>

namespace Lum {

/// The text of a value for traces and operators.
/// A type of its own takes part by a member `stringValue()` that returns a String.
template< class T >
void appendText( std::string & out, T const & value ) {
   if constexpr( std::same_as< T, bool > ) {
      out += value ? "True" : "False";
   } else if constexpr( std::integral< T > ) {
      out += std::to_string( value );
   } else if constexpr( std::floating_point< T > ) {
      char text[ 32 ];
      out.append( text, std::to_chars( text, text + sizeof text, value ).ptr );
   } else if constexpr( std::convertible_to< T, std::string_view > ) {
      out += std::string_view( value );
   } else if constexpr( std::derived_from< T, String > ) {
      out += value.view();
   } else if constexpr( requires { value.stringValue(); } ) {
      out += value.stringValue().view();
   } else {
      out += stringValue( value ).view(); // an enumeration: found beside its type
   }
}

/// The texts of all arguments, one behind the other.
template< class... Ts >
std::string textOf( Ts const &... values ) {
   std::string out;
   ( appendText( out, values ), ... );
   return out;
}

/// Takes `literal` off the front of `text`; raises RangeException when `text` begins otherwise.
inline void needString( std::string_view & text, std::string_view literal ) {
   if( !text.starts_with( literal ) ) throwRangeException( textOf( "expected \"", literal, "\" at \"", text, "\"" ) );
   text.remove_prefix( literal.size() );
}

} // namespace Lum
