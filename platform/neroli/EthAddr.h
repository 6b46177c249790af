// MAC addresses.
#pragma once

#include "platform/lum/Hash.h"
#include "platform/lum/String.h"

#include <compare>
#include <cstdint>
#include <optional>
#include <string_view>

namespace Neroli {

/// A 48-bit MAC address. All zero, the default, is the unset address.
class EthAddr {
 public:
   constexpr EthAddr() = default;
   /// The first byte on the wire is the highest of the 48 bits. Raises RangeException for more than 48 bits.
   explicit EthAddr( std::uint64_t value );

   /// Six pairs of hexadecimal digits of either case, all joined by ":" or all by "-"; nothing for any other text.
   static std::optional< EthAddr > parse( std::string_view text );

   constexpr std::uint64_t value() const { return value_; }
   constexpr bool isUnset() const { return value_ == 0; }
   constexpr bool operator!() const { return isUnset(); }
   friend constexpr auto operator<=>( EthAddr const &, EthAddr const & ) = default;
   constexpr std::uint64_t hash() const { return Lum::mix( value_ ); }

   /// "02:00:aa:bb:cc:dd", in lower case; `separator` stands between the pairs.
   Lum::String stringValue( char separator = ':' ) const;
   friend std::ostream & operator<<( std::ostream & out, EthAddr const & mac ) { return out << mac.stringValue(); }

 private:
   std::uint64_t value_ = 0;
};

} // namespace Neroli

template<>
struct std::hash< Neroli::EthAddr > : Lum::MemberHash< Neroli::EthAddr > {};
