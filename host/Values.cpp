#include "host/Values.h"

#include <algorithm>
#include <cmath>

namespace Host {

namespace {

std::vector< std::string > namesOf( std::vector< Enumerator > const & all ) {
   std::vector< std::string > names;
   names.reserve( all.size() );
   for( auto const & each : all ) names.emplace_back( each.name );
   return names;
}

} // namespace

void writeEnumerator( Writer & writer, int number, std::vector< Enumerator > const & all ) {
   auto const known =
      std::find_if( all.begin(), all.end(), [ & ]( auto const & each ) { return each.number == number; } );
   known == all.end() ? writer.Int( number ) : writer.String( known->name );
}

void writeVlans( Writer & writer, Kiv::VlanSet const & vlans ) {
   writer.StartObject();
   for( auto const & [ vlan, allowed ] : vlans ) {
      writeKey( writer, vlan.view() );
      writer.Bool( allowed );
   }
   writer.EndObject();
}

std::string_view readText( Json const & json, std::string const & at ) {
   if( !json.IsString() ) throw Refusal{ at, "a string is expected" };
   return textOf( json );
}

std::uint32_t readInteger( Json const & json, std::string const & at, std::uint32_t max ) {
   if( !json.IsNumber() || std::trunc( json.GetDouble() ) != json.GetDouble() )
      throw Refusal{ at, "an integer is expected" };
   if( json.GetDouble() < 0 || json.GetDouble() > max )
      throw Refusal{ at, "out of range: 0 to " + std::to_string( max ) };
   return static_cast< std::uint32_t >( json.GetDouble() );
}

int readEnumerator( Json const & json, std::string const & at, std::vector< Enumerator > const & all ) {
   auto const meant = [ & ]( Enumerator const & each ) {
      return json.IsString() ? textOf( json ) == each.name : json.IsNumber() && json.GetDouble() == each.number;
   };
   auto const found = std::find_if( all.begin(), all.end(), meant );
   if( found != all.end() ) return found->number;
   rapidjson::StringBuffer text;
   Writer writer( text );
   json.Accept( writer );
   throw unknown( at, "no such enumerator", json.IsString() ? textOf( json ) : text.GetString(), namesOf( all ) );
}

Kiv::SwitchPair readSwitchPair( Json const & json, std::string const & at ) {
   if( !json.IsArray() || json.Size() != 2 || !json[ 0 ].IsString() || !json[ 1 ].IsString() )
      throw Refusal{ at, "an array of two strings is expected" };
   return Kiv::SwitchPair( Kiv::SwitchId( textOf( json[ 0 ] ) ), Kiv::SwitchId( textOf( json[ 1 ] ) ) );
}

void checkVlan( std::string_view text, std::string const & at ) {
   auto const vlan = Lum::parseNumber< std::uint16_t >( text );
   if( !vlan || *vlan > 4095 ) throw misfit( at, "no valid key", text, "a VLAN, 0 to 4095, as \"100\"" );
}

Kiv::VlanSet readVlans( Json const & json, Kiv::VlanSet base, std::string const & at ) {
   needObject( json, at );
   for( auto const & each : json.GetObject() ) {
      auto const place = below( at, textOf( each.name ) );
      checkVlan( textOf( each.name ), place );
      if( each.value.IsNull() ) {
         base.erase( textOf( each.name ) );
      } else if( each.value.IsTrue() ) {
         base[ textOf( each.name ) ] = true;
      } else {
         throw Refusal{ place, "true or null is expected" };
      }
   }
   return base;
}

void describeEnumerators( Writer & writer, std::vector< Enumerator > const & all ) {
   writer.Key( "names" );
   writer.StartArray();
   for( auto const & each : all ) writer.String( each.name );
   writer.EndArray();
}

} // namespace Host
