// The document form of records, derived from their attribute tables: no record
// is spelled out here. One RecordForm serves one class; recordForm< T >() is
// that of T.
#pragma once

#include "host/Values.h"
#include "platform/lum/Dir.h"

#include <map>

namespace Host {

class RecordForm {
 public:
   /// Writes the record as an object, without attributes at their default and
   /// empty collections; members in the order of the table, keys sorted.
   virtual void read( Writer & writer, Lum::Entity const & entity ) const = 0;
   /// Raises Refusal if the merge patch does not fit the class. Looks at no
   /// record.
   virtual void check( Json const & patch, std::string const & at ) const = 0;
   /// Applies a checked merge patch, member by member, through the record's
   /// mutators.
   virtual void apply( Lum::Entity & entity, Json const & patch ) const = 0;
   /// Writes what stands at `tokens`, from number `next` on, in the record;
   /// false when nothing does.
   virtual bool get( Lum::Entity const & entity, Tokens const & tokens, std::size_t next, Writer & writer ) const = 0;
   /// The entry `name` of a directory, made if it is not there.
   virtual Lum::Ptr< Lum::Entity > makeEntry( Lum::Dir & dir, Lum::Name name ) const = 0;
   virtual bool holds( Lum::Entity const & entity ) const = 0;

 protected:
   ~RecordForm() = default;
};

template< class T >
RecordForm const & recordForm();

/// The members of a collection under the texts of their keys, sorted.
template< class Collection >
auto sortedMembers( Collection const & collection ) {
   std::map< std::string, std::remove_cvref_t< decltype( ( *collection.begin() ).second ) > > members;
   for( auto const & [ key, value ] : collection ) members.emplace( keyText( key ), value );
   return members;
}

/// What the forms of attributes do for RecordForm, each function for all forms
/// of attribute `A` of `T`.
template< class T, class A >
class AttributeForm {
 public:
   static bool isDefault( T const & owner ) {
      if constexpr( A::form == Lum::Form::value ) {
         return A::get( owner ) == A::initial();
      } else if constexpr( A::form == Lum::Form::child ) {
         return !A::get( owner );
      } else {
         return A::all( owner ).empty();
      }
   }

   static void read( Writer & writer, T const & owner ) {
      if constexpr( A::form == Lum::Form::value ) {
         writeValue( writer, A::get( owner ) );
      } else if constexpr( A::form == Lum::Form::child ) {
         auto const child = A::get( owner );
         child ? recordForm< typename A::Value >().read( writer, *child ) : void( writer.Null() );
      } else {
         writer.StartObject();
         for( auto const & [ key, member ] : sortedMembers( A::all( owner ) ) ) {
            writeKey( writer, key );
            if constexpr( A::form == Lum::Form::children ) {
               recordForm< typename A::Value >().read( writer, *member );
            } else {
               writeValue( writer, member );
            }
         }
         writer.EndObject();
      }
   }

   static void check( Json const & patch, std::string const & at ) {
      if( patch.IsNull() ) return;
      if constexpr( A::form == Lum::Form::value ) {
         readValue( patch, A::initial(), at );
      } else if constexpr( A::form == Lum::Form::child ) {
         recordForm< typename A::Value >().check( patch, at );
      } else {
         needObject( patch, at );
         for( auto const & each : patch.GetObject() ) {
            auto const place = below( at, textOf( each.name ) );
            keyOf< typename A::Key >( textOf( each.name ), place );
            if( !each.value.IsNull() ) checkMember( each.value, place );
         }
      }
   }

   static void apply( T & owner, Json const & patch ) {
      if constexpr( A::form == Lum::Form::value ) {
         A::set( owner, patch.IsNull() ? A::initial() : readValue( patch, A::get( owner ), "" ) );
      } else if constexpr( A::form == Lum::Form::child ) {
         if( patch.IsNull() ) {
            A::del( owner );
         } else {
            auto const child = A::make( owner );
            recordForm< typename A::Value >().apply( *child, patch );
         }
      } else if( patch.IsNull() ) {
         A::delAll( owner );
      } else {
         for( auto const & each : patch.GetObject() ) {
            applyMember( owner, keyOf< typename A::Key >( textOf( each.name ), "" ), each.value );
         }
      }
   }

   static bool get( T const & owner, Tokens const & tokens, std::size_t next, Writer & writer ) {
      if( next == tokens.size() ) {
         read( writer, owner );
         return true;
      }
      if constexpr( A::form == Lum::Form::value ) {
         return getWithin( A::get( owner ), tokens, next, writer );
      } else if constexpr( A::form == Lum::Form::child ) {
         auto const child = A::get( owner );
         return child && recordForm< typename A::Value >().get( *child, tokens, next, writer );
      } else {
         return getMember( owner, tokens, next, writer );
      }
   }

 private:
   static void checkMember( Json const & patch, std::string const & at ) {
      if constexpr( A::form == Lum::Form::set ) {
         if( !patch.IsTrue() ) throw Refusal{ at, "true or null is expected" };
      } else if constexpr( A::form == Lum::Form::children ) {
         recordForm< typename A::Value >().check( patch, at );
      } else {
         readValue( patch, typename A::Value(), at );
      }
   }

   template< class Key >
   static void applyMember( T & owner, Key const & key, Json const & patch ) {
      if( patch.IsNull() ) {
         A::del( owner, key );
      } else if constexpr( A::form == Lum::Form::children ) {
         auto const child = A::make( owner, key );
         recordForm< typename A::Value >().apply( *child, patch );
      } else if constexpr( A::form == Lum::Form::records ) {
         auto record = readValue( patch, A::get( owner, key ), "" );
         record.lumKeyIs( key );
         A::set( owner, record );
      } else {
         A::set( owner, key, readValue( patch, A::get( owner, key ), "" ) );
      }
   }

   static bool getMember( T const & owner, Tokens const & tokens, std::size_t next, Writer & writer ) {
      auto const key = parsedKey< typename A::Key >( tokens[ next ] );
      if( !key || !A::has( owner, *key ) ) return false;
      if constexpr( A::form == Lum::Form::children ) {
         return recordForm< typename A::Value >().get( *A::get( owner, *key ), tokens, next + 1, writer );
      } else {
         return getWithin( A::get( owner, *key ), tokens, next + 1, writer );
      }
   }
};

template< class T >
class RecordFormOf final : public RecordForm {
 public:
   void read( Writer & writer, Lum::Entity const & entity ) const override {
      auto const & record = static_cast< T const & >( entity );
      writer.StartObject();
      Lum::forEachAttribute< T >( [ & ]( auto attribute ) {
         using Form = AttributeForm< T, decltype( attribute ) >;
         if( Form::isDefault( record ) ) return;
         writer.Key( attribute.name );
         Form::read( writer, record );
      } );
      writer.EndObject();
   }

   void check( Json const & patch, std::string const & at ) const override {
      needObject( patch, at );
      for( auto const & each : patch.GetObject() ) {
         auto const place = below( at, textOf( each.name ) );
         bool const found = find( textOf( each.name ), [ & ]( auto form ) { form.check( each.value, place ); } );
         if( !found ) throw Refusal{ place, "no such attribute of " + std::string( Lum::typeName< T >() ) };
      }
   }

   void apply( Lum::Entity & entity, Json const & patch ) const override {
      Lum::Ptr< T > const record( &static_cast< T & >( entity ) ); // a handler may delete it meanwhile
      for( auto const & each : patch.GetObject() ) {
         find( textOf( each.name ), [ & ]( auto form ) { form.apply( *record, each.value ); } );
      }
   }

   bool get( Lum::Entity const & entity, Tokens const & tokens, std::size_t next, Writer & writer ) const override {
      if( next == tokens.size() ) {
         read( writer, entity );
         return true;
      }
      bool found = false;
      find( tokens[ next ],
            [ & ]( auto form ) { found = form.get( static_cast< T const & >( entity ), tokens, next + 1, writer ); } );
      return found;
   }

   Lum::Ptr< Lum::Entity > makeEntry( Lum::Dir & dir, Lum::Name name ) const override {
      if constexpr( std::constructible_from< T, Lum::Name > ) {
         return dir.createEntity< T >( name );
      } else {
         throw Refusal{ "", "no directory holds such a record" };
      }
   }

   bool holds( Lum::Entity const & entity ) const override { return dynamic_cast< T const * >( &entity ) != nullptr; }

 private:
   /// Calls `use` with the form of the attribute of that name; false when there
   /// is none.
   template< class Use >
   static bool find( std::string_view name, Use use ) {
      bool found = false;
      Lum::forEachAttribute< T >( [ & ]( auto attribute ) {
         if( name != attribute.name ) return;
         found = true;
         use( AttributeForm< T, decltype( attribute ) >() );
      } );
      return found;
   }
};

template< class T >
RecordForm const & recordForm() {
   static RecordFormOf< T > const form;
   return form;
}

} // namespace Host
