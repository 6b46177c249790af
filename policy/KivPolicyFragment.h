// What is published to one switch for one policy group and original VNI: making, finding and revoking a fragment, and
// building its flows. The four flow kinds are the redirect design of the whole system:
//
//    flow                       matches                          rewrites to       where                   tied to
//    InsideVtepIngress-<host>   original VNI and the host's MAC  the service VNI   the host's ports, in    -
//    InsideVtepEgress           the service VNI                  the original VNI  the host's ports, out   -
//    ServiceVtepIngress         the original VNI                 the service VNI   the device's ports, in  "near"
//    ServiceVtepEgress          the service VNI                  the original VNI  the device's ports, out "near"
//
// Only the first takes a host's traffic away from its VNI; so it comes last and goes first.
#pragma once

#include "blackboard/KivLocalTypes.h"
#include "platform/lum/Dir.h"
#include "records/kiv/PolicyFragment.h"

namespace Kiv {

/// A flow of the given fields; all others stay zero.
V1::PolicyFlowInfo constructFlow( Lum::String name, Vxlan::VniOrNone matchVni, Neroli::EthAddr matchSMac,
                                  Neroli::EthAddr matchDstMac, Vxlan::VniOrNone rewriteVni,
                                  V1::InterceptPoint interceptAt, Lum::String serviceIntf );

/// Takes a host's ingress flow and its cookie out of a fragment; absent ones are passed over.
void removeHostFlow( V1::ServicePolicyFragment & fragment, Neroli::IpGenAddr ip );
/// Takes a port out of the set `side`, and the set with its last one; absent ones are passed over.
void removeServiceIntf( V1::ServicePolicyFragment & fragment, Lum::Name const & side, Lum::String const & intf );

/// The fragment of that name on a switch, made with its cookie if it is not there; never null. Makes the switch
/// eligible for publishing. An existing fragment keeps all that it holds.
Lum::Ptr< V1::ServicePolicyFragment > createAndPublishPolicy( SwitchId switchId, Lum::String fragmentName,
                                                              Lum::Ptr< Lum::Dir > const & policyPublishBaseDir,
                                                              Lum::Ptr< PolicyHelperInfo > const & policyHelperInfo );

/// The fragment of that name on a switch, null if there is none. Changes nothing.
Lum::Ptr< V1::ServicePolicyFragment > getPolicyFragment( SwitchId const & switchId, Lum::String const & fragmentName,
                                                         Lum::Ptr< Lum::Dir > const & policyPublishBaseDir );

/// Takes a fragment off a switch with everything that it holds; the switch's last one ends its eligibility. The
/// switch's directory entry stays. An unknown switch is passed over.
void revokePublishedPolicy( SwitchId switchId, Lum::String fragmentName,
                            Lum::Ptr< Lum::Dir > const & policyPublishBaseDir,
                            Lum::Ptr< PolicyHelperInfo > const & policyHelperInfo );

} // namespace Kiv
