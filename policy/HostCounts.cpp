#include "policy/HostCounts.h"

namespace Kiv {

void HostCounts::count( Neroli::IpGenAddr ip, HostRunningInfo const * host ) {
   auto * node = counted_.find( ip );
   if( !node && !host ) return;
   if( !node ) node = &counted_.insert( std::make_unique< decltype( counted_ )::Node >( ip ) );
   auto & counted = node->value;
   bool const active = host && host->state() != PolicyRunningState::policyPending;
   active_ = active_ + active - counted.active;
   counted.active = active;
   auto const place = host ? host->insideVtepSwitchPair() : SwitchPair();
   if( place != counted.place ) {
      for( auto const & member : { place.first(), place.second() } ) move( member, 1 );
      for( auto const & member : { counted.place.first(), counted.place.second() } ) move( member, -1 );
      counted.place = place;
   }
   if( !host ) counted_.remove( *node );
}

std::uint64_t HostCounts::behind( SwitchId const & switchId ) const {
   auto const * node = behind_.find( switchId );
   return node ? node->value : 0;
}

void HostCounts::move( SwitchId const & switchId, int by ) {
   if( switchId.empty() ) return;
   auto * node = behind_.find( switchId );
   if( !node ) node = &behind_.insert( std::make_unique< decltype( behind_ )::Node >( switchId ) );
   node->value += static_cast< std::uint64_t >( by );
   if( node->value == 0 ) behind_.remove( *node );
}

} // namespace Kiv
