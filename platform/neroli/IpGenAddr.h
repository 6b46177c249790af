// Addresses and prefixes of either family.
#pragma once

#include "platform/neroli/IpAddr.h"

namespace Neroli {

/// An IPv4 or IPv6 address, or unset, which is the default and differs from every address: "0.0.0.0" widened is the
/// IPv4 any address and not unset. Ordered by family (unset, IPv4, IPv6), then by address.
class IpGenAddr {
 public:
   enum class Family : std::uint8_t { unset, ipv4, ipv6 };

   constexpr IpGenAddr() = default;
   constexpr IpGenAddr( IpAddr ip ) : family_( Family::ipv4 ), address_( 0, ip.value() ) {} // NOLINT(*-explicit-*)
   constexpr IpGenAddr( Ip6Addr ip ) : family_( Family::ipv6 ), address_( ip ) {}           // NOLINT(*-explicit-*)
   /// See handleInitialized.
   explicit IpGenAddr( Lum::String const & text ) { handleInitialized( text ); }

   /// The text of an address of either family, or "" for unset; nothing for any other text.
   static std::optional< IpGenAddr > parse( std::string_view text );
   /// Takes the value that `parse` reads from `text`; raises RangeException, and stays as it is, where there is none.
   void handleInitialized( Lum::String const & text );

   constexpr Family family() const { return family_; }
   /// The length of an address of this family in bits: 32, 128, or 0 when unset.
   constexpr unsigned bits() const { return family_ == Family::ipv4 ? 32 : family_ == Family::ipv6 ? 128 : 0; }
   constexpr bool isUnset() const { return family_ == Family::unset; }
   constexpr bool operator!() const { return isUnset(); }
   /// True for the IPv4 any and the IPv6 unspecified address; false for unset.
   constexpr bool isUnspecified() const { return !isUnset() && address_.isUnset(); }
   friend constexpr auto operator<=>( IpGenAddr const &, IpGenAddr const & ) = default;
   constexpr std::uint64_t hash() const { return address_.hash( static_cast< std::uint64_t >( family_ ) ); }

   /// One byte for the family and 0, 4 or 16 for the address, in the byte order of the machine; returns how many.
   static constexpr std::size_t maxBytes = 17;
   std::size_t toBytes( char * to ) const;
   /// Takes such bytes off the front; nothing where there are none.
   static std::optional< IpGenAddr > fromBytes( std::string_view & bytes );

   /// "10.0.0.1", "2001:db8::1", or "" when unset.
   Lum::String stringValue() const;
   friend std::ostream & operator<<( std::ostream & out, IpGenAddr const & ip ) { return out << ip.stringValue(); }

 private:
   Family family_ = Family::unset;
   Ip6Addr address_; // an IPv4 address stands in the last four bytes
};

/// An address and a mask length. The address keeps its bits behind the mask, so "10.0.0.1/24" and "10.0.0.2/24" differ.
class IpGenAddrWithMask {
 public:
   constexpr IpGenAddrWithMask() = default; // unset, mask 0
   /// The host prefix: as long as the address.
   explicit constexpr IpGenAddrWithMask( IpGenAddr address )
      : address_( address ), mask_( static_cast< std::uint8_t >( address.bits() ) ) {}
   /// `mask` in bits. Raises RangeException for one longer than the address.
   IpGenAddrWithMask( IpGenAddr address, unsigned mask );
   /// See handleInitialized.
   explicit IpGenAddrWithMask( Lum::String const & text ) { handleInitialized( text ); }

   /// "10.0.0.1/32"; without a mask the host prefix; "" for unset; nothing for any other text.
   static std::optional< IpGenAddrWithMask > parse( std::string_view text );
   /// Takes the value that `parse` reads from `text`; raises RangeException, and stays as it is, where there is none.
   void handleInitialized( Lum::String const & text );

   constexpr IpGenAddr address() const { return address_; }
   constexpr unsigned mask() const { return mask_; }
   constexpr bool isUnset() const { return address_.isUnset(); }
   constexpr bool operator!() const { return isUnset(); }
   friend constexpr auto operator<=>( IpGenAddrWithMask const &, IpGenAddrWithMask const & ) = default;
   constexpr std::uint64_t hash() const { return Lum::hashCombine( address_.hash(), mask_ ); }

   /// "10.0.0.1/32", or "" when unset.
   Lum::String stringValue() const;
   friend std::ostream & operator<<( std::ostream & out, IpGenAddrWithMask const & prefix ) {
      return out << prefix.stringValue();
   }

 private:
   IpGenAddr address_;
   std::uint8_t mask_ = 0;
};

} // namespace Neroli

template<>
struct std::hash< Neroli::IpGenAddr > : Lum::MemberHash< Neroli::IpGenAddr > {};
template<>
struct std::hash< Neroli::IpGenAddrWithMask > : Lum::MemberHash< Neroli::IpGenAddrWithMask > {};
