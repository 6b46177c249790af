// The flags of kivd.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace Host {

struct KivdOptions {
   bool stdio = false;
   bool noStart = false;
   std::string clock = "real"; // or "virtual"
   std::vector< std::string > files;
};

/// Reads the flags into `options`; `requests` is shown below the help. Returns the status to end with, and has said
/// why, when the program is not to go on: 0 after the help or the version, 2 for a call that is wrong.
std::optional< int > readOptions( int argc, char ** argv, std::string const & requests, KivdOptions & options );

} // namespace Host
