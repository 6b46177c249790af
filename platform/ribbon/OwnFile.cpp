#include "platform/ribbon/OwnFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace Ribbon {

namespace fs = std::filesystem;

Descriptor::Descriptor( Descriptor && other ) noexcept : fd_( std::exchange( other.fd_, -1 ) ) {}

Descriptor & Descriptor::operator=( Descriptor && other ) noexcept {
   std::swap( fd_, other.fd_ );
   return *this;
}

Descriptor::~Descriptor() {
   if( valid() ) ::close( fd_ );
}

namespace {

constexpr std::string_view extension = ".rb";
constexpr std::string_view oldExtension = ".old.rb";
constexpr std::size_t keptFiles = 3; // of ended processes

fs::path directoryOfFiles() {
   for( char const * const variable : { "RIBBONDIR", "TMPDIR" } ) {
      char const * const directory = std::getenv( variable );
      if( directory && *directory ) return directory;
   }
   return "/tmp";
}

std::string withProcess( std::string name ) {
   std::string const process = std::to_string( ::getpid() );
   for( std::size_t at; ( at = name.find( "%d" ) ) != std::string::npos; ) name.replace( at, 2, process );
   return name;
}

bool isNamed( Descriptor const & file, fs::path const & path ) {
   struct stat held;
   struct stat named;
   return ::fstat( file.get(), &held ) == 0 && ::lstat( path.c_str(), &named ) == 0 && held.st_ino == named.st_ino
          && held.st_dev == named.st_dev && held.st_uid == ::geteuid();
}

bool lock( Descriptor const & file ) { return ::flock( file.get(), LOCK_EX | LOCK_NB ) == 0; }

/// The lock of the file that an ended process of this user left at `path`, if there is one.
Descriptor lockOfLeftFile( fs::path const & path ) {
   Descriptor file( ::open( path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC ) );
   return file.valid() && lock( file ) && isNamed( file, path ) ? std::move( file ) : Descriptor();
}

/// Whether `name` is `stem` with the id of a process, or that of a file which had to make way for such a one.
bool hasProcess( std::string_view name, std::string_view stem ) {
   if( !name.starts_with( stem ) ) return false;
   name.remove_prefix( stem.size() );
   if( !name.ends_with( extension ) ) return false;
   name.remove_suffix( name.ends_with( oldExtension ) ? oldExtension.size() : extension.size() );
   return name.starts_with( '-' ) && name.find_first_not_of( "-0123456789" ) == name.npos;
}

void removeLeftFiles( fs::path const & directory, std::string_view stem ) {
   std::vector< std::pair< fs::file_time_type, fs::path > > files;
   std::error_code error;
   for( fs::directory_iterator each( directory, error ), end; each != end; each.increment( error ) ) {
      auto const & path = each->path();
      if( hasProcess( path.filename().native(), stem ) ) files.emplace_back( fs::last_write_time( path, error ), path );
   }
   std::ranges::sort( files, std::greater() );
   std::size_t left = 0;
   for( auto const & [ written, path ] : files ) {
      auto const held = lockOfLeftFile( path );
      if( held.valid() && ++left > keptFiles ) ::unlink( path.c_str() );
   }
}

[[noreturn]] void raise( fs::path const & path, int error ) {
   throw std::system_error( error, std::generic_category(), path.native() + ": no ring file" );
}

/// A new file that is held, with its blocks: for want of them a full disk would end the process at some later write.
Descriptor heldFile( fs::path const & path, std::size_t size ) {
   ::unlink( path.c_str() );
   Descriptor file( ::open( path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0640 ) );
   if( !file.valid() ) raise( path, errno );
   int const error = lock( file ) ? ::posix_fallocate( file.get(), 0, static_cast< off_t >( size ) ) : errno;
   if( !error ) return file;
   ::unlink( path.c_str() );
   raise( path, error );
}

/// Gives the file at `made` the name `path`, too, unless a living process has it; 0 or the error.
int name( fs::path const & made, fs::path const & path ) {
   if( auto const left = lockOfLeftFile( path ); left.valid() ) {
      auto old = path;
      ::rename( path.c_str(), old.replace_extension( oldExtension ).c_str() );
   }
   return ::link( made.c_str(), path.c_str() ) == 0 ? 0 : errno;
}

} // namespace

OwnFile makeOwnFile( std::string const & fileName, std::size_t size ) {
   auto const directory = directoryOfFiles();
   auto const stem = fs::path( fileName ).stem().native();
   removeLeftFiles( directory, stem.substr( 0, stem.find( "-%d" ) ) );
   auto const made = directory / withProcess( stem + "-%d.new" );
   OwnFile file{ directory / withProcess( fileName ), heldFile( made, size ) };
   int error = name( made, file.path );
   if( error == EEXIST ) {
      std::fprintf( stderr, "%s belongs to another process, so this one's bears its number\n", file.path.c_str() );
      file.path = directory / withProcess( stem + "-%d" ).append( extension );
      error = name( made, file.path );
   }
   ::unlink( made.c_str() );
   if( error ) raise( file.path, error );
   return file;
}

void removeName( OwnFile const & file ) {
   if( isNamed( file.descriptor, file.path ) ) ::unlink( file.path.c_str() );
}

} // namespace Ribbon
