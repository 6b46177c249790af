#include "policy/KivPolicyFragment.h"

#include "blackboard/KivUtils.h"
#include "platform/ribbon/TwinRibbon.h"

TRACE_MODULE( "KivServicePolicy" );

namespace Kiv {

namespace {

Lum::Name const cookieName = "GrCookie";

} // namespace

V1::PolicyFlowInfo constructFlow( Lum::String name, Vxlan::VniOrNone matchVni, Neroli::EthAddr matchSMac,
                                  Neroli::EthAddr matchDstMac, Vxlan::VniOrNone rewriteVni,
                                  V1::InterceptPoint interceptAt, Lum::String serviceIntf ) {
   TRACE8( trace(), name, " matchVni: ", matchVni, " matchSMac: ", matchSMac, " matchDstMac: ", matchDstMac,
           " rewriteVni: ", rewriteVni, " interceptAt: ", interceptAt, " serviceIntf: ", serviceIntf );
   V1::PolicyFlowInfo flow;
   flow.flowName = std::move( name );
   flow.matchVni = matchVni;
   flow.matchSMac = matchSMac;
   flow.matchDstMac = matchDstMac;
   flow.rewriteVni = rewriteVni;
   flow.interceptAt = interceptAt;
   flow.serviceIntf = std::move( serviceIntf );
   TRACE7( trace(), " return" );
   return flow;
}

void removeHostFlow( V1::ServicePolicyFragment & fragment, Neroli::IpGenAddr ip ) {
   fragment.flowDel( insideIngressFlowName( ip ) );
   if( auto const cookie = fragment.grCookie() ) cookie->interceptInfoDel( ip );
}

void removeServiceIntf( V1::ServicePolicyFragment & fragment, Lum::Name const & side, Lum::String const & intf ) {
   auto const set = fragment.serviceIntfSet( side );
   if( !set ) return;
   set->intfDel( intf );
   if( set->intf().empty() ) fragment.serviceIntfSetDel( side );
}

Lum::Ptr< V1::ServicePolicyFragment > createAndPublishPolicy( SwitchId switchId, Lum::String fragmentName,
                                                              Lum::Ptr< Lum::Dir > const & policyPublishBaseDir,
                                                              Lum::Ptr< PolicyHelperInfo > const & policyHelperInfo ) {
   TRACE8( trace(), " switchId: ", switchId, " Policy fragment: ", fragmentName );
   auto const name = switchId.systemId().stringValue();
   auto const published = policyPublishBaseDir->createEntity< V1::KivPolicyFragment >( name );
   policyHelperInfo->publishEligibleSwitchIs( name, true );
   auto fragment = published->policyFragmentIs( fragmentName );
   fragment->grCookieIs( cookieName );
   return fragment;
}

Lum::Ptr< V1::ServicePolicyFragment > getPolicyFragment( SwitchId const & switchId, Lum::String const & fragmentName,
                                                         Lum::Ptr< Lum::Dir > const & policyPublishBaseDir ) {
   auto const published =
      Lum::entryOf< V1::KivPolicyFragment >( policyPublishBaseDir, switchId.systemId().stringValue() );
   return published ? published->policyFragment( fragmentName ) : nullptr;
}

void revokePublishedPolicy( SwitchId switchId, Lum::String fragmentName,
                            Lum::Ptr< Lum::Dir > const & policyPublishBaseDir,
                            Lum::Ptr< PolicyHelperInfo > const & policyHelperInfo ) {
   TRACE8( trace(), " switchId: ", switchId, " Policy fragment: ", fragmentName );
   auto const name = switchId.systemId().stringValue();
   auto const published = Lum::entryOf< V1::KivPolicyFragment >( policyPublishBaseDir, name );
   if( !published ) return;
   TRACE6( trace(), " Deleting policy Fragment:", fragmentName );
   published->policyFragmentDel( fragmentName );
   if( published->policyFragment().empty() ) policyHelperInfo->publishEligibleSwitchDel( name );
}

} // namespace Kiv
