#include "feedback/KivErrorStatus.h"

#include "blackboard/KivLocalTypes.h"
#include "blackboard/KivUtils.h"
#include "platform/ribbon/TwinRibbon.h"

TRACE_MODULE( "KivErrorStatus" );

namespace Kiv {

void ErrorStatusSm::handleInitialized() {
   initializedIs( true );
   handleKivPolicyStatusDir();
}

void ErrorStatusSm::handleKivPolicyStatusDir( Lum::Name key ) {
   TRACE8( trace(), " key: ", key );
   if( auto const status = Lum::entryOf< V1::KivPolicyFragmentStatus const >( kivPolicyStatusDir(), key ) ) {
      TRACE6( trace(), " create ErrorStatusPerVtepSm for ", key );
      errorStatusPerVtepSmIs( key, status, policyRunningInfoCol(), serviceIntfConfig() );
      TRACE6( trace(), " errorStatusPerVtepSm created for ", key );
   } else {
      errorStatusPerVtepSmDel( key );
   }
}

bool ErrorStatusSm::insideIngressFlowProgrammed( Neroli::IpGenAddr const & ip, Lum::String fragName,
                                                 Lum::Name excludingVtep ) const {
   TRACE8( trace(), " ip: ", ip, " fragName: ", fragName, " excludingVtep: ", excludingVtep );
   Lum::String const flowName = insideIngressFlowName( ip );
   for( auto const & [ name, perVtepSm ] : errorStatusPerVtepSm() ) {
      if( name == excludingVtep ) {
         TRACE6( trace(), " skipping for ", name );
         continue;
      }
      auto const fragmentSm = perVtepSm->fragment( fragName );
      if( fragmentSm && fragmentSm->isFlowProgrammed( flowName ) ) {
         TRACE7( trace(), " returning true " );
         return true;
      }
   }
   TRACE7( trace(), " returning false " );
   return false;
}

bool ErrorStatusSm::reportedAhead( Lum::Name const & policy, Neroli::IpGenAddr ip ) const {
   auto const group = reportedAhead_.find( policy );
   return group != reportedAhead_.end() && group->second.contains( ip );
}

void ErrorStatusSm::reportedAheadIs( Lum::Name const & policy, Neroli::IpGenAddr ip, bool reported ) {
   if( reported ) {
      reportedAhead_[ policy ].insert( ip );
   } else if( auto const group = reportedAhead_.find( policy ); group != reportedAhead_.end() ) {
      group->second.erase( ip );
      if( group->second.empty() ) reportedAhead_.erase( group );
   }
}

void ErrorStatusSm::GroupSm::handleServiceVtepSwitchId( SwitchId switchId ) {
   if( !running()->serviceVtepSwitchId( switchId ) ) return;
   for( auto const & [ originalVni, serviceVni ] : running()->originalToServiceVni() ) weigh( switchId, originalVni );
}

void ErrorStatusSm::GroupSm::handleServiceVni( Vxlan::VniOrNone originalVni ) {
   if( !running()->originalToServiceVni( originalVni ).isNone() ) weigh( originalVni );
}

void ErrorStatusSm::GroupSm::handleFragmentRunningInfo( Vxlan::VniOrNone originalVni ) {
   if( running()->fragmentRunningInfo( originalVni ) ) weigh( originalVni );
}

void ErrorStatusSm::GroupSm::weigh( Vxlan::VniOrNone originalVni ) {
   for( auto const & [ switchId, member ] : running()->serviceVtepSwitchId() ) weigh( switchId, originalVni );
}

void ErrorStatusSm::GroupSm::weigh( SwitchId const & switchId, Vxlan::VniOrNone originalVni ) {
   auto const reports = parent()->errorStatusPerVtepSm( switchId.systemId().stringValue() );
   auto const report = reports ? reports->fragment( fragmentNameOf( running()->name(), originalVni ) ) : nullptr;
   if( report && report->weigh( running() ) ) return;
   // What it said while it was no service VTEP, and has taken back since, counts no more. A standing no says nothing
   // new.
   auto const record = running()->fragmentRunningInfo( originalVni );
   if( record && record->serviceVtepFlowConverged( switchId ) ) record->serviceVtepFlowConvergedDel( switchId );
}

// A host may join its group after the report of its flow, and leave it before the flow goes.
void ErrorStatusSm::GroupSm::handleHost( Lum::Ptr< HostRunningInfo > host ) {
   auto const policy = running()->name();
   auto const ip = host->ip();
   if( running()->hostInfo( ip ) != host ) {
      parent()->reportedAheadIs( policy, ip, host->insideVtepIngressFlowPresent() );
   } else if( parent()->reportedAhead( policy, ip ) ) {
      parent()->reportedAheadIs( policy, ip, false );
      host->insideVtepIngressFlowPresentIs( true );
   }
}

void ErrorStatusSm::GroupSm::cleanup() {
   for( auto const & [ ip, host ] : running()->hostInfo() ) {
      parent()->reportedAheadIs( running()->name(), ip, host->insideVtepIngressFlowPresent() );
   }
}

bool ErrorStatusPerVtepSm::insideIngressFlowProgrammed( Neroli::IpGenAddr const & ip, Lum::String fragName ) const {
   return parent()->insideIngressFlowProgrammed( ip, fragName, name() );
}

} // namespace Kiv
