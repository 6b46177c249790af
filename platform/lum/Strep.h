// The text forms of values. Two kinds: the plain text of a value, for traces and operators, and its strep, the form
// that parses back. Simple types have one text for both; a record of values has the strep
// "Value('<type>', ** {'<field>': <strep>, ...})".
#pragma once

#include "platform/lum/Fault.h"
#include "platform/lum/String.h"

#include <algorithm>
#include <boost/describe/enum_from_string.hpp>
#include <charconv>
#include <concepts>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

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

/// The number that `text` is, in its one canonical decimal form: a whole number has no plus sign and no leading zero.
/// Nothing for any other text, or for one out of T's range.
template< class T >
std::optional< T > parseNumber( std::string_view text ) {
   T number{};
   auto const [ end, error ] = std::from_chars( text.data(), text.data() + text.size(), number );
   if( error != std::errc() || end != text.data() + text.size() ) return std::nullopt;
   if( std::integral< T > && text != textOf( number ) ) return std::nullopt;
   return number;
}

/// The reverse of appendText for simple types; nothing for a text that is none of T's.
/// A type of its own takes part by `static std::optional< T > parse( std::string_view )`, the reverse of its
/// `stringValue()`, if no text of it holds a ",", "}" or ": "; an enumeration by its boost::describe.
template< class T >
std::optional< T > parseSimple( std::string_view text ) {
   if constexpr( std::same_as< T, bool > ) {
      return text == "True" ? std::optional( true ) : text == "False" ? std::optional( false ) : std::nullopt;
   } else if constexpr( std::is_arithmetic_v< T > ) {
      return parseNumber< T >( text );
   } else if constexpr( std::is_enum_v< T > ) {
      T value{};
      bool const known = boost::describe::enum_from_string( std::string( text ).c_str(), value );
      return known ? std::optional( value ) : std::nullopt;
   } else {
      return T::parse( text );
   }
}

/// `text` in single quotes, with a backslash before each quote and backslash in it.
String quoted( std::string_view text );
/// Takes a quoted text off the front of `rest` and gives what was quoted; raises RangeException on any other form.
String takeQuoted( std::string_view & rest );

/// A record of values takes part by its table of fields; ValueRecord.h holds the two below for it.
template< class T >
concept ValueRecord = requires {
   typename T::LumValueRecord;
};
template< ValueRecord T >
String valueToStrep( T const & record );
template< ValueRecord T >
T sequenceToValue( std::string_view & text );

/// The strep of a value. A type that is neither simple nor a record has `strep()`, and `static T sequenceToValue( rest
/// )` to read it back. The strep of a map is "{<key>: <value>, ...}".
template< class T >
String valueToStrep( T const & value ) {
   if constexpr( std::derived_from< T, String > ) {
      return quoted( value.view() );
   } else if constexpr( requires { value.strep(); } ) {
      return value.strep();
   } else if constexpr( requires { typename T::mapped_type; } ) {
      std::string out = "{";
      for( auto const & [ key, mapped ] : value ) {
         out += textOf( out.size() > 1 ? ", " : "", valueToStrep( key ), ": ", valueToStrep( mapped ) );
      }
      return out + "}";
   } else {
      return textOf( value );
   }
}

/// Takes a value's strep off the front of `rest`, which is left with what follows; raises RangeException if there is
/// none. A simple value ends at the next ",", "}" or ": ".
template< class T >
T sequenceToValue( std::string_view & rest ) {
   if constexpr( std::derived_from< T, String > ) {
      return T( takeQuoted( rest ) );
   } else if constexpr( requires { T::sequenceToValue( rest ); } ) {
      return T::sequenceToValue( rest );
   } else if constexpr( requires { typename T::mapped_type; } ) {
      T map;
      for( needString( rest, "{" ); !rest.starts_with( "}" ); ) {
         if( !map.empty() ) needString( rest, ", " );
         auto key = sequenceToValue< typename T::key_type >( rest );
         needString( rest, ": " );
         map.insert_or_assign( std::move( key ), sequenceToValue< typename T::mapped_type >( rest ) );
      }
      rest.remove_prefix( 1 );
      return map;
   } else {
      auto const text = rest.substr( 0, std::min( rest.find_first_of( ",}" ), rest.find( ": " ) ) );
      auto const value = parseSimple< T >( text );
      if( !value ) throwRangeException( textOf( "\"", text, "\" is not a valid value" ) );
      rest.remove_prefix( text.size() );
      return *value;
   }
}

/// The value whose strep is `text`, the whole of it; raises RangeException, which names the text, if it is none.
template< class T >
T strepToValue( std::string_view text ) {
   std::string_view rest = text;
   T value = sequenceToValue< T >( rest );
   if( !rest.empty() ) throwRangeException( textOf( "\"", rest, "\" after the value in \"", text, "\"" ) );
   return value;
}

} // namespace Lum
