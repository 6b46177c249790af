// What the switches say of their flows. Each switch reports whether a flow of a fragment is programmed; from the
// reports come, in the running info,
//  - the convergence of a service VTEP for an original VNI: both of its service flows are programmed;
//  - the present flag of an intercepted host: some switch has programmed the host's ingress flow in that fragment;
// and an operator log message for every report of a rejected flow. Nothing else is done about a rejection: the switch
// decides when to try again.
//
// Whatever changes, the flags are computed anew from what the reports say now. Since a switch has no reason to repeat
// what it has said, the reports that stand are weighed again when what they are about comes: a service VTEP, a service
// VNI, a host. The machines remember nothing but the hosts whose flow is reported while their group does not have them.
#pragma once

#include "platform/lum/Dir.h"
#include "platform/lum/Machine.h"

#include "records/kiv/PolicyConfig.h"
#include "records/kiv/PolicyFragment.h"
#include "records/kiv/PolicyRunningInfo.h"
#include <map>
#include <set>

namespace Kiv {

class ErrorStatusSm;

/// Whether a flow of that name takes a host's traffic into its service VNI.
bool isInsideIngressFlow( Lum::String const & flowName );

/// The reports of one switch.
class ErrorStatusPerVtepSm : public Lum::PtrInterface {
 public:
   /// The reports of one fragment of the switch. Those that are there when the machine is made are looked at then.
   class FragmentSm : public Lum::PtrInterface {
      LUM_MACHINE( FragmentSm );
      LUM_ARG_INPUT( fragment, V1::ServicePolicyFragmentStatus const, LUM_ON( flowStatus, handleFlowStatus ),
                     LUM_ON( originalVni, handleEcho ), LUM_ON( serviceVni, handleEcho ) );
      LUM_PARENT( parent, ErrorStatusPerVtepSm );
      LUM_END( cleanup );
      LUM_INITIALIZED;

      Lum::String fragmentName() const { return fragment()->name(); }

      void handleInitialized();
      LUM_ALL_KEYS( handleFlowStatus, fragment, flowStatus );
      void handleFlowStatus( Lum::Name flowName );
      /// What the report is about may be written behind what it says.
      void handleEcho();
      /// Weighs what the report says of the service flows; returns whether it says anything.
      bool weigh( Lum::Ptr< PolicyRunningInfo > const & running );
      /// The fragment or its switch is gone: its service flows have not converged, and its hosts' flows count no more.
      void cleanup();

      /// Gathers what a rejection concerns, and drops it: nothing is done about a rejection yet, and nobody calls this.
      void handleRejectedFlows( Lum::Ptr< PolicyRunningInfo > const & running, SwitchId switchId );

      /// Whether the switch has programmed the flow; a missing one is not.
      bool isFlowProgrammed( Lum::String const & flowName ) const;
      /// Whether both service flows are programmed: the definition of a service VTEP's convergence for an original VNI.
      bool areAllSVtepFlowsProgrammed() const;

    private:
      using Running = Lum::Ptr< PolicyRunningInfo >;

      Running runningInfo() const;
      bool counts( PolicyRunningInfo const & running ) const;
      void checkAndUpdateFlowConvergence( Lum::String flowName, Running const & running, SwitchId switchId );
      void updateFlowConvergence( Running const & running, SwitchId switchId );
      void checkAndUpdateIngressFlowPresent( Running const & running, Lum::String flowName, bool flowPresent );
      void setFlowConvergence( Running const & running, SwitchId switchId, bool converged );
      void setInsideIngressFlowPresent( Running const & running, Neroli::IpGenAddr const & ip, bool present );
   };

   LUM_MACHINE( ErrorStatusPerVtepSm );
   LUM_ARG( name, Lum::Name ); // the switch's id in hyphen form
   LUM_ARG_INPUT( vtepPolicyStatus, V1::KivPolicyFragmentStatus const, LUM_FOLLOW( policyFragment, fragment ) );
   LUM_ARG( policyRunningInfoCol, Lum::Ptr< PolicyRunningInfoCol > );
   LUM_ARG( serviceIntfConfig, Lum::Ptr< ServiceIntfConfig const > );
   LUM_PARENT( parent, ErrorStatusSm );
   LUM_END( cleanup );

   LUM_FOLLOWERS( fragment, Lum::String, FragmentSm, vtepPolicyStatus, policyFragment );
   LUM_INITIALIZED;

   void handleInitialized() { initializedIs( true ); } // the fragments' machines are there already
   /// The switch is gone: every fragment cleans up.
   void cleanup() { fragmentDelAll(); }

   /// Whether another switch has programmed the ingress flow of that host in its fragment `fragName`.
   bool insideIngressFlowProgrammed( Neroli::IpGenAddr const & ip, Lum::String fragName ) const;
};

/// The reports of all switches. It is the only writer of `serviceVtepFlowConverged` (but for the entries of service
/// VTEPs that go) and of `insideVtepIngressFlowPresent`.
class ErrorStatusSm : public Lum::PtrInterface {
 public:
   /// One group: has the reports that stand weighed when what they are about comes.
   class GroupSm : public Lum::PtrInterface {
      LUM_MACHINE( GroupSm );
      LUM_ARG_INPUT( running, PolicyRunningInfo, LUM_ON( serviceVtepSwitchId, handleServiceVtepSwitchId ),
                     LUM_ON( originalToServiceVni, handleServiceVni ),
                     LUM_ON( fragmentRunningInfo, handleFragmentRunningInfo ),
                     LUM_ON_MEMBERSHIP( hostInfo, handleHost ) );
      LUM_PARENT( parent, ErrorStatusSm );
      LUM_END( cleanup );

      void handleInitialized() {} // the reports are read when all groups are there
      void handleServiceVtepSwitchId( SwitchId switchId );
      void handleServiceVni( Vxlan::VniOrNone originalVni );
      void handleFragmentRunningInfo( Vxlan::VniOrNone originalVni );
      void handleHost( Lum::Ptr< HostRunningInfo > host );
      void cleanup();

    private:
      void weigh( Vxlan::VniOrNone originalVni );
      void weigh( SwitchId const & switchId, Vxlan::VniOrNone originalVni );
   };

   LUM_MACHINE( ErrorStatusSm );
   LUM_ARG_INPUT( policyRunningInfoCol, PolicyRunningInfoCol, LUM_FOLLOW( policyRunningInfo, group ) );
   LUM_ARG_INPUT( kivPolicyStatusDir, Lum::Dir const, LUM_ON( entityPtr, handleKivPolicyStatusDir ) );
   LUM_ARG( serviceIntfConfig, Lum::Ptr< ServiceIntfConfig const > );
   LUM_NO_END;

   LUM_FOLLOWERS( group, Lum::Name, GroupSm, policyRunningInfoCol, policyRunningInfo );
   LUM_SMS( errorStatusPerVtepSm, Lum::Name, ErrorStatusPerVtepSm ); // by the switch's id in hyphen form
   LUM_INITIALIZED;

   void handleInitialized();
   LUM_ALL_KEYS( handleKivPolicyStatusDir, kivPolicyStatusDir, entityPtr );
   /// One switch. An entry of another type counts as absent. Raises NameInUseException when the entry of a known switch
   /// was replaced by another; the machine then goes on with the old one.
   void handleKivPolicyStatusDir( Lum::Name key );

   /// Whether a switch other than `excludingVtep` (hyphen form) has programmed the ingress flow of that host in its
   /// fragment `fragName`. Walks all switches.
   bool insideIngressFlowProgrammed( Neroli::IpGenAddr const & ip, Lum::String fragName,
                                     Lum::Name excludingVtep ) const;

   /// Whether the ingress flow of a host is programmed that its group does not have: not yet, or not any more.
   bool reportedAhead( Lum::Name const & policy, Neroli::IpGenAddr ip ) const;
   void reportedAheadIs( Lum::Name const & policy, Neroli::IpGenAddr ip, bool reported );

 private:
   std::map< Lum::Name, std::set< Neroli::IpGenAddr > > reportedAhead_; // by group
};

inline constexpr Lum::Factory< ErrorStatusSm > errorStatusSmFactory;

} // namespace Kiv
