#include "blackboard/KivUtils.h"
#include "platform/ribbon/TwinRibbon.h"
#include "vni/KivServiceVniSm.h"

TRACE_MODULE( "KivServicePolicy" );

namespace Kiv {

void ServiceVniSm::handleInitialized() {
   TRACE8( trace() );
   initializedIs( true );
   takeUpElected();
   takeUpGrants();
   handleVniRange();
}

// The winner of the switches' election becomes the grant; where there is none, a request stands.
void ServiceVniSm::takeUpElected() {
   for( auto const & [ fragmentName, status ] : vtepAllPolicyFragmentStatus()->fragmentStatus() ) {
      auto const policy = policyHelperInfo()->policyInfo( getPolicyName( fragmentName ) );
      if( policy && !status->originalVni().isNone() ) {
         policy->originalToServiceVniIs( status->originalVni(), status->serviceVni() );
      }
   }
}

// The pool is not asked: a grant outside any range is recorded, too, and moves when the ranges are applied.
void ServiceVniSm::takeUpGrants() {
   for( auto const & [ name, policy ] : policyHelperInfo()->policyInfo() ) {
      for( auto const & [ originalVni, serviceVni ] : policy->originalToServiceVni() ) {
         if( !serviceVni.isNone() ) allocator_->allocatedVniIs( serviceVni, fragmentNameOf( name, originalVni ) );
      }
   }
}

// A grant inside the ranges never moves. One outside, and a request that waits, gets the lowest free VNI.
void ServiceVniSm::handleVniRange() {
   TRACE8( trace(), " vniRange: ", kivAgentConfig()->vniRange() );
   parseVniRangeString( allocator_, kivAgentConfig()->vniRange() );
   for( auto const & [ name, policy ] : policyHelperInfo()->policyInfo() ) {
      for( auto const & [ originalVni, serviceVni ] : policy->originalToServiceVni() ) {
         if( allocator_->inRange( serviceVni ) ) continue;
         policy->originalToServiceVniIs( originalVni,
                                         allocator_->reallocateVni( fragmentNameOf( name, originalVni ) ) );
      }
   }
}

void ServiceVniSm::LumPolicyInfo::handleServiceVniReq( Vxlan::VniOrNone originalVni ) {
   auto const name = fragmentNameOf( policyInfo()->name(), originalVni );
   TRACE8( trace(), " name: ", name );
   auto const & requests = policyInfo()->originalToServiceVni();
   if( !requests.find( originalVni ) ) {
      parent()->allocator()->releaseVni( name );
   } else if( policyInfo()->originalToServiceVni( originalVni ).isNone() ) {
      policyInfo()->originalToServiceVniIs( originalVni, parent()->allocator()->allocateVni( name ) );
   }
}

void ServiceVniSm::LumPolicyInfo::cleanup() {
   TRACE8( trace(), " policy: ", policyInfo()->name() );
   parent()->allocator()->releaseAllVniPerPolicy( policyInfo()->name() );
}

} // namespace Kiv
