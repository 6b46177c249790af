// Addresses of one family each. Where either family may stand, IpGenAddr is used.
#pragma once

#include "platform/lum/Hash.h"
#include "platform/lum/String.h"

#include <compare>
#include <cstdint>
#include <optional>
#include <string_view>

namespace Neroli {

/// A 32-bit IPv4 address. The any address "0.0.0.0", the default, is the unset address.
class IpAddr {
 public:
   constexpr IpAddr() = default;
   /// The first number of the dotted text is the highest byte: 0x0a000001 is "10.0.0.1".
   explicit constexpr IpAddr( std::uint32_t value ) : value_( value ) {}

   /// Four decimal numbers from 0 to 255 without leading zeros; nothing for any other text.
   static std::optional< IpAddr > parse( std::string_view text );

   constexpr std::uint32_t value() const { return value_; }
   constexpr bool isUnset() const { return value_ == 0; }
   constexpr bool operator!() const { return isUnset(); }
   friend constexpr auto operator<=>( IpAddr const &, IpAddr const & ) = default;
   constexpr std::uint64_t hash() const { return Lum::mix( value_ ); }

   Lum::String stringValue() const;
   friend std::ostream & operator<<( std::ostream & out, IpAddr const & ip ) { return out << ip.stringValue(); }

 private:
   std::uint32_t value_ = 0;
};

/// The 16 bytes of an IPv6 address. The unspecified address "::", the default, is the unset address.
class Ip6Addr {
 public:
   constexpr Ip6Addr() = default;
   /// The address's first and last eight bytes, the first byte of each the highest.
   constexpr Ip6Addr( std::uint64_t high, std::uint64_t low ) : high_( high ), low_( low ) {}

   /// A text of RFC 4291 without a zone; nothing for any other text.
   static std::optional< Ip6Addr > parse( std::string_view text );

   constexpr std::uint64_t high() const { return high_; }
   constexpr std::uint64_t low() const { return low_; }
   constexpr bool isUnset() const { return ( high_ | low_ ) == 0; }
   constexpr bool operator!() const { return isUnset(); }
   friend constexpr auto operator<=>( Ip6Addr const &, Ip6Addr const & ) = default;
   constexpr std::uint64_t hash( std::uint64_t seed = 0 ) const {
      return Lum::hashCombine( Lum::hashCombine( seed, high_ ), low_ );
   }

   /// The shortest text, in lower case, as RFC 5952 tells it.
   Lum::String stringValue() const;
   friend std::ostream & operator<<( std::ostream & out, Ip6Addr const & ip ) { return out << ip.stringValue(); }

 private:
   std::uint64_t high_ = 0;
   std::uint64_t low_ = 0;
};

} // namespace Neroli

template<>
struct std::hash< Neroli::IpAddr > : Lum::MemberHash< Neroli::IpAddr > {};
template<>
struct std::hash< Neroli::Ip6Addr > : Lum::MemberHash< Neroli::Ip6Addr > {};
