#include "platform/ribbon/RibbonReader.h"

#include "platform/lum/String.h"
#include "platform/neroli/EthAddr.h"
#include "platform/neroli/IpGenAddr.h"
#include "platform/ribbon/OwnFile.h"
#include "platform/ribbon/RibbonFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <optional>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace Ribbon {

namespace {

/// Takes a T off the front of `bytes`; nothing if they are too few.
template< class T >
std::optional< T > take( std::string_view & bytes ) {
   if( bytes.size() < sizeof( T ) ) return std::nullopt;
   T value;
   std::memcpy( &value, bytes.data(), sizeof value );
   bytes.remove_prefix( sizeof value );
   return value;
}

/// The part of the file; nothing if it does not lie within.
std::optional< std::string_view > partOf( std::string_view file, std::uint64_t offset, std::uint64_t size ) {
   if( offset > file.size() || size > file.size() - offset ) return std::nullopt;
   return file.substr( offset, size );
}

struct Format {
   std::string_view file;
   unsigned line;
   std::string_view text;
};

using Formats = std::map< std::uint64_t, Format >; // by offset

Formats formatsOf( std::string_view bytes ) {
   Formats formats;
   for( std::uint64_t at = 0; at < bytes.size(); ) {
      std::string_view rest = bytes.substr( at );
      auto const header = take< FormatHeader >( rest );
      if( !header || header->size < sizeof *header || header->size - sizeof *header > rest.size() ) break;
      rest = rest.substr( 0, header->size - sizeof *header );
      if( header->fileSize > rest.size() ) break;
      formats[ at ] = { rest.substr( 0, header->fileSize ), header->line, rest.substr( header->fileSize ) };
      at += header->size;
   }
   return formats;
}

/// The text of one argument, taken off `arguments`; nothing if it is not there.
std::optional< std::string > argument( char code, std::string_view & arguments ) {
   if( code == 's' ) {
      auto const length = take< std::uint16_t >( arguments );
      if( !length ) return std::nullopt;
      std::string text( arguments.substr( 0, *length & ~textCut ) );
      arguments.remove_prefix( text.size() );
      return *length & textCut ? text + "..." : text;
   }
   if( code == 'A' ) {
      auto const ip = Neroli::IpGenAddr::fromBytes( arguments );
      return ip ? std::optional( ip->stringValue().str() ) : std::nullopt;
   }
   auto const number = take< std::int64_t >( arguments );
   if( !number ) return std::nullopt;
   if( code == 'i' ) return std::to_string( *number );
   if( code == 'M' )
      return Neroli::EthAddr( static_cast< std::uint64_t >( *number ) & 0xffffffffffff ).stringValue().str();
   return Lum::format( "0x%zx", static_cast< std::size_t >( *number ) ).str();
}

std::string textOf( std::string_view format, std::string_view arguments ) {
   std::string text;
   for( std::size_t i = 0; i < format.size(); ++i ) {
      char const code = format[ i ] == '%' && i + 1 < format.size() ? format[ ++i ] : '\0';
      if( code == 's' || code == 'i' || code == 'p' || code == 'A' || code == 'M' ) {
         auto const value = argument( code, arguments );
         if( !value ) return text + "...";
         text += *value;
      } else {
         text += format[ i ];
      }
   }
   return text;
}

/// One ring, unrolled: the bytes from tail to head. Nothing if the header makes no sense.
std::optional< std::string > unrolled( std::string_view ring, std::uint64_t tail, std::uint64_t head ) {
   if( tail > head || head - tail > ring.size() ) return std::nullopt;
   std::string bytes;
   if( ring.empty() ) return bytes;
   bytes = ring.substr( tail % ring.size() );
   bytes += ring.substr( 0, tail % ring.size() );
   bytes.resize( head - tail );
   return bytes;
}

/// Adds the messages of one ring. False: it is damaged, and the rest of it is lost.
bool addMessages( Contents & contents, unsigned level, std::string_view bytes, Formats const & formats ) {
   while( !bytes.empty() ) {
      std::string_view rest = bytes;
      auto const header = take< RecordHeader >( rest );
      if( !header || header->size < sizeof *header || header->size > bytes.size() ) return false;
      auto const format = formats.find( header->format );
      if( format == formats.end() ) return false;
      auto const & [ file, line, text ] = format->second;
      contents.messages.push_back( { header->sequence, header->time, level, std::string( file ), line,
                                     textOf( text, rest.substr( 0, header->size - sizeof *header ) ) } );
      bytes.remove_prefix( header->size );
   }
   return true;
}

void addRing( Contents & contents, unsigned level, std::string_view file, RingHeader const & ring,
              Formats const & formats ) {
   auto const bytes = partOf( file, ring.offset, ring.size );
   auto const records = bytes ? unrolled( *bytes, ring.tail, ring.head ) : std::nullopt;
   if( records && addMessages( contents, level, *records, formats ) ) return;
   contents.notes.push_back( "level " + std::to_string( level )
                             + ( bytes ? " is damaged" : " lies beyond the end of the file" ) );
}

[[noreturn]] void unreadable( std::string const & fileName ) {
   throw std::runtime_error( fileName + ": " + std::strerror( errno ) );
}

std::size_t readUpTo( Descriptor const & file, std::string const & fileName, char * to, std::size_t size ) {
   std::size_t done = 0;
   while( done < size ) {
      ssize_t const part = ::pread( file.get(), to + done, size - done, static_cast< off_t >( done ) );
      if( part < 0 && errno != EINTR ) unreadable( fileName );
      if( part == 0 ) break;
      if( part > 0 ) done += static_cast< std::size_t >( part );
   }
   return done;
}

/// The process may have gone on while `bytes` were read. Whole is only what lies behind the tails that it has now.
void leaveOutOverwritten( std::string & bytes, FileHeader const & later ) {
   FileHeader header;
   std::memcpy( &header, bytes.data(), sizeof header );
   header.formatsUsed = later.formatsUsed; // a record may have come between the reading of this and of the heads
   for( unsigned level = 0; level < levels; ++level ) {
      auto & ring = header.rings[ level ];
      if( ring.tail > ring.head ) continue; // damaged
      ring.tail = std::clamp( later.rings[ level ].tail, ring.tail, ring.head );
   }
   std::memcpy( bytes.data(), &header, sizeof header );
}

} // namespace

Contents read( std::string_view file ) {
   std::string_view bytes = file;
   auto const header = take< FileHeader >( bytes );
   if( !header || header->magic != fileMagic ) throw std::runtime_error( "this is no ring file" );
   Contents contents;
   contents.process = header->process;
   auto const formatBytes = partOf( file, header->formatsOffset, std::min( header->formatsUsed, header->formatsSize ) );
   if( !formatBytes ) throw std::runtime_error( "the file ends within the formats, so nothing can be read" );
   if( header->formatsLeftOut ) {
      contents.notes.push_back( "there was no room for the formats of " + std::to_string( header->formatsLeftOut )
                                + " places in the source; their lines are missing" );
   }
   Formats const formats = formatsOf( *formatBytes );
   for( unsigned level = 0; level < levels; ++level ) {
      addRing( contents, level, file, header->rings[ level ], formats );
   }
   std::ranges::stable_sort( contents.messages, {}, &Message::sequence );
   return contents;
}

Contents readFile( std::string const & fileName ) {
   Descriptor const file( ::open( fileName.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC ) );
   struct stat status;
   if( !file.valid() || ::fstat( file.get(), &status ) != 0 ) unreadable( fileName );
   std::string bytes( static_cast< std::size_t >( status.st_size ), '\0' );
   bytes.resize( readUpTo( file, fileName, bytes.data(), bytes.size() ) );
   FileHeader later;
   if( bytes.size() >= sizeof later
       && readUpTo( file, fileName, reinterpret_cast< char * >( &later ), sizeof later ) == sizeof later ) {
      leaveOutOverwritten( bytes, later );
   }
   try {
      return read( bytes );
   } catch( std::runtime_error const & error ) {
      throw std::runtime_error( fileName + ": " + error.what() );
   }
}

} // namespace Ribbon
