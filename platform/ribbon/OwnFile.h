// Whose a ring file is. A process holds a lock on its file for as long as it lives, which tells it from the files of
// ended processes, whatever has become of their ids. A file gets its name when it is locked already, and a name is
// taken away only by who holds the lock of its file: so no process ever takes the file of another.
#pragma once

#include <filesystem>
#include <string>

namespace Ribbon {

/// A file's descriptor; closed at the end.
class Descriptor {
 public:
   explicit Descriptor( int fd = -1 ) : fd_( fd ) {}
   Descriptor( Descriptor && other ) noexcept;
   Descriptor & operator=( Descriptor && other ) noexcept;
   ~Descriptor();

   bool valid() const { return fd_ >= 0; }
   int get() const { return fd_; }

 private:
   int fd_;
};

/// A file of this process; held until it goes.
struct OwnFile {
   std::filesystem::path path;
   Descriptor descriptor;
};

/// Makes a file of `size` bytes, with its blocks; where, and what becomes of others' files, tells Ribbon::initialize.
/// Raises std::system_error.
OwnFile makeOwnFile( std::string const & name, std::size_t size );

/// Takes the file's name away, unless it names another file by now.
void removeName( OwnFile const & file );

} // namespace Ribbon
