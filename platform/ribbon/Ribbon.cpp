#include "platform/ribbon/Ribbon.h"

#include "platform/lum/Trace.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <mutex>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>

namespace Ribbon {

namespace {

using Lum::TraceFacility;

// Of the trace lines, the ring takes entries and marked steps.
constexpr std::uint32_t tracedLevels = 1u << TraceFacility::level8 | 1u << TraceFacility::level6;
constexpr std::uint32_t leftOut = UINT32_MAX; // in place of a format's offset

struct State {
   char * base = nullptr;   // of the mapped file; null while the ring is off
   FileHeader header{};     // what the file's own says, for the file lies open to others
   std::uint64_t rings = 0; // how many this process has had, this one included
   std::uint64_t sequence = 0;
   Lum::Clock clock = nullptr;
   std::uint32_t recordLimit = maxRecord;
   bool multiThreading = false;
   bool keepFile = true;
   std::mutex mutex;
   std::string path;

   FileHeader & shown() const { return *reinterpret_cast< FileHeader * >( base ); }
   std::unique_lock< std::mutex > lock() {
      return multiThreading ? std::unique_lock( mutex ) : std::unique_lock< std::mutex >();
   }
} ring;

std::filesystem::path pathOf( std::string name ) {
   std::string const process = std::to_string( ::getpid() );
   for( std::size_t at; ( at = name.find( "%d" ) ) != std::string::npos; ) name.replace( at, 2, process );
   for( char const * const variable : { "RIBBONDIR", "TMPDIR" } ) {
      char const * const directory = std::getenv( variable );
      if( directory && *directory ) return std::filesystem::path( directory ) / name;
   }
   return std::filesystem::path( "/tmp" ) / name;
}

FileHeader headerOf( SizeSpec const & sizeSpec, std::uint32_t formatKilobytes ) {
   FileHeader header{};
   header.magic = fileMagic;
   header.process = static_cast< std::uint64_t >( ::getpid() );
   header.formatsOffset = sizeof header;
   header.formatsSize = std::uint64_t( formatKilobytes ) * 1024 * levels;
   std::uint64_t end = header.formatsOffset + header.formatsSize;
   for( unsigned level = 0; level < levels; ++level ) {
      std::uint64_t const size = std::uint64_t( sizeSpec[ level ] ) * 1024;
      header.rings[ level ] = { end, size, 0, 0 };
      end += size;
   }
   return header;
}

std::uint64_t fileSizeOf( FileHeader const & header ) {
   auto const & last = header.rings[ levels - 1 ];
   return last.offset + last.size;
}

char * mapped( std::filesystem::path const & path, int file, std::size_t size ) {
   // Without its blocks a full disk would kill the process at some later write into the map.
   int const fault = ::posix_fallocate( file, 0, static_cast< off_t >( size ) );
   void * const base = fault ? MAP_FAILED : ::mmap( nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0 );
   if( base != MAP_FAILED ) return static_cast< char * >( base );
   std::fprintf( stderr, "%s: no ring file: %s\n", path.c_str(), std::strerror( fault ? fault : errno ) );
   ::unlink( path.c_str() );
   return nullptr;
}

/// Always a new file: one that is there may still be mapped by its process, or be a trap that another user has laid.
char * mapNewFile( std::filesystem::path const & path, std::size_t size ) {
   auto old = path;
   ::rename( path.c_str(), old.replace_extension( ".old.rb" ).c_str() );
   int const file = ::open( path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0640 );
   if( file < 0 ) {
      std::fprintf( stderr, "%s: no ring file: %s\n", path.c_str(), std::strerror( errno ) );
      return nullptr;
   }
   char * const base = mapped( path, file, size );
   ::close( file );
   return base;
}

std::uint32_t wantedLevels( SizeSpec const & sizeSpec ) {
   std::uint32_t mask = 0;
   for( unsigned level = 0; level < levels; ++level ) mask |= ( sizeSpec[ level ] ? 1u : 0u ) << level;
   return mask & tracedLevels;
}

void publish( std::uint64_t & position, std::uint64_t value ) {
   std::atomic_ref( position ).store( value, std::memory_order_release );
}

void copyIn( RingHeader const & to, std::uint64_t position, char const * bytes, std::size_t size ) {
   char * const start = ring.base + to.offset;
   std::size_t const at = position % to.size;
   std::size_t const first = std::min< std::size_t >( size, to.size - at );
   std::memcpy( start + at, bytes, first );
   std::memcpy( start, bytes + first, size - first );
}

std::uint32_t recordSizeAt( RingHeader const & from, std::uint64_t position ) {
   char const * const start = ring.base + from.offset;
   std::size_t const at = position % from.size;
   std::uint32_t size;
   std::size_t const first = std::min< std::size_t >( sizeof size, from.size - at );
   std::memcpy( &size, start + at, first );
   std::memcpy( reinterpret_cast< char * >( &size ) + first, start, sizeof size - first );
   return size;
}

/// Moves the tail until `size` bytes are free. Sizes that stand in the file are believed within bounds only.
void makeRoom( RingHeader & in, RingHeader & shown, std::size_t size ) {
   std::uint64_t tail = in.tail;
   while( in.head + size - tail > in.size ) {
      std::uint32_t const oldest = recordSizeAt( in, tail );
      tail = oldest < sizeof( RecordHeader ) || oldest > in.head - tail ? in.head : tail + oldest;
   }
   if( tail == in.tail ) return;
   publish( shown.tail, in.tail = tail );
   std::atomic_thread_fence( std::memory_order_release ); // the tail moves before the bytes change
}

} // namespace

void initialize( Lum::String const & fileName, SizeSpec const & sizeSpec, Lum::Clock clock, std::uint64_t firstSequence,
                 std::uint32_t formatKilobytes, bool multiThreading, bool keepFile, std::uint32_t recordLimit ) {
   if( ring.base ) return;
   auto const path = pathOf( fileName.str() );
   ring.header = headerOf( sizeSpec, formatKilobytes );
   char * const base = mapNewFile( path, fileSizeOf( ring.header ) );
   if( !base ) return;
   std::memcpy( base, &ring.header, sizeof ring.header );
   ++ring.rings;
   ring.sequence = firstSequence;
   ring.clock = clock ? clock : Lum::now;
   ring.recordLimit = std::clamp( recordLimit, 64u, maxRecord );
   ring.multiThreading = multiThreading;
   ring.keepFile = keepFile;
   ring.path = path;
   ring.base = base;
   TraceFacility::ringLevelsIs( wantedLevels( sizeSpec ) );
}

void finalize() {
   if( !ring.base ) return;
   TraceFacility::ringLevelsIs( 0 );
   if( !ring.keepFile ) removeFile();
   ::munmap( std::exchange( ring.base, nullptr ), fileSizeOf( ring.header ) );
   ring.path.clear();
}

void removeFile() {
   if( ring.base ) ::unlink( ring.path.c_str() );
}

std::string filePath() { return ring.path; }

Record::Record() : limit_( ring.recordLimit ) {} // NOLINT(cppcoreguidelines-pro-type-member-init)

void Record::word( void const * value ) {
   if( limit_ - size_ < sizeof( std::uint64_t ) ) {
      limit_ = size_;
      return;
   }
   std::memcpy( bytes_ + size_, value, sizeof( std::uint64_t ) );
   size_ += sizeof( std::uint64_t );
}

void Record::text( std::string_view value ) {
   std::uint16_t length;
   if( limit_ - size_ < sizeof length ) {
      limit_ = size_;
      return;
   }
   std::size_t const room = limit_ - size_ - sizeof length;
   std::size_t const taken = std::min( value.size(), room );
   length = static_cast< std::uint16_t >( taken | ( taken < value.size() ? textCut : 0 ) );
   std::memcpy( bytes_ + size_, &length, sizeof length );
   if( taken ) std::memcpy( bytes_ + size_ + sizeof length, value.data(), taken );
   size_ += static_cast< std::uint32_t >( sizeof length + taken );
   if( taken < value.size() ) limit_ = size_;
}

bool knows( Site const & site ) { return site.format.load( std::memory_order_relaxed ) >> 32 == ring.rings; }

void formatIs( Site & site, std::string_view format ) {
   auto const lock = ring.lock();
   if( !ring.base || knows( site ) ) return;
   auto & header = ring.header;
   std::string_view const file = site.file;
   std::size_t const size = sizeof( FormatHeader ) + file.size() + format.size();
   std::uint64_t const at = header.formatsUsed;
   if( size > header.formatsSize - at ) {
      publish( ring.shown().formatsLeftOut, ++header.formatsLeftOut );
      site.format = ring.rings << 32 | leftOut;
      return;
   }
   FormatHeader const entry{ static_cast< std::uint32_t >( size ), site.line,
                             static_cast< std::uint32_t >( file.size() ) };
   char * to = ring.base + header.formatsOffset + at;
   std::memcpy( to, &entry, sizeof entry );
   std::memcpy( to + sizeof entry, file.data(), file.size() );
   std::memcpy( to + sizeof entry + file.size(), format.data(), format.size() );
   publish( ring.shown().formatsUsed, header.formatsUsed = at + size );
   site.format = ring.rings << 32 | at;
}

void write( Site const & site, Record & record ) {
   auto const lock = ring.lock();
   if( !ring.base ) return;
   auto const format = static_cast< std::uint32_t >( site.format.load( std::memory_order_relaxed ) );
   auto & to = ring.header.rings[ site.level ];
   auto & shown = ring.shown().rings[ site.level ];
   if( format == leftOut || record.size_ > to.size ) return;
   RecordHeader const header{ record.size_, format, ring.sequence++, ring.clock() };
   std::memcpy( record.bytes_, &header, sizeof header );
   makeRoom( to, shown, record.size_ );
   copyIn( to, to.head, record.bytes_, record.size_ );
   publish( shown.head, to.head += record.size_ );
}

} // namespace Ribbon
