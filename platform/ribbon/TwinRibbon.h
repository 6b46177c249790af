// The trace lines of the modules. One line goes to two places: to the trace stream, for whom it is formatted, and to
// the ring file, where its literals are stored once and its values as bytes.
//
//    TRACE_MODULE( "KivHostLocator" );                       // once in a source: the module's handle, `trace()`
//
//    TRACE8( trace(), " ip: ", ip );                         // entry: the function's signature, then the arguments
//    TRACE6( trace(), " ip: ", ip, " vni: ", vni );          // a step worth telling apart
//    TRACE7( trace(), " return" );                           // leaving; to the stream alone
//
// Arguments are string literals and values in any order. A value's text is that of Lum::appendText; a pointer is
// written as an address. Where nobody wants the line its arguments are not evaluated, so they must have no effects.
#pragma once

#include "platform/lum/Strep.h"
#include "platform/lum/Trace.h"
#include "platform/ribbon/Ribbon.h"
#include "platform/vxlan/Vni.h"

#include <concepts>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>
#include <type_traits>

namespace TwinRibbon {

/// A text that is the same at every pass. Any array of constant characters is taken for one.
struct Literal {
   std::string_view text;
};

template< class T >
concept IsLiteral = std::is_array_v< T > && std::same_as < std::remove_extent_t< T >,
char const > ;

template< class T >
concept IsAddress = std::is_pointer_v< T > && !std::convertible_to< T, std::string_view >;

/// What the ring keeps as a number. A bool has a text; the largest unsigned numbers have none that fits "%i".
template< class T >
concept IsNumber = std::integral< T > && !std::same_as< T, bool > && ( std::is_signed_v< T > || sizeof( T ) < 8 );

/// What the ring keeps as bytes; the reader makes their texts.
template< class T >
concept IsVni = std::same_as< T, Vxlan::Vni > || std::same_as< T, Vxlan::VniOrNone >;
template< class T >
concept IsHost = std::same_as< T, Neroli::IpGenAddr > || std::same_as< T, Neroli::IpAddr >;
template< class T >
concept IsMac = std::same_as< T, Neroli::EthAddr >;

// Literals lose their length here, so that lines which differ in their literals share one function.
template< class T >
requires IsLiteral< std::remove_reference_t< T > > Literal partOf( T && text ) {
   return { std::string_view( text, std::size( text ) - 1 ) };
}
template< class T >
std::remove_reference_t< T > const & partOf( T && value ) {
   return value;
}

/// A place in the source that writes lines of one level.
class RibbonConverter {
 public:
   constexpr RibbonConverter( Lum::TraceFacility::FacilityLevel level, char const * file, int line,
                              char const * function )
      : site_( level, file, static_cast< unsigned >( line ) ), function_( function ) {}

   /// Writes the line to whoever wants it.
   template< class... Args >
   void lineIs( Lum::TraceHandle const & handle, Args &&... args ) {
      convert( handle, partOf( args )... );
   }

 private:
   template< class... Parts >
   void convert( Lum::TraceHandle const & handle, Parts const &... parts ) {
      auto const level = Lum::TraceFacility::FacilityLevel( site_.level );
      if( handle.ringEnabled( level ) ) toRing( parts... );
      if( handle.streamEnabled( level ) ) {
         std::string text;
         ( appendPart( text, parts ), ... );
         Lum::TraceFacility::lineIs(
            { handle.name().view(), level, site_.file, static_cast< int >( site_.line ), function_, text } );
      }
   }

   template< class... Parts >
   void toRing( Parts const &... parts ) {
      if( !Ribbon::knows( site_ ) ) {
         std::string format;
         ( appendCode( format, parts ), ... );
         Ribbon::formatIs( site_, format );
      }
      Ribbon::Record record;
      ( put( record, parts ), ... );
      Ribbon::write( site_, record );
   }

   template< class T >
   static void appendPart( std::string & out, T const & part ) {
      if constexpr( std::same_as< T, Literal > ) {
         out += part.text;
      } else if constexpr( IsAddress< T > ) {
         out += Lum::format( "0x%zx", reinterpret_cast< std::uintptr_t >( part ) ).view();
      } else {
         Lum::appendText( out, part );
      }
   }

   template< class T >
   static void appendCode( std::string & format, T const & part ) {
      if constexpr( std::same_as< T, Literal > ) {
         for( char const each : part.text ) format.append( each == '%' ? 2 : 1, each );
      } else {
         format += IsAddress< T >                ? "%p"
                   : IsNumber< T > || IsVni< T > ? "%i"
                   : IsHost< T >                 ? "%A"
                   : IsMac< T >                  ? "%M"
                                                 : "%s";
      }
   }

   template< class T >
   static void put( Ribbon::Record & record, T const & part ) {
      if constexpr( std::same_as< T, Literal > ) {
         // It stands in the format.
      } else if constexpr( IsAddress< T > ) {
         record.pointer( part );
      } else if constexpr( IsNumber< T > ) {
         record.integer( part );
      } else if constexpr( IsVni< T > ) {
         record.integer( part.value() ); // none has a number, too
      } else if constexpr( IsHost< T > ) {
         record.address( part );
      } else if constexpr( IsMac< T > ) {
         record.mac( part );
      } else if constexpr( std::derived_from< T, Lum::String > ) {
         record.text( part.view() );
      } else if constexpr( std::convertible_to< T, std::string_view > ) {
         record.text( part );
      } else if constexpr( requires { part.stringValue(); } ) {
         record.text( part.stringValue().view() );
      } else {
         record.text( Lum::textOf( part ) );
      }
   }

   Ribbon::Site site_;
   char const * function_;
};

} // namespace TwinRibbon

/// Defines the module's handle, `trace()`. Sources that give one name have the same levels on.
#define TRACE_MODULE( name )                                                                                           \
   namespace {                                                                                                         \
   ::Lum::TraceHandle & trace() {                                                                                      \
      static auto & handle = *new ::Lum::TraceHandle( name, false ); /* for destructors that run at exit, too */       \
      return handle;                                                                                                   \
   }                                                                                                                   \
   }                                                                                                                   \
   static_assert( true )

#define TWIN_RIBBON_LINE( handle, level, ... )                                                                         \
   do {                                                                                                                \
      ::Lum::TraceHandle const & twinRibbonHandle = ( handle );                                                        \
      if( twinRibbonHandle.enabled( ::Lum::TraceFacility::level ) ) {                                                  \
         static constinit ::TwinRibbon::RibbonConverter twinRibbonConverter( ::Lum::TraceFacility::level, __FILE__,    \
                                                                             __LINE__, __func__ );                     \
         twinRibbonConverter.lineIs( twinRibbonHandle, __VA_ARGS__ );                                                  \
      }                                                                                                                \
   } while( false )

#define TRACE8( handle, ... ) TWIN_RIBBON_LINE( handle, level8, __PRETTY_FUNCTION__ __VA_OPT__(, ) __VA_ARGS__ )
#define TRACE7( handle, ... ) TWIN_RIBBON_LINE( handle, level7, __VA_ARGS__ )
#define TRACE6( handle, ... ) TWIN_RIBBON_LINE( handle, level6, __VA_ARGS__ )
