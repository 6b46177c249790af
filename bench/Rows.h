// The rows of the table, in its order.
#pragma once

#include "bench/Harness.h"

namespace Bench {

/// What a change costs until it has reached those who watch it, and a line in the ring file.
void addRuntimeRows( Suite & suite );
/// What the agent takes for a host, in time, instructions and memory, and how that grows with the fabric.
void addAgentRows( Suite & suite );
/// What kivd takes for a request.
void addHostRows( Suite & suite );

} // namespace Bench
