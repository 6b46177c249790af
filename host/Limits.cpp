#include "host/Limits.h"

#include "host/Refusal.h"
#include "platform/vxlan/Vni.h"

#include <charconv>
#include <cmath>

namespace Host {

namespace {

/// The VNI that begins at `text`, taken off its front; 0 where there is none.
std::uint32_t takeVni( std::string_view & text ) {
   std::uint32_t vni = 0;
   auto const [ end, error ] = std::from_chars( text.data(), text.data() + text.size(), vni );
   if( error != std::errc() || vni > Vxlan::Vni::max ) return 0;
   text.remove_prefix( static_cast< std::size_t >( end - text.data() ) );
   return vni;
}

bool isVniRange( std::string_view text ) {
   auto const first = takeVni( text );
   if( first == 0 || text.empty() ) return first != 0;
   if( text.front() != '-' ) return false;
   text.remove_prefix( 1 );
   return takeVni( text ) >= first && text.empty();
}

void checkPeriod( double seconds, std::string const & at ) {
   if( !std::isfinite( seconds ) || seconds < 1 ) throw Refusal{ at, "a period is at least 1 s" };
}

} // namespace

void checkLimit( Kiv::Config::LumAttribute_vniRange, Lum::String const & ranges, std::string const & at ) {
   if( ranges.empty() ) return;
   auto rest = ranges.view();
   for( unsigned number = 1;; ++number ) {
      auto const range = rest.substr( 0, rest.find( ',' ) );
      if( !isVniRange( range ) ) {
         throw Refusal{ at, "range " + std::to_string( number ) + " is " + quoted( range )
                               + ", but must be \"a\" or \"a-b\" with 1 <= a <= b <= 16777215; commas join ranges" };
      }
      if( range.size() == rest.size() ) return;
      rest.remove_prefix( range.size() + 1 );
   }
}

void checkLimit( Kiv::Config::LumAttribute_flowRemovalPeriod, double const & seconds, std::string const & at ) {
   checkPeriod( seconds, at );
}

void checkLimit( Kiv::Config::LumAttribute_staleHostCheckPeriod, double const & seconds, std::string const & at ) {
   checkPeriod( seconds, at );
}

} // namespace Host
