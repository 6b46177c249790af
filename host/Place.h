// A place of the tree and all below it: a directory on the way, a record, or a directory with entries of one type.
#pragma once

#include "host/RecordForm.h"
#include "platform/lum/Dir.h"

#include <map>
#include <memory>
#include <optional>

namespace Host {

/// How the entries of a directory are named.
struct EntryName {
   char const * what; // "vni", as the schema has it
   char const * rule; // what a name must be
   /// The one form of the name that a text means; nothing if it means none.
   std::optional< std::string > ( *canonical )( std::string_view text );

   /// Raises Refusal, with the form that is right if there is one, for a text in any other.
   void check( std::string_view text, std::string const & at ) const;
};

/// Any text but the empty one.
extern EntryName const bySource;
extern EntryName const byService;
/// A switch's MAC in hyphen form and lower case; a text that is no MAC is a foreign id, which may be anything.
extern EntryName const bySystemId;
/// A VNI in decimal digits without leading zeros.
extern EntryName const byVni;

struct Place {
   std::map< std::string, std::unique_ptr< Place >, std::less<> > members;
   RecordForm const * record = nullptr;
   /// Of a directory of entries: what stands at each of them, and its name.
   std::unique_ptr< Place > entry;
   EntryName const * entryName = nullptr;
   Lum::Ptr< Lum::Entity > ( *makeEntry )( Lum::Dir & dir, Lum::Name name ) = nullptr;
   bool ( *isEntry )( Lum::Entity const & entity ) = nullptr;

   Lum::Ptr< Lum::Entity > entity; // of the databases: the record or directory; null on the way
   Tokens fixedChild;              // of the record, one that cannot be deleted either
   bool readOnly = false;          // with all that is below: what shows of the agent

   /// The place at a pointer from here, made if it is not there.
   Place & at( std::string_view pointer );

   /// Raises Refusal if the merge patch does not fit. Changes nothing.
   void check( Json const & patch, std::string const & at ) const;
   /// Puts the keys of `tokens`, from number `next` on, into the form in which they are read. Raises Refusal when
   /// nothing can ever stand there.
   void locate( Tokens & tokens, std::size_t next ) const;
   /// Writes a member for each record, under its place.
   void describe( Writer & writer, std::string const & place, Authorship by ) const;

   // Of the databases only.
   void apply( Json const & patch ) const;
   void read( Writer & writer ) const;
   /// Writes what stands at `tokens`, from number `next` on; false when nothing does.
   bool get( Tokens const & tokens, std::size_t next, Writer & writer ) const;

 private:
   Lum::Dir & dir() const { return static_cast< Lum::Dir & >( *entity ); }
   Place const & member( std::string_view name, std::string const & at ) const;
};

} // namespace Host
