// Operator commands on behalf of a client.
#pragma once

#include "host/Json.h"
#include "platform/oxlet/AgentCommandRequestDirSm.h"

namespace Host {

struct Command {
   std::string name;
   std::string parameters; // JSON text
};

/// Takes a command request apart. The command itself takes malformed parameters for a fault of the program, so they are
/// refused here: they must be an object with unsigned 32-bit "_format" and "_revision" and, if any, a text "policy".
Command checkedCommand( Json const & request );

/// What the command writes to its descriptor. Raises Refusal when it is none of `commands`, which may be null, or when
/// the machine has no descriptor to give.
std::string outputOf( Oxlet::AgentCommandRequestDirSm const * commands, Command const & command );

} // namespace Host
