#include "collector/KivServiceConfigCollector.h"

#include "platform/ribbon/TwinRibbon.h"

TRACE_MODULE( "KivConfigCollector" );

namespace Kiv {

ServiceConfigCopySm::~ServiceConfigCopySm() {
   servicePolicyInDelAll();
   serviceIntfInfoInDelAll();
}

void ServiceConfigCopySm::handleInitialized() {
   TRACE8( trace(), " source: ", source() );
   initializedIs( true );
}

void ServiceConfigCopySm::ServicePolicySm::handleInitialized() {
   auto const source = parent()->source();
   TRACE8( trace(), "Src :", source, " Policy: ", name() );
   auto const config = parent()->servicePolicyConfigOut();
   // A free key is taken without a contest.
   bool const mine =
      !config->servicePolicy( name() ) || parent()->parent()->pickBestSourcePolicy( source, name(), false ) == source;
   if( !mine && !initialized() ) return;
   initializedIs( true ); // before the copy: a standby's handlers write nothing
   servicePolicyOutIs( config->servicePolicyIs( name() ) );
   handleServiceDeviceId();
   handlePolicyName();
   handleInterceptFlow();
   handleNearIntfUuid();
   handleFarIntfUuid();
}

bool ServiceConfigCopySm::ServicePolicySm::isStandby() const {
   if( initialized() ) return false;
   TRACE7( trace(), " uninitialized - return" );
   return true;
}

void ServiceConfigCopySm::ServicePolicySm::handleServiceDeviceId() {
   if( !isStandby() ) servicePolicyOut()->serviceDeviceIdIs( servicePolicyIn()->serviceDeviceId() );
}

void ServiceConfigCopySm::ServicePolicySm::handleNearIntfUuid() {
   if( !isStandby() ) servicePolicyOut()->nearIntfUuidIs( servicePolicyIn()->nearIntfUuid() );
}

void ServiceConfigCopySm::ServicePolicySm::handleFarIntfUuid() {
   if( !isStandby() ) servicePolicyOut()->farIntfUuidIs( servicePolicyIn()->farIntfUuid() );
}

void ServiceConfigCopySm::ServicePolicySm::handlePolicyName() {
   if( isStandby() ) return;
   for( auto const & [ policyName, member ] : servicePolicyIn()->policyName() ) handlePolicyName( policyName );
}

void ServiceConfigCopySm::ServicePolicySm::handlePolicyName( Lum::String policyName ) {
   if( isStandby() ) return;
   if( servicePolicyIn()->policyName( policyName ) ) {
      servicePolicyOut()->policyNameIs( policyName, true );
   } else {
      servicePolicyOut()->policyNameDel( policyName );
   }
}

void ServiceConfigCopySm::ServicePolicySm::handleInterceptFlow() {
   if( isStandby() ) return;
   for( auto const & [ key, flow ] : servicePolicyIn()->interceptFlow() ) handleInterceptFlow( key );
}

void ServiceConfigCopySm::ServicePolicySm::handleInterceptFlow( Neroli::IpGenAddrWithMask key ) {
   if( isStandby() ) return;
   auto const flow = servicePolicyIn()->interceptFlow( key );
   if( flow != InterceptFlowInfo() ) {
      servicePolicyOut()->interceptFlowIs( flow );
   } else {
      servicePolicyOut()->interceptFlowDel( key );
   }
}

void ServiceConfigCopySm::ServicePolicySm::cleanup() {
   auto const source = parent()->source();
   TRACE8( trace(), "Src :", source, " Policy: ", name() );
   if( isStandby() ) return; // nothing to undo
   parent()->servicePolicyConfigOut()->servicePolicyDel( name() );
   parent()->parent()->pickBestSourcePolicy( source, name(), true );
}

void ServiceConfigCopySm::ServiceIntfInfoSm::handleInitialized() {
   auto const source = parent()->source();
   TRACE8( trace(), "Src: ", source, " UUID: ", uuid() );
   auto const config = parent()->serviceIntfConfigOut();
   // A free key is taken without a contest.
   bool const mine =
      !config->intfSet( uuid() ) || parent()->parent()->pickBestSourceIntf( source, uuid(), false ) == source;
   if( !mine && !initialized() ) return;
   initializedIs( true ); // before the copy: a standby's handlers write nothing
   serviceIntfInfoOutIs( config->intfSetIs( uuid() ) );
   handleZone();
   handleServiceInterface();
}

bool ServiceConfigCopySm::ServiceIntfInfoSm::isStandby() const {
   if( initialized() ) return false;
   TRACE7( trace(), " uninitialized - return" );
   return true;
}

void ServiceConfigCopySm::ServiceIntfInfoSm::handleZone() {
   auto const zone = serviceIntfInfoIn()->zone();
   if( !initialized() ) {
      TRACE7( trace(), "(Zone: ", zone, " ) uninitialized - return" );
      return;
   }
   TRACE8( trace(), " ZONE: ", zone );
   serviceIntfInfoOut()->zoneIs( zone );
}

void ServiceConfigCopySm::ServiceIntfInfoSm::handleServiceInterface() {
   if( isStandby() ) return;
   for( auto const & [ key, port ] : serviceIntfInfoIn()->intf() ) handleServiceInterface( key );
}

void ServiceConfigCopySm::ServiceIntfInfoSm::handleServiceInterface( SwitchIntfPair key ) {
   if( isStandby() ) return;
   auto const port = serviceIntfInfoIn()->intf( key );
   if( port != ServiceInterface( key ) ) {
      serviceIntfInfoOut()->intfIs( port );
   } else {
      serviceIntfInfoOut()->intfDel( key );
   }
}

void ServiceConfigCopySm::ServiceIntfInfoSm::cleanup() {
   auto const source = parent()->source();
   TRACE8( trace(), "Src: ", source, " UUID: ", uuid() );
   if( isStandby() ) return; // nothing to undo
   parent()->serviceIntfConfigOut()->intfSetDel( uuid() );
   parent()->parent()->pickBestSourceIntf( source, uuid(), true );
}

} // namespace Kiv
