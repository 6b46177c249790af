// The location of a VTEP.
#pragma once

#include "records/kiv/SwitchId.h"

#include <string_view>
#include <utility>

namespace Kiv {

/// The ids of the one or two switches that share a VTEP address; two are an MLAG pair. An empty id is an empty slot,
/// never a member; both slots are empty by default. The newest member stands in `first`.
class SwitchPair {
 public:
   SwitchPair() = default;
   explicit SwitchPair( SwitchId first, SwitchId second = {} )
      : first_( std::move( first ) ), second_( std::move( second ) ) {}

   SwitchId const & first() const { return first_; }
   SwitchId const & second() const { return second_; }

   /// The number of members: 0, 1 or 2.
   unsigned members() const { return !first_.empty() + !second_.empty(); }
   bool isMember( SwitchId const & switchId ) const {
      return !switchId.empty() && ( first_ == switchId || second_ == switchId );
   }
   /// The slot beside the one that holds `switchId`; it may be empty. For a switch that is no member: `first`.
   SwitchId const & other( SwitchId const & switchId ) const { return first_ == switchId ? second_ : first_; }
   /// A member, `first` before `second`; empty if there is none.
   SwitchId const & getValidSwitch() const { return first_.empty() ? second_ : first_; }
   /// True if every member of `pair` is a member here, and one here is not there. The empty pair is included in every
   /// other one.
   bool strictInclude( SwitchPair const & pair ) const { return includes( pair ) && !pair.includes( *this ); }
   /// The members that are not in `pair`, each in its slot.
   SwitchPair difference( SwitchPair const & pair ) const {
      return SwitchPair( pair.isMember( first_ ) ? SwitchId() : first_,
                         pair.isMember( second_ ) ? SwitchId() : second_ );
   }

   /// Slot by slot: the same members the other way round are another pair.
   friend bool operator==( SwitchPair const &, SwitchPair const & ) = default;

   /// The members joined by "/", or "none". For readers; it does not parse back.
   Lum::String stringValue() const;
   friend std::ostream & operator<<( std::ostream & out, SwitchPair const & pair ) { return out << pair.stringValue(); }

   /// "Value('Kiv::SwitchPair', ** {'first': %s, 'second': %s})".
   Lum::String strep() const;
   static SwitchPair sequenceToValue( std::string_view & rest );

 private:
   bool includes( SwitchPair const & pair ) const {
      return ( pair.first_.empty() || isMember( pair.first_ ) ) && ( pair.second_.empty() || isMember( pair.second_ ) );
   }

   SwitchId first_;
   SwitchId second_;
};

} // namespace Kiv
