// Text values. A String is immutable and shared: a copy costs one count, and its hash is computed once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>

namespace Lum {

/// A reference-counted immutable text. The empty text is the unset value of every text attribute.
class String {
 public:
   String() noexcept = default;
   String( char const * text ) : String( std::string_view( text ) ) {}        // NOLINT(google-explicit-constructor)
   String( std::string_view text );                                           // NOLINT(google-explicit-constructor)
   String( std::string const & text ) : String( std::string_view( text ) ) {} // NOLINT(google-explicit-constructor)
   String( String const & other ) noexcept : rep_( other.rep_ ) {
      if( rep_ ) ++rep_->references;
   }
   String( String && other ) noexcept : rep_( std::exchange( other.rep_, nullptr ) ) {}
   String & operator=( String other ) noexcept {
      std::swap( rep_, other.rep_ );
      return *this;
   }
   ~String() {
      if( rep_ && --rep_->references == 0 ) free( rep_ );
   }

   /// The text with a terminating zero; valid as long as this value lives.
   char const * charPtr() const { return rep_ ? rep_->text() : ""; }
   std::string_view view() const { return rep_ ? std::string_view( rep_->text(), rep_->size ) : std::string_view(); }
   std::string str() const { return std::string( view() ); }
   std::size_t size() const { return rep_ ? rep_->size : 0; }
   bool empty() const { return rep_ == nullptr; }
   explicit operator bool() const { return rep_ != nullptr; }

   String & operator+=( String const & tail );
   friend String operator+( String head, String const & tail ) { return head += tail; }

   friend bool operator==( String const & a, String const & b ) {
      return a.rep_ == b.rep_ || ( a.size() == b.size() && std::memcmp( a.charPtr(), b.charPtr(), a.size() ) == 0 );
   }
   friend bool operator==( String const & a, char const * b ) { return a.view() == b; }
   /// Byte order.
   friend bool operator<( String const & a, String const & b ) { return a.view() < b.view(); }

   /// A hash of the bytes, the same in every run.
   std::uint64_t hash() const { return rep_ ? ( rep_->hash ? rep_->hash : hashOf( *rep_ ) ) : 0; }

 private:
   struct Rep {
      std::uint32_t references;
      std::uint32_t size;
      std::uint64_t hash; // 0: not computed yet
      char * text() { return reinterpret_cast< char * >( this + 1 ); }
   };

   static std::uint64_t hashOf( Rep & rep );
   static void free( Rep * rep );
   static Rep * make( std::size_t size );

   Rep * rep_ = nullptr;
};

/// A text that names an entity. It is a String in everything but its role.
class Name : public String {
 public:
   using String::String;
   Name() noexcept = default;
   Name( String text ) noexcept : String( std::move( text ) ) {} // NOLINT(google-explicit-constructor)
};

/// A text made as by printf.
[[gnu::format( printf, 1, 2 )]] String format( char const * form, ... );

std::ostream & operator<<( std::ostream & out, String const & text );

} // namespace Lum

template<>
struct std::hash< Lum::String > {
   std::size_t operator()( Lum::String const & text ) const { return text.hash(); }
};

template<>
struct std::hash< Lum::Name > {
   std::size_t operator()( Lum::Name const & text ) const { return text.hash(); }
};
