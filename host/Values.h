// The JSON form of values and of keys. Each type has one form; records of
// values are walked by their field tables.
#pragma once

#include "host/Json.h"
#include "platform/harbor/SystemId.h"
#include "platform/lum/ValueRecord.h"
#include "platform/neroli/EthAddr.h"
#include "platform/neroli/IpGenAddr.h"
#include "platform/vxlan/Vni.h"
#include "records/kiv/PolicyConfig.h"
#include "records/kiv/SwitchPair.h"

#include <boost/describe/enum_to_string.hpp>
#include <boost/describe/enumerators.hpp>
#include <boost/mp11/algorithm.hpp>
#include <cmath>
#include <limits>
#include <optional>

namespace Host {

template< class V >
concept Parsed = requires {
   V::parse( std::string_view() );
};

template< class V >
concept VniNumber = std::same_as< V, Vxlan::Vni > || std::same_as< V, Vxlan::VniOrNone >;

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
   auto const key = parsedKey< K >( text );
   if( !key ) throw Refusal{ at, text.empty() ? "an empty key" : "no valid key: \"" + std::string( text ) + "\"" };
   return *key;
}

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
      char const * const name = boost::describe::enum_to_string( value, "" );
      *name ? writer.String( name ) : writer.Int( static_cast< int >( value ) );
   } else if constexpr( std::same_as< V, Kiv::SwitchPair > ) {
      writer.StartArray();
      writeText( writer, value.first().view() );
      writeText( writer, value.second().view() );
      writer.EndArray();
   } else if constexpr( std::same_as< V, Kiv::VlanSet > ) {
      writer.StartObject();
      for( auto const & [ vlan, allowed ] : value ) {
         writeKey( writer, vlan.view() );
         writer.Bool( allowed );
      }
      writer.EndObject();
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

/// Reads a value; a record of values and a set merge into `base`. Raises
/// Refusal with the place and the reason.
template< class V >
V readValue( Json const & json, V base, std::string const & at );

// 10 and 10.0 are one number.
template< std::integral V >
V readInteger( Json const & json, std::string const & at, V max = std::numeric_limits< V >::max() ) {
   static_assert( sizeof( V ) <= 4, "a double holds every value" );
   if( !json.IsNumber() || std::trunc( json.GetDouble() ) != json.GetDouble() )
      throw Refusal{ at, "an integer is expected" };
   if( json.GetDouble() < 0 || json.GetDouble() > max )
      throw Refusal{ at, "out of range: 0 to " + std::to_string( max ) };
   return static_cast< V >( json.GetDouble() );
}

template< VniNumber V >
V readVni( Json const & json, std::string const & at ) {
   constexpr std::uint32_t max = std::same_as< V, Vxlan::Vni > ? Vxlan::Vni::max : Vxlan::VniOrNone::none;
   return V( readInteger< std::uint32_t >( json, at, max ) );
}

// A number needs no name: what another version of a writer means by it is kept.
template< class E >
E readEnumeration( Json const & json, std::string const & at ) {
   if( json.IsNumber() ) return static_cast< E >( readInteger< std::underlying_type_t< E > >( json, at ) );
   if( !json.IsString() ) throw Refusal{ at, "the name of an enumerator is expected" };
   std::optional< E > value;
   boost::mp11::mp_for_each< boost::describe::describe_enumerators< E > >( [ & ]( auto each ) {
      if( textOf( json ) == each.name ) value = each.value;
   } );
   if( !value ) throw Refusal{ at, "no such enumerator: \"" + std::string( textOf( json ) ) + "\"" };
   return *value;
}

inline Kiv::SwitchPair readSwitchPair( Json const & json, std::string const & at ) {
   if( !json.IsArray() || json.Size() != 2 || !json[ 0 ].IsString() || !json[ 1 ].IsString() ) {
      throw Refusal{ at, "an array of two strings is expected" };
   }
   return Kiv::SwitchPair( textOf( json[ 0 ] ), textOf( json[ 1 ] ) );
}

inline Kiv::VlanSet readVlans( Json const & json, Kiv::VlanSet base, std::string const & at ) {
   needObject( json, at );
   for( auto const & each : json.GetObject() ) {
      auto const place = below( at, textOf( each.name ) );
      auto const vlan = keyOf< Lum::String >( textOf( each.name ), place );
      if( each.value.IsNull() ) {
         base.erase( vlan );
      } else if( each.value.IsTrue() ) {
         base[ vlan ] = true;
      } else {
         throw Refusal{ place, "true or null is expected" };
      }
   }
   return base;
}

template< Lum::ValueRecord V >
V readRecord( Json const & json, V base, std::string const & at ) {
   needObject( json, at );
   for( auto const & each : json.GetObject() ) {
      auto const place = below( at, textOf( each.name ) );
      bool found = false;
      Lum::forEachAttribute< V >( [ & ]( auto field ) {
         if( field.isKey || textOf( each.name ) != field.name ) return;
         found = true;
         auto & value = field.get( base );
         value = each.value.IsNull() ? field.initial() : readValue( each.value, value, place );
      } );
      if( !found ) throw Refusal{ place, "no such field" };
   }
   return base;
}

template< class V >
V readValue( Json const & json, [[maybe_unused]] V base, std::string const & at ) {
   if constexpr( std::same_as< V, bool > ) {
      if( !json.IsBool() ) throw Refusal{ at, "true or false is expected" };
      return json.GetBool();
   } else if constexpr( std::floating_point< V > ) {
      if( !json.IsNumber() ) throw Refusal{ at, "a number is expected" };
      return json.GetDouble();
   } else if constexpr( std::integral< V > ) {
      return readInteger< V >( json, at );
   } else if constexpr( VniNumber< V > ) {
      return readVni< V >( json, at );
   } else if constexpr( std::is_enum_v< V > ) {
      return readEnumeration< V >( json, at );
   } else if constexpr( std::same_as< V, Kiv::SwitchPair > ) {
      return readSwitchPair( json, at );
   } else if constexpr( std::same_as< V, Kiv::VlanSet > ) {
      return readVlans( json, std::move( base ), at );
   } else if constexpr( Lum::ValueRecord< V > ) {
      return readRecord( json, std::move( base ), at );
   } else if constexpr( Parsed< V > ) {
      if( !json.IsString() ) throw Refusal{ at, "a string is expected" };
      auto const value = V::parse( textOf( json ) );
      if( !value ) throw Refusal{ at, "not of the expected form: \"" + std::string( textOf( json ) ) + "\"" };
      return *value;
   } else {
      if( !json.IsString() ) throw Refusal{ at, "a string is expected" };
      return V( textOf( json ) );
   }
}

/// Writes what stands at `tokens`, from number `next` on, within a value; false
/// when nothing does.
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

} // namespace Host
