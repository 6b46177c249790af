// The interface UUIDs of a policy group: who names one, who owns it. A group takes both of its UUIDs when it becomes
// ready; no group is ever evicted, and a waiting one gets its chance when an owner's entry goes.
#include "policy/KivServicePolicySm.h"

#include "platform/ribbon/TwinRibbon.h"

TRACE_MODULE( "KivServicePolicy" );

namespace Kiv {

// Takes nothing. Taking follows in the same call chain, when the result makes the group ready.
bool ServicePolicyBrainSm::checkServiceIntfOwnership( Lum::String const & near, Lum::String const & far ) const {
   auto const nearOwner = policyHelperInfo()->intfUuidToOwnerPolicy( near );
   auto const farOwner = policyHelperInfo()->intfUuidToOwnerPolicy( far );
   TRACE8( trace(), " Policy: ", name(), " nearIntfUuid: ", near, " farIntfUuid: ", far );
   TRACE6( trace(), " Current policy ownership for Near: (", nearOwner, ") Far: (", farOwner, ")" );
   auto const free = [ & ]( Lum::String const & owner ) { return owner.empty() || owner == name(); };
   bool const result = !near.empty() && !far.empty() && free( nearOwner ) && free( farOwner );
   TRACE7( trace(), " return: ", result );
   return result;
}

void ServicePolicyBrainSm::handleNearIntfUuid() {
   auto const old = policyRunningInfo()->nearIntfUuid();
   auto const now = servicePolicy()->nearIntfUuid();
   TRACE8( trace(), " Policy: ", name(), " old: ", old, " new: ", now );
   handleIntfUuid( old, now, &PolicyRunningInfo::nearIntfUuidIs );
}

void ServicePolicyBrainSm::handleFarIntfUuid() {
   auto const old = policyRunningInfo()->farIntfUuid();
   auto const now = servicePolicy()->farIntfUuid();
   TRACE8( trace(), " Policy: ", name(), " old: ", old, " new: ", now );
   handleIntfUuid( old, now, &PolicyRunningInfo::farIntfUuidIs );
}

// A pending group leaves its name and its claim at the old UUID until its own end.
void ServicePolicyBrainSm::handleIntfUuid( Lum::String old, Lum::String now,
                                           void ( PolicyRunningInfo::*uuidIs )( Lum::String ) ) {
   if( policyInfoReady() && old != now ) {
      policyRunningInfo()->policyStateIs( PolicyRunningState::policyIntfChanging );
      if( auto const users = policyHelperInfo()->intfUuidToPolicy( old ) ) users->policyDel( name() );
      policyHelperInfo()->intfUuidToOwnerPolicyDel( old ); // a group that waits for it may take it within this call
   }
   ( *policyRunningInfo().*uuidIs )( now );
   if( !now.empty() ) {
      policyHelperInfo()->intfUuidToPolicyIs( now )->policyIs( name(), true );
      if( policyRunningInfo()->policyState() == PolicyRunningState::policyIntfChanging ) {
         policyRunningInfo()->policyStateIs( PolicyRunningState::policyRunning );
      }
   }
   // A group that stays ready runs no take-up, so it owns a new UUID from here: only one at a time may use it.
   if( !setOrchestrationReadinessForPolicy() || old == now ) return;
   if( policyHelperInfo()->intfUuidToOwnerPolicy( now ).empty() ) {
      policyHelperInfo()->intfUuidToOwnerPolicyIs( now, name() );
   }
   // Nobody replays the ports of a UUID whose list the group has never left, as while it was pending.
   handleServiceIntf();
}

void ServicePolicyBrainSm::cleanupIntfUuidToPolicy( Lum::String uuid ) {
   if( uuid.empty() ) return;
   auto const users = policyHelperInfo()->intfUuidToPolicy( uuid );
   if( !users ) return;
   users->policyDel( name() );
   if( users->policy().empty() ) policyHelperInfo()->intfUuidToPolicyDel( uuid ); // ends the interface machine
   if( policyHelperInfo()->intfUuidToOwnerPolicy( uuid ) == name() ) {
      TRACE6( trace(), "Deleting uuid to owner mapping for ", uuid );
      policyHelperInfo()->intfUuidToOwnerPolicyDel( uuid );
   }
}

// Replays all ports to the per-VNI fragments.
void ServicePolicyBrainSm::handleServiceIntf() {
   if( !policyInfoReady() ) return;
   if( auto const near = parent()->serviceIntfInfoSm( policyRunningInfo()->nearIntfUuid() ) ) near->handleIntf();
   if( auto const far = parent()->serviceIntfInfoSm( policyRunningInfo()->farIntfUuid() ) ) far->handleIntf();
}

bool ServicePolicyBrainSm::maybeDeleteServiceVtep( SwitchId switchId ) {
   TRACE8( trace(), " Policy: ", name(), " Switch: ", switchId );
   // Whether or not the group stands in the UUID's list yet: a new UUID gets there after the ports of the old one have
   // gone.
   auto const hasPort = [ & ]( Lum::String const & uuid ) {
      return parent()->isSwitchIdPartOfIntfSet( uuid, switchId );
   };
   bool const stays = hasPort( servicePolicy()->nearIntfUuid() ) || hasPort( servicePolicy()->farIntfUuid() );
   if( !stays ) {
      TRACE6( trace(), " Deleting service vtep: ", switchId );
      policyRunningInfo()->serviceVtepSwitchIdDel( switchId );
   }
   TRACE7( trace(), " return ", stays );
   return stays;
}

} // namespace Kiv
