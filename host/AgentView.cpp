// What can be seen of the running agent: its memory, its service, and what each switch may read.
#include "agent/KivAgent.h"
#include "host/Tree.h"
#include "platform/harbor/HubstoreService.h"

namespace Host {

namespace {

/// A record of the agent's memory.
struct Memory {
   char const * name;
   RecordForm const & ( *form )();
   Lum::Ptr< Lum::Entity > ( *of )( Kiv::KivCAgent::Agent & agent );
};

Memory const memory[] = {
   { "policyHelperInfo", recordForm< Kiv::PolicyHelperInfo >,
     []( auto & agent ) -> Lum::Ptr< Lum::Entity > { return agent.policyHelperInfo(); } },
   { "serviceIntfConfig", recordForm< Kiv::ServiceIntfConfig >,
     []( auto & agent ) -> Lum::Ptr< Lum::Entity > { return agent.serviceIntfConfig(); } },
   { "servicePolicyConfig", recordForm< Kiv::ServicePolicyConfig >,
     []( auto & agent ) -> Lum::Ptr< Lum::Entity > { return agent.servicePolicyConfig(); } },
   { "servicePolicySourceState", recordForm< Kiv::KivPolicySourceState >,
     []( auto & agent ) -> Lum::Ptr< Lum::Entity > { return agent.servicePolicySourceState(); } },
};

/// A directory of the views: what stands at each of its entries.
Place & addEntries( Place & directory, EntryName const & name ) {
   directory.entryName = &name;
   directory.entry = std::make_unique< Place >();
   return *directory.entry;
}

} // namespace

void Tree::addAgentViews() {
   for( auto const & each : memory ) root_.at( Lum::textOf( "/agent/", each.name ) ).record = &each.form();
   addEntries( root_.at( "/service" ), byService ).record = &recordForm< Harbor::HubstoreService >();
   addEntries( root_.at( "/switch" ), bySystemId ).at( "/kiv/version1/policy/policy" ).record =
      &recordForm< Kiv::V1::KivPolicyFragment >();
   for( char const * root : { "/agent", "/service", "/switch" } ) root_.at( root ).readOnly = true;
}

bool Tree::get( Tokens const & tokens, Writer & writer ) const {
   if( !tokens.empty() ) {
      if( tokens[ 0 ] == "agent" ) return getAgent( tokens, writer );
      if( tokens[ 0 ] == "service" ) return getService( tokens, writer );
      if( tokens[ 0 ] == "switch" ) return getSwitch( tokens, writer );
      return root_.get( tokens, 0, writer );
   }
   writer.StartObject();
   for( char const * root : { "state", "hub", "agent", "service", "switch" } ) {
      writer.Key( root );
      get( { root }, writer );
   }
   writer.EndObject();
   return true;
}

// The tops of the databases, and each entity of the agent that shows.
Tokens Tree::rootPlaceOf( Lum::Entity const & entity ) const {
   if( &entity == state_->root().get() ) return { "state" };
   if( &entity == hub_->root().get() ) return { "hub" };
   if( !agent_ || ( entity.lumParent() && entity.lumParent() != agent_ ) ) return {};
   for( auto const & each : memory ) {
      if( each.of( *agent_ ).get() == &entity ) return { "agent", each.name };
   }
   for( auto const & [ name, service ] : agent_->Oxbow::ServiceAgent::hubstoreService() ) {
      if( service.get() == &entity ) return { "service", name.str() };
   }
   return {};
}

bool Tree::getAgent( Tokens const & tokens, Writer & writer ) const {
   if( tokens.size() > 1 ) {
      for( auto const & each : memory ) {
         auto const record = agent_ && tokens[ 1 ] == each.name ? each.of( *agent_ ) : nullptr;
         if( record ) return each.form().get( *record, tokens, 2, writer );
      }
      return false;
   }
   writer.StartObject();
   for( auto const & each : memory ) {
      auto const record = agent_ ? each.of( *agent_ ) : nullptr;
      if( !record ) continue;
      writer.Key( each.name );
      each.form().read( writer, *record );
   }
   writer.EndObject();
   return true;
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

// Each switch has one publish mount: what is published, and the keys on its way to it.
std::pair< Lum::Ptr< Kiv::V1::KivPolicyFragment const >, Tokens > Tree::seenBy( std::string const & systemId ) const {
   if( !agent_ || !agent_->hubstoreService() ) return {};
   for( auto const & mount : agent_->hubstoreService()->publishedTo( Harbor::systemIdFromString( systemId ) ) ) {
      auto const source = hub_->getEntity< Kiv::V1::KivPolicyFragment >( mount.source );
      if( source ) return { source, tokensOf( Lum::textOf( "/", mount.target ) ) };
   }
   return {};
}

std::set< std::string > Tree::switches() const {
   std::set< std::string > ids;
   if( !agent_ || !agent_->hubstoreService() ) return ids;
   for( auto const & [ name, group ] : agent_->hubstoreService()->serviceMountGroup() ) {
      for( auto const & [ systemId, allowed ] : group->allowedSwitch() ) {
         if( seenBy( systemId.stringValue().str() ).first ) ids.insert( systemId.stringValue().str() );
      }
   }
   return ids;
}

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
   auto const [ source, way ] = seenBy( tokens[ 1 ] );
   Tokens const rest( tokens.begin() + 2, tokens.end() );
   auto const & form = recordForm< Kiv::V1::KivPolicyFragment >();
   if( source && startsWith( rest, way ) ) return form.get( *source, rest, way.size(), writer );
   if( !source || !startsWith( way, rest ) ) return false;
   for( std::size_t i = rest.size(); i < way.size(); ++i ) {
      writer.StartObject();
      writeKey( writer, way[ i ] );
   }
   form.read( writer, *source );
   for( std::size_t i = rest.size(); i < way.size(); ++i ) writer.EndObject();
   return true;
}

// A switch sees something when its directory is written, and when the directory is published or withdrawn. The group
// that does so bears the name of the switch.
Tokens Tree::switchPlaceOf( Tokens const & place ) const {
   static Tokens const directories{ "hub", "kiv", "version1", "policy", "switch" };
   static Tokens const groups{ "service", "Kiv", "serviceMountGroup" };
   if( startsWith( place, groups ) && place.size() == 6 && place[ 4 ] == "publishMount" )
      return { "switch", place[ 3 ] };
   if( !startsWith( place, directories ) || place.size() == directories.size() ) return {};
   auto const id = place.begin() + static_cast< std::ptrdiff_t >( directories.size() );
   Tokens seen{ "switch", *id };
   auto const [ source, way ] = seenBy( *id );
   if( source ) seen.insert( seen.end(), way.begin(), way.end() );
   if( source ) seen.insert( seen.end(), id + 1, place.end() );
   return seen;
}

} // namespace Host
