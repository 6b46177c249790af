// One policy group: its hosts, its readiness and its end.
#include "policy/KivServicePolicySm.h"

#include "platform/ribbon/TwinRibbon.h"

TRACE_MODULE( "KivServicePolicy" );

namespace Kiv {

namespace {

using State = PolicyRunningState;

} // namespace

void ServicePolicyBrainSm::handleInitialized() {
   TRACE8( trace(), " Policy: ", name() );
   initializedIs( true );
   policyInfoIs( policyHelperInfo()->policyInfoIs( name() ) );
   policyRunningInfoIs( policyRunningInfoCol()->policyRunningInfoIs( name() ) );
   policyRunningInfo()->policyStateIs( State::policyPending ); // restored groups start like new ones

   for( auto const & [ vni, serviceVni ] : policyRunningInfo()->originalToServiceVni() ) {
      makePerVniSm( vni );
   }
   // All are known before the first is looked at: one that is gone must not look like the last.
   for( auto const & [ ip, running ] : policyRunningInfo()->hostInfo() ) {
      if( auto const machine = policyPerVniSm( running->originalVni() ) ) machine->holdHost( ip, running );
   }
   for( auto const & [ ip, running ] : policyRunningInfo()->hostInfo() ) {
      if( auto const machine = policyPerVniSm( running->originalVni() ) ) machine->handleHost( ip );
   }
   if( setOrchestrationReadinessForPolicy() ) {
      // A restored group that is ready at once has its names and UUIDs from the configuration already. Its grants may
      // have changed since the switches reported them: by election among them, or by another VNI range.
      handleServiceVni();
   } else {
      handlePolicyName();
      handleServiceVni();
      handleNearIntfUuid();
      handleFarIntfUuid();
   }
   handleInterceptFlow();
   if( !policyInfoReady() ) fallBack(); // a restored group that cannot go on
}

void ServicePolicyBrainSm::handlePolicyName( Lum::String policyName ) {
   if( servicePolicy()->policyName( policyName ) ) {
      policyRunningInfo()->policyNameIs( policyName, true );
   } else {
      policyRunningInfo()->policyNameDel( policyName );
   }
}

// The one place where a host enters and leaves the group.
void ServicePolicyBrainSm::handleInterceptFlow( Neroli::IpGenAddrWithMask key ) {
   TRACE8( trace(), "ip: ", key );
   if( servicePolicy()->interceptFlow( key ) != InterceptFlowInfo() ) {
      addInterceptFlow( key.address() );
   } else if( !isNamed( key.address() ) ) {
      removeInterceptFlow( key.address() );
   }
}

// By a key of whatever mask.
bool ServicePolicyBrainSm::isNamed( Neroli::IpGenAddr ip ) const {
   for( unsigned length = 0; length <= ip.bits(); ++length ) {
      Neroli::IpGenAddrWithMask const key( ip, length );
      if( servicePolicy()->interceptFlow( key ) != InterceptFlowInfo() ) return true;
   }
   return false;
}

void ServicePolicyBrainSm::addInterceptFlow( Neroli::IpGenAddr ip ) {
   policyRunningInfo()->hostInfoIs( ip );
   auto const host = policyHelperInfo()->ipToPolicyIs( ip );
   host->allPolicyIs( name(), true );
   // The fabric may know the host already, and what it knows was written while nobody controlled the host.
   handleHostInfoChange( host );
}

void ServicePolicyBrainSm::removeInterceptFlow( Neroli::IpGenAddr ip ) {
   parent()->removeIpToPolicyMapping( ip, name() );
   if( auto const running = policyRunningInfo()->hostInfo( ip ) ) {
      auto const vni = running->originalVni();
      if( auto const machine = policyPerVniSm( vni ) ) {
         machine->handleHost( ip );
         giveBackIfUnused( vni );
      }
   }
   policyRunningInfo()->hostInfoDel( ip );
}

void ServicePolicyBrainSm::giveBackIfUnused( Vxlan::VniOrNone vni ) {
   auto const machine = policyPerVniSm( vni );
   if( !machine || !machine->host().empty() ) return;
   policyPerVniSmDel( vni );
   policyInfo()->originalToServiceVniDel( vni );
}

void ServicePolicyBrainSm::handleHostInfoChange( Lum::Ptr< HostInfo > host ) {
   // Of several groups that intercept an address, only the controlling one follows it.
   if( host->policy() == name() ) updateAndProcessHostInfo( host->name() );
}

void ServicePolicyBrainSm::updateAndProcessHostInfo( Neroli::IpGenAddr ip ) {
   auto const info = policyHelperInfo()->ipToPolicy( ip );
   auto const hostRunningInfo = policyRunningInfo()->hostInfo( ip );
   auto const originalVni = hostRunningInfo ? hostRunningInfo->originalVni() : Vxlan::VniOrNone();
   auto const held = policyPerVniSm( originalVni );
   if( !info ) {
      TRACE6( trace(), " Host ", ip, " has been removed" );
      if( held ) held->handleHost( ip );
      return;
   }
   auto const vni = info->vni();
   LUM_ASSERT( hostRunningInfo && ( "HostRunningInfo missing for " + ip.stringValue() ) );
   TRACE6( trace(), " Host info: ", ip, " mac: ", info->mac(), " switchId: ", info->switchPair(), " vni: ", vni );
   if( originalVni != vni && held ) held->handleHost( ip ); // it leaves the old VNI first
   if( vni.isNone() ) return;
   if( policyRunningInfo()->originalToServiceVni( vni ).isNone() ) {
      TRACE6( trace(), " Request service VNI for ", vni );
      policyInfo()->originalToServiceVniIs( vni, Vxlan::VniOrNone() );
      return;
   }
   makePerVniSm( vni )->handleHost( ip );
}

Lum::Ptr< ServicePolicyPerVniSm > ServicePolicyBrainSm::makePerVniSm( Vxlan::VniOrNone vni ) {
   if( auto held = policyPerVniSm( vni ) ) return held;
   auto made = policyPerVniSmIs( vni, policyRunningInfo(), policyHelperInfo(), policyPublishBaseDir() );
   raiseConvergence( *made );
   return made;
}

// By the reports that stand: nobody makes them again for a machine that is new. A service VTEP that is silent lowers
// nothing here, so that after a restart the others' reports serve new and moved hosts; only its word does.
void ServicePolicyBrainSm::raiseConvergence( ServicePolicyPerVniSm & machine ) {
   auto const fragment = fragmentRunningInfo( machine.originalVni() );
   if( !fragment || !fragment->serviceFlowConverged() ) return;
   TRACE6( trace(), " update switchPairFlowConverged for policyPerVniSm, oVni: ", machine.originalVni() );
   machine.switchPairFlowConvergedIs( true );
}

void ServicePolicyBrainSm::handleServiceVni( Vxlan::VniOrNone vni ) {
   TRACE8( trace(), " Policy: ", name(), " vni: ", vni );
   auto const granted = policyInfo()->originalToServiceVni( vni );
   if( !granted.isNone() ) {
      grantServiceVni( vni, granted );
   } else if( !policyRunningInfo()->originalToServiceVni( vni ).isNone() ) {
      withdrawServiceVni( vni );
   } else {
      return; // a request is open
   }
   // The first service VNI of a group is what can make it ready.
   setOrchestrationReadinessForPolicy();
}

void ServicePolicyBrainSm::grantServiceVni( Vxlan::VniOrNone vni, Vxlan::VniOrNone serviceVni ) {
   TRACE6( trace(), " for original vni: ", vni, " new service vni: ", serviceVni );
   policyRunningInfo()->originalToServiceVniIs( vni, serviceVni );
   auto const machine = makePerVniSm( vni );
   machine->handleServiceVni( serviceVni );
   handleServiceIntf();
   takeUpWaitingHosts( *machine );
}

// The hosts that asked for the service VNI are waiting for nothing else: no further move must be needed.
void ServicePolicyBrainSm::takeUpWaitingHosts( ServicePolicyPerVniSm & machine ) {
   for( auto const & [ ip, running ] : policyRunningInfo()->hostInfo() ) {
      auto const info = policyHelperInfo()->ipToPolicy( ip );
      if( info && info->policy() == name() && info->vni() == machine.originalVni() && info->switchPair().members() > 0
          && !machine.host( ip ) ) {
         machine.handleHost( ip );
      }
   }
}

void ServicePolicyBrainSm::withdrawServiceVni( Vxlan::VniOrNone vni ) {
   TRACE6( trace(), " service vni is deallocated" );
   policyRunningInfo()->originalToServiceVniDel( vni );
   policyPerVniSmDel( vni );
}

bool ServicePolicyBrainSm::setOrchestrationReadinessForPolicy() {
   TRACE8( trace(), " Policy: ", name() );
   policyInfoReadyIs( isReady() );
   TRACE7( trace(), " return ", policyInfoReady() );
   return policyInfoReady();
}

bool ServicePolicyBrainSm::isReady() const {
   if( !initialized() || !policyRunningInfo() ) return false;
   auto const near = policyRunningInfo()->nearIntfUuid();
   auto const far = policyRunningInfo()->farIntfUuid();
   return near != far && hasPorts( near ) && hasPorts( far ) && checkServiceIntfOwnership( near, far )
          && !policyRunningInfo()->originalToServiceVni().empty();
}

bool ServicePolicyBrainSm::hasPorts( Lum::String const & uuid ) const {
   if( uuid.empty() ) return false;
   auto const set = serviceIntfConfig()->intfSet( uuid );
   return set && !set->intf().empty();
}

void ServicePolicyBrainSm::policyInfoReadyIs( bool ready ) {
   if( policyInfoReady_ == ready ) return;
   policyInfoReady_ = ready;
   handlePolicyInfoReady();
}

void ServicePolicyBrainSm::handlePolicyInfoReady() {
   TRACE8( trace(), " Policy: ", name(), " ready: ", policyInfoReady() );
   if( policyInfoReady() ) {
      takeUp();
   } else {
      fallBack();
   }
   TRACE7( trace(), " return" );
}

void ServicePolicyBrainSm::takeUp() {
   policyRunningInfo()->policyStateIs( State::policyOrchestrating );
   policyHelperInfo()->intfUuidToOwnerPolicyIs( policyRunningInfo()->farIntfUuid(), name() );
   policyHelperInfo()->intfUuidToOwnerPolicyIs( policyRunningInfo()->nearIntfUuid(), name() );
   for( auto const & [ vni, machine ] : policyPerVniSm() ) machine->handleServiceVtepSwitchId();
   handleServiceIntf();
   // The service VTEPs that a restart restored may be older than the ports.
   for( auto const & [ switchId, member ] : policyRunningInfo()->serviceVtepSwitchId() ) {
      maybeDeleteServiceVtep( switchId );
   }
   // Now the service VTEPs are complete, and what they have reported counts.
   for( auto const & [ vni, machine ] : policyPerVniSm() ) raiseConvergence( *machine );
   policyRunningInfo()->policyStateIs( State::policyRunning );
   for( auto const & [ vni, machine ] : policyPerVniSm() ) machine->handleHost();
}

// The machines stay; their flows go.
void ServicePolicyBrainSm::fallBack() {
   for( auto const & [ vni, machine ] : policyPerVniSm() ) machine->cleanup();
   policyRunningInfo()->policyStateIs( State::policyPending );
   auto const near = policyRunningInfo()->nearIntfUuid();
   auto const far = policyRunningInfo()->farIntfUuid();
   // Only a set that bears the group's name is given back, and it is meant: a group that has lost a port or its last
   // service VNI keeps its claim and does not hand its interfaces to a waiting group. Such a set may be another
   // group's.
   for( auto const & uuid : { far, near } ) {
      if( uuid == name() && policyHelperInfo()->intfUuidToOwnerPolicy( uuid ) == name() ) {
         policyHelperInfo()->intfUuidToOwnerPolicyDel( uuid );
      }
   }
   policyRunningInfo()->serviceVtepSwitchIdDelAll();
}

// A switch that joins is the per-VNI machines' concern: they watch the same set.
void ServicePolicyBrainSm::handleServiceVtepSwitchId( SwitchId switchId ) {
   if( !policyInfoReady() ) return;
   TRACE8( trace(), " swId: ", switchId );
   if( policyRunningInfo()->serviceVtepSwitchId( switchId ) ) return;
   for( auto const & [ vni, fragment ] : policyRunningInfo()->fragmentRunningInfo() ) {
      fragment->serviceVtepFlowConvergedDel( switchId );
   }
   // It may have been the last that had not converged, or had not even reported: then hosts wait for nothing else.
   for( auto const & [ vni, machine ] : policyPerVniSm() ) {
      raiseConvergence( *machine );
      if( machine->switchPairFlowConverged() ) machine->handleHost();
   }
}

void ServicePolicyBrainSm::handlePolicyStateChange() {
   if( policyRunningInfo()->policyState() != State::policyRunning ) return;
   std::string work;
   for( auto const & [ switchId, member ] : policyRunningInfo()->serviceVtepSwitchId() ) {
      work += Lum::textOf( switchId, " " );
   }
   for( auto const & uuid : { policyRunningInfo()->nearIntfUuid(), policyRunningInfo()->farIntfUuid() } ) {
      auto const set = serviceIntfConfig()->intfSet( uuid );
      if( !set ) continue;
      for( auto const & [ intf, port ] : set->intf() ) work += Lum::textOf( intf, " " );
   }
   for( auto const & [ ip, host ] : policyRunningInfo()->hostInfo() ) {
      if( host->state() == State::policyRunning ) work += Lum::textOf( ip, " " );
   }
}

// The host is still wanted, and its flows stand: the next event would look for the record.
void ServicePolicyBrainSm::handleHostRunningInfo( Neroli::IpGenAddr ip ) {
   if( policyRunningInfo()->hostInfo( ip ) ) return;
   auto const host = policyHelperInfo()->ipToPolicy( ip );
   if( !host || !host->allPolicy( name() ) ) return;
   auto const running = policyRunningInfo()->hostInfoIs( ip );
   if( auto const machine = policyPerVniSm( host->vni() ) ) {
      running->macIs( host->mac() );
      running->insideVtepSwitchPairIs( machine->shadowSwitchPair( ip ) );
   }
   handleHostInfoChange( host );
}

bool ServicePolicyBrainSm::matchesServiceVtep( SwitchPair const & pair ) const {
   TRACE8( trace(), " switchPair: ", pair );
   bool const matches = policyRunningInfo()->serviceVtepSwitchId( pair.first() )
                        || policyRunningInfo()->serviceVtepSwitchId( pair.second() );
   TRACE7( trace(), " return ", matches );
   return matches;
}

void ServicePolicyBrainSm::handleCleanup() {
   TRACE8( trace(), " policy: ", name() );
   initializedIs( false ); // nothing below re-enters the machine
   policyRunningInfo()->policyStateIs( State::policyDeleted );
   for( auto const & [ ip, running ] : policyRunningInfo()->hostInfo() ) {
      parent()->removeIpToPolicyMapping( ip, name() );
   }
   policyPerVniSmDelAll();
   if( policyInfo() ) policyInfo()->originalToServiceVniDelAll();
   cleanupIntfUuidToPolicy( policyRunningInfo()->nearIntfUuid() );
   cleanupIntfUuidToPolicy( policyRunningInfo()->farIntfUuid() );
   // And those that the group named before it changed them while it was pending.
   for( auto const & [ uuid, users ] : policyHelperInfo()->intfUuidToPolicy() ) {
      if( users->policy( name() ) ) cleanupIntfUuidToPolicy( uuid );
   }
   policyRunningInfoCol()->policyRunningInfoDel( name() );
   policyHelperInfo()->policyInfoDel( name() );
}

bool ServicePolicyBrainSm::FragmentInfoSm::serviceFlowConverged() const {
   auto const & serviceVteps = parent()->policyRunningInfo()->serviceVtepSwitchId();
   if( serviceVteps.empty() ) return false;
   for( auto const & [ switchId, member ] : serviceVteps ) {
      if( !fragmentRunningInfo()->serviceVtepFlowConverged( switchId ) ) return false;
   }
   return true;
}

void ServicePolicyBrainSm::FragmentInfoSm::handleFlowConverged( SwitchId switchId ) {
   // While the group is taken up its service VTEPs come one by one; what they have reported is weighed at the end.
   if( parent()->policyRunningInfo()->policyState() == State::policyOrchestrating ) return;
   auto const machine = parent()->policyPerVniSm( fragmentRunningInfo()->originalVni() );
   if( !machine ) return;
   bool const converged = serviceFlowConverged();
   machine->switchPairFlowConvergedIs( converged );
   bool const flag = fragmentRunningInfo()->serviceVtepFlowConverged( switchId );
   if( flag ) {
      TRACE6( trace(), " calling handleHost for switchId: ", switchId,
              ", original Vni: ", fragmentRunningInfo()->originalVni(), ", serviceVtepFlowConverged: ", flag,
              ", localSwitchPairConverged: ", converged );
      machine->handleHost();
   } else if( !converged && !parent()->kivAgentConfig()->retainInterceptFlows() ) {
      // Traffic must never be redirected towards a service VTEP that is not ready to take it.
      TRACE6( trace(), " service flow converged is false, removing intercept flows" );
      machine->removeInterceptFlowsFromAllVteps();
   }
}

} // namespace Kiv
