// What the switches say of their flows. Each switch reports whether a flow of a fragment is programmed; from the
// reports come, in the running info,
//  - the convergence of a service VTEP for an original VNI: both of its service flows are programmed;
//  - the present flag of an intercepted host: some switch has programmed the host's ingress flow;
// and an operator log message for every report of a rejected flow. Nothing else is done about a rejection: the switch
// decides when to try again.
//
// The machines remember nothing. Whatever changes, the flags are computed anew from what the reports say now.
#pragma once

#include "platform/lum/Dir.h"
#include "platform/lum/Machine.h"
#include "records/kiv/PolicyConfig.h"
#include "records/kiv/PolicyFragment.h"
#include "records/kiv/PolicyRunningInfo.h"

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
      LUM_ARG_INPUT( fragment, V1::ServicePolicyFragmentStatus const, LUM_ON( flowStatus, handleFlowStatus ) );
      LUM_PARENT( parent, ErrorStatusPerVtepSm );
      LUM_END( cleanup );

      // The group, as soon as it is there.
      LUM_INPUT( running, PolicyRunningInfo, LUM_ON_MEMBERSHIP( hostInfo, handleHost ) );
      LUM_INITIALIZED;

      Lum::String fragmentName() const { return fragment()->name(); }

      void handleInitialized();
      LUM_ALL_KEYS( handleFlowStatus, fragment, flowStatus );
      void handleFlowStatus( Lum::Name flowName );
      void handleHost( Lum::Ptr< HostRunningInfo > host );
      /// The fragment or its switch is gone: its service flows have not converged, and its hosts' flows count no more.
      void cleanup();

      /// Whether the switch has programmed the flow; a missing one is not.
      bool isFlowProgrammed( Lum::String const & flowName ) const;
      /// Whether both service flows are programmed: the definition of a service VTEP's convergence for an original VNI.
      bool areAllSVtepFlowsProgrammed() const;

    private:
      using Running = Lum::Ptr< PolicyRunningInfo >;

      void checkAndUpdateFlowConvergence( Lum::String flowName, Running const & running, Lum::String switchId );
      void checkAndUpdateIngressFlowPresent( Running const & running, Lum::String flowName, bool flowPresent );
      void setFlowConvergence( Running const & running, Lum::String switchId, bool converged );
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
   LUM_MACHINE( ErrorStatusSm );
   LUM_ARG( policyRunningInfoCol, Lum::Ptr< PolicyRunningInfoCol > );
   LUM_ARG_INPUT( kivPolicyStatusDir, Lum::Dir const, LUM_ON( entityPtr, handleKivPolicyStatusDir ) );
   LUM_ARG( serviceIntfConfig, Lum::Ptr< ServiceIntfConfig const > );
   LUM_NO_END;

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
};

inline constexpr Lum::Factory< ErrorStatusSm > errorStatusSmFactory;

} // namespace Kiv
