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

// This runs while the owner is being made.
void FragmentSm::handleInitialized() {
   initializedIs( true );
   handleFlowStatus();
}

FragmentSm::Running FragmentSm::runningInfo() const {
   return parent()->policyRunningInfoCol()->policyRunningInfo( getPolicyName( fragmentName() ) );
}

void FragmentSm::handleFlowStatus( Lum::Name flowName ) {
   TRACE8( trace(), " fragment: ", fragmentName(), " flow: ", flowName );
   auto const policy = getPolicyName( fragmentName() );
   auto const running = runningInfo();
   if( !running ) {
      TRACE6( trace(), " no policy running info for ", policy, ", return" );
      if( isInsideIngressFlow( flowName ) ) {
         checkAndUpdateIngressFlowPresent( running, flowName, isFlowProgrammed( flowName ) );
      }
      return;
   }
   auto const switchId = switchIdFromSystemId( parent()->name() );
   auto const status = fragment()->flowStatus( flowName );
   if( !status ) TRACE6( trace(), " flowStatus is removed." ); // which counts like any other change
   if( status.status == V1::PolicyFlowStatus::rejected ) {
      Lum::log( redirectRuleProgramError, switchId, policy, fragment()->originalVni() );
   }
   checkAndUpdateFlowConvergence( flowName, running, switchId );
}

void FragmentSm::handleEcho() {
   if( auto const running = runningInfo() ) weigh( running );
}

bool FragmentSm::weigh( Running const & running ) {
   auto const & flows = fragment()->flowStatus();
   if( !flows.find( PolicyFlowName::serviceVtepIngress ) && !flows.find( PolicyFlowName::serviceVtepEgress ) ) {
      return false;
   }
   updateFlowConvergence( running, switchIdFromSystemId( parent()->name() ) );
   return true;
}

void FragmentSm::checkAndUpdateFlowConvergence( Lum::String flowName, Running const & running, SwitchId switchId ) {
   if( flowName == PolicyFlowName::serviceVtepIngress || flowName == PolicyFlowName::serviceVtepEgress ) {
      updateFlowConvergence( running, switchId );
   } else if( isInsideIngressFlow( flowName ) ) {
      checkAndUpdateIngressFlowPresent( running, flowName, isFlowProgrammed( flowName ) );
   }
}

// What is said of another service VNI is as good as nothing said; so is what is said before the VNI that it is about.
void FragmentSm::updateFlowConvergence( Running const & running, SwitchId switchId ) {
   if( fragment()->originalVni().isNone() ) return;
   if( counts( *running ) ) {
      setFlowConvergence( running, switchId, areAllSVtepFlowsProgrammed() );
   } else if( auto const record = running->fragmentRunningInfo( fragment()->originalVni() ) ) {
      record->serviceVtepFlowConvergedDel( switchId );
   }
}

// A report counts for the service VNI that it echoes; one that echoes none counts for any.
bool FragmentSm::counts( PolicyRunningInfo const & running ) const {
   auto const echoed = fragment()->serviceVni();
   auto const granted = running.originalToServiceVni( fragment()->originalVni() );
   return echoed.isNone() || granted.isNone() || echoed == granted;
}

void FragmentSm::handleRejectedFlows( Running const & running, SwitchId switchId ) {
   std::string concerned = Lum::textOf( switchId, " near ", running->nearIntfUuid(), " far ", running->farIntfUuid() );
   for( auto const & [ policyName, member ] : running->policyName() )
      concerned += Lum::textOf( " policy ", policyName );
   for( auto const & uuid : { running->nearIntfUuid(), running->farIntfUuid() } ) {
      auto const set = parent()->serviceIntfConfig()->intfSet( uuid );
      if( !set ) continue;
      for( auto const & [ intf, port ] : set->intf() ) concerned += Lum::textOf( " port ", intf );
   }
   for( auto const & [ ip, host ] : running->hostInfo() ) concerned += Lum::textOf( " host ", ip );
}

bool FragmentSm::isFlowProgrammed( Lum::String const & flowName ) const {
   return fragment()->flowStatus( flowName ).status == V1::PolicyFlowStatus::programmed;
}

bool FragmentSm::areAllSVtepFlowsProgrammed() const {
   return isFlowProgrammed( PolicyFlowName::serviceVtepIngress )
          && isFlowProgrammed( PolicyFlowName::serviceVtepEgress );
}

void FragmentSm::setFlowConvergence( Running const & running, SwitchId switchId, bool converged ) {
   auto const oVni = fragment()->originalVni();
   running->fragmentRunningInfoIs( oVni )->serviceVtepFlowConvergedIs( switchId, converged );
   TRACE6( trace(), " set svtep flow convergence for oVni: ", oVni, ", switchId: ", switchId,
           ", converged: ", converged );
}

// While a host moves, or sits behind a pair, one switch may drop its flow and another hold it: it is present then. Only
// a flow that is not programmed here makes the others be asked.
void FragmentSm::checkAndUpdateIngressFlowPresent( Running const & running, Lum::String flowName, bool flowPresent ) {
   auto const ip = hostOfFlow( flowName ).value_or( Neroli::IpGenAddr() ); // the unset one, which no host has
   bool const present = flowPresent || parent()->insideIngressFlowProgrammed( ip, fragmentName() );
   setInsideIngressFlowPresent( running, ip, present );
}

void FragmentSm::setInsideIngressFlowPresent( Running const & running, Neroli::IpGenAddr const & ip, bool present ) {
   auto const host = running ? running->hostInfo( ip ) : nullptr;
   if( !host ) return parent()->parent()->reportedAheadIs( getPolicyName( fragmentName() ), ip, present );
   TRACE6( trace(), " set ivtep flow present for ip: ", ip, ", present: ", present );
   host->insideVtepIngressFlowPresentIs( present );
}

void FragmentSm::cleanup() {
   TRACE8( trace(), " fragment: ", fragmentName() );
   auto const running = runningInfo();
   auto const switchId = switchIdFromSystemId( parent()->name() );
   // The entry of a switch that is no service VTEP of the group any more is for the engine to delete.
   if( running && running->serviceVtepSwitchId( switchId ) ) setFlowConvergence( running, switchId, false );
   for( auto const & [ flowName, status ] : fragment()->flowStatus() ) {
      if( isInsideIngressFlow( flowName ) ) checkAndUpdateIngressFlowPresent( running, flowName, false );
   }
   initializedIs( false );
}

} // namespace Kiv
