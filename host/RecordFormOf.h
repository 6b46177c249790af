// The forms of a class of records and of its attributes, made of the class's attribute table. Only the sources named
// ...Forms.cpp include this: it is slow to compile.
#pragma once

#include "host/Limits.h"
#include "host/RecordForm.h"
#include "host/Values.h"
#include "records/Writers.h"

#include <map>

namespace Host {

template< class A >
typename A::Owner const & ownerOf( Lum::Entity const & entity ) {
   return static_cast< typename A::Owner const & >( entity );
}
template< class A >
typename A::Owner & ownerOf( Lum::Entity & entity ) {
   return static_cast< typename A::Owner & >( entity );
}

/// One value.
template< class A >
class ValueForm final : public AttributeForm {
 public:
   using AttributeForm::AttributeForm;

   bool isDefault( Lum::Entity const & owner ) const override {
      return A::get( ownerOf< A >( owner ) ) == A::initial();
   }
   void read( Writer & writer, Lum::Entity const & owner ) const override {
      writeValue( writer, A::get( ownerOf< A >( owner ) ) );
   }
   void check( Json const & patch, std::string const & at ) const override {
      if( !patch.IsNull() ) checkLimit( A(), readValue( patch, A::initial(), at ), at );
   }
   void apply( Lum::Entity & owner, Json const & patch ) const override {
      auto & record = ownerOf< A >( owner );
      A::set( record, patch.IsNull() ? A::initial() : readValue( patch, A::get( record ), "" ) );
   }
   bool get( Lum::Entity const & owner, Tokens const & tokens, std::size_t next, Writer & writer ) const override {
      return getWithin( A::get( ownerOf< A >( owner ) ), tokens, next, writer );
   }
   void locate( Tokens & tokens, std::size_t next ) const override { checkWithin< typename A::Value >( tokens, next ); }
   void describe( Writer & writer ) const override {
      writer.Key( "form" );
      writer.String( formName( A::form ) );
      describeType< typename A::Value >( writer );
      writer.Key( "default" );
      writeValue( writer, A::initial() );
   }
};

/// A single child record, or none.
template< class A >
class ChildForm final : public AttributeForm {
 public:
   using AttributeForm::AttributeForm;

   RecordForm const * held() const override { return &recordForm< typename A::Value >(); }
   bool isDefault( Lum::Entity const & owner ) const override { return !A::get( ownerOf< A >( owner ) ); }
   void read( Writer & writer, Lum::Entity const & owner ) const override {
      auto const child = A::get( ownerOf< A >( owner ) );
      child ? held()->read( writer, *child ) : void( writer.Null() );
   }
   void check( Json const & patch, std::string const & at ) const override {
      if( !patch.IsNull() ) held()->check( patch, at );
   }
   void apply( Lum::Entity & owner, Json const & patch ) const override {
      auto & record = ownerOf< A >( owner );
      if( patch.IsNull() ) return A::del( record );
      auto const child = A::make( record );
      held()->apply( *child, patch );
   }
   bool get( Lum::Entity const & owner, Tokens const & tokens, std::size_t next, Writer & writer ) const override {
      auto const child = A::get( ownerOf< A >( owner ) );
      if( child ) return held()->get( *child, tokens, next, writer );
      if( next < tokens.size() ) return false;
      writer.Null();
      return true;
   }
   void locate( Tokens & tokens, std::size_t next ) const override { held()->locate( tokens, next ); }
   void describe( Writer & writer ) const override {
      writer.Key( "form" );
      writer.String( formName( A::form ) );
      writer.Key( "type" );
      writeText( writer, held()->type() );
   }
};

/// Members by key: of a set true, values, values that hold their own key, child records.
template< class A >
class KeyedForm final : public CollectionForm {
   static constexpr bool holdsRecords = A::form == Lum::Form::children;

 public:
   using CollectionForm::CollectionForm;

   RecordForm const * held() const override {
      if constexpr( holdsRecords ) {
         return &recordForm< typename A::Value >();
      } else {
         return nullptr;
      }
   }
   std::string keyType() const override { return typeText< typename A::Key >(); }
   bool isDefault( Lum::Entity const & owner ) const override { return A::all( ownerOf< A >( owner ) ).empty(); }
   void read( Writer & writer, Lum::Entity const & owner ) const override {
      auto const & record = ownerOf< A >( owner );
      std::map< std::string, typename A::Key > sorted;
      for( auto const & [ key, member ] : A::all( record ) ) sorted.emplace( keyText( key ), key );
      writer.StartObject();
      for( auto const & [ text, key ] : sorted ) {
         writeKey( writer, text );
         if constexpr( holdsRecords ) {
            held()->read( writer, *A::get( record, key ) );
         } else {
            writeValue( writer, A::get( record, key ) );
         }
      }
      writer.EndObject();
   }
   bool get( Lum::Entity const & owner, Tokens const & tokens, std::size_t next, Writer & writer ) const override {
      if( next == tokens.size() ) {
         read( writer, owner );
         return true;
      }
      auto const & record = ownerOf< A >( owner );
      auto const key = parsedKey< typename A::Key >( tokens[ next ] );
      if( !key || !A::has( record, *key ) ) return false;
      if constexpr( holdsRecords ) {
         return held()->get( *A::get( record, *key ), tokens, next + 1, writer );
      } else {
         return getWithin( A::get( record, *key ), tokens, next + 1, writer );
      }
   }
   void describe( Writer & writer ) const override {
      writer.Key( "form" );
      writer.String( formName( A::form ) );
      writer.Key( "key" );
      writeText( writer, keyType() );
      if constexpr( holdsRecords ) {
         writer.Key( "type" );
         writeText( writer, held()->type() );
      } else {
         describeType< typename A::Value >( writer );
      }
   }

 protected:
   std::string keyTextOf( std::string_view text, std::string const & at ) const override {
      return keyText( keyOf< typename A::Key >( text, at ) );
   }
   void checkMember( Json const & patch, std::string const & at ) const override {
      if constexpr( A::form == Lum::Form::set ) {
         if( !patch.IsTrue() ) throw Refusal{ at, "true or null is expected" };
      } else if constexpr( holdsRecords ) {
         held()->check( patch, at );
      } else {
         readValue( patch, typename A::Value(), at );
      }
   }
   void applyMember( Lum::Entity & owner, std::string_view text, Json const & patch ) const override {
      auto & record = ownerOf< A >( owner );
      auto const key = keyOf< typename A::Key >( text, "" );
      if( patch.IsNull() ) return A::del( record, key );
      if constexpr( holdsRecords ) {
         auto const child = A::make( record, key );
         held()->apply( *child, patch );
      } else if constexpr( A::form == Lum::Form::records ) {
         auto value = readValue( patch, A::get( record, key ), "" );
         value.lumKeyIs( key );
         A::set( record, value );
      } else {
         A::set( record, key, readValue( patch, A::get( record, key ), "" ) );
      }
   }
   void deleteAll( Lum::Entity & owner ) const override { A::delAll( ownerOf< A >( owner ) ); }
   void locateInMember( Tokens & tokens, std::size_t next ) const override {
      if constexpr( holdsRecords ) {
         held()->locate( tokens, next );
      } else {
         checkWithin< typename A::Value >( tokens, next );
      }
   }
};

/// The form of attribute A.
template< class A >
AttributeForm const & attributeForm() {
   using Form = std::conditional_t< A::form == Lum::Form::value, ValueForm< A >,
                                    std::conditional_t< A::form == Lum::Form::child, ChildForm< A >, KeyedForm< A > > >;
   static Form const form( A::name, Kiv::writerOf< A >() );
   return form;
}

template< class T >
RecordForm const & recordForm() {
   static RecordForm const form( Lum::typeName< T >(), [] {
      RecordForm::Attributes all;
      Lum::forEachAttribute< T >(
         [ & ]( auto attribute ) { all.push_back( &attributeForm< decltype( attribute ) >() ); } );
      return all;
   }() );
   return form;
}

} // namespace Host
