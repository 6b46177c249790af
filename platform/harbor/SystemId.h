// The identity of a switch.
#pragma once

#include "platform/lum/Hash.h"
#include "platform/lum/String.h"

#include <string_view>

namespace Harbor {

/// A switch's system identifier: its MAC address in the hyphen form that keys the directories of the hubstore,
/// "02-00-00-00-00-0a". A text that is no MAC is kept as it stands, so that a foreign id still works as a key. Empty by
/// default.
class SystemId {
 public:
   SystemId() = default;

   /// The text that keys a directory.
   Lum::String stringValue() const { return text_; }

   friend bool operator==( SystemId const &, SystemId const & ) = default;
   friend bool operator<( SystemId const & a, SystemId const & b ) { return a.text_ < b.text_; }
   std::uint64_t hash() const { return text_.hash(); }
   friend std::ostream & operator<<( std::ostream & out, SystemId const & id ) { return out << id.text_; }

   /// A quoted text: a foreign id may hold anything.
   Lum::String strep() const;
   static SystemId sequenceToValue( std::string_view & rest );

 private:
   friend SystemId systemIdFromString( Lum::String const & text );
   explicit SystemId( Lum::String text ) : text_( std::move( text ) ) {}

   Lum::String text_;
};

/// The identifier that `text` stands for: a MAC in colon or hyphen form and in either case, or a foreign id.
SystemId systemIdFromString( Lum::String const & text );

} // namespace Harbor

template<>
struct std::hash< Harbor::SystemId > : Lum::MemberHash< Harbor::SystemId > {};
