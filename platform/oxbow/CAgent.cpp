#include "platform/oxbow/CAgent.h"

namespace Oxbow {

void CAgent::doQuarryMountsComplete( Quarry::MountStatus mountStatus,
                                     Lum::Ptr< Quarry::EntityManager > const & entityManager ) {
   doMountsComplete( mountStatus, entityManager );
   if( !std::exchange( firstMountsComplete_, true ) ) handleFirstMountsComplete();
}

Lum::TraceHandle const & CAgent::getDefaultTrace() const {
   static auto & trace = *new Lum::TraceHandle( "Oxbow", false );
   return trace;
}

void CAgent::doPreInit() {
   LUM_ASSERT( taskScheduler() );
   LUM_ASSERT( entityManager() );
}

} // namespace Oxbow
