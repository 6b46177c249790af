// The running-info records: what the agent is doing. They are the truth for the operator command; the engine keeps no
// second copy of a policy's state.
#pragma once

#include "platform/lum/Entity.h"
#include "platform/neroli/EthAddr.h"
#include "platform/neroli/IpGenAddr.h"
#include "platform/vxlan/Vni.h"
#include "records/kiv/SwitchPair.h"

#include <boost/describe/enum.hpp>
#include <iosfwd>

namespace Kiv {

/// The state of a group and of a host. The numbers are fixed: they are stored, and 3 and 5 are not in use.
///
///    a group   none -> policyPending -> policyOrchestrating -> policyRunning
///              ready and a UUID changes: -> policyIntfChanging -> policyRunning
///              not ready any more: -> policyPending;   gone: -> policyDeleted, and the record goes
///    a host    policyPending -> policyOrchestrating, where a host with published flows rests
///              examined after a change: -> policyIntfChanging -> policyOrchestrating or policyPending
///              removed: -> policyDeleted -> policyPending
///    both      none -> policyRestored at a restart, until their machines take them over
enum class PolicyRunningState {
   policyPending = 0,       ///< a group that may not act; a host without flows
   policyOrchestrating = 1, ///< a group whose per-VNI machines are brought up; a host whose flows are published
   policyRunning = 2,       ///< a group in full work; never written to a host
   policyIntfChanging = 4,  ///< a ready group with a changed UUID; a host that is being examined again
   policyDeleted = 6,       ///< being cleaned up
   policyRestored = 7,      ///< rebuilt from the switches' reports, waiting for its machine
};
BOOST_DESCRIBE_ENUM( PolicyRunningState, policyPending, policyOrchestrating, policyRunning, policyIntfChanging,
                     policyDeleted, policyRestored )

/// One short word for operators: "pending", "orchestrating", "running", "changing", "deleted", "restored"; for a number
/// that is no state "unknown".
Lum::String stringValue( PolicyRunningState state );
std::ostream & operator<<( std::ostream & out, PolicyRunningState state );

/// One intercepted host of a group.
class HostRunningInfo : public Lum::Entity {
   LUM_ENTITY( HostRunningInfo, ip, Neroli::IpGenAddr );
   LUM_VALUE( mac, Neroli::EthAddr );
   LUM_VALUE( insideVtepSwitchPair, SwitchPair ); // the switch or pair behind which the host sits
   LUM_VALUE( originalVni, Vxlan::VniOrNone );    // where the host was learnt
   LUM_VALUE( originalVniSeen, bool );            // shown to the operator; nothing of the agent writes it
   LUM_VALUE( serviceVniSeen, bool );             // likewise
   LUM_VALUE( state, PolicyRunningState );
   LUM_VALUE( serviceVni, Vxlan::VniOrNone );
   LUM_VALUE( moveCountByVtep, std::uint32_t );     // the host's moves as the VTEPs count them
   LUM_VALUE( insideVtepIngressFlowPresent, bool ); // the inside VTEP has installed the host's ingress flow
};

/// One original VNI of a group.
class FragmentRunningInfo : public Lum::Entity {
   LUM_ENTITY( FragmentRunningInfo, originalVni, Vxlan::VniOrNone );
   LUM_VALUES( serviceVtepFlowConverged, Lum::String, bool ); // by switch: all flows of this VNI are programmed
};

/// One policy group.
class PolicyRunningInfo : public Lum::Entity {
   LUM_ENTITY( PolicyRunningInfo, name, Lum::Name );
   LUM_SET( policyName, Lum::String );
   LUM_SET( serviceVtepSwitchId, Lum::String ); // the switches that hold a port of the near or far set
   LUM_VALUE( nearIntfUuid, Lum::String );      // the one that the engine acts on
   LUM_VALUE( farIntfUuid, Lum::String );
   LUM_CHILDREN( hostInfo, Neroli::IpGenAddr, HostRunningInfo );
   LUM_CHILDREN( fragmentRunningInfo, Vxlan::VniOrNone, FragmentRunningInfo );
   LUM_VALUES( originalToServiceVni, Vxlan::VniOrNone, Vxlan::VniOrNone ); // granted ones only, never none
   LUM_VALUE( nearVlan, std::uint16_t ); // shown to the operator; nothing of the agent writes it
   LUM_VALUE( farVlan, std::uint16_t );  // likewise
   LUM_VALUE( policyState, PolicyRunningState );
};

/// All policy groups in work.
class PolicyRunningInfoCol : public Lum::Entity {
   LUM_ENTITY( PolicyRunningInfoCol, name, Lum::Name );
   LUM_CHILDREN( policyRunningInfo, Lum::Name, PolicyRunningInfo );
};

} // namespace Kiv
