// Reads a ring file of this or another process, living or dead, whole or damaged.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Ribbon {

struct Message {
   std::uint64_t sequence;
   double time; // seconds on the clock of the process that wrote it
   unsigned level;
   std::string file;
   unsigned line;
   std::string text; // "..." ends what was cut off when it was written
};

struct Contents {
   std::uint64_t process = 0;
   std::vector< Message > messages;  // of all levels, in the order in which they were written
   std::vector< std::string > notes; // what could not be read, in words
};

/// Raises std::runtime_error when the file cannot be read or is no ring file.
Contents readFile( std::string const & fileName );

/// The same from the bytes of a file. Damage costs the messages that it touches and leaves a note.
Contents read( std::string_view file );

} // namespace Ribbon
