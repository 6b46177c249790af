// The JSON form of values and of keys. Each type has one form; records of values are walked by their field tables.
#pragma once

#include "host/Json.h"
#include "platform/harbor/SystemId.h"
#include "platform/lum/ValueRecord.h"
#include "platform/neroli/EthAddr.h"
#include "platform/neroli/IpGenAddr.h"
#include "platform/vxlan/Vni.h"
#include "records/kiv/PolicyConfig.h"
#include "records/kiv/SwitchPair.h"

#include <boost/describe/enumerators.hpp>
#include <boost/mp11/algorithm.hpp>
#include <limits>
#include <optional>

namespace Host {

template< class V >
concept Parsed = requires {
   V::parse( std::string_view() );
};

template< class V >
concept VniNumber = std::same_as< V, Vxlan::Vni > || std::same_as< V, Vxlan::VniOrNone >;

/// What a text must be to be read as a V; told where one is not.
template< Parsed V >
constexpr char const * expected = "a text of its type";
template<>
inline constexpr char const * expected< Neroli::EthAddr > = "a MAC, as \"02:00:aa:bb:cc:dd\"";
template<>
inline constexpr char const * expected< Neroli::IpAddr > = "an IPv4 address, as \"10.0.0.1\"";
template<>
inline constexpr char const * expected< Neroli::IpGenAddr > = "an address, as \"10.0.0.1\" or \"2001:db8::1\"";
template<>
inline constexpr char const * expected< Neroli::IpGenAddrWithMask > = "a prefix, as \"10.0.0.1/32\"";
template<>
inline constexpr char const * expected< Vxlan::Vni > = "a VNI, 0 to 16777215";
template<>
inline constexpr char const * expected< Vxlan::VniOrNone > = "a VNI, 0 to 16777215, or 16777216 for none";
template<>
inline constexpr char const * expected< Kiv::SwitchIntfPair > = "a port, as \"02:00:00:00:00:0a/Ethernet1/1\"";

/// The text of a key.
template< class K >
std::string keyText( K const & key ) {
   return Lum::textOf( key );
}

/// The key that a text stands for; nothing if it is none. The empty text is no key of any type.
template< class K >
std::optional< K > parsedKey( std::string_view text ) {
   if( text.empty() ) return std::nullopt;
   if constexpr( Parsed< K > ) {
      return K::parse( text );
   } else if constexpr( std::same_as< K, Harbor::SystemId > ) {
      return Harbor::systemIdFromString( text );
   } else {
      return K( text );
   }
}

/// The same; raises Refusal where there is none.
template< class K >
K keyOf( std::string_view text, std::string const & at ) {
   if( text.empty() ) throw Refusal{ at, "an empty key" };
   auto key = parsedKey< K >( text );
   if constexpr( Parsed< K > ) {
      if( !key ) throw misfit( at, "no valid key", text, expected< K > );
   }
   return *std::move( key );
}

/// One name of an enumeration, and its number.
struct Enumerator {
   char const * name;
   int number;
};

/// Those of E, in the order of their declaration.
template< class E >
std::vector< Enumerator > enumeratorsOf() {
   std::vector< Enumerator > all;
   boost::mp11::mp_for_each< boost::describe::describe_enumerators< E > >( [ & ]( auto each ) {
      all.push_back( { each.name, static_cast< int >( each.value ) } );
   } );
   return all;
}

void writeEnumerator( Writer & writer, int number, std::vector< Enumerator > const & all );
void writeVlans( Writer & writer, Kiv::VlanSet const & vlans );

template< class V >
void writeValue( Writer & writer, V const & value ) {
   if constexpr( std::same_as< V, bool > ) {
      writer.Bool( value );
   } else if constexpr( std::floating_point< V > ) {
      writer.Double( value );
   } else if constexpr( std::integral< V > ) {
      writer.Uint64( value );
   } else if constexpr( VniNumber< V > ) {
      writer.Uint( value.value() );
   } else if constexpr( std::is_enum_v< V > ) {
      writeEnumerator( writer, static_cast< int >( value ), enumeratorsOf< V >() );
   } else if constexpr( std::same_as< V, Kiv::SwitchPair > ) {
      writer.StartArray();
      writeText( writer, value.first().stringValue().view() );
      writeText( writer, value.second().stringValue().view() );
      writer.EndArray();
   } else if constexpr( std::same_as< V, Kiv::VlanSet > ) {
      writeVlans( writer, value );
   } else if constexpr( Lum::ValueRecord< V > ) {
      writer.StartObject();
      Lum::forEachAttribute< V >( [ & ]( auto field ) {
         if( field.isKey || field.get( value ) == field.initial() ) return;
         writer.Key( field.name );
         writeValue( writer, field.get( value ) );
      } );
      writer.EndObject();
   } else {
      writeText( writer, Lum::textOf( value ) );
   }
}

/// The names of the fields of V but its key.
template< Lum::ValueRecord V >
std::vector< std::string > fieldsOf() {
   std::vector< std::string > names;
   Lum::forEachAttribute< V >( [ & ]( auto field ) {
      if( !field.isKey ) names.push_back( field.name );
   } );
   return names;
}

/// Calls `use` with the description of the field of that name; raises Refusal, at `at`, when V has none.
template< Lum::ValueRecord V, class Use >
void withField( std::string_view name, std::string const & at, Use use ) {
   bool found = false;
   Lum::forEachAttribute< V >( [ & ]( auto field ) {
      if( field.isKey || name != field.name ) return;
      found = true;
      use( field );
   } );
   if( !found ) throw unknown( at, Lum::textOf( "no such field of ", Lum::typeName< V >() ), name, fieldsOf< V >() );
}

std::string_view readText( Json const & json, std::string const & at );
/// 10 and 10.0 are one number.
std::uint32_t readInteger( Json const & json, std::string const & at, std::uint32_t max );
int readEnumerator( Json const & json, std::string const & at, std::vector< Enumerator > const & all );
Kiv::SwitchPair readSwitchPair( Json const & json, std::string const & at );
Kiv::VlanSet readVlans( Json const & json, Kiv::VlanSet base, std::string const & at );
/// Raises Refusal for a text that is no VLAN.
void checkVlan( std::string_view text, std::string const & at );

/// Reads a value; a record of values and a set merge into `base`. Raises Refusal with the place and the reason.
template< class V >
V readValue( Json const & json, [[maybe_unused]] V base, std::string const & at ) {
   if constexpr( std::same_as< V, bool > ) {
      if( !json.IsBool() ) throw Refusal{ at, "true or false is expected" };
      return json.GetBool();
   } else if constexpr( std::floating_point< V > ) {
      if( !json.IsNumber() ) throw Refusal{ at, "a number is expected" };
      return json.GetDouble();
   } else if constexpr( std::integral< V > ) {
      static_assert( sizeof( V ) <= sizeof( std::uint32_t ) );
      return static_cast< V >( readInteger( json, at, std::numeric_limits< V >::max() ) );
   } else if constexpr( VniNumber< V > ) {
      return V( readInteger( json, at, std::same_as< V, Vxlan::Vni > ? Vxlan::Vni::max : Vxlan::VniOrNone::none ) );
   } else if constexpr( std::is_enum_v< V > ) {
      return static_cast< V >( readEnumerator( json, at, enumeratorsOf< V >() ) );
   } else if constexpr( std::same_as< V, Kiv::SwitchPair > ) {
      return readSwitchPair( json, at );
   } else if constexpr( std::same_as< V, Kiv::VlanSet > ) {
      return readVlans( json, std::move( base ), at );
   } else if constexpr( Lum::ValueRecord< V > ) {
      needObject( json, at );
      for( auto const & each : json.GetObject() ) {
         auto const place = below( at, textOf( each.name ) );
         withField< V >( textOf( each.name ), place, [ & ]( auto field ) {
            auto & value = field.get( base );
            value = each.value.IsNull() ? field.initial() : readValue( each.value, value, place );
         } );
      }
      return base;
   } else if constexpr( Parsed< V > ) {
      auto const value = V::parse( readText( json, at ) );
      if( !value ) throw misfit( at, "not of the expected form", textOf( json ), expected< V > );
      return *value;
   } else {
      return V( readText( json, at ) );
   }
}

/// Writes what stands at `tokens`, from number `next` on, within a value; false when nothing does.
template< class V >
bool getWithin( V const & value, Tokens const & tokens, std::size_t next, Writer & writer ) {
   if( next == tokens.size() ) {
      writeValue( writer, value );
      return true;
   }
   bool found = false;
   if constexpr( Lum::ValueRecord< V > ) {
      Lum::forEachAttribute< V >( [ & ]( auto field ) {
         if( !field.isKey && tokens[ next ] == field.name ) {
            found = getWithin( field.get( value ), tokens, next + 1, writer );
         }
      } );
   } else if constexpr( std::same_as< V, Kiv::VlanSet > ) {
      auto const at = value.find( Lum::String( tokens[ next ] ) );
      if( at != value.end() ) found = getWithin( at->second, tokens, next + 1, writer );
   } else if constexpr( std::same_as< V, Kiv::SwitchPair > ) {
      if( tokens[ next ] == "0" ) found = getWithin( value.first(), tokens, next + 1, writer );
      if( tokens[ next ] == "1" ) found = getWithin( value.second(), tokens, next + 1, writer );
   }
   return found;
}

/// Raises Refusal unless something may stand at `tokens`, from number `next` on, within a value of type V.
template< class V >
void checkWithin( Tokens const & tokens, std::size_t next ) {
   if( next == tokens.size() ) return;
   auto const at = pointerOf( std::span( tokens ).first( next + 1 ) );
   if constexpr( Lum::ValueRecord< V > ) {
      withField< V >( tokens[ next ], at,
                      [ & ]( auto field ) { checkWithin< typename decltype( field )::Value >( tokens, next + 1 ); } );
   } else if constexpr( std::same_as< V, Kiv::VlanSet > ) {
      checkVlan( tokens[ next ], at );
      checkWithin< bool >( tokens, next + 1 );
   } else if constexpr( std::same_as< V, Kiv::SwitchPair > ) {
      if( tokens[ next ] != "0" && tokens[ next ] != "1" )
         throw unknown( at, "no such member", tokens[ next ], { "0", "1" } );
      checkWithin< Lum::String >( tokens, next + 1 );
   } else {
      throw Refusal{ at, "nothing stands below a value" };
   }
}

/// The name of a type, for readers.
template< class V >
std::string typeText() {
   if constexpr( std::same_as< V, bool > || std::floating_point< V > ) {
      return std::string( Lum::typeName< V >() );
   } else if constexpr( std::integral< V > ) {
      return Lum::textOf( "uint", 8 * sizeof( V ) );
   } else if constexpr( std::same_as< V, Kiv::VlanSet > ) {
      return "Kiv::VlanSet";
   } else {
      return std::string( Lum::typeName< V >() );
   }
}

void describeEnumerators( Writer & writer, std::vector< Enumerator > const & all );

/// Writes the members of a description that tell of a type: its name; the names of an enumeration; of a record of
/// values its fields, each with its type and default.
template< class V >
void describeType( Writer & writer ) {
   writer.Key( "type" );
   writeText( writer, typeText< V >() );
   if constexpr( std::is_enum_v< V > ) {
      describeEnumerators( writer, enumeratorsOf< V >() );
   } else if constexpr( Lum::ValueRecord< V > ) {
      writer.Key( "fields" );
      writer.StartObject();
      Lum::forEachAttribute< V >( [ & ]( auto field ) {
         if( field.isKey ) return;
         writer.Key( field.name );
         writer.StartObject();
         describeType< typename decltype( field )::Value >( writer );
         writer.Key( "default" );
         writeValue( writer, field.initial() );
         writer.EndObject();
      } );
      writer.EndObject();
   }
}

} // namespace Host
