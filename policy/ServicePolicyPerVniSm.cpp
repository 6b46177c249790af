// The hosts of one original VNI: whether their flows may be published, and whether they have moved.
#include "policy/KivServicePolicySm.h"

#include "blackboard/KivUtils.h"
#include "platform/ribbon/TwinRibbon.h"
#include "policy/KivPolicyFragment.h"

TRACE_MODULE( "KivServicePolicy" );

namespace Kiv {

namespace {

using State = PolicyRunningState;

} // namespace

void ServicePolicyPerVniSm::flowRemovalTriggerInc( std::uint16_t step ) {
   flowRemovalTriggerIs( static_cast< std::uint16_t >( flowRemovalTrigger() + step ) );
}

std::uint64_t ServicePolicyPerVniSm::interceptedHosts() const {
   std::uint64_t count = 0;
   for( auto const & [ ip, running ] : host() ) { // no lambda, whose name the trace would show
      auto const present = running->insideVtepIngressFlowPresent();
      TRACE6( trace(), " ip-mac-present: ", ip, "-", running->mac(), "-", present );
      count += present;
   }
   return count;
}

std::uint64_t ServicePolicyPerVniSm::activeHostsPerInsideVtep( SwitchPair const & pair ) const {
   std::uint64_t count = 0;
   for( auto const & [ ip, running ] : host() ) {
      auto const & place = running->insideVtepSwitchPair();
      count += place == pair || place.strictInclude( pair );
   }
   return count;
}

std::uint64_t ServicePolicyPerVniSm::activeHostsOnSwitch( SwitchId const & switchId ) const {
   auto const count = counts_.behind( switchId );
   TRACE6( trace(), " swId: ", switchId, " returning ", count );
   return count;
}

void ServicePolicyPerVniSm::holdHost( Neroli::IpGenAddr ip, Lum::Ptr< HostRunningInfo > running ) {
   counts_.count( ip, running.get() );
   hostIs( ip, std::move( running ) );
}

void ServicePolicyPerVniSm::dropHost( Neroli::IpGenAddr ip ) {
   counts_.count( ip, nullptr );
   hostDel( ip );
}

void ServicePolicyPerVniSm::count( Lum::Ptr< HostRunningInfo > running ) {
   if( host( running->ip() ) == running ) counts_.count( running->ip(), running.get() );
}

void ServicePolicyPerVniSm::handleInitialized() {
   TRACE8( trace(), " policy: ", parent()->name(), " originalVni: ", originalVni() );
   fragmentNameIs( fragmentNameOf( parent()->name(), originalVni() ) );
   serviceVniIs( policyRunningInfo()->originalToServiceVni( originalVni() ) );
   switchPairFlowConvergedIs( false );
   initializedIs( true );
}

void ServicePolicyPerVniSm::handleHost() {
   for( auto const & [ ip, running ] : host() ) handleHost( ip );
}

void ServicePolicyPerVniSm::handleHost( Neroli::IpGenAddr ip, SwitchUpdate switchUpdated ) {
   TRACE8( trace(), " IP: ", ip, " switchUpdated: ", switchUpdated == SwitchUpdate::yes );
   auto const info = policyHelperInfo()->ipToPolicy( ip );
   auto const running = policyRunningInfo()->hostInfo( ip );
   if( !isHandledHere( info.get(), running.get() ) ) {
      deleteHost( ip, running ? running->insideVtepSwitchPair() : SwitchPair() );
      return;
   }
   auto const previous = getPreviousSwitchPair( ip );
   auto const current = getCurrentSwitchPair( ip, switchUpdated );
   bool const untouched = isUntouched( ip, *running );
   holdHost( ip, running );
   if( current.members() == 0 ) {
      TRACE6( trace(), "Host has been aged out or no inside vtep is available" );
      if( untouched ) dropHost( ip ); // it has never been placed: its deletion must not look like that of the last host
      deleteHost( ip, previous );
      return;
   }
   shadowSwitchPairIs( ip, current );
   watchVtep( running, getVtepIp( current ) );
   if( running->state() != State::policyPending ) {
      handleMove( *running, previous, current );
   } else {
      // A host that lost its flows with the convergence has left its cookie, from which a restart would place it.
      bool const sameMac = running->mac() == info->mac();
      manageHostFlowRemovalFromSwitchPair( ip, sameMac ? previous.difference( current ) : previous );
   }

   running->macIs( info->mac() );
   running->originalVniIs( originalVni() );
   running->serviceVniIs( serviceVni() );
   running->insideVtepSwitchPairIs( current );
   auto const active = activeHosts();
   TRACE6( trace(), " activeHosts:", active );
   if( !parent()->policyInfoReady() || serviceVni().value() == 0 ) return;
   if( active <= 1 ) bringServiceFlowsUp(); // the first active host does
   if( mayIntercept( *info ) ) {
      publishInterceptFlows( *running, current );
   } else {
      TRACE6( trace(),
              " conditions for publishing intercept flows are not met, flowConverged: ", switchPairFlowConverged() );
      // Where the flows are out already, after a restart or by `retainInterceptFlows`, the host is none without flows:
      // a move must take them away, and it counts while another host is removed.
      running->stateIs( isDiverted( *running ) ? State::policyOrchestrating : State::policyPending );
   }
}

bool ServicePolicyPerVniSm::isHandledHere( HostInfo const * info, HostRunningInfo const * running ) const {
   return info && running && info->policy() == parent()->name() && info->vni() == originalVni();
}

// Neither in this machine's hands nor with flows of it.
bool ServicePolicyPerVniSm::isUntouched( Neroli::IpGenAddr ip, HostRunningInfo const & running ) const {
   return !host( ip ) && running.state() == State::policyPending;
}

// The host's own switch has its ingress flow.
bool ServicePolicyPerVniSm::isDiverted( HostRunningInfo const & running ) const {
   auto const ingress = ingressFlowName( running );
   auto const place = running.insideVtepSwitchPair();
   for( auto const & member : { place.first(), place.second() } ) {
      auto const fragment = publishedFragment( member );
      if( fragment && fragment->flow().find( ingress ) ) return true;
   }
   return false;
}

SwitchPair ServicePolicyPerVniSm::getPreviousSwitchPair( Neroli::IpGenAddr ip ) const {
   auto shadow = shadowSwitchPair( ip );
   if( shadow.members() > 0 ) return shadow;
   auto const running = policyRunningInfo()->hostInfo( ip );
   return running ? running->insideVtepSwitchPair() : SwitchPair();
}

// A redirected host's traffic runs through the service device, so the fabric may report its MAC on a service VTEP. That
// is no move. Only a first sighting is taken as it is, even on a service VTEP.
SwitchPair ServicePolicyPerVniSm::getCurrentSwitchPair( Neroli::IpGenAddr ip, SwitchUpdate switchUpdated ) const {
   auto const info = policyHelperInfo()->ipToPolicy( ip );
   auto const running = policyRunningInfo()->hostInfo( ip );
   bool const placed = running->insideVtepSwitchPair().members() > 0 || switchUpdated == SwitchUpdate::yes;
   return placed && parent()->matchesServiceVtep( info->switchPair() ) ? running->insideVtepSwitchPair()
                                                                       : info->switchPair();
}

Neroli::IpGenAddr ServicePolicyPerVniSm::getVtepIp( SwitchPair const & pair ) const {
   return policyHelperInfo()->vtepSwitchIdToIp( pair.getValidSwitch() );
}

void ServicePolicyPerVniSm::watchVtep( Lum::Ptr< HostRunningInfo > const & running, Neroli::IpGenAddr vtepIp ) {
   auto const ip = running->ip();
   // The old monitor goes first: a machine cannot be asked for with another argument.
   auto const monitor = interceptVtepMonitorSm( ip );
   if( monitor && ( monitor->insideVtepIp() != vtepIp || monitor->hostRunningInfo() != running ) ) {
      interceptVtepMonitorSmDel( ip );
   }
   interceptVtepMonitorSmIs( ip, running, vtepIp, policyHelperInfo() );
}

void ServicePolicyPerVniSm::handleMove( HostRunningInfo & running, SwitchPair const & previous,
                                        SwitchPair const & current ) {
   running.stateIs( State::policyIntfChanging );
   if( previous.strictInclude( current ) ) {
      TRACE6( trace(), " Only one switch ", current, " is now seen of a pair ", previous );
      manageHostFlowRemovalFromSwitchPair( running.ip(), previous.difference( current ) );
   } else if( current.strictInclude( previous ) ) {
      // Nothing is removed; the new member gets its flows with the others.
      TRACE6( trace(), " Host is now seen on two switches: ", current );
   } else if( previous != current ) {
      TRACE6( trace(), " Inside Vtep changed from ", previous, " to ", current );
      manageFlowRemovalForHost( running.ip(), previous, FlowRemoval::move );
   }
}

bool ServicePolicyPerVniSm::mayIntercept( HostInfo const & info ) const {
   return info.mac() != Neroli::EthAddr() && info.switchPair().members() > 0 && !info.vni().isNone()
          && switchPairFlowConverged();
}

// The host rests in policyOrchestrating once its flows are out.
void ServicePolicyPerVniSm::publishInterceptFlows( HostRunningInfo & running, SwitchPair const & current ) {
   running.stateIs( State::policyOrchestrating );
   for( auto const & member : { current.first(), current.second() } ) {
      if( member.empty() ) continue;
      auto const fragment = makeFragment( member );
      fragment->originalVniIs( originalVni() );
      fragment->serviceVniIs( serviceVni() );
   }
   manageInterceptFlowRulesToVteps( running.ip() );
}

void ServicePolicyPerVniSm::deleteHost( Neroli::IpGenAddr ip, SwitchPair pair ) {
   TRACE8( trace(), " IP: ", ip, " SwitchPair: ", pair );
   auto const running = policyRunningInfo()->hostInfo( ip );
   interceptVtepMonitorSmDel( ip );
   shadowSwitchPairDel( ip );
   // A repeated call must not count a neighbour as the last host and take its flows.
   bool const touched = running && !isUntouched( ip, *running );
   if( touched ) {
      running->stateIs( State::policyDeleted ); // for whoever watches the host
      manageFlowRemovalForHost( ip, pair, FlowRemoval::leave );
      running->stateIs( State::policyPending );
   }
   dropHost( ip );
}

void ServicePolicyPerVniSm::handleServiceVni( Vxlan::VniOrNone newVni ) {
   auto const old = serviceVni();
   TRACE8( trace(), " Old service Vni: ", old, " New service Vni: ", newVni );
   if( newVni == old ) return;
   serviceVniIs( newVni );
   // Every flow carries the old number: the fragments are dropped rather than edited, and the service VTEPs have to
   // program their side anew.
   if( !old.isNone() ) revokeAllPolicyFragments();
   switchPairFlowConvergedIs( false );
   if( newVni.isNone() ) return;
   parent()->raiseConvergence( *this );
   handleServiceVtepSwitchId();
   handleHost();
}

void ServicePolicyPerVniSm::cleanup() {
   TRACE8( trace(), " fragment: ", fragmentName() );
   revokeAllPolicyFragments();
   // And on a switch that neither is a service VTEP any more nor has a host: one that left as the last kept its
   // fragment.
   for( auto const & [ name, entity ] : policyPublishBaseDir()->entityPtr() ) {
      SwitchId const switchId( name );
      if( publishedFragment( switchId ) ) revokeFragment( switchId );
   }
   switchPairFlowConvergedIs( false );
   TRACE6( trace(), " fragmentRunningInfoDel for vni: ", originalVni() );
   policyRunningInfo()->fragmentRunningInfoDel( originalVni() );
}

SwitchPair InterceptVtepMonitorSm::oldSwitchPair() const {
   return hostRunningInfo() ? hostRunningInfo()->insideVtepSwitchPair() : SwitchPair();
}

void InterceptVtepMonitorSm::handleVtepIpToSwitchPair() {
   auto const now = policyHelperInfo()->vtepIpToSwitchPair( insideVtepIp() );
   TRACE8( trace(), " Old SwitchPair: ", oldSwitchPair(), " new SwitchPair: ", now );
   hostRunningInfo()->insideVtepSwitchPairIs( now );
   // So that a host with an empty pair is looked at again.
   parent()->handleHost( hostRunningInfo()->ip(), SwitchUpdate::yes );
}

} // namespace Kiv
