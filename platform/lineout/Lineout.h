// The output of an operator command.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Lineout {

/// Gathers text for a descriptor, which stays the caller's. What is left at the end is written; a fault of that last
/// write is not told, so who must know flushes first.
class LineoutBuffer {
 public:
   /// Raises std::runtime_error if `fd` is not open.
   explicit LineoutBuffer( int fd );
   LineoutBuffer( LineoutBuffer const & ) = delete;
   LineoutBuffer & operator=( LineoutBuffer const & ) = delete;
   ~LineoutBuffer();

   /// Adds text. Flushes when much has gathered.
   void append( std::string_view text );

   /// Writes all that has gathered, waiting while the descriptor takes nothing. Raises std::runtime_error when a write
   /// fails or the reader stands still for a second; the text is then lost.
   void flush();

 private:
   int fd_;
   std::string text_;
};

/// The operations that write.
class Renderer {
 public:
   /// Writes text made as by printf.
   [[gnu::format( printf, 2, 3 )]] void addFrills( char const * format, ... );

   /// See LineoutBuffer::flush.
   void flush() { buffer_.flush(); }

 protected:
   explicit Renderer( int fd ) : buffer_( fd ) {}
   ~Renderer() = default;

 private:
   LineoutBuffer buffer_;
};

/// An output on a descriptor, complete when the printer ends.
class Printer : public Renderer {
 public:
   /// @param format  the format that the operator asked for. There is one, plain text, and it stands for any other.
   /// The further arguments ask for buffered (true), structured (false) and coloured (false) output and for a width to
   /// fold lines at (0: none). These values are what there is; for others, or if `fd` is not open, raises
   /// std::runtime_error.
   Printer( int fd, unsigned format, bool buffered, bool structured, bool coloured, unsigned width );

   unsigned format() const { return format_; }

 private:
   unsigned format_;
};

} // namespace Lineout
