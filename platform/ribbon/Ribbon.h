// The ring file of the process: the last lines of each level, kept in a mapped file for the time after a crash. It is
// on in production, so writing a line is a copy of some bytes: the constant part of a line is stored once, integers and
// pointers are not formatted, and there is no system call. Nothing here ever fails its caller.
//
// Lines are written through the macros of TwinRibbon.h; ribbon-dump prints a file.
#pragma once

#include "platform/lum/Clock.h"
#include "platform/lum/String.h"
#include "platform/neroli/EthAddr.h"
#include "platform/neroli/IpGenAddr.h"
#include "platform/ribbon/RibbonFile.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

namespace Ribbon {

/// Kilobytes of ring for each level; 0 for none.
using SizeSpec = std::array< std::uint32_t, levels >;

/// Creates the ring file of this process and turns the ring on. A file that an ended process left under that name is
/// kept as "<name>.old.rb", in place of an older one; while a living process has the name, the file is called
/// "<name>-%d.rb". Of the files that bear the number of an ended process, the newest three are kept. If the file cannot
/// be made, standard error gets one line that says why, and the ring stays off. When the ring is on already, nothing
/// happens. Whoever removes or truncates the file meanwhile costs its content and nothing else.
/// @param fileName  ends in ".rb"; "%d" in it stands for the process id. The file lies in the directory "RIBBONDIR" of
///    the environment or, when that is unset or empty, in "TMPDIR", or else in /tmp.
/// @param clock  seconds for the time stamps; null for the program's own clock
/// @param firstSequence  number of the first record
/// @param formatKilobytes  room for the constant parts of the lines, for each level; the levels share it
/// @param multiThreading  whether several threads may write
/// @param keepFile  whether the file stays when the ring is finalized
/// @param recordLimit  bytes of the longest record, 64 to 4096; what a line has beyond that is cut off
void initialize( Lum::String const & fileName, SizeSpec const & sizeSpec, Lum::Clock clock, std::uint64_t firstSequence,
                 std::uint32_t formatKilobytes, bool multiThreading, bool keepFile, std::uint32_t recordLimit );

/// Turns the ring off. No other thread may be writing. A process may as well end without it.
void finalize();

/// Takes the file's name away; the ring goes on, and the file ends with the process. Without a ring nothing happens.
void removeFile();

/// The path of the file; empty while the ring is off.
std::string filePath();

/// A turn of the loop: while one lives, the lines bear the time at which the innermost began or another within it
/// ended. Outside of turns each line reads the clock.
class Turn {
 public:
   Turn();
   Turn( Turn const & ) = delete;
   Turn & operator=( Turn const & ) = delete;
   ~Turn();
};

/// A place in the source that writes lines of one format.
struct Site {
   constexpr Site( unsigned siteLevel, char const * siteFile, unsigned siteLine )
      : level( siteLevel ), line( siteLine ), file( siteFile ) {}

   unsigned level;
   unsigned line;
   char const * file;
   std::atomic< std::uint64_t > format = 0; // where the format is stored, and in which ring of this process
};

/// The arguments of one line. What no longer fits, and all behind it, is left out.
class Record {
 public:
   Record();
   void integer( std::int64_t value ) { word( &value ); }
   void pointer( void const * value ) { word( &value ); }
   void text( std::string_view value );
   /// Of either family, or unset.
   void address( Neroli::IpGenAddr ip );
   void mac( Neroli::EthAddr mac ) {
      auto const value = mac.value();
      word( &value );
   }

 private:
   friend void write( Site const & site, Record & record );

   void word( void const * value );
   void bytes( void const * from, std::size_t size );

   std::uint32_t size_ = sizeof( RecordHeader );
   std::uint32_t limit_;
   char bytes_[ maxRecord ];
};

/// Whether the site's format is stored in the present ring, or has found no room there.
bool knows( Site const & site );

/// Stores the site's format.
void formatIs( Site & site, std::string_view format );

/// Writes a line of the site, whose format must be known. With the ring off nothing happens.
void write( Site const & site, Record & record );

} // namespace Ribbon
