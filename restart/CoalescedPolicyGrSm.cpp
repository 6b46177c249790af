#include "blackboard/KivUtils.h"
#include "platform/ribbon/TwinRibbon.h"
#include "restart/KivPolicyFragmentStatusSm.h"

TRACE_MODULE( "KivPolicyFragmentStatus" );

namespace Kiv {

void VniElection::addVote( Vxlan::VniOrNone vni ) { voteIs( vni, Moth::Seqno32( vote( vni ).value() + 1 ) ); }

void VniElection::removeVote( Vxlan::VniOrNone vni ) {
   auto const count = vote( vni ).value();
   if( count == 1 ) {
      voteDel( vni );
   } else {
      voteIs( vni, Moth::Seqno32( count - 1 ) );
   }
}

void CoalescedPolicyGrSm::handleInitialized() {
   TRACE8( trace() );
   handleVtep();
   initializedIs( true );
}

void CoalescedPolicyGrSm::handleVtep( Lum::Name name ) {
   TRACE8( trace(), " switch: ", name );
   if( auto const status = Lum::entryOf< V1::KivPolicyFragmentStatus const >( vtep(), name ) ) {
      realizedVtepIs( name, status );
   }
}

Lum::Ptr< VniElection > CoalescedPolicyGrSm::vniElectionIs( Lum::Name name ) {
   if( !vniElection( name ) ) vniElectionIs( name, new VniElection( name ) );
   auto election = vniElection( name );
   policyElectionIs( name, Lum::Ptr< VniElection const >( election ) );
   return election;
}

void CoalescedPolicyGrSm::LumPolicyElection::handleVote( Vxlan::VniOrNone vni ) {
   TRACE8( trace(), " fragment: ", name(), " vni: ", vni );
   auto const status = parent()->vtepAllPolicyFragmentStatus()->fragmentStatus( name() );
   LUM_ASSERT( status );
   if( vni.isNone() ) return; // votes, but cannot lead
   auto const leader = status->serviceVni();
   if( leader.isNone() || election()->vote( leader ) < election()->vote( vni ) ) status->serviceVniIs( vni );
}

void CoalescedPolicyGrSm::LumPolicy::handleInitialized() {
   for( auto const & [ fragmentName, status ] : policy()->policyFragment() ) handleFragment( fragmentName );
   initializedIs( true );
}

void CoalescedPolicyGrSm::LumPolicy::handlePolicyFragment( Lum::String fragmentName ) {
   handleFragment( fragmentName );
   fragmentFollow( fragmentName );
}

// Nothing is ever withdrawn; each report counts one vote.
void CoalescedPolicyGrSm::LumPolicy::handleFragment( Lum::String fragmentName ) {
   TRACE8( trace(), " switch: ", name(), " fragment: ", fragmentName );
   auto const status = policy()->policyFragment( fragmentName );
   if( !status ) return;
   auto const elected = parent()->vtepAllPolicyFragmentStatus()->fragmentStatusIs( fragmentName );
   // A switch that has not learnt the VNI yet takes nothing from what another one reported: the grant would be lost.
   if( !status->originalVni().isNone() ) elected->originalVniIs( status->originalVni() );
   parent()->vniElectionIs( fragmentName )->addVote( status->serviceVni() );
}

void CoalescedPolicyGrSm::LumFragment::handleGrCookie() {
   auto const switchId = switchIdFromSystemId( parent()->name() );
   auto const policyName = getPolicyName( fragment()->name() );
   TRACE8( trace(), " switch: ", switchId, " policy: ", policyName );
   auto const machine = parent()->parent();
   auto const running = machine->policyRunningInfoCol()->policyRunningInfoIs( policyName );
   running->policyStateIs( PolicyRunningState::policyRestored );
   // The switch's own memory, not the election's winner: the policy engine writes again.
   if( !fragment()->originalVni().isNone() && !fragment()->serviceVni().isNone() ) {
      running->originalToServiceVniIs( fragment()->originalVni(), fragment()->serviceVni() );
   }
   machine->policyHelperInfo()->policyInfoIs( policyName );
   auto const cookie = fragment()->grCookie();
   if( !cookie ) return;
   if( cookie->isServiceVtep() ) {
      TRACE6( trace(), "This is a service VTEP" );
      running->serviceVtepSwitchIdIs( switchId, true );
   }
   for( auto const & [ ip, info ] : cookie->interceptInfo() ) restoreHost( *running, info );
}

void CoalescedPolicyGrSm::LumFragment::restoreHost( PolicyRunningInfo & running,
                                                    V1::InterceptInfoCookie const & cookie ) {
   auto const ip = cookie.interceptIp;
   auto const host = running.hostInfoIs( ip );
   host->stateIs( PolicyRunningState::policyRestored );
   host->macIs( cookie.mac );
   // A switch that has not learnt the VNIs yet takes nothing from what another one reported.
   bool const known = !fragment()->originalVni().isNone();
   if( known ) host->originalVniIs( fragment()->originalVni() );
   if( !fragment()->serviceVni().isNone() ) host->serviceVniIs( fragment()->serviceVni() );
   // A host behind an MLAG pair ends with both switches.
   auto const pair = addSwitchToSwitchPair( host->insideVtepSwitchPair(), switchIdFromSystemId( parent()->name() ) );
   host->insideVtepSwitchPairIs( pair );
   auto const info = parent()->parent()->policyHelperInfo()->ipToPolicyIs( ip );
   info->allPolicyIs( running.name(), true );
   info->policyIs( running.name() );
   info->macIs( cookie.mac );
   if( known ) info->vniIs( fragment()->originalVni() );
   info->switchPairIs( pair );
}

} // namespace Kiv
