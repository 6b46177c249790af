#include "host/Tree.h"

#include "platform/harbor/ServiceConfigDir.h"
#include "records/hubstore/Status.h"
#include "records/kestrel/ClusterStatus.h"
#include "records/kiv/PolicyConfig.h"
#include "records/kiv/PolicyFragment.h"
#include "records/kiv/PolicyRunningInfo.h"
#include "records/loomis/VniStatus.h"
#include "records/loomis/VtepStatus.h"
#include "records/tessera/Status.h"

namespace Host {

Tree::Tree( Moth::TaskScheduler & scheduler )
   : state_( new Quarry::EmbeddedEntityManager( scheduler ) ), hub_( new Quarry::EmbeddedEntityManager( scheduler ) ) {
   addRecord< Kiv::Config >( *state_, "/state/kiv/config" );
   addRecord< Kiv::Status >( *state_, "/state/kiv/status" );
   addDirectory< Kiv::ServicePolicyConfig >( *state_, "/state/kiv/servicePolicyConfig", bySource );
   addDirectory< Kiv::ServiceIntfConfig >( *state_, "/state/kiv/serviceIntfConfig", bySource );
   addDirectory< Kiv::KivPolicySourceState >( *state_, "/state/kiv/servicePolicySourceState", bySource );
   addRecord< Kiv::PolicyRunningInfoCol >( *state_, "/state/kiv/servicePolicyStatus" );
   addRecord< Harbor::ServiceConfigDir >( *state_, "/state/controller/service/config" );
   addRecord< Hubstore::Status >( *state_, "/state/controller/status" );
   auto & cluster = addRecord< Kestrel::ClusterStatusDir >( *state_, "/state/controller/cluster/statusDir" );
   cluster.fixedChild = { "clusterStatus", "default" };
   cluster.record->apply( *cluster.entity, parsed( R"({"clusterStatus": {"default": {}}})" ) );

   addDirectory< Kiv::V1::KivPolicyFragment >( *hub_, "/hub/kiv/version1/policy/switch", bySystemId );
   addRecord< Loomis::VniStatusDirV2 >( *hub_, "/hub/kiv/version2/vniStatusDir" );
   addDirectory< Loomis::VniFdbStatusV2 >( *hub_, "/hub/loomis/version2/vni", byVni );
   addRecord< Tessera::Status >( *hub_, "/hub/topology/version3/global/status" );
   addDirectory< Loomis::VtepStatusDirV2 >( *hub_, "/hub/vxlan/version2/vtepStatusDir/switch", bySystemId );
   addDirectory< Kiv::V1::KivPolicyFragmentStatus >( *hub_, "/hub/kivclient/version1/policystatus/switch", bySystemId );

   addAgentViews();
}

namespace {

/// The path in its database of a place that begins with the database's name.
std::string pathIn( std::string const & pointer ) { return pointer.substr( pointer.find( '/', 1 ) + 1 ); }

} // namespace

template< class T >
Place & Tree::addRecord( Quarry::EmbeddedEntityManager & database, std::string const & pointer ) {
   auto & place = root_.at( pointer );
   place.entity = database.createEntity< T >( pathIn( pointer ) );
   place.record = &recordForm< T >();
   return place;
}

template< class T >
void Tree::addDirectory( Quarry::EmbeddedEntityManager & database, std::string const & pointer,
                         EntryName const & name ) {
   auto & place = root_.at( pointer );
   place.entity = database.createEntity< Lum::Dir >( pathIn( pointer ) );
   place.entryName = &name;
   place.entry = std::make_unique< Place >();
   place.entry->record = &recordForm< T >();
   place.makeEntry = []( Lum::Dir & dir, Lum::Name key ) {
      return Lum::Ptr< Lum::Entity >( dir.createEntity< T >( key ) );
   };
   place.isEntry = []( Lum::Entity const & entity ) { return dynamic_cast< T const * >( &entity ) != nullptr; };
}

void Tree::check( Json const & patch ) const {
   needUniqueKeys( patch, "" );
   root_.check( patch, "" );
}

Tokens Tree::located( Tokens tokens ) const {
   root_.locate( tokens, 0 );
   return tokens;
}

void Tree::describe( Writer & writer ) const {
   writer.StartObject();
   root_.describe( writer, "", {} );
   writer.EndObject();
}

Tokens Tree::placeOf( Lum::Entity const & entity, Lum::AttributeId attribute, void const * key ) const {
   Tokens reversed;
   auto const push = [ & ]( Lum::Entity const & owner, Lum::AttributeId number, std::string const & keyText ) {
      if( !keyText.empty() ) reversed.push_back( keyText );
      if( !dynamic_cast< Lum::Dir const * >( &owner ) ) reversed.push_back( owner.lumAttributeName( number ).str() );
   };
   push( entity, attribute, entity.lumAttributeKeyText( attribute, key ).str() );
   auto const * each = &entity;
   auto place = rootPlaceOf( *each );
   for( ; place.empty() && each->lumParent(); place = rootPlaceOf( *each ) ) {
      auto const & owner = *each->lumParent();
      // A single child goes by the attribute's name alone.
      auto const text = owner.lumHasKeys( each->lumParentAttribute() ) ? each->lumKeyText().str() : "";
      push( owner, each->lumParentAttribute(), text );
      each = &owner;
   }
   if( !place.empty() ) place.insert( place.end(), reversed.rbegin(), reversed.rend() );
   return place;
}

} // namespace Host
