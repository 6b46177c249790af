// The document form of records, derived from their attribute tables: no record is spelled out here. A RecordForm serves
// one class and knows an AttributeForm for each of its attributes; recordForm< T >() is that of T.
#pragma once

#include "host/Json.h"
#include "platform/lum/Entity.h"

namespace Host {

class RecordForm;

/// Who writes the attributes of a place. What only shows, read-only, has one writer, whatever the classes say.
struct Authorship {
   std::string_view writer;
   bool readOnly = false;

   /// That of an attribute below, which may bear a mark of its own.
   Authorship at( std::string_view mark ) const { return { readOnly || mark.empty() ? writer : mark, readOnly }; }
};

/// "value", "set", "values", "records", "children" or "child".
char const * formName( Lum::Form form );

/// What documents do with one attribute of a class. All entities that it is given are of that class.
class AttributeForm {
 public:
   /// @param writer  who is marked to write it; empty: who writes the holder of the record
   AttributeForm( char const * name, std::string_view writer ) : name_( name ), writer_( writer ) {}
   AttributeForm( AttributeForm const & ) = delete;
   AttributeForm & operator=( AttributeForm const & ) = delete;

   char const * name() const { return name_; }
   std::string_view writer() const { return writer_; }
   /// The form of the records in it; null if it holds none. With keys: the type of the keys, else empty.
   virtual RecordForm const * held() const { return nullptr; }
   virtual std::string keyType() const { return {}; }

   virtual bool isDefault( Lum::Entity const & owner ) const = 0;
   virtual void read( Writer & writer, Lum::Entity const & owner ) const = 0;
   virtual void check( Json const & patch, std::string const & at ) const = 0;
   virtual void apply( Lum::Entity & owner, Json const & patch ) const = 0;
   virtual bool get( Lum::Entity const & owner, Tokens const & tokens, std::size_t next, Writer & writer ) const = 0;
   virtual void locate( Tokens & tokens, std::size_t next ) const = 0;
   /// Writes the members of its description that tell its form, key type, type and default.
   virtual void describe( Writer & writer ) const = 0;

 protected:
   ~AttributeForm() = default;

 private:
   char const * name_;
   std::string_view writer_;
};

/// What the attributes with keys have in common.
class CollectionForm : public AttributeForm {
 public:
   using AttributeForm::AttributeForm;

   void check( Json const & patch, std::string const & at ) const override;
   void apply( Lum::Entity & owner, Json const & patch ) const override;
   void locate( Tokens & tokens, std::size_t next ) const override;

 protected:
   ~CollectionForm() = default;

   /// The text of the key that `text` stands for, which may be written otherwise; raises Refusal where it is none.
   virtual std::string keyTextOf( std::string_view text, std::string const & at ) const = 0;
   virtual void checkMember( Json const & patch, std::string const & at ) const = 0;
   /// `patch` may be null: the member goes.
   virtual void applyMember( Lum::Entity & owner, std::string_view key, Json const & patch ) const = 0;
   virtual void deleteAll( Lum::Entity & owner ) const = 0;
   virtual void locateInMember( Tokens & tokens, std::size_t next ) const = 0;
};

/// What documents do with the records of one class.
class RecordForm {
 public:
   using Attributes = std::vector< AttributeForm const * >;

   RecordForm( std::string_view type, Attributes attributes ) : type_( type ), attributes_( std::move( attributes ) ) {}
   RecordForm( RecordForm const & ) = delete;
   RecordForm & operator=( RecordForm const & ) = delete;

   std::string_view type() const { return type_; }
   /// Writes the record as an object, without attributes at their default and empty collections; members in the order
   /// of the table, keys sorted.
   void read( Writer & writer, Lum::Entity const & entity ) const;
   /// Raises Refusal if the merge patch does not fit the class. Looks at no record.
   void check( Json const & patch, std::string const & at ) const;
   /// Applies a checked merge patch, member by member, through the record's mutators.
   void apply( Lum::Entity & entity, Json const & patch ) const;
   /// Writes what stands at `tokens`, from number `next` on, in the record; false when nothing does.
   bool get( Lum::Entity const & entity, Tokens const & tokens, std::size_t next, Writer & writer ) const;
   /// Puts the keys of `tokens`, from number `next` on, into the form in which they are read. Raises Refusal when
   /// nothing can ever stand there. Looks at no record.
   void locate( Tokens & tokens, std::size_t next ) const;
   /// Writes a member for the class, under `place`, and one for each class of the records that it holds.
   void describe( Writer & writer, std::string const & place, Authorship by ) const;

 private:
   /// Null where there is none of that name.
   AttributeForm const * find( std::string_view name ) const;
   /// Raises Refusal where there is none of that name.
   AttributeForm const & at( std::string_view name, std::string const & place ) const;

   std::string_view type_;
   Attributes attributes_;
};

/// The form of T. The sources named ...Forms.cpp make it for the classes that stand in the tree, and with each for all
/// that it holds.
template< class T >
RecordForm const & recordForm();

} // namespace Host
