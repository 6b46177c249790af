// The agent's own records: the blackboard, on which machines meet that do not call each other, and the roll-up of what
// the switches remembered. They live in this process only, and the agent alone writes them.
#pragma once

#include "platform/lum/Entity.h"
#include "platform/lum/ValueRecord.h"
#include "platform/moth/TaskScheduler.h"
#include "platform/neroli/EthAddr.h"
#include "platform/neroli/IpGenAddr.h"
#include "platform/vxlan/Vni.h"
#include "records/kiv/SwitchPair.h"

namespace Kiv {

/// A host in a VNI.
struct IpVniPair {
   LUM_VALUE_RECORD( IpVniPair );
   LUM_FIELD( ip, Neroli::IpGenAddr );
   LUM_FIELD( vni, Vxlan::VniOrNone );

   /// By address, then by VNI.
   friend bool operator<( IpVniPair const & a, IpVniPair const & b ) {
      return a.ip == b.ip ? a.vni < b.vni : a.ip < b.ip;
   }
   bool operator!() const { return *this == IpVniPair{}; }
   std::uint64_t hash( std::uint64_t seed ) const {
      seed = Lum::hashCombine( seed, std::hash< Neroli::IpGenAddr >()( ip ) );
      return Lum::hashCombine( seed, vni.value() );
   }
};

/// Bears the names of the four flow roles. All values of the type are equal.
struct PolicyFlowName {
   static constexpr char const * serviceVtepIngress = "ServiceVtepIngress";
   static constexpr char const * serviceVtepEgress = "ServiceVtepEgress";
   static constexpr char const * insideVtepIngress = "InsideVtepIngress"; // then "-" and the host's address
   static constexpr char const * insideVtepEgress = "InsideVtepEgress";

   friend bool operator==( PolicyFlowName, PolicyFlowName ) { return true; }
   friend bool operator<( PolicyFlowName, PolicyFlowName ) { return false; }
};

/// One intercepted host. Restored at a restart.
class HostInfo : public Lum::Entity {
   LUM_ENTITY( HostInfo, name, Neroli::IpGenAddr );
   LUM_VALUE( policy, Lum::String );    // the one group that controls it; empty: none. Written by IpToPolicySm
   LUM_SET( allPolicy, Lum::String );   // every group that names it; written by their brains
   LUM_VALUE( mac, Neroli::EthAddr );   // all zero: not learnt yet; written by L2StatusSm
   LUM_VALUE( switchPair, SwitchPair ); // empty: no location; written by VtepLocatorSm, emptied when the host is stale
   LUM_VALUE( vni, Vxlan::VniOrNone );  // where it was learnt, none until then; written by L2StatusSm

   /// The VNI whose L2StatusSm holds the host: a route, which nobody watches.
   Vxlan::VniOrNone followedIn() const { return followedIn_; }
   void followedInIs( Vxlan::VniOrNone vni ) { followedIn_ = vni; }

 private:
   Vxlan::VniOrNone followedIn_;
};

/// The groups that name an interface UUID as near or far; written by their brains.
class IntfUuidToPolicy : public Lum::Entity {
   LUM_ENTITY( IntfUuidToPolicy, name, Lum::String );
   LUM_SET( policy, Lum::String );
};

/// The service VNIs of a group, restored at a restart. A key is an original VNI in which the group has a host; its
/// value is the service VNI, or none while the request waits. The group's brain asks and withdraws, ServiceVniSm
/// answers.
class PolicyInfo : public Lum::Entity {
   LUM_ENTITY( PolicyInfo, name, Lum::Name );
   LUM_VALUES( originalToServiceVni, Vxlan::VniOrNone, Vxlan::VniOrNone );
};

/// The blackboard. It outlives the enabling and disabling of the feature. An absent key: nobody knows it yet.
class PolicyHelperInfo : public Lum::Entity {
   LUM_ENTITY( PolicyHelperInfo, name, Lum::Name );

   PolicyHelperInfo( Lum::Name name, Lum::Ptr< Moth::TaskScheduler > taskScheduler )
      : PolicyHelperInfo( std::move( name ) ) {
      taskScheduler_ = std::move( taskScheduler );
   }
   ~PolicyHelperInfo() override {
      ipToPolicyDelAll();
      intfUuidToPolicyDelAll();
      policyInfoDelAll();
   }

   /// What machines use for their timer tasks.
   Lum::Ptr< Moth::TaskScheduler > const & taskScheduler() const { return taskScheduler_; }

   /// Every host that a group names; made by the groups' brains, removed by ServicePolicyConfigSm.
   LUM_CHILDREN( ipToPolicy, Neroli::IpGenAddr, HostInfo );
   /// Which switches own a VTEP address, and the VTEP address of a switch; written by VtepStatusDirSm.
   LUM_VALUES( vtepIpToSwitchPair, Neroli::IpGenAddr, SwitchPair );
   LUM_VALUES( vtepSwitchIdToIp, SwitchId, Neroli::IpAddr );
   /// Who names an interface UUID, and the one group that may use it; written by the groups' brains.
   LUM_CHILDREN( intfUuidToPolicy, Lum::String, IntfUuidToPolicy );
   LUM_VALUES( intfUuidToOwnerPolicy, Lum::String, Lum::String );
   /// The switches, in hyphen form, that have a fragment; written where fragments are made and revoked.
   LUM_SET( publishEligibleSwitch, Lum::String );
   /// The groups in work; made by their brains.
   LUM_CHILDREN( policyInfo, Lum::Name, PolicyInfo );

 private:
   Lum::Ptr< Moth::TaskScheduler > taskScheduler_;
};

/// The elected view of one fragment over all switches, written by CoalescedPolicyGrSm.
class VtepPolicyFragmentStatus : public Lum::Entity {
   LUM_ENTITY( VtepPolicyFragmentStatus, name, Lum::Name );
   LUM_VALUE( originalVni, Vxlan::VniOrNone ); // none: no switch has told it
   LUM_VALUE( serviceVni, Vxlan::VniOrNone );  // the winner among the switches; none: no vote
};

/// That of all fragments.
class VtepAllPolicyFragmentStatus : public Lum::Entity {
   LUM_ENTITY( VtepAllPolicyFragmentStatus, name, Lum::Name );
   LUM_CHILDREN( fragmentStatus, Lum::Name, VtepPolicyFragmentStatus ); // by the fragment's name
};

/// An empty VtepAllPolicyFragmentStatus of that name.
inline Lum::Ptr< VtepAllPolicyFragmentStatus > vtepAllPolicyFragmentStatusFactory( Lum::Name name ) {
   return new VtepAllPolicyFragmentStatus( std::move( name ) );
}

} // namespace Kiv

template<>
struct std::hash< Kiv::IpVniPair > {
   std::size_t operator()( Kiv::IpVniPair const & pair ) const { return pair.hash( 0 ); }
};
