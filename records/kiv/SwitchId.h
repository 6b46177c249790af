// The identity of a switch, as the agent's own records hold it.
#pragma once

#include "platform/harbor/SystemId.h"

#include <string_view>

namespace Kiv {

/// A switch's id in both of its forms. `stringValue` is the one of the running records, the blackboard and the
/// messages: its MAC in colon form, "02:00:00:00:00:0a", whichever spelling it came in; a text that is no MAC stands
/// for itself. `systemId` keys the directories. Empty by default: no switch.
class SwitchId {
 public:
   SwitchId() = default;
   explicit SwitchId( Lum::String const & text );

   Lum::String const & stringValue() const { return text_; }
   Harbor::SystemId const & systemId() const { return systemId_; }
   bool empty() const { return text_.empty(); }

   friend bool operator==( SwitchId const & a, SwitchId const & b ) { return a.text_ == b.text_; }
   friend bool operator<( SwitchId const & a, SwitchId const & b ) { return a.text_ < b.text_; }
   std::uint64_t hash() const { return text_.hash(); }
   friend std::ostream & operator<<( std::ostream & out, SwitchId const & id ) { return out << id.text_; }

   /// The quoted text.
   Lum::String strep() const;
   static SwitchId sequenceToValue( std::string_view & rest );

 private:
   Lum::String text_;
   Harbor::SystemId systemId_; // follows from the text; kept, since each publication asks for it
};

/// The switch of a directory's key: every "-" becomes ":", in a foreign id, too.
SwitchId switchIdFromSystemId( Lum::String const & systemId );

} // namespace Kiv

template<>
struct std::hash< Kiv::SwitchId > : Lum::MemberHash< Kiv::SwitchId > {};
