// VXLAN network identifiers.
#pragma once

#include "platform/lum/Fault.h"
#include "platform/lum/Hash.h"
#include "platform/lum/String.h"

#include <compare>
#include <cstdint>
#include <optional>
#include <string_view>

namespace Vxlan {

/// A VNI or the value none, which is the default.
class VniOrNone {
 public:
   static constexpr std::uint32_t none = 0x1000000;

   constexpr VniOrNone() = default;
   /// Raises RangeException for a value above `none`.
   explicit constexpr VniOrNone( std::uint32_t value ) : value_( value ) {
      if( value > none ) Lum::throwRangeException( "VniOrNone::value < 0 or > 0x1000000 not allowed" );
   }

   /// A decimal number from 0 to 16777216 (none), without leading zeros; nothing for any other text.
   static std::optional< VniOrNone > parse( std::string_view text );

   constexpr std::uint32_t value() const { return value_; }
   constexpr bool isNone() const { return value_ == none; }
   constexpr bool operator!() const { return isNone(); }
   friend constexpr auto operator<=>( VniOrNone const &, VniOrNone const & ) = default;
   constexpr std::uint64_t hash() const { return Lum::mix( value_ ); }

   /// The decimal text, which parses back. With `noneByName`, for readers, none is "none" instead of "16777216".
   Lum::String stringValue( bool noneByName = false ) const;
   friend std::ostream & operator<<( std::ostream & out, VniOrNone const & vni ) { return out << vni.stringValue(); }

 private:
   std::uint32_t value_ = none;
};

/// A 24-bit VNI, 0 by default.
class Vni {
 public:
   static constexpr std::uint32_t min = 0;
   static constexpr std::uint32_t max = 0xffffff;

   constexpr Vni() = default;
   /// Raises RangeException for a value above `max`.
   explicit constexpr Vni( std::uint32_t value ) : value_( value ) {
      if( value > max ) Lum::throwRangeException( "Vni::value < Vni::min or > Vni::max not allowed" );
   }
   /// Raises RangeException for none: a caller that may hold none asks first.
   explicit constexpr Vni( VniOrNone vni ) : Vni( vni.value() ) {}

   /// A decimal number from 0 to 16777215, without leading zeros; nothing for any other text.
   static std::optional< Vni > parse( std::string_view text );

   constexpr std::uint32_t value() const { return value_; }
   constexpr operator VniOrNone() const { return VniOrNone( value_ ); } // NOLINT(google-explicit-constructor)
   friend constexpr auto operator<=>( Vni const &, Vni const & ) = default;
   constexpr std::uint64_t hash() const { return Lum::mix( value_ ); }

   /// The decimal text.
   Lum::String stringValue() const;
   friend std::ostream & operator<<( std::ostream & out, Vni const & vni ) { return out << vni.stringValue(); }

 private:
   std::uint32_t value_ = min;
};

} // namespace Vxlan

template<>
struct std::hash< Vxlan::VniOrNone > : Lum::MemberHash< Vxlan::VniOrNone > {};
template<>
struct std::hash< Vxlan::Vni > : Lum::MemberHash< Vxlan::Vni > {};
