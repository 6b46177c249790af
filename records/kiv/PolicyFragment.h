// The wire records between the agent and the switches: field names, keys and numbers must stay as they are. The agent
// writes one tree per switch, from KivPolicyFragment down, and reads one status tree per switch, from
// KivPolicyFragmentStatus down, which that switch writes. Directory keys are switch ids in hyphen form.
#pragma once

#include "platform/lum/Entity.h"
#include "platform/lum/ValueRecord.h"
#include "platform/neroli/EthAddr.h"
#include "platform/neroli/IpGenAddr.h"
#include "platform/vxlan/Vni.h"
#include "records/Writers.h"

#include <array>
#include <boost/describe/enum.hpp>
#include <iosfwd>

namespace Kiv::V1 {

/// Where on the switch a flow applies.
enum class InterceptPoint {
   interceptAtIngress = 0, ///< every flow whose name ends in Ingress
   interceptAtEgress = 1,  ///< every flow whose name ends in Egress
};
BOOST_DESCRIBE_ENUM( InterceptPoint, interceptAtIngress, interceptAtEgress )

/// The enumerator's name.
Lum::String stringValue( InterceptPoint point );
std::ostream & operator<<( std::ostream & out, InterceptPoint point );

/// The part of a flow's match that this agent leaves at zero; a switch-side reader sees the complete record.
struct FurtherMatch {
   std::array< std::uint8_t, 48 > address{};
   std::uint8_t protocol = 0;
   std::uint16_t sourcePort = 0;
   std::uint16_t destinationPort = 0;
   bool operator==( FurtherMatch const & ) const = default;
};

/// Two further names with a kind between them, never set by this agent.
struct FurtherName {
   Lum::String first;
   std::uint8_t kind = 0;
   Lum::String second;
   bool operator==( FurtherName const & ) const = default;
};

/// One flow: what a packet must match, and what becomes of it. Only the fields of the table are ever set; the others
/// stay zero.
struct PolicyFlowInfo {
   LUM_VALUE_RECORD( PolicyFlowInfo );
   LUM_KEY_FIELD( flowName, Lum::String );
   LUM_FIELD( matchSMac, Neroli::EthAddr );   // zero: any source
   LUM_FIELD( matchDstMac, Neroli::EthAddr ); // zero: any destination; always zero
   FurtherMatch furtherMatch;
   LUM_FIELD( matchVni, Vxlan::VniOrNone ); // none: in no VNI, never published
   FurtherName furtherName;
   LUM_FIELD( rewriteVni, Vxlan::VniOrNone ); // written into the packet when the flow hits; none: never published
   Neroli::IpGenAddr furtherRewrite;          // never set
   LUM_FIELD( interceptAt, InterceptPoint );  // where it applies; ingress by default
   LUM_FIELD( serviceIntf, Lum::String ); // an interface set of the same fragment, "near" on service VTEPs, else empty
};

/// One interface set of the service device on a switch, "near" or "far".
class ServiceIntfSet : public Lum::Entity {
   LUM_ENTITY( ServiceIntfSet, name, Lum::Name );
   LUM_SET( intf, Lum::String ); // interface names on the switch; written by ServiceIntfInfoSm
};

/// One host whose inside VTEP is the switch.
struct InterceptInfoCookie {
   LUM_VALUE_RECORD( InterceptInfoCookie );
   LUM_KEY_FIELD( interceptIp, Neroli::IpGenAddr );
   LUM_FIELD( mac, Neroli::EthAddr ); // at the time of publishing; all zero: unknown then
};

/// What the agent must find again after a restart: the agent writes it in the fragment, and the switch copies it
/// unchanged into the fragment's status.
class GracefulRebootCookie : public Lum::Entity {
   LUM_ENTITY( GracefulRebootCookie, name, Lum::Name );
   LUM_VALUE( isServiceVtep, bool ); // the fragment holds the service flows of a service VTEP
   LUM_RECORDS( interceptInfo, Neroli::IpGenAddr, InterceptInfoCookie ); // the hosts behind the switch
};

/// One policy group and original VNI on one switch; written by ServicePolicyPerVniSm but for the interface sets.
class ServicePolicyFragment : public Lum::Entity {
   LUM_ENTITY( ServicePolicyFragment, name, Lum::String );
   LUM_VALUE( originalVni, Vxlan::VniOrNone ); // where the group's hosts are; none: not told to this switch
   LUM_VALUE( serviceVni, Vxlan::VniOrNone );  // where their traffic runs through the device; none: likewise
   LUM_RECORDS( flow, Lum::String, PolicyFlowInfo );
   LUM_CHILDREN( serviceIntfSet, Lum::Name, ServiceIntfSet ); // "near" and "far"; none on a switch without their ports
   LUM_CHILD( grCookie, GracefulRebootCookie );               // made with the fragment
};

/// All that is published to one switch.
class KivPolicyFragment : public Lum::Entity {
   LUM_ENTITY( KivPolicyFragment, name, Lum::Name );
   RECORD_WRITER( "agent" );
   LUM_CHILDREN( policyFragment, Lum::String, ServicePolicyFragment ); // by "<group>-<original VNI>"
};

/// Moves that the VTEP has seen of the MAC of an inside ingress flow.
struct HostMoveCount {
   LUM_VALUE_RECORD( HostMoveCount );
   LUM_FIELD( mac, Neroli::EthAddr ); // zero: no count is reported
   LUM_FIELD( moveCount, std::uint32_t );
};

/// What a switch says of one flow. A record that stands in the collection is not empty, whatever its `status`.
struct PolicyFlowStatus {
   LUM_VALUE_RECORD( PolicyFlowStatus );
   LUM_KEY_FIELD( flowName, Lum::String );
   LUM_FIELD( status, std::uint32_t );        // see below; any other number: not programmed yet
   LUM_FIELD( statusDetail, Lum::String );    // the switch's own words; the agent does not read them
   LUM_FIELD( hostMoveCount, HostMoveCount ); // of an inside ingress flow alone

   static constexpr std::uint32_t programmed = 2;
   static constexpr std::uint32_t rejected = 3;

   bool operator!() const { return flowName.empty(); }
};

/// What a switch says of one fragment. Until it has realised the fragment nothing of this is there.
class ServicePolicyFragmentStatus : public Lum::Entity {
   LUM_ENTITY( ServicePolicyFragmentStatus, name, Lum::String );
   LUM_VALUE( originalVni, Vxlan::VniOrNone );               // echo of the fragment's
   LUM_VALUE( serviceVni, Vxlan::VniOrNone );                // likewise
   LUM_CHILD( grCookie, GracefulRebootCookie );              // echo; absent until realised
   LUM_RECORDS( flowStatus, Lum::String, PolicyFlowStatus ); // the flows that it has handled, by name
};

/// All that one switch says.
class KivPolicyFragmentStatus : public Lum::Entity {
   LUM_ENTITY( KivPolicyFragmentStatus, name, Lum::Name );
   RECORD_WRITER( "switch" );
   LUM_CHILDREN( policyFragment, Lum::String, ServicePolicyFragmentStatus ); // by the fragment's name
};

} // namespace Kiv::V1
