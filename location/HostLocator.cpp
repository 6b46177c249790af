#include "location/KivHostLocator.h"
#include "platform/ribbon/TwinRibbon.h"

TRACE_MODULE( "KivHostLocator" );

namespace Kiv {

void VtepLocatorSm::handleInitialized() {
   initializedIs( true );
   handleMacVtepTable();
}

void VtepLocatorSm::handleMacVtepTable() {
   TRACE8( trace(), " mac: ", mac() );
   auto const vtepIp = vniFdbStatus()->macVtepTable( mac() ).vtepIp;
   if( vtepIp == Neroli::IpAddr() ) {
      // A MAC that vanishes is no proof of a move; ageing decides.
      TRACE6( trace(), " Mac has not been learnt, returning" );
      return;
   }
   TRACE6( trace(), " VTEP IP is known" );
   latestVtepIpIs( vtepIp );
   updateHostLocation();
}

void VtepLocatorSm::handleVtepIpToSwitchPair() {
   TRACE8( trace(), " mac: ", mac(), " VtepIp: ", latestVtepIp() );
   if( latestVtepIp().isUnset() || latestVtepIp().isUnspecified() ) {
      TRACE6( trace(), " VTEP IP has not been learnt, returning" );
      return;
   }
   updateHostLocation();
}

// Another VTEP's switches say nothing of this host, and must not bring one back that has aged out.
void VtepLocatorSm::handleVtepIpToSwitchPair( Neroli::IpGenAddr vtepIp ) {
   if( vtepIp == latestVtepIp() ) handleVtepIpToSwitchPair();
}

void VtepLocatorSm::updateHostLocation() {
   auto const pair = policyHelperInfo()->vtepIpToSwitchPair( latestVtepIp() ); // empty without an entry
   TRACE8( trace(), " mac: ", mac(), " vtepIp: ", latestVtepIp(), " switchPair: ", pair );
   hostInfo()->switchPairIs( pair );
}

void VtepLocatorSm::destroy() {
   TRACE8( trace(), " mac: ", mac() );
   initializedIs( false );
   hostInfo()->switchPairIs( SwitchPair() );
}

void L2StatusSm::handleInitialized() {
   TRACE8( trace(), " vni: ", vni() );
   initializedIs( true );
   populateGRState();
   handleIpToMacTable();
}

// Hosts that a restart rebuilt find their locators again before the tables are read.
void L2StatusSm::populateGRState() {
   for( auto const & [ ip, info ] : policyHelperInfo()->ipToPolicy() ) {
      if( !info->mac().isUnset() && info->vni() == vni() ) follow( info->mac(), info );
   }
}

void L2StatusSm::handleIpToMacTable( Neroli::IpGenAddr ip ) {
   if( !policyHelperInfo()->ipToPolicy( ip ) ) return;
   TRACE8( trace(), "IpAddr: ", ip, " Vni: ", vni() );
   addHostInfo( ip );
}

void L2StatusSm::handleIpToPolicy( Lum::Ptr< HostInfo > host ) {
   if( policyHelperInfo()->ipToPolicy( host->name() ) ) {
      addHostInfo( host->name() );
   } else {
      TRACE8( trace(), " vni: ", vni(), " host: ", host->name() );
      pruneHost( host->name() );
   }
}

void L2StatusSm::handlePolicy( Lum::Ptr< HostInfo > host ) {
   if( policyHelperInfo()->ipToPolicy( host->name() ) != host ) return;
   if( host->policy().empty() ) {
      removeHostInfo( host->name() );
   } else {
      addHostInfo( host->name() );
   }
}

// The machine of the other VNI follows the host from now on. Its locator here would write an outdated place, and the
// end of this VNI would take a location away that is not this VNI's.
void L2StatusSm::handleVni( Lum::Ptr< HostInfo > host ) {
   auto const ip = host->name();
   if( host->vni().isNone() || host->vni() == vni() || !ipToMac().find( ip ) ) return;
   auto const mac = ipToMac( ip );
   vtepLocatorSmDel( mac, Lum::withoutEnd ); // the host has a place
   ipToMacDel( ip );
   macToIpDel( mac );
}

void L2StatusSm::addHostInfo( Neroli::IpGenAddr ip ) {
   TRACE8( trace(), " ip: ", ip );
   if( !vniFdbStatus()->ipToMacTable().find( ip ) ) return;
   auto const mac = vniFdbStatus()->ipToMacTable( ip ).mac;
   auto const info = policyHelperInfo()->ipToPolicy( ip );
   info->vniIs( vni() );
   if( ipToMac( ip ) != mac ) pruneHost( ip ); // the host changed its MAC
   info->macIs( mac );
   follow( mac, info );
}

// A MAC has one locator: where two hosts share it, it is followed for the one that was seen last.
void L2StatusSm::follow( Neroli::EthAddr mac, Lum::Ptr< HostInfo > info ) {
   ipToMacDel( macToIp( mac ) );
   macToIpIs( mac, info->name() );
   ipToMacIs( info->name(), mac );
   auto const locator = vtepLocatorSm( mac );
   if( locator && locator->hostInfo() != info )
      vtepLocatorSmDel( mac, Lum::withoutEnd ); // the other host stays where it is
   vtepLocatorSmIs( mac, vniFdbStatus(), policyHelperInfo(), info );
}

void L2StatusSm::removeHostInfo( Neroli::IpGenAddr ip ) {
   TRACE8( trace(), " ip: ", ip );
   auto const info = policyHelperInfo()->ipToPolicy( ip );
   if( !info ) return;
   pruneHost( ip );
   info->switchPairIs( SwitchPair() );
   info->vniIs( Vxlan::VniOrNone() );
   info->macIs( Neroli::EthAddr() );
}

// The MAC is the one that this VNI holds for the host. That of the host's record may be empty already: the machines of
// all VNIs take the same host back, one after the other.
void L2StatusSm::pruneHost( Neroli::IpGenAddr ip ) {
   if( ipToMac().find( ip ) ) pruneMac( ipToMac( ip ) );
}

void L2StatusSm::pruneMac( Neroli::EthAddr mac ) {
   TRACE8( trace(), " mac: ", mac );
   vtepLocatorSmDel( mac );
   ipToMacDel( macToIp( mac ) );
   macToIpDel( mac );
}

void L2StatusSm::cleanup() {
   TRACE8( trace(), " vni: ", vni() );
   vtepLocatorSmDelAll();
   for( auto const & [ mac, ip ] : macToIp() ) removeHostInfo( ip );
}

} // namespace Kiv
