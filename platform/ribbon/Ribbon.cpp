#include "platform/ribbon/Ribbon.h"

#include "platform/lum/Trace.h"
#include "platform/ribbon/OwnFile.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <sys/mman.h>
#include <system_error>
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
   unsigned turns = 0; // that are under way
   double time = 0;    // while there are any
   std::uint32_t recordLimit = maxRecord;
   bool multiThreading = false;
   bool keepFile = true;
   std::mutex mutex;
   OwnFile file;
   std::array< std::size_t, levels > headAt{}; // where a ring's head and tail lie: positions modulo its size
   std::array< std::size_t, levels > tailAt{};
   bool cut = false;                // some of the file is gone
   struct sigaction busErrors = {}; // who had them before

   FileHeader & shown() const { return *reinterpret_cast< FileHeader * >( base ); }
   std::unique_lock< std::mutex > lock() {
      return multiThreading ? std::unique_lock( mutex ) : std::unique_lock< std::mutex >();
   }
} ring;

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

char * mapped( OwnFile const & file, std::size_t size ) {
   void * const base = ::mmap( nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file.descriptor.get(), 0 );
   if( base != MAP_FAILED ) return static_cast< char * >( base );
   int const error = errno;
   removeName( file );
   throw std::system_error( error, std::generic_category(), file.path.native() + ": no ring file" );
}

/// Writing where the file has been truncated is a bus error, and the write is tried again after this. A page of memory
/// takes the place of what is gone; it ends with the process.
void handleBusError( int, siginfo_t * info, void * ) {
   auto * const place = static_cast< char * >( info->si_addr );
   auto const pageSize = static_cast< std::size_t >( ::sysconf( _SC_PAGESIZE ) );
   bool const ours = ring.base && place >= ring.base && place < ring.base + fileSizeOf( ring.header );
   auto * const page = place - reinterpret_cast< std::uintptr_t >( place ) % pageSize;
   if( !ours
       || ::mmap( page, pageSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0 ) != page ) {
      ::sigaction( SIGBUS, &ring.busErrors, nullptr );
   } else if( !std::exchange( ring.cut, true ) ) {
      std::fprintf( stderr, "%s has been truncated; the ring goes on in memory\n", ring.file.path.c_str() );
   }
}

void catchBusErrors() {
   struct sigaction action = {};
   action.sa_sigaction = handleBusError;
   action.sa_flags = SA_SIGINFO;
   ::sigaction( SIGBUS, &action, &ring.busErrors );
}

std::uint32_t wantedLevels( SizeSpec const & sizeSpec ) {
   std::uint32_t mask = 0;
   for( unsigned level = 0; level < levels; ++level ) mask |= ( sizeSpec[ level ] ? 1u : 0u ) << level;
   return mask & tracedLevels;
}

void publish( std::uint64_t & position, std::uint64_t value ) {
   std::atomic_ref( position ).store( value, std::memory_order_release );
}

/// Moves an offset on, round the ring. Neither is divided: a record is smaller than the ring.
std::size_t moved( RingHeader const & in, std::size_t at, std::size_t size ) {
   return at + size < in.size ? at + size : at + size - in.size;
}

void copyIn( RingHeader const & to, std::size_t at, char const * bytes, std::size_t size ) {
   char * const start = ring.base + to.offset;
   if( size <= to.size - at ) [[likely]] {
      std::memcpy( start + at, bytes, size );
      return;
   }
   std::size_t const first = to.size - at;
   std::memcpy( start + at, bytes, first );
   std::memcpy( start, bytes + first, size - first );
}

std::uint32_t recordSizeAt( RingHeader const & from, std::size_t at ) {
   char const * const start = ring.base + from.offset;
   std::uint32_t size;
   std::size_t const first = std::min< std::size_t >( sizeof size, from.size - at );
   if( first == sizeof size ) [[likely]] {
      std::memcpy( &size, start + at, sizeof size );
      return size;
   }
   std::memcpy( &size, start + at, first );
   std::memcpy( reinterpret_cast< char * >( &size ) + first, start, sizeof size - first );
   return size;
}

/// Moves the tail until `size` bytes are free. Sizes that stand in the file are believed within bounds only.
void makeRoom( unsigned level, RingHeader & shown, std::size_t size ) {
   auto & in = ring.header.rings[ level ];
   auto & at = ring.tailAt[ level ];
   std::uint64_t tail = in.tail;
   while( in.head + size - tail > in.size ) {
      std::uint32_t const oldest = recordSizeAt( in, at );
      bool const whole = oldest >= sizeof( RecordHeader ) && oldest <= in.head - tail;
      tail = whole ? tail + oldest : in.head;
      at = whole ? moved( in, at, oldest ) : ring.headAt[ level ];
   }
   if( tail == in.tail ) return;
   publish( shown.tail, in.tail = tail );
   std::atomic_thread_fence( std::memory_order_release ); // the tail moves before the bytes change
}

} // namespace

void initialize( Lum::String const & fileName, SizeSpec const & sizeSpec, Lum::Clock clock, std::uint64_t firstSequence,
                 std::uint32_t formatKilobytes, bool multiThreading, bool keepFile, std::uint32_t recordLimit ) {
   if( ring.base ) return;
   ring.header = headerOf( sizeSpec, formatKilobytes );
   auto const size = fileSizeOf( ring.header );
   try {
      auto file = makeOwnFile( fileName.str(), size );
      ring.base = mapped( file, size );
      ring.file = std::move( file );
   } catch( std::system_error const & fault ) {
      std::fprintf( stderr, "%s\n", fault.what() );
      return;
   }
   ring.cut = false;
   catchBusErrors();
   std::memcpy( ring.base, &ring.header, sizeof ring.header );
   ++ring.rings;
   ring.sequence = firstSequence;
   ring.clock = clock ? clock : Lum::now;
   ring.time = ring.clock();
   ring.headAt = ring.tailAt = {};
   ring.recordLimit = std::clamp( recordLimit, 64u, maxRecord );
   ring.multiThreading = multiThreading;
   ring.keepFile = keepFile;
   TraceFacility::ringLevelsIs( wantedLevels( sizeSpec ) );
}

void finalize() {
   if( !ring.base ) return;
   TraceFacility::ringLevelsIs( 0 );
   if( !ring.keepFile ) removeFile();
   ::munmap( std::exchange( ring.base, nullptr ), fileSizeOf( ring.header ) );
   ::sigaction( SIGBUS, &ring.busErrors, nullptr );
   ring.file = OwnFile();
}

void removeFile() {
   if( ring.base ) removeName( ring.file );
}

std::string filePath() { return ring.file.path; }

Turn::Turn() {
   ++ring.turns;
   if( ring.base ) ring.time = ring.clock();
}

Turn::~Turn() {
   --ring.turns;
   if( ring.base && ring.turns ) ring.time = ring.clock();
}

Record::Record() : limit_( ring.recordLimit ) {} // NOLINT(cppcoreguidelines-pro-type-member-init)

void Record::word( void const * value ) { bytes( value, sizeof( std::uint64_t ) ); }

void Record::address( Neroli::IpGenAddr ip ) {
   char form[ Neroli::IpGenAddr::maxBytes ];
   bytes( form, ip.toBytes( form ) );
}

void Record::bytes( void const * from, std::size_t size ) {
   if( limit_ - size_ < size ) {
      limit_ = size_;
      return;
   }
   std::memcpy( bytes_ + size_, from, size );
   size_ += static_cast< std::uint32_t >( size );
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
   RecordHeader const header{ record.size_, format, ring.sequence++, ring.turns ? ring.time : ring.clock() };
   std::memcpy( record.bytes_, &header, sizeof header );
   makeRoom( site.level, shown, record.size_ );
   auto & at = ring.headAt[ site.level ];
   copyIn( to, at, record.bytes_, record.size_ );
   at = moved( to, at, record.size_ );
   publish( shown.head, to.head += record.size_ );
}

} // namespace Ribbon
