// The identity of a switch's port.
#pragma once

#include "platform/lum/Hash.h"
#include "platform/lum/Strep.h"
#include "records/kiv/SwitchId.h"

#include <optional>
#include <tuple>

namespace Kiv {

/// A switch id and the name of an interface of that switch: one port of a service device's side. Both empty by default.
class SwitchIntfPair {
 public:
   SwitchIntfPair() = default;
   SwitchIntfPair( SwitchId switchId, Lum::String intf )
      : switchId_( std::move( switchId ) ), intf_( std::move( intf ) ) {}

   /// "02:00:00:00:00:0a/Ethernet1/1", cut at the first "/": interface names hold more of them, switch ids none.
   /// Nothing for a text without a "/" or with nothing on one side of it.
   static std::optional< SwitchIntfPair > parse( std::string_view text ) {
      std::size_t const slash = text.find( '/' );
      if( slash == 0 || slash >= text.size() - 1 ) return std::nullopt;
      return SwitchIntfPair( SwitchId( text.substr( 0, slash ) ), text.substr( slash + 1 ) );
   }

   SwitchId const & switchId() const { return switchId_; }
   Lum::String const & intf() const { return intf_; }

   friend bool operator==( SwitchIntfPair const &, SwitchIntfPair const & ) = default;
   friend bool operator<( SwitchIntfPair const & a, SwitchIntfPair const & b ) {
      return std::tie( a.switchId_, a.intf_ ) < std::tie( b.switchId_, b.intf_ );
   }
   std::uint64_t hash() const { return Lum::hashCombine( Lum::mix( switchId_.hash() ), intf_.hash() ); }

   Lum::String stringValue() const { return Lum::textOf( switchId_, "/", intf_ ); }
   friend std::ostream & operator<<( std::ostream & out, SwitchIntfPair const & port ) {
      return out << port.stringValue();
   }

   /// "Value('Kiv::SwitchIntfPair', ** {'switchId': %s, 'intf': %s})".
   Lum::String strep() const {
      return Lum::textOf( "Value('Kiv::SwitchIntfPair', ** {'switchId': ", Lum::valueToStrep( switchId_ ),
                          ", 'intf': ", Lum::valueToStrep( intf_ ), "})" );
   }
   static SwitchIntfPair sequenceToValue( std::string_view & rest ) {
      Lum::needString( rest, "Value('Kiv::SwitchIntfPair', ** {'switchId': " );
      auto switchId = Lum::sequenceToValue< SwitchId >( rest );
      Lum::needString( rest, ", 'intf': " );
      auto intf = Lum::sequenceToValue< Lum::String >( rest );
      Lum::needString( rest, "})" );
      return SwitchIntfPair( std::move( switchId ), std::move( intf ) );
   }

 private:
   SwitchId switchId_;
   Lum::String intf_;
};

} // namespace Kiv

template<>
struct std::hash< Kiv::SwitchIntfPair > : Lum::MemberHash< Kiv::SwitchIntfPair > {};
