// Hashes of keys. The tables choose a bucket by a hash's top bits and are walked in the order of the hashes, so every
// bit of a hash has to depend on every bit of the key. There is no seed: a run repeats.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Lum {

/// Spreads a word over all 64 bits; one to one (the finaliser of splitmix64).
constexpr std::uint64_t mix( std::uint64_t word ) {
   word = ( word ^ ( word >> 30 ) ) * 0xbf58476d1ce4e5b9ull;
   word = ( word ^ ( word >> 27 ) ) * 0x94d049bb133111ebull;
   return word ^ ( word >> 31 );
}

/// The hash of what `seed` stands for followed by `hash`; the order counts. A first seed may be any number.
constexpr std::uint64_t hashCombine( std::uint64_t seed, std::uint64_t hash ) {
   return mix( ( seed * 0x9e3779b97f4a7c15ull ) ^ hash );
}

/// The base of `std::hash` for a type that has `hash()`.
template< class T >
struct MemberHash {
   std::size_t operator()( T const & value ) const { return value.hash(); }
};

} // namespace Lum
