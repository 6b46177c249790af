// What can be seen of the running agent: its memory, its service, and what each
// switch may read.
#include "agent/KivAgent.h"
#include "host/Tree.h"
#include "platform/harbor/HubstoreService.h"

#include <set>

namespace Host {

namespace {

/// The records of the agent's memory by their names.
std::vector< std::pair< char const *, std::pair< Lum::Ptr< Lum::Entity >, RecordForm const * > > >
memoryOf( Kiv::KivCAgent::Agent & agent ) {
   return { { "policyHelperInfo", { agent.policyHelperInfo(), &recordForm< Kiv::PolicyHelperInfo >() } },
            { "serviceIntfConfig", { agent.serviceIntfConfig(), &recordForm< Kiv::ServiceIntfConfig >() } },
            { "servicePolicyConfig", { agent.servicePolicyConfig(), &recordForm< Kiv::ServicePolicyConfig >() } },
            { "servicePolicySourceState",
              { agent.servicePolicySourceState(), &recordForm< Kiv::KivPolicySourceState >() } } };
}

} // namespace

bool Tree::get( Tokens const & tokens, Writer & writer ) const {
   if( !tokens.empty() ) {
      if( tokens[ 0 ] == "agent" ) return getAgent( tokens, writer );
      if( tokens[ 0 ] == "service" ) return getService( tokens, writer );
      if( tokens[ 0 ] == "switch" ) return getSwitch( tokens, writer );
      return getRecord( tokens, writer );
   }
   writer.StartObject();
   for( char const * root : { "state", "hub", "agent", "service", "switch" } ) {
      writer.Key( root );
      get( { root }, writer );
   }
   writer.EndObject();
   return true;
}

bool Tree::getAgent( Tokens const & tokens, Writer & writer ) const {
   if( tokens.size() == 1 ) writer.StartObject();
   if( agent_ ) {
      for( auto const & [ name, record ] : memoryOf( *agent_ ) ) {
         auto const & [ entity, form ] = record;
         if( !entity ) continue;
         if( tokens.size() == 1 ) {
            writer.Key( name );
            form->read( writer, *entity );
         } else if( tokens[ 1 ] == name ) {
            return form->get( *entity, tokens, 2, writer );
         }
      }
   }
   if( tokens.size() == 1 ) writer.EndObject();
   return tokens.size() == 1;
}

bool Tree::getService( Tokens const & tokens, Writer & writer ) const {
   auto const & form = recordForm< Harbor::HubstoreService >();
   if( tokens.size() > 1 ) {
      auto const service =
         agent_ ? agent_->Oxbow::ServiceAgent::hubstoreService( Lum::String( tokens[ 1 ] ) ) : nullptr;
      return service && form.get( *service, tokens, 2, writer );
   }
   writer.StartObject();
   if( agent_ ) {
      for( auto const & [ name, service ] : agent_->Oxbow::ServiceAgent::hubstoreService() ) {
         writeKey( writer, name.view() );
         form.read( writer, *service );
      }
   }
   writer.EndObject();
   return true;
}

std::vector< std::string > Tree::switches() const {
   std::set< std::string > ids;
   if( agent_ && agent_->hubstoreService() ) {
      for( auto const & [ name, group ] : agent_->hubstoreService()->serviceMountGroup() ) {
         for( auto const & [ systemId, allowed ] : group->allowedSwitch() ) {
            if( !agent_->hubstoreService()->publishedTo( systemId ).empty() )
               ids.insert( systemId.stringValue().str() );
         }
      }
   }
   return { ids.begin(), ids.end() };
}

// Each switch has one publish mount, under one fixed name.
bool Tree::getSwitch( Tokens const & tokens, Writer & writer ) const {
   if( tokens.size() == 1 ) {
      writer.StartObject();
      for( auto const & id : switches() ) {
         writeKey( writer, id );
         get( { "switch", id }, writer );
      }
      writer.EndObject();
      return true;
   }
   if( !agent_ || !agent_->hubstoreService() ) return false;
   for( auto const & mount :
        agent_->hubstoreService()->publishedTo( Harbor::systemIdFromString( Lum::String( tokens[ 1 ] ) ) ) ) {
      auto const source = Lum::narrow< Kiv::V1::KivPolicyFragment >( hub_->getEntity( mount.source ) );
      auto const target = tokensOf( "/" + mount.target.str() );
      if( !source ) continue;
      std::size_t depth = 0; // of the target's path that the pointer names
      while( depth < target.size() && depth + 2 < tokens.size() && tokens[ depth + 2 ] == target[ depth ] ) ++depth;
      auto const & form = recordForm< Kiv::V1::KivPolicyFragment >();
      if( depth == target.size() ) return form.get( *source, tokens, depth + 2, writer );
      if( depth + 2 < tokens.size() ) return false;
      for( std::size_t i = depth; i < target.size(); ++i ) {
         writer.StartObject();
         writeKey( writer, target[ i ] );
      }
      form.read( writer, *source );
      for( std::size_t i = depth; i < target.size(); ++i ) writer.EndObject();
      return true;
   }
   return false;
}

} // namespace Host
