// The trace stream: lines for whoever develops or debugs the program. A source module has one handle; which handles
// and levels are on is a setting of the process. All are off at first, and a line that is off costs one load and one
// test.
//
// Modules do not write lines here but through the macros of platform/ribbon/TwinRibbon.h, which feed this stream and
// the ring file alike. A handle therefore keeps, for each level, whether the stream wants its lines and whether the
// ring does.
#pragma once

#include "platform/lum/String.h"

#include <cstdint>
#include <string_view>

namespace Lum {

class TraceHandle;

/// What all handles share: the settings, and where the lines go.
///
/// The environment variable "KIV_TRACE" holds a setting that is in force from the first handle on. One that cannot be
/// parsed is named on standard error and has no effect.
class TraceFacility {
 public:
   /// 8 is the entry to a function, 7 a return, 6 a marked step; the others are free.
   enum FacilityLevel : std::uint8_t { level0, level1, level2, level3, level4, level5, level6, level7, level8, level9 };
   static constexpr unsigned levels = 10;

   struct Line {
      std::string_view handle;
      FacilityLevel level;
      char const * file;
      int line;
      char const * function;
      std::string_view text;
   };
   using Sink = void ( * )( void * context, Line const & line );

   /// Turns a level on or off for the handles of that name, present and future. A pattern that ends in '*' stands for
   /// all names that begin like it. Of settings that overlap the latest counts.
   static void levelIs( std::string_view handlePattern, FacilityLevel level, bool on );

   /// Turns on what `setting` names: a list such as "Kiv/8,KivHostLocator/6-8,*/7" of a pattern and a level or a range
   /// of levels. Raises RangeException with the place (in characters, from 1) and the reason, and then turns on
   /// nothing.
   static void settingIs( std::string_view setting );

   /// The levels whose lines the ring wants, as a mask (1 << level). The ring itself calls this.
   static void ringLevelsIs( std::uint32_t mask );

   /// Writes a line, whether its level is on or not. On standard error it is indented by the depth of the firings that
   /// it is written in.
   static void lineIs( Line const & line );

   /// Takes the lines in place of standard error; null gives them back to it.
   static void sinkIs( Sink sink, void * context );
};

/// One module's handle. Handles of one name always have the same levels on.
class TraceHandle {
 public:
   /// @param on  whether all levels are on in the stream where no setting says otherwise
   TraceHandle( String name, bool on );
   TraceHandle( TraceHandle const & ) = delete;
   TraceHandle & operator=( TraceHandle const & ) = delete;
   ~TraceHandle();

   String const & name() const { return name_; }

   /// Whether anybody wants a line of this level. Nothing may be formatted where it is false.
   bool enabled( TraceFacility::FacilityLevel level ) const { return ( wanted_ >> level & 0x10001u ) != 0; }
   bool streamEnabled( TraceFacility::FacilityLevel level ) const { return ( wanted_ >> level & 1u ) != 0; }
   bool ringEnabled( TraceFacility::FacilityLevel level ) const { return ( wanted_ >> level & 0x10000u ) != 0; }

 private:
   friend class TraceFacility;

   void streamLevelsIs( std::uint32_t mask, bool on ) { wanted_ = on ? wanted_ | mask : wanted_ & ~mask; }
   void ringLevelsIs( std::uint32_t mask ) { wanted_ = ( wanted_ & 0xffffu ) | mask << 16; }

   std::uint32_t wanted_; // a bit for each level: low half the stream, high half the ring
   String name_;
   TraceHandle * next_;
};

} // namespace Lum
