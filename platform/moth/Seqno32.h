// Sequence numbers that may wrap.
#pragma once

#include "platform/lum/Strep.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Moth {

/// A 32-bit sequence number, 0 by default, compared as RFC 1982 tells it: the larger of two is the one that is reached
/// sooner by counting up from the other. Two numbers just 2^31 apart are in no order, so this is no key for a tree.
class Seqno32 {
 public:
   constexpr Seqno32() = default;
   explicit constexpr Seqno32( std::uint32_t value ) : value_( value ) {}

   /// A decimal number of 32 bits; nothing for any other text.
   static std::optional< Seqno32 > parse( std::string_view text ) {
      auto const value = Lum::parseNumber< std::uint32_t >( text );
      return value ? std::optional( Seqno32( *value ) ) : std::nullopt;
   }

   constexpr std::uint32_t value() const { return value_; }
   /// Both wrap.
   friend constexpr Seqno32 operator+( Seqno32 a, std::uint32_t steps ) { return Seqno32( a.value_ + steps ); }
   friend constexpr Seqno32 operator-( Seqno32 a, std::uint32_t steps ) { return Seqno32( a.value_ - steps ); }
   friend constexpr bool operator==( Seqno32 const &, Seqno32 const & ) = default;
   friend constexpr bool operator<( Seqno32 a, Seqno32 b ) {
      return a != b && b.value_ - a.value_ < 0x80000000u; // the difference wraps
   }

   Lum::String stringValue() const { return std::to_string( value_ ); }
   friend std::ostream & operator<<( std::ostream & out, Seqno32 number ) { return out << number.stringValue(); }

 private:
   std::uint32_t value_ = 0;
};

} // namespace Moth
