#include "host/RecordForm.h"

#include <algorithm>
#include <unordered_map>

namespace Host {

char const * formName( Lum::Form form ) {
   switch( form ) {
   case Lum::Form::value:
      return "value";
   case Lum::Form::set:
      return "set";
   case Lum::Form::values:
      return "values";
   case Lum::Form::records:
      return "records";
   case Lum::Form::children:
      return "children";
   case Lum::Form::child:
      return "child";
   default:
      return "";
   }
}

// A key has one text in which it is read, but may be written in several.
void CollectionForm::check( Json const & patch, std::string const & at ) const {
   if( patch.IsNull() ) return;
   needObject( patch, at );
   std::unordered_map< std::string, std::string_view > written;
   for( auto const & each : patch.GetObject() ) {
      auto const place = below( at, textOf( each.name ) );
      auto const [ other, fresh ] = written.emplace( keyTextOf( textOf( each.name ), place ), textOf( each.name ) );
      if( !fresh ) throw Refusal{ place, "the key stands in its object as " + quoted( other->second ) + ", too" };
      if( !each.value.IsNull() ) checkMember( each.value, place );
   }
}

void CollectionForm::apply( Lum::Entity & owner, Json const & patch ) const {
   if( patch.IsNull() ) return deleteAll( owner );
   for( auto const & each : patch.GetObject() ) applyMember( owner, textOf( each.name ), each.value );
}

void CollectionForm::locate( Tokens & tokens, std::size_t next ) const {
   if( next == tokens.size() ) return;
   tokens[ next ] = keyTextOf( tokens[ next ], pointerOf( std::span( tokens ).first( next + 1 ) ) );
   locateInMember( tokens, next + 1 );
}

AttributeForm const * RecordForm::find( std::string_view name ) const {
   auto const found =
      std::find_if( attributes_.begin(), attributes_.end(), [ & ]( auto each ) { return name == each->name(); } );
   return found == attributes_.end() ? nullptr : *found;
}

AttributeForm const & RecordForm::at( std::string_view name, std::string const & place ) const {
   if( auto const * const found = find( name ) ) return *found;
   std::vector< std::string > names;
   for( auto const * each : attributes_ ) names.emplace_back( each->name() );
   throw unknown( place, "no such attribute of " + std::string( type_ ), name, names );
}

void RecordForm::read( Writer & writer, Lum::Entity const & entity ) const {
   writer.StartObject();
   for( auto const * each : attributes_ ) {
      if( each->isDefault( entity ) ) continue;
      writer.Key( each->name() );
      each->read( writer, entity );
   }
   writer.EndObject();
}

void RecordForm::check( Json const & patch, std::string const & at ) const {
   needObject( patch, at );
   for( auto const & each : patch.GetObject() ) {
      auto const place = below( at, textOf( each.name ) );
      this->at( textOf( each.name ), place ).check( each.value, place );
   }
}

void RecordForm::apply( Lum::Entity & entity, Json const & patch ) const {
   Lum::Ptr< Lum::Entity > const alive( &entity ); // a handler may delete it meanwhile
   for( auto const & each : patch.GetObject() ) find( textOf( each.name ) )->apply( entity, each.value );
}

bool RecordForm::get( Lum::Entity const & entity, Tokens const & tokens, std::size_t next, Writer & writer ) const {
   if( next == tokens.size() ) {
      read( writer, entity );
      return true;
   }
   auto const * const attribute = find( tokens[ next ] );
   return attribute && attribute->get( entity, tokens, next + 1, writer );
}

void RecordForm::locate( Tokens & tokens, std::size_t next ) const {
   if( next == tokens.size() ) return;
   at( tokens[ next ], pointerOf( std::span( tokens ).first( next + 1 ) ) ).locate( tokens, next + 1 );
}

void RecordForm::describe( Writer & writer, std::string const & place, Authorship by ) const {
   writeKey( writer, place );
   writer.StartObject();
   writer.Key( "record" );
   writeText( writer, type_ );
   writer.Key( "attributes" );
   writer.StartObject();
   for( auto const * each : attributes_ ) {
      writer.Key( each->name() );
      writer.StartObject();
      each->describe( writer );
      writer.Key( "writer" );
      writeText( writer, by.at( each->writer() ).writer );
      writer.EndObject();
   }
   writer.EndObject();
   writer.EndObject();
   for( auto const * each : attributes_ ) {
      if( !each->held() ) continue;
      auto const key = each->keyType();
      auto const holder = below( place, each->name() );
      each->held()->describe( writer, key.empty() ? holder : below( holder, Lum::textOf( "<", key, ">" ) ),
                              by.at( each->writer() ) );
   }
}

} // namespace Host
