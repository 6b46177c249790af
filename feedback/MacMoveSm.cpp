#include "feedback/KivMacMove.h"

#include "blackboard/KivUtils.h"
#include "platform/ribbon/TwinRibbon.h"

TRACE_MODULE( "KivMacMove" );

namespace Kiv {

Lum::Ptr< VniList > vniListFactory() { return new VniList( "vniList" ); }

void MacMoveSm::handleInitialized() {
   TRACE8( trace() );
   initializedIs( true );
   handlePolicyRunningInfoCol();
   handleKivPolicyStatusDir();
   removeLeftovers();
}

// What a previous run left in the output for hosts that nobody intercepts any more.
void MacMoveSm::removeLeftovers() {
   auto const known = vniListFactory();
   for( auto const & [ name, running ] : policyRunningInfoCol()->policyRunningInfo() ) {
      for( auto const & [ ip, host ] : running->hostInfo() ) {
         if( host->originalVni().isNone() ) continue;
         known->vniListIs( Vxlan::Vni( host->originalVni() ) )->macListIs( host->mac(), true );
      }
   }
   for( auto const & [ vni, status ] : kivVniStatusDir()->vniStatusV2() ) {
      auto const macs = known->vniList( vni );
      if( !macs ) {
         kivVniStatusDir()->vniStatusV2Del( vni );
         continue;
      }
      for( auto const & [ mac, entry ] : status->macVtepTable() ) {
         if( macs->macList( mac ) ) continue;
         TRACE6( trace(), "Deleting host ", mac, " from kivVniStatus" );
         status->macVtepTableDel( mac );
      }
   }
}

void MacMoveSm::handlePolicyRunningInfoCol( Lum::Name name ) {
   TRACE8( trace(), " policy: ", name );
   if( auto const running = policyRunningInfoCol()->policyRunningInfo( name ) ) {
      policyInfoSmIs( name, vniDir(), policyHelperInfo(), running, kivVniStatusDir() );
   } else {
      policyInfoSmDel( name );
   }
}

void MacMoveSm::handleKivPolicyStatusDir( Lum::Name name ) {
   TRACE8( trace(), " switch: ", name );
   if( auto const status = Lum::entryOf< V1::KivPolicyFragmentStatus const >( kivPolicyStatusDir(), name ) ) {
      TRACE6( trace(), " create vtepPolicyStatusSm for ", name );
      vtepPolicyStatusSmIs( name, status, policyRunningInfoCol() );
      TRACE6( trace(), "vtepPolicyStatusSm created for ", name );
   } else {
      vtepPolicyStatusSmDel( name );
   }
}

void PolicyInfoSm::cleanup() {
   for( auto const & [ ip, host ] : policyRunningInfo()->hostInfo() ) {
      if( auto const machine = hostInfo( ip ) ) machine->cleanup();
   }
}

} // namespace Kiv
