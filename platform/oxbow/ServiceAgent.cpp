#include "platform/oxbow/ServiceAgent.h"

namespace Oxbow {

ServiceAgent::~ServiceAgent() { ServiceAgent::doServiceAgentCleanup(); }

Lum::Ptr< Harbor::HubstoreService > ServiceAgent::hubstoreService( Lum::Name const & name ) const {
   auto const found = hubstoreService_.find( name );
   return found == hubstoreService_.end() ? nullptr : found->second;
}

Lum::Ptr< Harbor::HubstoreService >
ServiceAgent::hubstoreServiceIs( Lum::Name const & name, Lum::Ptr< Quarry::EntityManager > quarryEntityManager,
                                 Lum::Ptr< Quarry::EntityManager > hubstoreEntityManager ) {
   auto & service = hubstoreService_[ name ];
   if( !service ) {
      service =
         new Harbor::HubstoreService( name, std::move( quarryEntityManager ), std::move( hubstoreEntityManager ) );
   }
   return service;
}

void ServiceAgent::doPreInit() {
   CAgent::doPreInit();
   LUM_ASSERT( hubstoreEntityManager() );
}

void ServiceAgent::doServiceAgentCleanup() { hubstoreService_.clear(); }

} // namespace Oxbow
