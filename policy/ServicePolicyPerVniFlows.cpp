// The flows of one original VNI: installing and removing them in the order that keeps traffic flowing.
#include "policy/KivServicePolicySm.h"

#include "blackboard/KivUtils.h"
#include "platform/ribbon/TwinRibbon.h"
#include "policy/KivPolicyFragment.h"

TRACE_MODULE( "KivServicePolicy" );

namespace Kiv {

namespace {

using State = PolicyRunningState;
using V1::InterceptPoint;

// Texts that every fragment holds, made once.
Lum::String const nearSide = "near";
Lum::String const serviceIngress = PolicyFlowName::serviceVtepIngress;
Lum::String const serviceEgress = PolicyFlowName::serviceVtepEgress;
Lum::String const insideEgress = PolicyFlowName::insideVtepEgress;

bool isServiceFlow( Lum::String const & flowName ) { return flowName == serviceIngress || flowName == serviceEgress; }

} // namespace

Lum::Ptr< V1::ServicePolicyFragment > ServicePolicyPerVniSm::publishedFragment( SwitchId const & switchId ) const {
   return getPolicyFragment( switchId, fragmentName(), policyPublishBaseDir() );
}

Lum::Ptr< V1::ServicePolicyFragment > ServicePolicyPerVniSm::makeFragment( SwitchId const & switchId ) {
   return createAndPublishPolicy( switchId, fragmentName(), policyPublishBaseDir(), policyHelperInfo() );
}

void ServicePolicyPerVniSm::revokeFragment( SwitchId const & switchId ) {
   revokePublishedPolicy( switchId, fragmentName(), policyPublishBaseDir(), policyHelperInfo() );
}

void ServicePolicyPerVniSm::bringServiceFlowsUp() {
   for( auto const & [ switchId, member ] : policyRunningInfo()->serviceVtepSwitchId() ) {
      createServiceFlowRules( switchId );
   }
}

// Both flows work on every frame of the VNI pair and are tied to the near set.
void ServicePolicyPerVniSm::createServiceFlowRules( SwitchId switchId ) {
   TRACE8( trace(), " swId: ", switchId );
   auto const ingress = constructFlow( serviceIngress, originalVni(), {}, {}, serviceVni(),
                                       InterceptPoint::interceptAtIngress, nearSide );
   auto const egress =
      constructFlow( serviceEgress, serviceVni(), {}, {}, originalVni(), InterceptPoint::interceptAtEgress, nearSide );
   auto const fragment = makeFragment( switchId );
   fragment->flowIs( ingress );
   fragment->flowIs( egress );
   fragment->originalVniIs( originalVni() );
   fragment->serviceVniIs( serviceVni() );
   fragment->grCookie()->isServiceVtepIs( true );
}

void ServicePolicyPerVniSm::createInterceptFlowRules( Neroli::IpGenAddr ip, SwitchId switchId ) {
   TRACE8( trace(), " SW: ", switchId );
   auto const running = host( ip );
   if( !running ) return;
   auto const ingress = constructFlow( ingressFlowName( *running ), running->originalVni(), running->mac(), {},
                                       running->serviceVni(), InterceptPoint::interceptAtIngress, "" );
   auto const egress = constructFlow( insideEgress, running->serviceVni(), {}, {}, running->originalVni(),
                                      InterceptPoint::interceptAtEgress, "" );
   auto const fragment = makeFragment( switchId );
   fragment->flowIs( ingress );
   fragment->flowIs( egress );
   // A service VTEP that is not the host's own switch, or is it no more, keeps no cookie of the host.
   if( !running->insideVtepSwitchPair().isMember( switchId ) ) return forgetHost( switchId, ip );
   TRACE6( trace(), "creating grCookie for ", ip, " ", running->mac() );
   V1::InterceptInfoCookie cookie;
   cookie.interceptIp = ip;
   cookie.mac = running->mac();
   fragment->grCookie()->interceptInfoIs( cookie );
}

void ServicePolicyPerVniSm::createInterceptRulesToAllServiceVteps( Neroli::IpGenAddr ip ) {
   TRACE8( trace(), " intercept IP: ", ip );
   for( auto const & [ switchId, member ] : policyRunningInfo()->serviceVtepSwitchId() ) {
      createInterceptFlowRules( ip, switchId );
   }
}

void ServicePolicyPerVniSm::manageInterceptFlowRulesToVteps( Neroli::IpGenAddr ip ) {
   TRACE8( trace(), " IP: ", ip );
   auto const hostRunningInfo = policyRunningInfo()->hostInfo( ip );
   LUM_ASSERT( hostRunningInfo && "manageInterceptFlowRulesToVteps: hostRunningInfo must be present" );
   if( hostRunningInfo->state() == State::policyPending || hostRunningInfo->state() == State::policyDeleted ) return;
   createInterceptRulesToAllServiceVteps( ip );
   // The inside VTEP last: its ingress flow starts to divert the host's traffic.
   auto const place = hostRunningInfo->insideVtepSwitchPair();
   for( auto const & member : { place.first(), place.second() } ) {
      if( !member.empty() ) createInterceptFlowRules( ip, member );
   }
}

void ServicePolicyPerVniSm::addAllInterceptRulesToServiceVtep( SwitchId switchId ) {
   TRACE8( trace(), " swId: ", switchId );
   for( auto const & [ ip, running ] : host() ) {
      TRACE6( trace(), " ip: ", ip, " state: ", running->state() );
      if( running->state() != State::policyDeleted && running->state() != State::policyRestored ) {
         createInterceptFlowRules( ip, switchId );
      }
   }
}

void ServicePolicyPerVniSm::handleServiceVtepSwitchId( SwitchId switchId ) {
   TRACE8( trace(), " swId: ", switchId );
   auto const isServiceVtep = policyRunningInfo()->serviceVtepSwitchId( switchId );
   if( parent()->policyInfoReady() && serviceVni().value() != 0 && isServiceVtep ) {
      TRACE6( trace(), " Adding service flows to service vtep " );
      createServiceFlowRules( switchId );
      return;
   }
   // An empty set removes nothing, and it is meant: it is how a group that falls back looks, after it has revoked all.
   if( policyRunningInfo()->serviceVtepSwitchId().empty() || isServiceVtep ) return;
   TRACE6( trace(), " Removing flows from service vtep " );
   clearServiceVtep( switchId );
}

void ServicePolicyPerVniSm::clearServiceVtep( SwitchId switchId ) {
   if( activeHostsOnSwitch( switchId ) == 0 ) {
      revokeFragment( switchId );
      return;
   }
   // It is an inside VTEP, too, and keeps the intercept flows of its own hosts. Nobody would ever take back the
   // others'.
   auto const fragment = publishedFragment( switchId );
   if( !fragment ) return;
   for( auto const & [ ip, running ] : host() ) {
      if( !running->insideVtepSwitchPair().isMember( switchId ) ) fragment->flowDel( ingressFlowName( *running ) );
   }
   fragment->flowDel( serviceEgress );
   fragment->flowDel( serviceIngress );
   fragment->serviceIntfSetDel( "near" );
   fragment->serviceIntfSetDel( "far" );
   fragment->grCookieIs( "GrCookie" )->isServiceVtepIs( false );
}

void ServicePolicyPerVniSm::manageHostFlowRemovalFromSwitchPair( Neroli::IpGenAddr ip, SwitchPair pair ) {
   TRACE8( trace(), " IP: ", ip, " SW: ", pair );
   for( auto const & member : { pair.first(), pair.second() } ) {
      if( member.empty() ) continue;
      if( policyRunningInfo()->serviceVtepSwitchId( member ) ) {
         // Rules on a service VTEP stay until the service side itself is cleared; not so on its peer, if that is none.
         forgetHost( member, ip );
      } else if( isAlone( ip, member ) ) {
         TRACE6( trace(), " Unpublish policy: No more hosts on: ", pair, " vni: ", originalVni(),
                 " on switch: ", member );
         revokeFragment( member );
      } else {
         TRACE6( trace(), " Removing ingress flow for host: ", ip, " vni: ", originalVni(), " from Switch:", pair );
         removeIngressFlowFromVtep( member, ip );
      }
   }
}

// The host itself may be counted at another place already, or not at all.
bool ServicePolicyPerVniSm::isAlone( Neroli::IpGenAddr ip, SwitchId const & switchId ) const {
   auto const running = host( ip );
   bool const counted = running && running->insideVtepSwitchPair().isMember( switchId );
   return counts_.behind( switchId ) == ( counted ? 1 : 0 );
}

void ServicePolicyPerVniSm::manageFlowRemovalForHost( Neroli::IpGenAddr ip, SwitchPair pair, FlowRemoval why ) {
   auto const running = policyRunningInfo()->hostInfo( ip );
   TRACE8( trace(), " Host: ", ip, " Switch: ", pair, " State: ", running->state() );
   manageHostFlowRemovalFromSwitchPair( ip, pair );
   if( why == FlowRemoval::move ) {
      TRACE6( trace(), " Keep flows on service vtep" );
      running->stateIs( State::policyPending );
      return;
   }
   std::uint64_t const others = activeHosts() - 1;
   TRACE6( trace(), " Remove flows from the service vteps as well. Active hosts: ", others );
   bool const awaited = host().size() > ( host( ip ) ? 1 : 0 ); // others wait for the service flows, which stay
   for( auto const & [ switchId, member ] : policyRunningInfo()->serviceVtepSwitchId() ) {
      if( others > 0 ) {
         removeIngressFlowFromVtep( switchId, ip );
         continue;
      }
      forgetHost( switchId, ip );
      if( awaited ) {
         removeInterceptFlowsFromVtep( switchId );
      } else {
         removeAllFlowsFromVtep( switchId );
      }
   }
   // The quiet rounds may have taken them, too.
   if( others == 0 && awaited && parent()->policyInfoReady() ) bringServiceFlowsUp();
}

// A cookie is what a restart places the host by.
void ServicePolicyPerVniSm::forgetHost( SwitchId const & switchId, Neroli::IpGenAddr ip ) {
   auto const fragment = publishedFragment( switchId );
   if( fragment && fragment->grCookie() ) fragment->grCookie()->interceptInfoDel( ip );
}

void ServicePolicyPerVniSm::removeIngressFlowFromVtep( SwitchId switchId, Neroli::IpGenAddr ip ) {
   TRACE8( trace(), " swId: ", switchId, " ip: ", ip );
   if( auto const fragment = publishedFragment( switchId ) ) removeHostFlow( *fragment, ip );
}

void ServicePolicyPerVniSm::removeInterceptFlowsFromVtep( SwitchId switchId ) {
   TRACE8( trace(), " swId: ", switchId );
   auto const fragment = publishedFragment( switchId );
   if( !fragment ) return;
   for( auto const & [ flowName, flow ] : fragment->flow() ) {
      if( !isServiceFlow( flowName ) ) fragment->flowDel( flowName );
   }
}

// No diversion may stay. The service flows do, so that convergence can return and bring the intercept flows back.
void ServicePolicyPerVniSm::removeInterceptFlowsFromAllVteps() {
   TRACE8( trace(), " fragment: ", fragmentName() );
   for( auto const & [ switchId, member ] : policyRunningInfo()->serviceVtepSwitchId() ) {
      removeInterceptFlowsFromVtep( switchId );
   }
   for( auto const & [ ip, running ] : host() ) {
      auto const place = running->insideVtepSwitchPair();
      TRACE6( trace(), " ip: ", ip, ", SwitchPair: ", place );
      for( auto const & member : { place.first(), place.second() } ) {
         if( !member.empty() ) removeInterceptFlowsFromVtep( member );
      }
      running->stateIs( State::policyPending );
   }
}

void ServicePolicyPerVniSm::removeServiceFlowsFromAllVteps() {
   TRACE8( trace(), " fragment: ", fragmentName() );
   for( auto const & [ switchId, member ] : policyRunningInfo()->serviceVtepSwitchId() ) {
      auto const fragment = publishedFragment( switchId );
      if( !fragment ) continue;
      TRACE6( trace(), " Removing ingress and egress service flows from switchId:", switchId );
      fragment->flowDel( serviceIngress );
      fragment->flowDel( serviceEgress );
   }
}

// The fragment, its interface sets and its cookie stay.
void ServicePolicyPerVniSm::removeAllFlowsFromVtep( SwitchId switchId ) {
   TRACE8( trace(), " swId: ", switchId );
   if( auto const fragment = publishedFragment( switchId ) ) fragment->flowDelAll();
}

// Inside VTEPs go first: traffic stops being diverted before the rules that carry it go.
void ServicePolicyPerVniSm::revokeAllPolicyFragments() {
   TRACE8( trace(), " fragment: ", fragmentName() );
   // A pending host, too: it may have kept its flows, or an empty fragment with its cookie, when the service side lost
   // its convergence. Revoking what is not there does nothing.
   for( auto const & [ ip, running ] : host() ) {
      auto const place = running->insideVtepSwitchPair();
      revokeFragment( place.first() );
      revokeFragment( place.second() );
      running->stateIs( State::policyPending );
   }
   for( auto const & [ switchId, member ] : policyRunningInfo()->serviceVtepSwitchId() ) revokeFragment( switchId );
}

} // namespace Kiv
