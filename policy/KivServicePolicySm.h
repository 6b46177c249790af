// The policy engine. From the top: the configuration machine keeps a brain for each policy group and an interface
// machine for each interface set that a group names; a brain keeps a per-VNI machine for each original VNI in use; that
// one places hosts and publishes flows, with a monitor for each host that it has placed.
#pragma once

#include "blackboard/KivLocalTypes.h"
#include "platform/lum/Dir.h"
#include "platform/lum/Machine.h"
#include "platform/moth/TimerTask.h"
#include "policy/HostCounts.h"
#include "records/kiv/PolicyConfig.h"
#include "records/kiv/PolicyFragment.h"
#include "records/kiv/PolicyRunningInfo.h"

#include <utility>
#include <vector>

namespace Kiv {

class ServicePolicyBrainSm;
class ServicePolicyConfigSm;
class ServicePolicyPerVniSm;

/// Notices that the switches behind a placed host's VTEP address have changed. One for each host with a location.
class InterceptVtepMonitorSm : public Lum::PtrInterface {
   LUM_MACHINE( InterceptVtepMonitorSm );
   LUM_ARG( hostRunningInfo, Lum::Ptr< HostRunningInfo > );
   LUM_ARG( insideVtepIp, Neroli::IpGenAddr );
   LUM_ARG_INPUT( policyHelperInfo, PolicyHelperInfo const,
                  LUM_ON_KEY( vtepIpToSwitchPair, insideVtepIp, handleVtepIpToSwitchPair ) );
   LUM_PARENT( parent, ServicePolicyPerVniSm );
   LUM_NO_END;

   /// Where the host was before the change; empty without a record.
   SwitchPair oldSwitchPair() const;

   void handleInitialized() {}
   void handleVtepIpToSwitchPair();
};

/// Whether the switches behind a host's VTEP are known to have changed.
enum class SwitchUpdate : bool { no, yes };

/// Why a host's flows are taken away: it moves on, and the service VTEPs keep their part; or it leaves the machine.
enum class FlowRemoval { move, leave };

/// One original VNI of one policy group: which of its hosts have flows, and where.
///
/// The guarantee against loss is an order. An ingress flow on a host's switch diverts its traffic, so it is published
/// only after all service VTEPs have programmed their side, and after the service VTEPs' own copy; it is taken away
/// before what carries the diverted traffic. On a move the old place loses its flows first, in the same handler, so
/// that no host ever has two.
class ServicePolicyPerVniSm : public Lum::PtrInterface {
   LUM_MACHINE( ServicePolicyPerVniSm );
   LUM_ARG( originalVni, Vxlan::VniOrNone );
   LUM_ARG_INPUT( policyRunningInfo, PolicyRunningInfo, LUM_ON( serviceVtepSwitchId, handleServiceVtepSwitchId ),
                  LUM_ON_MEMBER( hostInfo, state, count ), LUM_ON_MEMBER( hostInfo, insideVtepSwitchPair, count ) );
   LUM_ARG( policyHelperInfo, Lum::Ptr< PolicyHelperInfo > );
   LUM_ARG( policyPublishBaseDir, Lum::Ptr< Lum::Dir > );
   LUM_PARENT( parent, ServicePolicyBrainSm );
   LUM_END_BEFORE_REMOVAL( cleanup );

   LUM_LOCAL( fragmentName, Lum::String );
   LUM_LOCAL( serviceVni, Vxlan::VniOrNone );                        // the one in force
   LUM_MEMO( host, Neroli::IpGenAddr, Lum::Ptr< HostRunningInfo > ); // the hosts that this machine handles
   LUM_SMS_KEYED( interceptVtepMonitorSm, Neroli::IpGenAddr, InterceptVtepMonitorSm ); // by host
   LUM_LOCAL( switchPairFlowConverged, bool );     // the service VTEPs have programmed this VNI's service flows
   LUM_LOCAL( flowRemovalTrigger, std::uint16_t ); // quiet rounds counted by the revoke task
   // Where this machine last placed each host. The running record's pair does not tell: the monitor writes it first.
   LUM_MEMO( shadowSwitchPair, Neroli::IpGenAddr, SwitchPair );
   LUM_INITIALIZED;

   void flowRemovalTriggerInc( std::uint16_t step );

   std::uint64_t activeHosts() const { return counts_.active(); } // whose state is not policyPending
   std::uint64_t interceptedHosts() const;                        // whose ingress flow is programmed
   /// The hosts on `pair`, or on a pair of which `pair` is one. Their state does not count.
   std::uint64_t activeHostsPerInsideVtep( SwitchPair const & pair ) const;
   /// The hosts of which the switch is a member of the pair. Their state does not count.
   std::uint64_t activeHostsOnSwitch( SwitchId const & switchId ) const;

   /// Takes a host into the machine's hands, and out of them.
   void holdHost( Neroli::IpGenAddr ip, Lum::Ptr< HostRunningInfo > running );
   void dropHost( Neroli::IpGenAddr ip );
   /// What counts of a host has changed.
   void count( Lum::Ptr< HostRunningInfo > running );

   void handleInitialized();
   /// All hosts that the machine holds.
   void handleHost();
   /// One host: came, moved or went.
   void handleHost( Neroli::IpGenAddr ip, SwitchUpdate switchUpdated = SwitchUpdate::no );
   void handleServiceVni( Vxlan::VniOrNone newVni );
   LUM_ALL_KEYS( handleServiceVtepSwitchId, policyRunningInfo, serviceVtepSwitchId );
   void handleServiceVtepSwitchId( SwitchId switchId );
   /// Takes back everything that was published.
   void cleanup();

   /// For every service VTEP and every host, but not the service flows: the service side has lost its convergence.
   void removeInterceptFlowsFromAllVteps();
   void removeServiceFlowsFromAllVteps();
   /// Puts the intercept flows of all hosts on a service VTEP.
   void addAllInterceptRulesToServiceVtep( SwitchId switchId );

 private:
   bool isHandledHere( HostInfo const * info, HostRunningInfo const * running ) const;
   bool isUntouched( Neroli::IpGenAddr ip, HostRunningInfo const & running ) const;
   bool isDiverted( HostRunningInfo const & running ) const;
   void deleteHost( Neroli::IpGenAddr ip, SwitchPair pair );
   Neroli::IpGenAddr getVtepIp( SwitchPair const & pair ) const;
   SwitchPair getPreviousSwitchPair( Neroli::IpGenAddr ip ) const;
   SwitchPair getCurrentSwitchPair( Neroli::IpGenAddr ip, SwitchUpdate switchUpdated ) const;
   void watchVtep( Lum::Ptr< HostRunningInfo > const & running, Neroli::IpGenAddr vtepIp );
   void handleMove( HostRunningInfo & running, SwitchPair const & previous, SwitchPair const & current );
   bool mayIntercept( HostInfo const & info ) const;
   void publishInterceptFlows( HostRunningInfo & running, SwitchPair const & current );

   void bringServiceFlowsUp();
   void createServiceFlowRules( SwitchId switchId );
   void createInterceptFlowRules( Neroli::IpGenAddr ip, SwitchId switchId );
   void createInterceptRulesToAllServiceVteps( Neroli::IpGenAddr ip );
   void manageInterceptFlowRulesToVteps( Neroli::IpGenAddr ip );
   void clearServiceVtep( SwitchId switchId );
   void removeIngressFlowFromVtep( SwitchId switchId, Neroli::IpGenAddr ip );
   void removeInterceptFlowsFromVtep( SwitchId switchId );
   void removeAllFlowsFromVtep( SwitchId switchId );
   void manageFlowRemovalForHost( Neroli::IpGenAddr ip, SwitchPair pair, FlowRemoval why );
   void manageHostFlowRemovalFromSwitchPair( Neroli::IpGenAddr ip, SwitchPair pair );
   bool isAlone( Neroli::IpGenAddr ip, SwitchId const & switchId ) const;
   void forgetHost( SwitchId const & switchId, Neroli::IpGenAddr ip );
   void revokeAllPolicyFragments();

   HostCounts counts_;

   Lum::Ptr< V1::ServicePolicyFragment > publishedFragment( SwitchId const & switchId ) const;
   Lum::Ptr< V1::ServicePolicyFragment > makeFragment( SwitchId const & switchId );
   void revokeFragment( SwitchId const & switchId );
};

/// One policy group: its running info, its readiness and its per-VNI machines.
///
///    policyPending --ready--> policyOrchestrating --same handler--> policyRunning --not ready--> policyPending
///    policyRunning --a UUID changes--> policyIntfChanging --the new one is set--> policyRunning
///    any --handleCleanup--> policyDeleted
///
/// A group is ready when its two UUIDs differ, both name sets with ports, no other group owns one of them, and one of
/// its original VNIs has a service VNI. A group that falls back keeps its claim on the UUIDs.
class ServicePolicyBrainSm : public Lum::PtrInterface {
 public:
   /// Follows the convergence of the service VTEPs for one original VNI.
   class FragmentInfoSm : public Lum::PtrInterface {
      LUM_MACHINE( FragmentInfoSm );
      LUM_ARG_INPUT( fragmentRunningInfo, FragmentRunningInfo,
                     LUM_ON( serviceVtepFlowConverged, handleFlowConverged ) );
      LUM_PARENT( parent, ServicePolicyBrainSm );
      LUM_INITIALIZED_WITH( parent );
      LUM_NO_END;

      /// Every service VTEP of the group, and there is one, has converged. A switch without an entry has not.
      bool serviceFlowConverged() const;

      void handleInitialized() {
         if( initialized() ) handleFlowConverged();
      }
      LUM_ALL_KEYS( handleFlowConverged, fragmentRunningInfo, serviceVtepFlowConverged );
      void handleFlowConverged( SwitchId switchId );
   };

   LUM_MACHINE( ServicePolicyBrainSm );
   LUM_ARG( name, Lum::String );
   LUM_ARG_INPUT( servicePolicy, ServicePolicy const, LUM_ON( policyName, handlePolicyName ),
                  LUM_ON( interceptFlow, handleInterceptFlow ), LUM_ON( nearIntfUuid, handleNearIntfUuid ),
                  LUM_ON( farIntfUuid, handleFarIntfUuid ) ); // the device id is left out: nothing depends on it
   LUM_ARG( serviceIntfConfig, Lum::Ptr< ServiceIntfConfig const > );
   // Of several groups that intercept an address, only the controlling one follows it. Nobody controls a host that has
   // just come to the blackboard, or leaves it.
   LUM_ARG_INPUT( policyHelperInfo, PolicyHelperInfo,
                  LUM_ON_MEMBER_OF( ipToPolicy, policy, name, mac, handleHostInfoChange ),
                  LUM_ON_MEMBER_OF( ipToPolicy, policy, name, switchPair, handleHostInfoChange ),
                  LUM_ON_MEMBER_OF( ipToPolicy, policy, name, vni, handleHostInfoChange ) );
   LUM_ARG( policyRunningInfoCol, Lum::Ptr< PolicyRunningInfoCol > );
   LUM_ARG( policyPublishBaseDir, Lum::Ptr< Lum::Dir > );
   LUM_ARG( kivAgentConfig, Lum::Ptr< Config const > );
   LUM_PARENT( parent, ServicePolicyConfigSm );
   LUM_END_BEFORE_REMOVAL( handleCleanup );

   LUM_INITIALIZED;
   LUM_INPUT( policyRunningInfo, PolicyRunningInfo, LUM_ON( serviceVtepSwitchId, handleServiceVtepSwitchId ),
              LUM_ON( hostInfo, handleHostRunningInfo ), LUM_FOLLOW( fragmentRunningInfo, fragmentRunningInfo ) );
   LUM_INPUT( policyInfo, PolicyInfo, LUM_ON( originalToServiceVni, handleServiceVni ) );
   LUM_SMS( policyPerVniSm, Vxlan::VniOrNone, ServicePolicyPerVniSm );
   LUM_FOLLOWERS( fragmentRunningInfo, Vxlan::VniOrNone, FragmentInfoSm, policyRunningInfo, fragmentRunningInfo );

   /// A change runs handlePolicyInfoReady(): the whole state machine of a group moves here.
   bool policyInfoReady() const { return policyInfoReady_; }
   void policyInfoReadyIs( bool ready );

   void handleInitialized();
   LUM_ALL_KEYS( handlePolicyName, servicePolicy, policyName );
   void handlePolicyName( Lum::String policyName );
   LUM_ALL_KEYS( handleInterceptFlow, servicePolicy, interceptFlow );
   void handleInterceptFlow( Neroli::IpGenAddrWithMask key );
   void handleNearIntfUuid();
   void handleFarIntfUuid();
   void handleHostInfoChange( Lum::Ptr< HostInfo > host );
   LUM_ALL_KEYS( handleServiceVni, policyInfo, originalToServiceVni );
   void handleServiceVni( Vxlan::VniOrNone vni );
   void handleServiceVtepSwitchId( SwitchId switchId );
   /// Gathers what a running group works on, and drops it: it is bound to no reaction, and nothing depends on it.
   void handlePolicyStateChange();
   /// A record that somebody else deletes is written anew.
   void handleHostRunningInfo( Neroli::IpGenAddr ip );
   /// The end of the group: takes back everything and deletes its records.
   void handleCleanup();

   /// Computes the readiness, stores it and returns it.
   bool setOrchestrationReadinessForPolicy();
   /// Hands the service VNI back if no host of the group is left in `vni`.
   void giveBackIfUnused( Vxlan::VniOrNone vni );
   /// The machine's service flows have converged if all service VTEPs have reported so; else its convergence stays.
   void raiseConvergence( ServicePolicyPerVniSm & machine );
   /// One of the pair's switches is a service VTEP of the group.
   bool matchesServiceVtep( SwitchPair const & pair ) const;
   /// A port has left a set: the switch stays a service VTEP as long as another port of either set is on it. Returns
   /// whether it stays.
   bool maybeDeleteServiceVtep( SwitchId switchId );

 private:
   void handlePolicyInfoReady();
   void takeUp();
   void fallBack();
   bool isReady() const;
   bool hasPorts( Lum::String const & uuid ) const;
   bool checkServiceIntfOwnership( Lum::String const & near, Lum::String const & far ) const;
   void handleIntfUuid( Lum::String old, Lum::String now, void ( PolicyRunningInfo::*uuidIs )( Lum::String ) );
   void cleanupIntfUuidToPolicy( Lum::String uuid );
   void handleServiceIntf();

   void addInterceptFlow( Neroli::IpGenAddr ip );
   bool isNamed( Neroli::IpGenAddr ip ) const;
   void removeInterceptFlow( Neroli::IpGenAddr ip );
   void updateAndProcessHostInfo( Neroli::IpGenAddr ip );
   void grantServiceVni( Vxlan::VniOrNone vni, Vxlan::VniOrNone serviceVni );
   void withdrawServiceVni( Vxlan::VniOrNone vni );
   Lum::Ptr< ServicePolicyPerVniSm > makePerVniSm( Vxlan::VniOrNone vni );
   void takeUpWaitingHosts( ServicePolicyPerVniSm & machine );

   bool policyInfoReady_ = false;
};

/// One interface set that is configured and named by a group: turns its ports into service VTEPs and into the interface
/// sets of published fragments.
class ServiceIntfInfoSm : public Lum::PtrInterface {
   LUM_MACHINE( ServiceIntfInfoSm );
   LUM_ARG( uuid, Lum::String );
   LUM_ARG_INPUT( serviceIntfInfo, ServiceIntfInfo const, LUM_ON( intf, handleIntf ) );
   LUM_ARG( policyRunningInfoCol, Lum::Ptr< PolicyRunningInfoCol > );
   LUM_ARG( policyHelperInfo, Lum::Ptr< PolicyHelperInfo > );
   LUM_ARG_INPUT( intfUuidToPolicy, IntfUuidToPolicy const, LUM_ON( policy, handleUuidToPolicy ) );
   LUM_ARG( policyPublishBaseDir, Lum::Ptr< Lum::Dir > );
   LUM_PARENT( parent, ServicePolicyConfigSm );
   LUM_NO_END; // but for what the destructor does
   LUM_INITIALIZED;

   ~ServiceIntfInfoSm() override;

   void handleInitialized();
   LUM_ALL_KEYS( handleIntf, serviceIntfInfo, intf );
   void handleIntf( SwitchIntfPair intf );
   void handleUuidToPolicy( Lum::String group );

 private:
   void handleCleanup();
   void askReadiness();
   bool holds( SwitchIntfPair const & intf ) const;
   bool isNamedBy( Lum::String const & group ) const;
   void updateIntfForPolicy( Lum::String const & group, Vxlan::VniOrNone vni, SwitchIntfPair const & intf );
   void updateServiceIntfChange( Lum::String const & group, Vxlan::VniOrNone vni, SwitchIntfPair const & intf,
                                 char const * side );
   void addPort( PolicyRunningInfo & running, Lum::String const & fragmentName, SwitchIntfPair const & intf,
                 char const * side );
   void removePort( Lum::String const & group, Lum::String const & fragmentName, SwitchIntfPair const & intf,
                    char const * side );
};

/// The top of the policy engine: follows the merged configuration, decides which group controls a host, offers freed
/// interface sets to waiting groups, squares what a restart restored with the configuration, and runs the task that
/// takes service flows away from VNIs that have gone quiet.
class ServicePolicyConfigSm : public Lum::PtrInterface {
 public:
   /// Keeps the controlling group of one host in step with the groups that name it.
   class IpToPolicySm : public Lum::PtrInterface {
      LUM_MACHINE( IpToPolicySm );
      LUM_ARG_INPUT( ipToPolicy, HostInfo, LUM_ON( allPolicy, handleAllPolicy ) );
      LUM_PARENT( parent, ServicePolicyConfigSm );
      LUM_INITIALIZED_WITH( parent );
      LUM_NO_END;

      Neroli::IpGenAddr ip() const { return ipToPolicy()->name(); }

      void handleInitialized() {
         if( initialized() ) handleAllPolicy();
      }
      LUM_ALL_KEYS( handleAllPolicy, ipToPolicy, allPolicy );
      void handleAllPolicy( Lum::String policyName );
      /// The next group that names the host takes control, or none.
      void passControl();
   };

   LUM_MACHINE( ServicePolicyConfigSm );
   LUM_ARG_INPUT( servicePolicyConfig, ServicePolicyConfig const, LUM_ON( servicePolicy, handleServicePolicy ) );
   LUM_ARG_INPUT( serviceIntfConfig, ServiceIntfConfig const, LUM_ON( intfSet, handleServiceIntfInfo ) );
   LUM_ARG_INPUT( policyHelperInfo, PolicyHelperInfo, LUM_FOLLOW( ipToPolicy, ipToPolicy ),
                  LUM_ON( intfUuidToPolicy, handleServiceIntfInfo ),
                  LUM_ON( intfUuidToOwnerPolicy, handleIntfUuidToOwnerPolicy ) );
   LUM_ARG( policyRunningInfoCol, Lum::Ptr< PolicyRunningInfoCol > );
   LUM_ARG( policyPublishBaseDir, Lum::Ptr< Lum::Dir > );
   LUM_ARG( kivAgentConfig, Lum::Ptr< Config const > ); // read at each round; a new period counts from the next one
   LUM_END_BEFORE_REMOVAL( destroy );

   LUM_INITIALIZED;
   LUM_SMS( servicePolicyBrainSm, Lum::String, ServicePolicyBrainSm );
   LUM_SMS( serviceIntfInfoSm, Lum::String, ServiceIntfInfoSm );
   LUM_FOLLOWERS( ipToPolicy, Neroli::IpGenAddr, IpToPolicySm, policyHelperInfo, ipToPolicy );
   LUM_TASK( taskRevokeServiceFlow, handleRevokeServiceFlow );

   void handleInitialized();
   // What this machine holds and the configuration does not is not searched for: each disappearance comes by its key.
   LUM_ALL_KEYS( handleServicePolicy, servicePolicyConfig, servicePolicy );
   void handleServicePolicy( Lum::String key );
   LUM_ALL_KEYS( handleServiceIntfInfo, serviceIntfConfig, intfSet );
   void handleServiceIntfInfo( Lum::String uuid );
   LUM_ALL_KEYS( handleIntfUuidToOwnerPolicy, policyHelperInfo, intfUuidToPolicy ); // a free UUID has no owner entry
   void handleIntfUuidToOwnerPolicy( Lum::String uuid );
   void handleRevokeServiceFlow();
   /// Revokes all groups.
   void destroy();

   /// A group lets go of a host; without any group left the host leaves the blackboard.
   void removeIpToPolicyMapping( Neroli::IpGenAddr ip, Lum::String policyName );
   /// A port of the set is on the switch; false for a set that is not configured.
   bool isSwitchIdPartOfIntfSet( Lum::String const & uuid, SwitchId const & switchId ) const;

 private:
   void populateGrStateFromConfig();
   void adoptRestoredPolicy( PolicyRunningInfo & running, ServicePolicy const & policy );
   void dropUnconfiguredHosts( PolicyRunningInfo & running, ServicePolicy const & policy );
   void dropRestoredPolicy( PolicyRunningInfo & running );
   void dropRestoredHost( Neroli::IpGenAddr ip, Lum::String const & group );
   void adoptElectedVnis( PolicyRunningInfo & running );
   bool isPublished( Lum::String const & fragmentName, Vxlan::VniOrNone serviceVni ) const;
   void giveBackAbandonedVnis();
   void withdrawOutdatedFragments();
   Lum::Ptr< ServicePolicyPerVniSm > machineOf( Lum::String const & fragmentName );
   void squareFragment( V1::ServicePolicyFragment & fragment, SwitchId const & switchId,
                        ServicePolicyPerVniSm & machine );
   void withdrawOutdatedPorts( V1::ServicePolicyFragment & fragment, SwitchId const & switchId,
                               PolicyRunningInfo const & running );
   void withdrawOutdatedHosts( V1::ServicePolicyFragment & fragment, SwitchId const & switchId,
                               ServicePolicyPerVniSm & machine );
   void revokeIfQuiet( ServicePolicyPerVniSm & machine, Lum::String const & policyName );

   // Group and original VNI of the hosts that were removed from their groups during an outage; empty after the start.
   std::vector< std::pair< Lum::String, Vxlan::VniOrNone > > abandonedVni_;
};

inline constexpr Lum::Factory< ServicePolicyPerVniSm > servicePolicyPerVniSmFactory;
inline constexpr Lum::Factory< ServicePolicyBrainSm > servicePolicyBrainSmFactory;
inline constexpr Lum::Factory< ServiceIntfInfoSm > serviceIntfInfoSmFactory;
inline constexpr Lum::Factory< ServicePolicyConfigSm > servicePolicyConfigSmFactory;

} // namespace Kiv
