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

bool ErrorStatusPerVtepSm::insideIngressFlowProgrammed( Neroli::IpGenAddr const & ip, Lum::String fragName ) const {
   return parent()->insideIngressFlowProgrammed( ip, fragName, name() );
}

} // namespace Kiv
