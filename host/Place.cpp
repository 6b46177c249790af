#include "host/Place.h"

#include "platform/harbor/SystemId.h"
#include "platform/vxlan/Vni.h"

namespace Host {

namespace {

std::optional< std::string > itself( std::string_view text ) { return std::string( text ); }

// A path to it is cut at "/".
std::optional< std::string > systemIdOf( std::string_view text ) {
   if( text.find( '/' ) != text.npos ) return std::nullopt;
   return Harbor::systemIdFromString( text ).stringValue().str();
}

// Blanks around the number and zeros before it are no part of what it means.
std::optional< std::string > vniOf( std::string_view text ) {
   auto const number = text.find_first_not_of( " 0" );
   auto const begin = number == text.npos ? text.find_last_of( '0' ) : number;
   auto const end = text.find_last_not_of( ' ' );
   if( begin == text.npos ) return std::nullopt;
   auto const vni = Vxlan::Vni::parse( text.substr( begin, end + 1 - begin ) );
   return vni ? std::optional( vni->stringValue().str() ) : std::nullopt;
}

constexpr char const * notDeleted = "a record at a fixed path cannot be deleted";

/// Raises Refusal if the patch deletes what stands at `path`, or something above.
void checkFixed( Json const & patch, std::span< std::string const > path, std::string const & at ) {
   if( patch.IsNull() ) throw Refusal{ at, notDeleted };
   if( path.empty() ) return;
   for( auto const & each : patch.GetObject() ) {
      if( textOf( each.name ) == path[ 0 ] ) checkFixed( each.value, path.subspan( 1 ), below( at, path[ 0 ] ) );
   }
}

} // namespace

EntryName const bySource{ "source", "a source's name", itself };
EntryName const byService{ "service", "a service's name", itself };
EntryName const bySystemId{ "system id", "a switch's system id", systemIdOf };
EntryName const byVni{ "vni", "a VNI, 0 to 16777215", vniOf };

void EntryName::check( std::string_view text, std::string const & at ) const {
   auto const right = canonical( text );
   if( text.empty() ) throw Refusal{ at, "an empty key" };
   if( !right ) throw misfit( at, "no valid key", text, rule );
   if( *right != text ) throw misfit( at, "no valid key", text, quoted( *right ) );
}

Place & Place::at( std::string_view pointer ) {
   Place * place = this;
   for( auto const & token : tokensOf( pointer ) ) {
      auto & child = place->members[ token ];
      if( !child ) child = std::make_unique< Place >();
      place = child.get();
   }
   return *place;
}

Place const & Place::member( std::string_view name, std::string const & at ) const {
   if( auto const found = members.find( name ); found != members.end() ) return *found->second;
   std::vector< std::string > names;
   for( auto const & [ each, place ] : members ) names.push_back( each );
   throw unknown( at, "no such record", name, names );
}

void Place::check( Json const & patch, std::string const & at ) const {
   if( readOnly ) throw Refusal{ at, "read-only" };
   if( patch.IsNull() ) {
      if( entry ) return;
      throw Refusal{ at, notDeleted };
   }
   if( record ) {
      record->check( patch, at );
      checkFixed( patch, fixedChild, at );
      return;
   }
   needObject( patch, at );
   for( auto const & each : patch.GetObject() ) {
      auto const place = below( at, textOf( each.name ) );
      if( !entry ) {
         member( textOf( each.name ), place ).check( each.value, place );
         continue;
      }
      entryName->check( textOf( each.name ), place );
      if( !each.value.IsNull() ) entry->check( each.value, place );
   }
}

void Place::locate( Tokens & tokens, std::size_t next ) const {
   if( record ) return record->locate( tokens, next );
   if( next == tokens.size() ) return;
   auto const at = pointerOf( std::span( tokens ).first( next + 1 ) );
   if( entry ) {
      entryName->check( tokens[ next ], at );
      entry->locate( tokens, next + 1 );
   } else {
      member( tokens[ next ], at ).locate( tokens, next + 1 );
   }
}

void Place::describe( Writer & writer, std::string const & place, Authorship by ) const {
   if( readOnly ) by = { "agent", true };
   if( record ) record->describe( writer, place, by );
   if( entry ) entry->describe( writer, below( place, Lum::textOf( "<", entryName->what, ">" ) ), by );
   for( auto const & [ name, child ] : members ) child->describe( writer, below( place, name ), by );
}

void Place::apply( Json const & patch ) const {
   if( record ) return record->apply( *entity, patch );
   if( patch.IsNull() ) return dir().entityPtrDelAll();
   for( auto const & each : patch.GetObject() ) {
      if( !entry ) {
         members.find( textOf( each.name ) )->second->apply( each.value );
      } else if( each.value.IsNull() ) {
         dir().entityPtrDel( textOf( each.name ) );
      } else {
         auto const made = makeEntry( dir(), textOf( each.name ) );
         entry->record->apply( *made, each.value );
      }
   }
}

void Place::read( Writer & writer ) const {
   if( record ) return record->read( writer, *entity );
   writer.StartObject();
   for( auto const & [ name, child ] : members ) {
      writeKey( writer, name );
      child->read( writer );
   }
   if( entry ) {
      std::map< std::string, Lum::Ptr< Lum::Entity > > sorted;
      for( auto const & [ name, held ] : dir().entityPtr() ) {
         if( isEntry( *held ) ) sorted.emplace( name.str(), held );
      }
      for( auto const & [ name, held ] : sorted ) {
         writeKey( writer, name );
         entry->record->read( writer, *held );
      }
   }
   writer.EndObject();
}

bool Place::get( Tokens const & tokens, std::size_t next, Writer & writer ) const {
   if( next == tokens.size() ) {
      read( writer );
      return true;
   }
   if( record ) return record->get( *entity, tokens, next, writer );
   if( entry ) {
      auto const held = dir().entityPtr( Lum::Name( tokens[ next ] ) );
      return held && isEntry( *held ) && entry->record->get( *held, tokens, next + 1, writer );
   }
   auto const child = members.find( tokens[ next ] );
   return child != members.end() && child->second->get( tokens, next + 1, writer );
}

} // namespace Host
