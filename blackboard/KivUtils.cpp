#include "blackboard/KivUtils.h"

#include "blackboard/KivLocalTypes.h"

#include "platform/ribbon/TwinRibbon.h"

TRACE_MODULE( "KivUtils" );

namespace Kiv {

SwitchPair addSwitchToSwitchPair( SwitchPair const & pair, SwitchId const & switchId ) {
   if( pair.isMember( switchId ) ) {
      TRACE7( trace(), " Switch ", switchId, " is already a member" );
      return pair;
   }
   if( pair.members() == 2 ) {
      TRACE7( trace(), " Max number of members. Can't add: ", switchId );
      return pair;
   }
   return SwitchPair( switchId, pair.getValidSwitch() );
}

SwitchPair removeSwitchFromSwitchPair( SwitchPair const & pair, SwitchId const & switchId ) {
   return SwitchPair( pair.other( switchId ) );
}

Lum::String fragmentNameOf( Lum::String const & policy, Vxlan::VniOrNone originalVni ) {
   return policy + "-" + originalVni.stringValue( false );
}

Lum::String getPolicyName( Lum::String const & fragmentName ) {
   return fragmentName.view().substr( 0, fragmentName.view().find_last_of( '-' ) );
}

Lum::String insideIngressFlowName( Neroli::IpGenAddr ip ) {
   return Lum::textOf( PolicyFlowName::insideVtepIngress, "-", ip );
}

Lum::String const & ingressFlowName( HostRunningInfo const & host ) {
   if( host.flowName.empty() ) host.flowName = insideIngressFlowName( host.ip() );
   return host.flowName;
}

std::optional< Neroli::IpGenAddr > hostOfFlow( Lum::String const & flowName ) {
   auto const dash = flowName.view().rfind( '-' );
   if( dash == std::string_view::npos ) return std::nullopt;
   return Neroli::IpGenAddr::parse( flowName.view().substr( dash + 1 ) );
}

} // namespace Kiv
