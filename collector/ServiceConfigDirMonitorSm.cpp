#include "collector/KivServiceConfigCollector.h"

#include "platform/ribbon/TwinRibbon.h"

TRACE_MODULE( "KivConfigCollector" );

namespace Kiv {

ServiceConfigDirMonitorSm::~ServiceConfigDirMonitorSm() {
   serviceConfigCopySmDelAll();
   servicePolicySourceStateSmDelAll();
}

void ServiceConfigDirMonitorSm::handleInitialized() {
   TRACE8( trace() );
   handleServiceConfigDir();
   initializedIs( true );
   handlePolicySourceState();
}

void ServiceConfigDirMonitorSm::handleServiceConfigDir() {
   for( auto const & [ name, entity ] : serviceIntfConfigDir()->entityPtr() ) {
      if( servicePolicyConfigDir()->entityPtr( name ) ) handleServiceConfigDir( name );
   }
}

void ServiceConfigDirMonitorSm::handleServiceConfigDir( Lum::Name name ) {
   TRACE8( trace(), " name: ", name );
   auto const policyConfig = Lum::entryOf< ServicePolicyConfig const >( servicePolicyConfigDir(), name );
   auto const intfConfig = Lum::entryOf< ServiceIntfConfig const >( serviceIntfConfigDir(), name );
   auto const sourceState = Lum::entryOf< KivPolicySourceState const >( servicePolicySourceStateDir(), name );
   if( !policyConfig || !intfConfig || !sourceState ) {
      TRACE6( trace(), "Deleting serviceConfigCopySm for ", name );
      serviceConfigCopySmDel( name );
      servicePolicySourceStateSmDel( name );
   } else {
      TRACE6( trace(), "Instantiating serviceConfigCopySm for ", name );
      serviceConfigCopySmIs( name, policyConfig, intfConfig, servicePolicyConfigOut(), serviceIntfConfigOut() );
      servicePolicySourceStateSmIs( name, sourceState );
   }
   // A source that came may hold the start back; one that went must not do so for ever.
   handlePolicySourceState();
}

void ServiceConfigDirMonitorSm::handlePolicySourceState() {
   TRACE8( trace() );
   if( !initialized() ) {
      TRACE7( trace(), " uninitialized - return" );
      return;
   }
   bool complete = true;
   for( auto const & [ source, stateSm ] : servicePolicySourceStateSm() ) {
      complete = stateSm->servicePolicySourceStateIn()->convergenceComplete();
      if( !complete ) break;
   }
   servicePolicySourceStateOut()->convergenceCompleteIs( complete );
}

void ServicePolicySourceStateSm::handlePolicySourceState() {
   TRACE8( trace(), " source: ", source(), " ConvergenceState: ", servicePolicySourceStateIn()->convergenceComplete() );
   parent()->handlePolicySourceState();
}

/// The lowest name among the sources that declare the key, `src` left out; empty when there is none.
template< class Declares >
Lum::String ServiceConfigDirMonitorSm::bestOtherSource( Lum::String const & src, Declares declares ) const {
   Lum::String best;
   for( auto const & [ other, copySm ] : serviceConfigCopySm() ) {
      if( other == src || !declares( *copySm ) ) continue;
      if( best.empty() || other < best ) best = other;
   }
   return best;
}

Lum::String ServiceConfigDirMonitorSm::pickBestSourcePolicy( Lum::String src, Lum::Name policy, bool activateNext ) {
   auto best = bestOtherSource( src, [ & ]( ServiceConfigCopySm const & copySm ) {
      auto const member = copySm.servicePolicyIn( policy );
      return member && member->servicePolicyIn();
   } );
   if( best.empty() ) return src;
   auto const copySm = serviceConfigCopySm( best );
   auto const member = copySm->servicePolicyIn( policy );
   if( activateNext ) {
      TRACE6( trace(), "Activating next winning source for policy \"", policy, "\": ", best );
      member->handleInitialized();
      return best;
   }
   if( !( src < best ) ) return best;
   TRACE6( trace(), "New source - ", src, " - won for policy \"", policy, "\"; Deleting old source - ", best );
   member->initializedIs( false );
   servicePolicyConfigOut()->servicePolicyDel( policy );
   return src;
}

Lum::String ServiceConfigDirMonitorSm::pickBestSourceIntf( Lum::String src, Lum::String uuid, bool activateNext ) {
   auto best = bestOtherSource( src, [ & ]( ServiceConfigCopySm const & copySm ) {
      auto const member = copySm.serviceIntfInfoIn( uuid );
      return member && member->serviceIntfInfoIn();
   } );
   if( best.empty() ) return src;
   auto const copySm = serviceConfigCopySm( best );
   auto const member = copySm->serviceIntfInfoIn( uuid );
   if( activateNext ) {
      TRACE6( trace(), "Activating next winning source for interface \"", uuid, "\": ", best );
      member->handleInitialized();
      return best;
   }
   if( !( src < best ) ) return best;
   TRACE6( trace(), "New source - ", src, " - won for intf \"", uuid, "\"; Deleting old source - ", best );
   member->initializedIs( false );
   serviceIntfConfigOut()->intfSetDel( uuid );
   return src;
}

} // namespace Kiv
