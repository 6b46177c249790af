// Moved hosts. To pull a redirected host's traffic towards the service device, the fabric is told that the host's MAC
// has moved to the service VTEP: an entry with that VTEP's address and a higher move count than the fabric's own. The
// switches report how many moves they have seen of a host; that count goes to the host's running record, and from the
// record comes or goes the entry. No policy and no flow changes here.
#pragma once

#include "blackboard/KivLocalTypes.h"
#include "platform/lum/Dir.h"
#include "platform/lum/Machine.h"
#include "records/kiv/PolicyFragment.h"
#include "records/kiv/PolicyRunningInfo.h"
#include "records/loomis/VniStatus.h"

namespace Kiv {

/// A MAC in a VNI; both zero is the empty value.
struct VniMac {
   LUM_VALUE_RECORD( VniMac );
   LUM_FIELD( vni, Vxlan::Vni );
   LUM_FIELD( macAddr, Neroli::EthAddr );

   /// By VNI, then by MAC.
   friend bool operator<( VniMac const & a, VniMac const & b ) {
      return a.vni == b.vni ? a.macAddr < b.macAddr : a.vni < b.vni;
   }
   bool operator!() const { return *this == VniMac{}; }
};

/// The MACs of one VNI.
class MacList : public Lum::Entity {
   LUM_ENTITY( MacList, vni, Vxlan::Vni );
   LUM_SET( macList, Neroli::EthAddr );
};

/// Those of several VNIs.
class VniList : public Lum::Entity {
   LUM_ENTITY( VniList, name, Lum::Name );
   LUM_CHILDREN( vniList, Vxlan::Vni, MacList );
};

/// An empty list.
Lum::Ptr< VniList > vniListFactory();

/// The hosts of one policy group.
class PolicyInfoSm : public Lum::PtrInterface {
 public:
   /// One host: adds and removes its entry.
   class HostInfoSm : public Lum::PtrInterface {
      LUM_MACHINE( HostInfoSm );
      LUM_ARG_INPUT( hostInfo, HostRunningInfo, LUM_ON( state, handleHostState ),
                     LUM_ON( moveCountByVtep, handleHostState ) );
      LUM_PARENT( parent, PolicyInfoSm );
      LUM_END( cleanup );
      LUM_INITIALIZED;
      LUM_LOCAL( inputVniMac, VniMac ); // the entry that this host holds in the output; empty when none

      void handleInitialized();
      void handleHostState();
      void addHostMac();
      void deleteHostMac();
      void cleanup();

    private:
      Neroli::IpAddr serviceVtepIp() const;
   };

   LUM_MACHINE( PolicyInfoSm );
   LUM_ARG( name, Lum::Name );
   LUM_ARG( vniDir, Lum::Ptr< Lum::Dir const > );
   LUM_ARG( policyHelperInfo, Lum::Ptr< PolicyHelperInfo const > );
   LUM_ARG_INPUT( policyRunningInfo, PolicyRunningInfo, LUM_FOLLOW( hostInfo, hostInfo ) );
   LUM_ARG( kivVniStatusDir, Lum::Ptr< Loomis::VniStatusDirV2 > );
   LUM_END_BEFORE_REMOVAL( cleanup );
   LUM_FOLLOWERS( hostInfo, Neroli::IpGenAddr, HostInfoSm, policyRunningInfo, hostInfo );
   LUM_INITIALIZED;

   void handleInitialized() { initializedIs( true ); }
   void cleanup();
};

/// The reports of one switch.
class VtepPolicyStatusSm : public Lum::PtrInterface {
 public:
   /// Those of one fragment. It remembers one host only, the last one whose count it raised.
   class FragmentSm : public Lum::PtrInterface {
      LUM_MACHINE( FragmentSm );
      LUM_ARG_INPUT( fragment, V1::ServicePolicyFragmentStatus const, LUM_ON( flowStatus, handleFlowStatus ) );
      LUM_PARENT( parent, VtepPolicyStatusSm );
      LUM_END( cleanup );
      LUM_INITIALIZED;
      LUM_LOCAL( lastMovedHost, Neroli::IpGenAddr ); // unset when none

      void handleInitialized();
      LUM_ALL_KEYS( handleFlowStatus, fragment, flowStatus );
      void handleFlowStatus( Lum::Name flowName );
      void cleanup();

    private:
      Lum::Ptr< PolicyRunningInfo > runningInfo() const;
      void updateHostInfo( Lum::Ptr< PolicyRunningInfo > const & running, V1::PolicyFlowStatus const & status );
      void resetHostInfo( Lum::Ptr< PolicyRunningInfo > const & running, char const * what );
   };

   LUM_MACHINE( VtepPolicyStatusSm );
   LUM_ARG( name, Lum::Name ); // the switch's id in hyphen form
   LUM_ARG_INPUT( vtepPolicyStatus, V1::KivPolicyFragmentStatus const, LUM_FOLLOW( policyFragment, fragment ) );
   LUM_ARG( policyRunningInfoCol, Lum::Ptr< PolicyRunningInfoCol > );
   LUM_END( cleanup );
   LUM_FOLLOWERS( fragment, Lum::String, FragmentSm, vtepPolicyStatus, policyFragment );
   LUM_INITIALIZED;

   void handleInitialized() { initializedIs( true ); }
   /// The switch is gone.
   void cleanup() { fragmentDelAll(); }
};

/// Both arms: the groups' hosts, and the switches' reports. It survives a disable of the feature, and its output with
/// it.
class MacMoveSm : public Lum::PtrInterface {
   LUM_MACHINE( MacMoveSm );
   LUM_ARG_INPUT( kivPolicyStatusDir, Lum::Dir const, LUM_ON( entityPtr, handleKivPolicyStatusDir ) );
   LUM_ARG( policyHelperInfo, Lum::Ptr< PolicyHelperInfo const > );
   LUM_ARG_INPUT( policyRunningInfoCol, PolicyRunningInfoCol, LUM_ON( policyRunningInfo, handlePolicyRunningInfoCol ) );
   LUM_ARG( vniDir, Lum::Ptr< Lum::Dir const > );
   LUM_ARG( kivVniStatusDir, Lum::Ptr< Loomis::VniStatusDirV2 > );
   LUM_NO_END;
   LUM_SMS( policyInfoSm, Lum::Name, PolicyInfoSm );             // by group
   LUM_SMS( vtepPolicyStatusSm, Lum::Name, VtepPolicyStatusSm ); // by switch
   LUM_INITIALIZED;

   void handleInitialized();
   LUM_ALL_KEYS( handleKivPolicyStatusDir, kivPolicyStatusDir, entityPtr );
   void handleKivPolicyStatusDir( Lum::Name name );
   LUM_ALL_KEYS( handlePolicyRunningInfoCol, policyRunningInfoCol, policyRunningInfo );
   void handlePolicyRunningInfoCol( Lum::Name name );

 private:
   void removeLeftovers();
};

inline constexpr Lum::Factory< MacMoveSm > macMoveSmFactory;

} // namespace Kiv
