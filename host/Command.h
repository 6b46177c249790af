// Operator commands on behalf of a client.
#pragma once

#include "host/Json.h"
#include "platform/oxlet/AgentCommandCallback.h"

namespace Host {

struct Command {
   std::string name;
   std::string parameters; // JSON text
};

/// Takes a command request apart. The command itself takes malformed parameters
/// for a fault of the program, so they are refused here: they must be an object
/// with unsigned 32-bit "_format" and "_revision" and, if any, a text "policy".
Command checkedCommand( Json const & request );

/// What the command writes to its descriptor. Raises Refusal when the machine
/// has no descriptor to give.
std::string outputOf( Oxlet::AgentCommandCallback & callback, std::string const & parameters );

} // namespace Host
