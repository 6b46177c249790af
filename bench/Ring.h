// The ring file of this process, and the clock that stamps its records.
#pragma once

namespace Bench {

enum class Ring { on, off };
/// On as the agent turns it on, but without a name in the file system, since nobody will read it. An agent that starts
/// behind this leaves it as it is.
void ringIs( Ring ring );

enum class Clock { virtualClock, real };
/// The program's clock, as a host sets it.
void clockIs( Clock clock );

} // namespace Bench
