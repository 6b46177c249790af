#include "cli/KivCliCallback.h"

#include "cli/KivCliUtils.h"
#include "platform/ribbon/TwinRibbon.h"

#include <cstdio>
#include <exception>

TRACE_MODULE( "KivCliCallback" );

namespace Kiv::Cli {

namespace {

using Lineout::Printer;

void renderHost( Printer & printer, HostRunningInfo const * host, std::uint16_t indent ) {
   if( !host ) return;
   auto const line = [ & ]( char const * label, auto const & value ) {
      printIndentedLine( printer, Lum::textOf( label, value ), indent );
   };
   line( "IP address: ", host->ip() );
   line( "State: ", host->state() );
   line( "MAC address: ", host->mac() );
   line( "Original VNI: ", host->originalVni() );
   line( "Intercept VTEP: ", host->insideVtepSwitchPair() );
   line( "Original VNI seen: ", host->originalVniSeen() );
   line( "Service VNI seen: ", host->serviceVniSeen() );
}

// A group is chosen by the source policies gathered in it, not by its own name.
bool isPolicyGroupAllowed( PolicyRunningInfo const * info, Lum::String const & policy ) {
   if( policy.empty() ) {
      TRACE7( trace(), " Empty policy name, returning true" );
      return true;
   }
   TRACE6( trace(), " filtering on policy: ", policy );
   if( info->policyName( policy ) ) {
      TRACE7( trace(), " returning true" );
      return true;
   }
   TRACE7( trace(), " returning false" );
   return false;
}

/// The first original VNI of the group and its service VNI, which stand for all; both none if there is none.
std::pair< Vxlan::VniOrNone, Vxlan::VniOrNone > firstVnis( PolicyRunningInfo const & info ) {
   for( auto const & [ original, service ] : info.originalToServiceVni() ) return { original, service };
   return {};
}

void renderRunningInfo( Printer & printer, PolicyRunningInfo const * info, Lum::String const & policy ) {
   if( !isPolicyGroupAllowed( info, policy ) ) return;
   auto const line = [ & ]( std::uint16_t indent, char const * label, auto const & value ) {
      printIndentedLine( printer, Lum::textOf( label, value ), indent );
   };
   auto const [ originalVni, serviceVni ] = firstVnis( *info );
   line( 0, "Policy Group: ", info->name() );
   line( 1, "Policies: ", joinStrKeys( info->policyName() ) );
   line( 1, "Status: ", info->policyState() );
   line( 1, "Service VTEPs: ", joinStrKeys( info->serviceVtepSwitchId() ) );
   line( 1, "Near zone: ", info->nearIntfUuid() );
   line( 2, "VLAN: ", info->nearVlan() );
   line( 1, "Far zone: ", info->farIntfUuid() );
   line( 2, "VLAN: ", info->farVlan() );
   line( 1, "Original VNI: ", originalVni );
   line( 1, "Service VNI: ", serviceVni );
   printIndentedLine( printer, "Hosts", 1 );
   for( auto const & [ ip, host ] : info->hostInfo() ) renderHost( printer, host.get(), 2 );
}

void renderRunningInfoCol( Printer & printer, Lum::Ptr< PolicyRunningInfoCol const > const & running,
                           Lum::String const & policy ) {
   for( auto const & [ name, info ] : running->policyRunningInfo() ) renderRunningInfo( printer, info.get(), policy );
}

} // namespace

void ShowPolicyDetail::handleCommand( std::uint32_t fd, Lum::String parameters ) {
   TRACE8( trace(), " fd: ", fd, " parameters: ", parameters );
   auto const params = parsePolicyDetailParams( parameters );
   render( fd, params->format(), params->policy() );
}

void ShowPolicyDetail::render( std::uint32_t fd, std::uint32_t format, Lum::String policy ) const {
   TRACE6( trace(), "fd: ", fd, " fmt: ", format, " policy: ", policy );
   try {
      Lineout::Printer printer( static_cast< int >( fd ), format, true, false, false, 0 );
      renderRunningInfoCol( printer, policyRunningInfoCol(), policy );
      printer.flush(); // what fails later is not told
   } catch( std::exception const & exception ) {
      std::printf( "exiting %s\n", exception.what() );
   }
}

} // namespace Kiv::Cli
