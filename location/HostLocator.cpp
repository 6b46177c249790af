#include "location/KivHostLocator.h"
#include "platform/ribbon/TwinRibbon.h"

#include <vector>

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

void VtepLocatorSm::handleVtepIpToSwitchPair( Neroli::IpGenAddr vtepIp ) {
   TRACE8( trace(), " mac: ", mac(), " VtepIp: ", latestVtepIp() );
   if( latestVtepIp().isUnset() || latestVtepIp().isUnspecified() ) {
      TRACE6( trace(), " VTEP IP has not been learnt, returning" );
      return;
   }
   // Another VTEP's switches say nothing of this host, and must not bring one back that has aged out.
   if( vtepIp == latestVtepIp() ) updateHostLocation();
}

void VtepLocatorSm::updateHostLocation() {
   auto const pair = policyHelperInfo()->vtepIpToSwitchPair( latestVtepIp() ); // empty without an entry
   TRACE8( trace(), " mac: ", mac(), " vtepIp: ", latestVtepIp(), " switchPair: ", pair );
   hostInfo()->switchPairIs( pair );
   parent()->shareLocation( mac(), pair );
}

void VtepLocatorSm::destroy() {
   TRACE8( trace(), " mac: ", mac() );
   initializedIs( false );
   hostInfo()->switchPairIs( SwitchPair() );
}

void L2StatusSm::handleInitialized() {
   TRACE8( trace(), " vni: ", vni() );
   initializedIs( true );
   parent()->vniComes( *this );
   populateGRState();
   handleIpToMacTable();
}

// Hosts that a restart rebuilt find their locators again before the tables are read.
void L2StatusSm::populateGRState() {
   for( auto const & info : parent()->restoredHosts( vni() ) ) {
      if( !info->mac().isUnset() && info->vni() == vni() ) follow( info->mac(), info );
   }
}

void L2StatusSm::handleIpToMacTable( Neroli::IpGenAddr ip ) {
   parent()->holdsIs( *this, ip, vniFdbStatus()->ipToMacTable().find( ip ) );
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
   if( macToIp( mac ) == ip ) vtepLocatorSmDel( mac, Lum::withoutEnd ); // the host has a place
   forget( ip );
}

void L2StatusSm::addHostInfo( Neroli::IpGenAddr ip ) {
   if( !vniFdbStatus()->ipToMacTable().find( ip ) ) return;
   TRACE8( trace(), " ip: ", ip );
   auto const mac = vniFdbStatus()->ipToMacTable( ip ).mac;
   auto const info = policyHelperInfo()->ipToPolicy( ip );
   info->vniIs( vni() );
   if( ipToMac( ip ) != mac ) pruneHost( ip ); // the host changed its MAC
   info->macIs( mac );
   follow( mac, info );
}

// A MAC has one locator, for the address that was seen last. The others of a dual-stack host share what it finds.
void L2StatusSm::follow( Neroli::EthAddr mac, Lum::Ptr< HostInfo > info ) {
   auto const ip = info->name();
   auto const before = macToIp().find( mac ) ? policyHelperInfo()->ipToPolicy( macToIp( mac ) ) : nullptr;
   auto others = otherIp( mac );
   std::erase( others, ip );
   if( before && before != info ) others.push_back( before->name() );
   othersAre( mac, others );
   macToIpIs( mac, ip );
   ipToMacIs( ip, mac );
   info->followedInIs( vni() );
   auto const old = vtepLocatorSm( mac );
   if( old && old->hostInfo() != info ) vtepLocatorSmDel( mac, Lum::withoutEnd ); // its address stays where it is
   auto const locator = vtepLocatorSmIs( mac, vniFdbStatus(), policyHelperInfo(), info );
   // What is known of a MAC that has vanished from the table does not go with a locator.
   if( old && locator->latestVtepIp().isUnset() ) locator->latestVtepIpIs( old->latestVtepIp() );
   if( before && info->switchPair().members() == 0 ) info->switchPairIs( before->switchPair() );
}

void L2StatusSm::othersAre( Neroli::EthAddr mac, std::vector< Neroli::IpGenAddr > const & others ) {
   if( others.empty() ) {
      otherIpDel( mac );
   } else {
      otherIpIs( mac, others );
   }
}

void L2StatusSm::shareLocation( Neroli::EthAddr mac, SwitchPair pair ) {
   for( auto const & ip : otherIp( mac ) ) {
      if( auto const info = policyHelperInfo()->ipToPolicy( ip ) ) info->switchPairIs( pair );
   }
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
   if( !ipToMac().find( ip ) ) return;
   auto const mac = ipToMac( ip );
   if( macToIp( mac ) == ip ) return pruneMac( mac );
   if( auto const info = policyHelperInfo()->ipToPolicy( ip ) ) info->switchPairIs( SwitchPair() );
   forget( ip );
}

void L2StatusSm::pruneMac( Neroli::EthAddr mac ) {
   TRACE8( trace(), " mac: ", mac );
   vtepLocatorSmDel( mac );
   forget( macToIp( mac ) );
}

// The address holds its MAC no more. If it was followed, another one that holds the MAC is followed in its stead.
void L2StatusSm::forget( Neroli::IpGenAddr ip ) {
   if( !ipToMac().find( ip ) ) return;
   auto const mac = ipToMac( ip );
   auto others = otherIp( mac );
   bool const followed = macToIp( mac ) == ip;
   letGo( ip );
   if( followed ) macToIpDel( mac );
   auto const next = followed && !others.empty() ? policyHelperInfo()->ipToPolicy( others.back() ) : nullptr;
   std::erase( others, ip );
   othersAre( mac, others );
   if( next ) follow( mac, next );
}

void L2StatusSm::letGo( Neroli::IpGenAddr ip ) {
   ipToMacDel( ip );
   auto const info = policyHelperInfo()->ipToPolicy( ip );
   if( info && info->followedIn() == vni() ) info->followedInIs( {} );
}

void L2StatusSm::cleanup() {
   TRACE8( trace(), " vni: ", vni() );
   parent()->vniGoes( *this );
   vtepLocatorSmDelAll();
   std::vector< Neroli::IpGenAddr > hosts;
   for( auto const & [ ip, mac ] : ipToMac() ) {
      hosts.push_back( ip );
      macToIpDel( mac );
      otherIpDel( mac );
      letGo( ip );
   }
   for( auto const & ip : hosts ) removeHostInfo( ip );
}

} // namespace Kiv
