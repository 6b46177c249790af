// The configuration records: what is wanted. Sources write them into the state database, the collector merges them into
// records of the same classes in the agent's memory, and the policy engine only reads the merged ones. The agent's
// settings are the operator's. An empty text means "not set".
#pragma once

#include "platform/lum/Entity.h"
#include "platform/lum/ValueRecord.h"
#include "platform/neroli/IpGenAddr.h"
#include "records/Writers.h"
#include "records/kiv/SwitchIntfPair.h"

#include <map>

namespace Kiv {

/// One host whose traffic is to be steered. Only the address of the key counts: the mask is carried, never applied.
/// A lookup of an absent key yields the record with the empty key, so presence is tested against that.
struct InterceptFlowInfo {
   LUM_VALUE_RECORD( InterceptFlowInfo );
   LUM_KEY_FIELD( ip, Neroli::IpGenAddrWithMask );
};

/// One policy group, written by its source.
class ServicePolicy : public Lum::Entity {
   LUM_ENTITY( ServicePolicy, name, Lum::Name );
   LUM_SET( policyName, Lum::String ); // the source policies gathered in this group
   LUM_RECORDS( interceptFlow, Neroli::IpGenAddrWithMask, InterceptFlowInfo ); // its hosts; none: nothing is diverted
   LUM_VALUE( serviceDeviceId, Lum::String ); // the service device; for readers, the agent does not act on it
   LUM_VALUE( nearIntfUuid, Lum::String );    // the interface set on the device's near side; unset: the group waits
   LUM_VALUE( farIntfUuid, Lum::String );     // and on its far side, likewise
};

/// The root of all policy groups, of one source or of all.
class ServicePolicyConfig : public Lum::Entity {
   LUM_ENTITY( ServicePolicyConfig, name, Lum::Name );
   RECORD_WRITER( "source" );
   LUM_CHILDREN( servicePolicy, Lum::Name, ServicePolicy ); // by the group's name
};

/// The VLANs allowed on a port, each as text.
using VlanSet = std::map< Lum::String, bool >;

/// One fabric port of an interface set. A port without VLANs equals the default of its key and counts as absent.
struct ServiceInterface {
   LUM_VALUE_RECORD( ServiceInterface );
   LUM_KEY_FIELD( switchIntf, SwitchIntfPair );
   LUM_FIELD( allowedVlan, VlanSet ); // none: the port is not there

   ServiceInterface() = default;
   explicit ServiceInterface( SwitchIntfPair key ) : switchIntf( std::move( key ) ) {}
   static ServiceInterface absent( SwitchIntfPair const & key ) { return ServiceInterface( key ); }
};

/// One interface set of a service device, written by its source.
class ServiceIntfInfo : public Lum::Entity {
   LUM_ENTITY( ServiceIntfInfo, uuid, Lum::String );
   LUM_VALUE( zone, Lum::String );                        // the set's zone on the device; for readers
   LUM_RECORDS( intf, SwitchIntfPair, ServiceInterface ); // its ports: their switches become service VTEPs
};

/// The root of all interface sets, of one source or of all.
class ServiceIntfConfig : public Lum::Entity {
   LUM_ENTITY( ServiceIntfConfig, name, Lum::Name );
   RECORD_WRITER( "source" );
   LUM_CHILDREN( intfSet, Lum::String, ServiceIntfInfo ); // by the set's UUID
};

/// What a source says of itself.
class KivPolicySourceState : public Lum::Entity {
   LUM_ENTITY( KivPolicySourceState, name, Lum::Name );
   RECORD_WRITER( "source" );
   LUM_VALUE( convergenceComplete, bool ); // it has written all it knows; until then the feature does not begin
};

/// The agent's settings, written by the operator. The record holds what it is given; what a client may write is
/// narrower, see host/Limits.h.
class Config : public Lum::Entity {
   LUM_ENTITY( Config, name, Lum::Name );
   RECORD_WRITER( "operator" );
   LUM_VALUE( enabled, bool );                           // the feature is to run; if not, nothing is diverted
   LUM_VALUE( vniRange, Lum::String );                   // the pool of service VNIs: "10000-10999,12000"; empty: none
   LUM_VALUE_DEFAULT( flowRemovalPeriod, 30.0, double ); // seconds between two rounds of the revoke task
   LUM_VALUE_DEFAULT( flowRemovalTriggerLimit, 10, std::uint16_t ); // quiet rounds before service flows go
   LUM_VALUE( retainInterceptFlows, bool );                         // they stay when a service VTEP loses convergence
   LUM_VALUE_DEFAULT( staleHostCheckPeriod, 30.0, double );         // seconds between two ageing rounds
   LUM_VALUE_DEFAULT( staleHostThreshold, 10, std::uint16_t );      // rounds that a host may go unseen
};

/// The agent's published status.
class Status : public Lum::Entity {
   LUM_ENTITY( Status, name, Lum::Name );
   RECORD_WRITER( "agent" );
   LUM_VALUE( running, bool ); // the feature is enabled, also while it waits for topology and sources; by RootSm
};

} // namespace Kiv
