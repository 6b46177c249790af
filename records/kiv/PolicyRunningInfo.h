// The running-info records: what the agent is doing. They are the truth for the operator command; the engine keeps no
// second copy of a policy's state. The agent writes them, and restores them at a restart; each attribute names the
// machine that does, or that does it chiefly.
#pragma once

#include "platform/lum/Entity.h"
#include "platform/neroli/EthAddr.h"
#include "platform/neroli/IpGenAddr.h"
#include "platform/vxlan/Vni.h"
#include "records/Writers.h"
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
   LUM_VALUE( mac, Neroli::EthAddr );               // as learnt; all zero: not yet. Written by ServicePolicyPerVniSm
   LUM_VALUE( insideVtepSwitchPair, SwitchPair );   // where it was placed last; empty: nowhere. ServicePolicyPerVniSm
   LUM_VALUE( originalVni, Vxlan::VniOrNone );      // where it was learnt; none: not yet. ServicePolicyPerVniSm
   LUM_VALUE( originalVniSeen, bool );              // shown to the operator, who may note it; no machine knows it
   LUM_VALUE( serviceVniSeen, bool );               // likewise
   LUM_VALUE( state, PolicyRunningState );          // pending at first. ServicePolicyBrainSm, ServicePolicyPerVniSm
   LUM_VALUE( serviceVni, Vxlan::VniOrNone );       // of the original VNI; none: not granted. ServicePolicyPerVniSm
   LUM_VALUE( moveCountByVtep, std::uint32_t );     // its moves as the VTEPs count them; 0: none reported. MacMoveSm
   LUM_VALUE( insideVtepIngressFlowPresent, bool ); // some switch has programmed its ingress flow. ErrorStatusSm
   ATTRIBUTE_WRITER( originalVniSeen, "operator" );
   ATTRIBUTE_WRITER( serviceVniSeen, "operator" );

   mutable Lum::String flowName; // of its ingress flow, kept for whoever asks again; no attribute
};

/// One original VNI of a group.
class FragmentRunningInfo : public Lum::Entity {
   LUM_ENTITY( FragmentRunningInfo, originalVni, Vxlan::VniOrNone );
   /// By service VTEP: both service flows of this VNI are programmed; false where one is not, absent where none was
   /// reported. Written by ErrorStatusSm; ServicePolicyBrainSm removes switches that serve no more.
   LUM_VALUES( serviceVtepFlowConverged, SwitchId, bool );
};

/// One policy group.
class PolicyRunningInfo : public Lum::Entity {
   LUM_ENTITY( PolicyRunningInfo, name, Lum::Name );
   LUM_SET( policyName, Lum::String );       // copy of the group's; shown. Written by ServicePolicyBrainSm
   LUM_SET( serviceVtepSwitchId, SwitchId ); // who holds a port of the near or far set. ServiceIntfInfoSm
   LUM_VALUE( nearIntfUuid, Lum::String );   // the one acted on; empty: none yet. ServicePolicyBrainSm
   LUM_VALUE( farIntfUuid, Lum::String );    // likewise
   LUM_CHILDREN( hostInfo, Neroli::IpGenAddr, HostRunningInfo );               // its hosts. ServicePolicyBrainSm
   LUM_CHILDREN( fragmentRunningInfo, Vxlan::VniOrNone, FragmentRunningInfo ); // its original VNIs. ErrorStatusSm
   LUM_VALUES( originalToServiceVni, Vxlan::VniOrNone, Vxlan::VniOrNone ); // granted, never none. ServicePolicyBrainSm
   LUM_VALUE( nearVlan, std::uint16_t ); // shown to the operator, who may note it; no machine knows it. 0: not noted
   LUM_VALUE( farVlan, std::uint16_t );  // likewise
   LUM_VALUE( policyState, PolicyRunningState ); // pending at first. ServicePolicyBrainSm
   ATTRIBUTE_WRITER( nearVlan, "operator" );
   ATTRIBUTE_WRITER( farVlan, "operator" );
};

/// All policy groups in work.
class PolicyRunningInfoCol : public Lum::Entity {
   LUM_ENTITY( PolicyRunningInfoCol, name, Lum::Name );
   RECORD_WRITER( "agent" );
   LUM_CHILDREN( policyRunningInfo, Lum::Name, PolicyRunningInfo ); // by the group's name. ServicePolicyBrainSm
};

} // namespace Kiv
