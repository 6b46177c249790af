// The program's time, for what is stamped or limited by it. It is the scheduler's, so that a run on a virtual clock is
// a pure function of its input.
#pragma once

namespace Lum {

/// Gives the present time in seconds; only differences have a meaning.
using Clock = double ( * )();

namespace Detail {
inline Clock clock = nullptr;
}

/// The host sets its clock here; with null, and before that, the time is 0.
inline void clockIs( Clock clock ) { Detail::clock = clock; }

/// The present time in seconds.
inline double now() { return Detail::clock ? Detail::clock() : 0; }

} // namespace Lum
