#include "feedback/KivErrorStatus.h"

#include "blackboard/KivLocalTypes.h"
#include "blackboard/KivUtils.h"
#include "platform/lum/Log.h"
#include "platform/ribbon/TwinRibbon.h"

TRACE_MODULE( "KivErrorStatus" );

namespace Kiv {

namespace {

Lum::LogHandle const
   redirectRuleProgramError( "ZAR_KIV_REDIRECT_RULE_PROGRAM_ERROR", Lum::LogSeverity::error,
                             "Unable to install redirect rule on VTEP %s for policy %s for VNI %d",
                             "The VTEP is unable to install redirect rules necessary for the requested KIV service "
                             "policy for the specified VNI.",
                             Lum::CallSupportIfPersists, 0.0, 1.0, static_cast< unsigned char >( 0 ) );

} // namespace

using FragmentSm = ErrorStatusPerVtepSm::FragmentSm;

bool isInsideIngressFlow( Lum::String const & flowName ) {
   return flowName.view().find( PolicyFlowName::insideVtepIngress ) != std::string_view::npos;
}

// This runs while the owner is being made, and is the one look at the reports that were there before.
void FragmentSm::handleInitialized() {
   initializedIs( true );
   handleFlowStatus();
}

void FragmentSm::handleFlowStatus( Lum::Name flowName ) {
   TRACE8( trace(), " fragment: ", fragmentName(), " flow: ", flowName );
   auto const policy = getPolicyName( fragmentName() );
   auto const running = parent()->policyRunningInfoCol()->policyRunningInfo( policy );
   if( !running ) {
      TRACE6( trace(), " no policy running info for ", policy, ", return" );
      return;
   }
   runningIs( running );
   auto const switchId = switchIdFromSystemId( parent()->name() );
   auto const status = fragment()->flowStatus( flowName );
   if( !status ) TRACE6( trace(), " flowStatus is removed." ); // which counts like any other change
   if( status.status == V1::PolicyFlowStatus::rejected ) {
      Lum::log( redirectRuleProgramError, switchId, policy, fragment()->originalVni() );
   }
   checkAndUpdateFlowConvergence( flowName, running, switchId );
}

// A host may join its group after the report of its flow, and the switch has no reason to report it again.
void FragmentSm::handleHost( Lum::Ptr< HostRunningInfo > host ) {
   if( running()->hostInfo( host->ip() ) != host ) return;
   if( isFlowProgrammed( insideIngressFlowName( host->ip() ) ) ) host->insideVtepIngressFlowPresentIs( true );
}

void FragmentSm::checkAndUpdateFlowConvergence( Lum::String flowName, Running const & running, Lum::String switchId ) {
   if( flowName == PolicyFlowName::serviceVtepIngress || flowName == PolicyFlowName::serviceVtepEgress ) {
      setFlowConvergence( running, switchId, areAllSVtepFlowsProgrammed() );
   } else if( isInsideIngressFlow( flowName ) ) {
      checkAndUpdateIngressFlowPresent( running, flowName, isFlowProgrammed( flowName ) );
   }
}

bool FragmentSm::isFlowProgrammed( Lum::String const & flowName ) const {
   return fragment()->flowStatus( flowName ).status == V1::PolicyFlowStatus::programmed;
}

bool FragmentSm::areAllSVtepFlowsProgrammed() const {
   return isFlowProgrammed( PolicyFlowName::serviceVtepIngress )
          && isFlowProgrammed( PolicyFlowName::serviceVtepEgress );
}

void FragmentSm::setFlowConvergence( Running const & running, Lum::String switchId, bool converged ) {
   auto const oVni = fragment()->originalVni();
   TRACE6( trace(), " set svtep flow convergence for oVni: ", oVni, ", switchId: ", switchId,
           ", converged: ", converged );
   running->fragmentRunningInfoIs( oVni )->serviceVtepFlowConvergedIs( switchId, converged );
}

// While a host moves, or sits behind a pair, one switch may drop its flow and another hold it: it is present then. Only
// a flow that is not programmed here makes the others be asked.
void FragmentSm::checkAndUpdateIngressFlowPresent( Running const & running, Lum::String flowName, bool flowPresent ) {
   auto const ip = hostOfFlow( flowName ).value_or( Neroli::IpGenAddr() ); // the unset one, which no host has
   bool const present = flowPresent || parent()->insideIngressFlowProgrammed( ip, fragmentName() );
   setInsideIngressFlowPresent( running, ip, present );
}

void FragmentSm::setInsideIngressFlowPresent( Running const & running, Neroli::IpGenAddr const & ip, bool present ) {
   auto const host = running->hostInfo( ip );
   if( !host ) return;
   TRACE6( trace(), " set ivtep flow present for ip: ", ip, ", present: ", present );
   host->insideVtepIngressFlowPresentIs( present );
}

void FragmentSm::cleanup() {
   TRACE8( trace(), " fragment: ", fragmentName() );
   if( auto const running = parent()->policyRunningInfoCol()->policyRunningInfo( getPolicyName( fragmentName() ) ) ) {
      auto const switchId = switchIdFromSystemId( parent()->name() );
      // The entry of a switch that is no service VTEP of the group any more is for the engine to delete.
      if( running->serviceVtepSwitchId( switchId ) ) setFlowConvergence( running, switchId, false );
      for( auto const & [ flowName, status ] : fragment()->flowStatus() ) {
         if( isInsideIngressFlow( flowName ) ) checkAndUpdateIngressFlowPresent( running, flowName, false );
      }
   }
   initializedIs( false );
}

} // namespace Kiv
