// Measuring in processes apart: this program runs itself, under callgrind where instructions are counted.
#pragma once

#include "bench/Harness.h"

#include <set>

namespace Bench {

/// Runs those processes that give one of `needs`, as many at once as there are processors; their values by
/// "process/name". One that fails or takes too long gives none and is named on standard error.
std::map< std::string, double > runApart( Suite const & suite, std::set< std::string > const & needs, bool quick );

/// What such a process does: prints its values for the one that started it. False when there is none of that name.
bool beApart( Suite const & suite, Options const & options );

} // namespace Bench
