#include "blackboard/KivUtils.h"
#include "location/KivVtepStatusSm.h"
#include "platform/ribbon/TwinRibbon.h"

TRACE_MODULE( "KivVtepStatus" );

namespace Kiv {

void VtepStatusRootSm::handleInitialized() {
   TRACE8( trace() );
   initializedIs( true );
   removeGoneSwitches();
   handleVtepEntry();
}

// Those that went while nobody watched would keep their pairs, and a successor would be refused as a third switch.
void VtepStatusRootSm::removeGoneSwitches() {
   for( auto const & [ ip, pair ] : policyHelperInfo()->vtepIpToSwitchPair() ) {
      auto rest = pair;
      for( auto const & member : { pair.first(), pair.second() } ) {
         bool const there = vtepStatusBaseDir()->entityPtr( member.systemId().stringValue() ) != nullptr;
         if( !member.empty() && !there ) rest = removeSwitchFromSwitchPair( rest, member );
      }
      if( rest.members() > 0 ) {
         policyHelperInfo()->vtepIpToSwitchPairIs( ip, rest );
      } else {
         policyHelperInfo()->vtepIpToSwitchPairDel( ip );
      }
   }
}

void VtepStatusRootSm::handleVtepEntry( Lum::Name name ) {
   auto const switchId = switchIdFromSystemId( name );
   if( auto const status = Lum::entryOf< Loomis::VtepStatusDirV2 const >( vtepStatusBaseDir(), name ) ) {
      TRACE8( trace(), " Create Switch ", switchId );
      vtepStatusSmIs( switchId, policyHelperInfo(), status );
   } else {
      TRACE8( trace(), " Delete ", switchId );
      vtepStatusSmDel( switchId );
   }
}

void VtepStatusDirSm::LumVtepStatusV2::handleInitialized() {
   TRACE8( trace(), " IP Address: ", vtepStatusV2()->vtepIpAddr() );
   handleVtepIpAddrEntry();
}

void VtepStatusDirSm::LumVtepStatusV2::handleVtepIpAddrEntry() {
   auto const switchId = parent()->switchId();
   auto const address = vtepStatusV2()->vtepIpAddr();
   Neroli::IpGenAddr const ip( address );
   auto const helper = parent()->policyHelperInfo();
   TRACE8( trace(), " switch: ", switchId, " IP Address: ", address );
   // A switch that changes its address leaves its old pair.
   Neroli::IpGenAddr const oldIp( helper->vtepSwitchIdToIp( switchId ) );
   if( auto const pair = helper->vtepIpToSwitchPair( oldIp ); pair.isMember( switchId ) && oldIp != ip ) {
      TRACE6( trace(), " Old IP Address ", oldIp );
      removeSwitch( oldIp, pair );
   }
   helper->vtepSwitchIdToIpDel( switchId );
   if( address == Neroli::IpAddr() ) return;
   auto const old = helper->vtepIpToSwitchPair( ip );
   TRACE6( trace(), " Old switch pair: ", old );
   auto const now = addSwitchToSwitchPair( old, switchId ); // a third switch is not added, but its address is known
   TRACE6( trace(), " New switch pair: ", now );
   helper->vtepSwitchIdToIpIs( switchId, address );
   helper->vtepIpToSwitchPairIs( ip, now );
}

void VtepStatusDirSm::LumVtepStatusV2::removeSwitch( Neroli::IpGenAddr ip, SwitchPair pair ) {
   TRACE8( trace(), " VTEP IP: ", ip, " SwitchPair: ", pair );
   auto const rest = removeSwitchFromSwitchPair( pair, parent()->switchId() );
   if( rest.members() == 0 ) {
      TRACE6( trace(), " Removing VTEP IP switch pair mapping" );
      parent()->policyHelperInfo()->vtepIpToSwitchPairDel( ip );
   } else {
      TRACE6( trace(), " Removing only one switch" );
      parent()->policyHelperInfo()->vtepIpToSwitchPairIs( ip, rest );
   }
}

void VtepStatusDirSm::LumVtepStatusV2::cleanup() {
   Neroli::IpGenAddr const ip( vtepStatusV2()->vtepIpAddr() );
   auto const pair = parent()->policyHelperInfo()->vtepIpToSwitchPair( ip );
   if( !pair.isMember( parent()->switchId() ) ) return;
   TRACE8( trace(), " Removing ", ip );
   removeSwitch( ip, pair );
}

} // namespace Kiv
