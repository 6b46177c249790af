#include "blackboard/KivUtils.h"
#include "platform/ribbon/TwinRibbon.h"
#include "vni/KivServiceVniSm.h"

#include <algorithm>
#include <string>

TRACE_MODULE( "KivServicePolicy" );

namespace Kiv {

Lum::Ptr< VniAllocator > vniAllocatorFactory() { return new VniAllocator( "vniAllocator" ); }

Vxlan::VniOrNone VniAllocator::allocateVni( Lum::Name name ) {
   TRACE8( trace(), " name: ", name );
   for( auto const & [ min, range ] : vniRanges() ) {
      for( auto candidate = min.value(); candidate <= range.vniRangeMax.value(); ++candidate ) {
         Vxlan::VniOrNone const vni( candidate );
         if( allocatedVni().find( vni ) ) continue;
         allocatedVniIs( vni, name );
         TRACE7( trace(), " return: ", vni );
         return vni;
      }
   }
   TRACE7( trace(), " return invalidVni" );
   return {};
}

Vxlan::VniOrNone VniAllocator::reallocateVni( Lum::Name name ) {
   releaseVni( name );
   return allocateVni( name );
}

void VniAllocator::releaseVni( Lum::Name name ) {
   TRACE8( trace(), " name: ", name );
   for( auto const & [ vni, holder ] : allocatedVni() ) {
      if( holder == name ) allocatedVniDel( vni );
   }
}

void VniAllocator::releaseAllVniPerPolicy( Lum::Name policy ) {
   TRACE8( trace(), " policy: ", policy );
   for( auto const & [ vni, holder ] : allocatedVni() ) {
      if( getPolicyName( holder ) == policy ) allocatedVniDel( vni );
   }
}

bool VniAllocator::inRange( Vxlan::VniOrNone vni ) const {
   for( auto const & [ min, range ] : vniRanges() ) {
      if( range.inRange( vni ) ) return true;
   }
   return false;
}

namespace {

// Leading blanks and a sign are accepted, and what follows the digits is ignored. A negative number is no VNI.
Vxlan::Vni vniOf( std::string const & text ) { return Vxlan::Vni( static_cast< std::uint32_t >( std::stoi( text ) ) ); }

VniRange rangeOf( std::string const & element ) {
   auto const dash = element.find( '-' );
   std::string const min = element.substr( 0, dash );
   std::string const max = dash == std::string::npos ? min : element.substr( dash + 1 );
   int const minimum = std::stoi( min );
   VniRange range;
   range.vniRangeMax = vniOf( max );
   range.vniRangeMin = Vxlan::Vni( static_cast< std::uint32_t >( minimum ) );
   return range;
}

} // namespace

void parseVniRangeString( Lum::Ptr< VniAllocator > const & allocator, Lum::String text ) {
   TRACE8( trace(), " text: ", text );
   allocator->vniRangesDelAll();
   std::string const all = text.str();
   for( std::size_t at = 0; at < all.size(); ) {
      auto const end = std::min( all.find( ',', at ), all.size() );
      if( end == at ) break;
      auto const range = rangeOf( all.substr( at, end - at ) );
      allocator->vniRangesIs( range );
      TRACE6( trace(), " Min VNI: ", range.vniRangeMin, " Max VNI: ", range.vniRangeMax );
      at = end + 1;
   }
   TRACE7( trace(), " return" );
}

} // namespace Kiv
