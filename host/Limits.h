// What the type of an attribute allows and its meaning does not: the checks that a document has to pass beside those of
// the types. The records themselves hold what they are given, and the agent lives with it.
#pragma once

#include "records/kiv/PolicyConfig.h"

namespace Host {

/// Raises Refusal for a value that is none of attribute A; each attribute with a limit has an overload below.
template< class A >
void checkLimit( A, typename A::Value const & /*value*/, std::string const & /*at*/ ) {}

/// Nothing, or ranges "a" or "a-b" with 1 <= a <= b <= 16777215 joined by commas, in decimal digits alone.
void checkLimit( Kiv::Config::LumAttribute_vniRange, Lum::String const & ranges, std::string const & at );

/// Finite, and at least 1 s.
void checkLimit( Kiv::Config::LumAttribute_flowRemovalPeriod, double const & seconds, std::string const & at );
void checkLimit( Kiv::Config::LumAttribute_staleHostCheckPeriod, double const & seconds, std::string const & at );

} // namespace Host
