#include "location/KivHostLocator.h"
#include "platform/ribbon/TwinRibbon.h"

#include <algorithm>
#include <cstdlib>

TRACE_MODULE( "KivHostLocator" );

namespace Kiv {

void VniFdbStatusDirSm::handleInitialized() {
   TRACE8( trace() );
   initializedIs( true );
   for( auto const & [ ip, info ] : policyHelperInfo()->ipToPolicy() ) hostsOf_[ info->vni() ].push_back( info );
   starting_ = true;
   handleVniDir();
   starting_ = false;
   hostsOf_.clear();
   taskIs( policyHelperInfo()->taskScheduler(), Moth::TaskPriority( 2 ), "staleHostTask" );
}

void VniFdbStatusDirSm::handleVniDir() {
   for( auto const & [ name, entity ] : vniDir()->entityPtr() ) {
      try {
         handleVniDir( name );
      } catch( ... ) { // a name that is no VNI must not keep the others from being followed
         Lum::onNotificationException( "Lum::Dir::entityPtr" );
      }
   }
}

void VniFdbStatusDirSm::handleVniDir( Lum::Name name ) {
   long const number = std::strtol( name.charPtr(), nullptr, 10 );
   Vxlan::Vni const vni( number < 0 || number > UINT32_MAX ? UINT32_MAX : static_cast< std::uint32_t >( number ) );
   TRACE8( trace(), " vni: ", vni );
   if( auto const tables = Lum::entryOf< Loomis::VniFdbStatusV2 const >( vniDir(), name ) ) {
      l2StatusSmIs( vni, tables, policyHelperInfo() );
   } else {
      l2StatusSmDel( vni );
   }
}

void VniFdbStatusDirSm::handleIpToPolicy( Lum::Ptr< HostInfo > host ) {
   bool const came = policyHelperInfo()->ipToPolicy( host->name() ) != nullptr;
   for( auto const order : came ? holdersOf( host->name() ) : everyVni() ) {
      tell( order, host, &L2StatusSm::handleIpToPolicy, "Kiv::PolicyHelperInfo::ipToPolicy" );
   }
}

void VniFdbStatusDirSm::handlePolicy( Lum::Ptr< HostInfo > host ) {
   for( auto const order : host->policy().empty() ? everyVni() : holdersOf( host->name() ) ) {
      tell( order, host, &L2StatusSm::handlePolicy, "Kiv::HostInfo::policy" );
   }
}

// As if each VNI watched the blackboard by itself: in the order in which they came; one that has gone meanwhile is not
// told, and what one raises does not keep the others from being told.
void VniFdbStatusDirSm::tell( std::uint64_t order, Lum::Ptr< HostInfo > const & host, Tell what,
                              char const * watched ) {
   auto const found = vniByOrder_.find( order );
   if( found == vniByOrder_.end() || !found->second->initialized() ) return;
   Lum::Ptr< L2StatusSm > const vni = found->second;
   try {
      ( vni.get()->*what )( host );
   } catch( ... ) {
      Lum::onNotificationException( watched );
   }
}

VniFdbStatusDirSm::Orders VniFdbStatusDirSm::everyVni() const {
   Orders orders;
   for( auto const & [ order, vni ] : vniByOrder_ ) orders.push_back( order );
   return orders;
}

VniFdbStatusDirSm::Orders VniFdbStatusDirSm::holdersOf( Neroli::IpGenAddr ip ) const {
   auto const * node = holders_.find( ip );
   return node ? node->value : Orders();
}

void VniFdbStatusDirSm::vniComes( L2StatusSm & vni ) {
   vni.orderIs( ++newestOrder_ );
   vniByOrder_[ vni.order() ] = &vni;
}

void VniFdbStatusDirSm::vniGoes( L2StatusSm const & vni ) {
   vniByOrder_.erase( vni.order() );
   for( auto const & [ ip, binding ] : vni.vniFdbStatus()->ipToMacTable() ) holdsIs( vni, ip, false );
}

void VniFdbStatusDirSm::holdsIs( L2StatusSm const & vni, Neroli::IpGenAddr ip, bool holds ) {
   auto * node = holders_.find( ip );
   if( !node ) {
      if( !holds ) return;
      node = &holders_.insert( std::make_unique< decltype( holders_ )::Node >( ip ) );
   }
   auto & orders = node->value;
   auto const place = std::lower_bound( orders.begin(), orders.end(), vni.order() );
   bool const held = place != orders.end() && *place == vni.order();
   if( holds == held ) return;
   if( holds ) {
      orders.insert( place, vni.order() );
   } else {
      orders.erase( place );
      if( orders.empty() ) holders_.remove( *node );
   }
}

std::vector< Lum::Ptr< HostInfo > > VniFdbStatusDirSm::restoredHosts( Vxlan::Vni vni ) const {
   std::vector< Lum::Ptr< HostInfo > > hosts;
   if( starting_ ) {
      if( auto const found = hostsOf_.find( vni ); found != hostsOf_.end() ) hosts = found->second;
   } else {
      for( auto const & [ ip, info ] : policyHelperInfo()->ipToPolicy() ) {
         if( info->vni() == vni ) hosts.push_back( info );
      }
   }
   return hosts;
}

Vxlan::VniOrNone VniFdbStatusDirSm::serviceVniOf( Lum::String const & policy, Vxlan::VniOrNone originalVni ) const {
   auto const info = policyHelperInfo()->policyInfo( policy );
   return info ? info->originalToServiceVni( originalVni ) : Vxlan::VniOrNone();
}

Lum::Ptr< Loomis::VniFdbStatusV2 const > VniFdbStatusDirSm::tablesOf( Vxlan::VniOrNone vni ) const {
   return Lum::entryOf< Loomis::VniFdbStatusV2 const >( vniDir(), vni.stringValue( false ) );
}

void VniFdbStatusDirSm::handleStaleHosts() {
   auto const period = config()->staleHostCheckPeriod();
   if( !task()->taskCurrentlyRunning() ) {
      task()->scheduleTaskLowestDelay( period );
      TRACE6( trace(), " Task not running, return" );
      return;
   }
   for( auto const & [ key, stale ] : staleHost() ) age( *stale );
   for( auto const & [ ip, info ] : policyHelperInfo()->ipToPolicy() ) watchIfUnseen( *info );
   task()->scheduleTaskLowestDelay( period );
}

void VniFdbStatusDirSm::age( StaleHost & stale ) {
   auto const key = stale.ipVniPair();
   auto const info = policyHelperInfo()->ipToPolicy( key.ip );
   auto const serviceVni = serviceVniOf( stale.policyName(), key.vni );
   bool const describes = info && info->vni() == key.vni && info->policy() == stale.policyName()
                          && info->mac() == stale.mac() && stale.serviceVni() == serviceVni;
   if( !describes || serviceVni.isNone() ) {
      staleHostDel( key ); // not this host, or not any more: a grant may outlive the host's stay in the VNI
      return;
   }
   auto const tables = tablesOf( serviceVni );
   if( !tables ) return;
   if( tables->macVtepTable().find( stale.mac() ) ) {
      staleHostDel( key ); // alive
      return;
   }
   stale.thresholdCountInc( 1 );
   if( stale.thresholdCount() < config()->staleHostThreshold() ) return;
   TRACE6( trace(), " host: ", key.ip, " on VNI ", key.vni, " has reached its staleness threshold" );
   info->switchPairIs( SwitchPair() );
   staleHostDel( key );
}

void VniFdbStatusDirSm::watchIfUnseen( HostInfo const & info ) {
   auto const serviceVni = serviceVniOf( info.policy(), info.vni() );
   if( serviceVni.isNone() ) return;
   auto const tables = tablesOf( serviceVni );
   if( !tables || info.switchPair().members() == 0 || tables->macVtepTable().find( info.mac() ) ) return;
   IpVniPair key;
   key.ip = info.name();
   key.vni = info.vni();
   if( staleHost( key ) ) return;
   staleHostIs( key, new StaleHost( key, info.mac(), serviceVni, info.policy() ) );
}

} // namespace Kiv
