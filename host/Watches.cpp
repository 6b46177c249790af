#include "host/Watches.h"

#include <algorithm>

namespace Host {

void Watches::add( Tokens const & pointer ) {
   pointers_.push_back( pointer );
   if( auto * const told = toldAt( pointer ) ) told->members.clear();
   rapidjson::StringBuffer unused;
   Writer writer( unused );
   writeChange( pointer, writer );
}

std::string Watches::lineOf( Tokens const & place ) {
   auto const near = [ & ]( Tokens const & each ) { return startsWith( place, each ) || startsWith( each, place ); };
   if( std::none_of( pointers_.begin(), pointers_.end(), near ) ) return {};
   bool const stood = toldAt( place );
   bool const concerned = concerns( place );
   rapidjson::StringBuffer buffer;
   Writer writer( buffer );
   writer.StartObject();
   writer.Key( "changed" );
   for( auto const & token : place ) {
      writer.StartObject();
      writeKey( writer, token );
   }
   writeChange( place, writer );
   for( std::size_t i = 0; i <= place.size(); ++i ) writer.EndObject();
   if( !stood && !toldAt( place ) ) return {};
   return concerned || concerns( place ) ? buffer.GetString() : "";
}

bool Watches::concerns( Tokens const & place ) {
   return std::any_of( pointers_.begin(), pointers_.end(), [ & ]( Tokens const & each ) {
      return startsWith( place, each ) || ( startsWith( each, place ) && toldAt( each ) );
   } );
}

/// The names told at a place; null where nothing is known to stand.
Watches::Shape * Watches::toldAt( std::span< std::string const > pointer ) {
   Shape * told = &told_;
   for( auto const & token : pointer ) {
      auto const member = told->members.find( token );
      if( member == told->members.end() ) return nullptr;
      told = &member->second;
   }
   return told;
}

/// Writes what stands at `place` now as a patch of what was told.
void Watches::writeChange( Tokens const & place, Writer & writer ) {
   rapidjson::StringBuffer value;
   Writer valueWriter( value );
   if( !tree_.get( place, valueWriter ) ) {
      writer.Null();
      auto * const holder = toldAt( std::span( place ).first( place.size() - 1 ) );
      if( holder ) holder->members.erase( place.back() );
      return;
   }
   Shape * told = &told_;
   for( auto const & token : place ) told = &told->members[ token ];
   writeMerge( parsed( { value.GetString(), value.GetSize() } ), *told, writer );
}

void Watches::writeMerge( Json const & value, Shape & told, Writer & writer ) {
   if( !value.IsObject() ) {
      told.members.clear();
      value.Accept( writer );
      return;
   }
   writer.StartObject();
   std::erase_if( told.members, [ & ]( auto const & each ) {
      if( value.HasMember( Json( rapidjson::StringRef( each.first.data(), each.first.size() ) ) ) ) return false;
      writeKey( writer, each.first );
      writer.Null();
      return true;
   } );
   for( auto const & each : value.GetObject() ) {
      writeKey( writer, textOf( each.name ) );
      writeMerge( each.value, told.members[ std::string( textOf( each.name ) ) ], writer );
   }
   writer.EndObject();
}

} // namespace Host
