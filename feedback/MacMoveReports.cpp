// The counts that the switches report.
#include "blackboard/KivUtils.h"
#include "feedback/KivMacMove.h"
#include "platform/ribbon/TwinRibbon.h"

TRACE_MODULE( "KivMacMove" );

namespace Kiv {

using FragmentSm = VtepPolicyStatusSm::FragmentSm;

void FragmentSm::handleInitialized() {
   initializedIs( true );
   handleFlowStatus();
}

Lum::Ptr< PolicyRunningInfo > FragmentSm::runningInfo() const {
   return parent()->policyRunningInfoCol()->policyRunningInfo( getPolicyName( fragment()->name() ) );
}

// Every flow comes through here; those without a count are passed over.
void FragmentSm::handleFlowStatus( Lum::Name flowName ) {
   TRACE8( trace(), " fragment: ", fragment()->name(), " flow: ", flowName );
   auto const running = runningInfo();
   if( !running ) {
      TRACE6( trace(), " no policy running info for ", getPolicyName( fragment()->name() ), ", return" );
      return;
   }
   auto const status = fragment()->flowStatus( flowName );
   if( !status ) {
      TRACE6( trace(), " flowStatus is removed." );
      if( !lastMovedHost().isUnset() ) resetHostInfo( running, " Reset moveCountByVtep for " );
   } else {
      updateHostInfo( running, status );
   }
}

// The count only rises here; a MAC may match several hosts, and each is raised.
void FragmentSm::updateHostInfo( Lum::Ptr< PolicyRunningInfo > const & running, V1::PolicyFlowStatus const & status ) {
   auto const report = status.hostMoveCount;
   if( report.mac == Neroli::EthAddr() ) {
      TRACE6( trace(), " hostMoveCount.mac is 0. return" );
      return;
   }
   for( auto const & [ ip, host ] : running->hostInfo() ) {
      if( host->mac() != report.mac || host->moveCountByVtep() >= report.moveCount ) continue;
      lastMovedHostIs( ip );
      host->moveCountByVtepIs( report.moveCount );
      TRACE6( trace(), " moveCountByVtep for host (", report.mac, ", ", ip, ") is changed to ", report.moveCount );
   }
}

void FragmentSm::resetHostInfo( Lum::Ptr< PolicyRunningInfo > const & running, char const * what ) {
   if( auto const host = running->hostInfo( lastMovedHost() ) ) {
      host->moveCountByVtepIs( 0 );
      TRACE6( trace(), what, lastMovedHost() );
   }
   lastMovedHostIs( Neroli::IpGenAddr() );
}

void FragmentSm::cleanup() {
   auto const running = runningInfo();
   if( running && !lastMovedHost().isUnset() ) resetHostInfo( running, " Resetting moveCountByVtep for " );
   initializedIs( false );
}

} // namespace Kiv
