#include "location/KivHostLocator.h"
#include "platform/ribbon/TwinRibbon.h"

#include <cstdlib>

TRACE_MODULE( "KivHostLocator" );

namespace Kiv {

void VniFdbStatusDirSm::handleInitialized() {
   TRACE8( trace() );
   initializedIs( true );
   handleVniDir();
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
