// The entries that outbid the fabric's own.
#include "feedback/KivMacMove.h"

#include "platform/ribbon/TwinRibbon.h"

TRACE_MODULE( "KivMacMove" );

namespace Kiv {

using HostInfoSm = PolicyInfoSm::HostInfoSm;

void HostInfoSm::handleInitialized() {
   initializedIs( true );
   handleHostState();
}

// For the state policyRunning and no other: a host that rests in another state has its entry neither added nor removed
// here while its count is not 0.
void HostInfoSm::handleHostState() {
   auto const state = hostInfo()->state();
   TRACE8( trace(), " ip: ", hostInfo()->ip(), " state: ", state, " moveCount: ", hostInfo()->moveCountByVtep() );
   if( state == PolicyRunningState::policyRunning && hostInfo()->moveCountByVtep() != 0 ) {
      addHostMac();
   } else if( state == PolicyRunningState::policyDeleted || hostInfo()->moveCountByVtep() == 0 ) {
      deleteHostMac();
   }
}

void HostInfoSm::addHostMac() {
   auto const mac = hostInfo()->mac();
   auto const originalVni = hostInfo()->originalVni();
   TRACE8( trace(), " mac: ", mac, " vni: ", originalVni );
   if( originalVni.isNone() ) {
      TRACE6( trace(), "Vni is unknown" );
      return;
   }
   Vxlan::Vni const vni( originalVni );
   auto const tables =
      Lum::entryOf< Loomis::VniFdbStatusV2 const >( parent()->vniDir(), Lum::format( "%u", vni.value() ) );
   if( !tables ) {
      TRACE6( trace(), "VNI Fdb status does not exist for the original vni ", originalVni );
      return;
   }
   if( !tables->macVtepTable().find( mac ) ) {
      TRACE6( trace(), "MAC entry does not exist for ", mac, ", return" );
      return;
   }
   auto const learnt = tables->macVtepTable( mac );
   auto const vtepIp = serviceVtepIp();
   if( vtepIp == Neroli::IpAddr() ) {
      TRACE6( trace(), "Service Vtep IP is unknown" );
      return;
   }
   auto const output = parent()->kivVniStatusDir()->vniStatusV2Is( vni );
   VniMac entry;
   entry.vni = vni;
   entry.macAddr = mac;
   if( learnt.vtepIp == vtepIp ) {
      // The MAC stands where it should. A restart leaves an entry that is to be removed one day.
      if( !inputVniMac() && output->macVtepTable().find( mac ) ) {
         TRACE6( trace(), "update inputVniMac" );
         inputVniMacIs( entry );
      }
      TRACE6( trace(), " exist mac on service vtep. return" );
      return;
   }
   if( hostInfo()->moveCountByVtep() < learnt.moveCount ) {
      // The switch has not seen the move yet that the fabric knows.
      TRACE6( trace(), "Host move count is not up-to-date: ", mac, " current moveCount=", learnt.moveCount,
              ", intercept vtep moveCount=", hostInfo()->moveCountByVtep(), " return." );
      return;
   }
   inputVniMacIs( entry );
   Loomis::MacVtepV2 outbid;
   outbid.mac = mac;
   outbid.vtepIp = vtepIp;
   outbid.moveCount = learnt.moveCount + 1; // makes the fabric prefer this entry
   output->macVtepTableIs( outbid );
}

Neroli::IpAddr HostInfoSm::serviceVtepIp() const {
   for( auto const & [ switchId, member ] : parent()->policyRunningInfo()->serviceVtepSwitchId() ) {
      auto const ip = parent()->policyHelperInfo()->vtepSwitchIdToIp( switchId );
      if( ip != Neroli::IpAddr() ) return ip;
   }
   return {};
}

void HostInfoSm::deleteHostMac() {
   auto const held = inputVniMac();
   TRACE8( trace(), " ip: ", hostInfo()->ip() );
   if( !held ) {
      TRACE6( trace(), " No macVtep to delete." );
      return;
   }
   auto const directory = parent()->kivVniStatusDir();
   if( auto const output = directory->vniStatusV2( held.vni ) ) {
      output->macVtepTableDel( held.macAddr );
      // It is meant in this sense: the other hosts' entries of the VNI go with it and are written again at their next
      // event, while a table that has become empty stays.
      if( !output->macVtepTable().empty() ) directory->vniStatusV2Del( held.vni );
   }
   inputVniMacIs( VniMac() );
}

void HostInfoSm::cleanup() {
   deleteHostMac();
   initializedIs( false );
}

} // namespace Kiv
