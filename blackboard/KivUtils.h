// Small operations that several subsystems share: names of fragments and of switches, pairs of switches.
#pragma once

#include "platform/neroli/IpGenAddr.h"
#include "platform/vxlan/Vni.h"
#include "records/kiv/PolicyRunningInfo.h"
#include "records/kiv/SwitchPair.h"

#include <optional>

namespace Kiv {

/// The pair with `switchId` as its newest member, in `first`. A member, and a third switch, leave the pair as it is.
SwitchPair addSwitchToSwitchPair( SwitchPair const & pair, SwitchId const & switchId );
/// The pair that is left without `switchId`, which is not tested to be a member.
SwitchPair removeSwitchFromSwitchPair( SwitchPair const & pair, SwitchId const & switchId );
/// The name of a group's fragment, and of its allocation, for an original VNI: "<group>-<VNI>".
Lum::String fragmentNameOf( Lum::String const & policy, Vxlan::VniOrNone originalVni );
/// The group of a fragment name: the text up to the last "-", so that groups may hold more of them; without one the
/// whole.
Lum::String getPolicyName( Lum::String const & fragmentName );

/// The name of the flow that diverts a host's traffic on its own switch.
Lum::String insideIngressFlowName( Neroli::IpGenAddr ip );
/// The same, made once and shared by all switches of the host.
Lum::String const & ingressFlowName( HostRunningInfo const & host );
/// The host of such a name: the address behind the last "-". None for the flows that serve no single host.
std::optional< Neroli::IpGenAddr > hostOfFlow( Lum::String const & flowName );

} // namespace Kiv
