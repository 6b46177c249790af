#include "host/Tree.h"

#include "platform/harbor/ServiceConfigDir.h"
#include "records/hubstore/Status.h"
#include "records/kestrel/ClusterStatus.h"
#include "records/kiv/PolicyFragment.h"
#include "records/kiv/PolicyRunningInfo.h"
#include "records/loomis/VniStatus.h"
#include "records/loomis/VtepStatus.h"
#include "records/tessera/Status.h"

#include <span>

namespace Host {

/// A place in the databases: a directory on the way, a record, or a directory
/// with entries of one type.
struct Tree::Node {
   std::map< std::string, std::unique_ptr< Node >, std::less<> > members;
   Lum::Ptr< Lum::Entity > entity; // null on the way
   RecordForm const * record = nullptr;
   RecordForm const * entries = nullptr;
   Tokens fixedChild; // of the record, one that cannot be deleted either

   Lum::Dir & dir() const { return static_cast< Lum::Dir & >( *entity ); }

   void check( Json const & patch, std::string const & at ) const;
   void apply( Json const & patch ) const;
   void read( Writer & writer ) const;
   bool get( Tokens const & tokens, std::size_t next, Writer & writer ) const;
   Lum::Ptr< Lum::Entity > entry( Lum::Name const & name ) const {
      auto const held = dir().entityPtr( name );
      return held && entries->holds( *held ) ? held : nullptr;
   }
};

namespace {

constexpr char const * notDeleted = "a record at a fixed path cannot be deleted";

/// Raises Refusal if the patch deletes what stands at `path`, or something above.
void checkFixed( Json const & patch, std::span< std::string const > path, std::string const & at ) {
   if( patch.IsNull() ) throw Refusal{ at, notDeleted };
   if( path.empty() ) return;
   for( auto const & each : patch.GetObject() ) {
      if( textOf( each.name ) == path[ 0 ] ) checkFixed( each.value, path.subspan( 1 ), below( at, path[ 0 ] ) );
   }
}

} // namespace

void Tree::Node::check( Json const & patch, std::string const & at ) const {
   if( patch.IsNull() ) {
      if( entries ) return;
      throw Refusal{ at, notDeleted };
   }
   if( record ) {
      record->check( patch, at );
      checkFixed( patch, fixedChild, at );
      return;
   }
   needObject( patch, at );
   for( auto const & each : patch.GetObject() ) {
      auto const place = below( at, textOf( each.name ) );
      if( entries ) {
         if( each.name.GetStringLength() == 0 ) throw Refusal{ place, "an empty key" };
         if( !each.value.IsNull() ) entries->check( each.value, place );
      } else {
         auto const member = members.find( textOf( each.name ) );
         if( member == members.end() ) throw Refusal{ place, "no such record" };
         member->second->check( each.value, place );
      }
   }
}

void Tree::Node::apply( Json const & patch ) const {
   if( record ) {
      record->apply( *entity, patch );
      return;
   }
   if( patch.IsNull() ) {
      dir().entityPtrDelAll();
      return;
   }
   for( auto const & each : patch.GetObject() ) {
      if( !entries ) {
         members.find( textOf( each.name ) )->second->apply( each.value );
      } else if( each.value.IsNull() ) {
         dir().entityPtrDel( textOf( each.name ) );
      } else {
         auto const made = entries->makeEntry( dir(), textOf( each.name ) );
         entries->apply( *made, each.value );
      }
   }
}

void Tree::Node::read( Writer & writer ) const {
   if( record ) {
      record->read( writer, *entity );
      return;
   }
   writer.StartObject();
   for( auto const & [ name, member ] : members ) {
      writeKey( writer, name );
      member->read( writer );
   }
   if( entries ) {
      for( auto const & [ name, held ] : sortedMembers( dir().entityPtr() ) ) {
         if( !entries->holds( *held ) ) continue;
         writeKey( writer, name );
         entries->read( writer, *held );
      }
   }
   writer.EndObject();
}

bool Tree::Node::get( Tokens const & tokens, std::size_t next, Writer & writer ) const {
   if( next == tokens.size() ) {
      read( writer );
      return true;
   }
   if( record ) return record->get( *entity, tokens, next, writer );
   if( entries ) {
      auto const held = entry( Lum::String( tokens[ next ] ) );
      return held && entries->get( *held, tokens, next + 1, writer );
   }
   auto const member = members.find( tokens[ next ] );
   return member != members.end() && member->second->get( tokens, next + 1, writer );
}

Tree::~Tree() = default;

Tree::Tree( Moth::TaskScheduler & scheduler )
   : state_( new Quarry::EmbeddedEntityManager( scheduler ) ), hub_( new Quarry::EmbeddedEntityManager( scheduler ) ),
     root_( std::make_unique< Node >() ) {
   addRecord< Kiv::Config >( *state_, "state", "kiv/config" );
   addRecord< Kiv::Status >( *state_, "state", "kiv/status" );
   addDirectory< Kiv::ServicePolicyConfig >( *state_, "state", "kiv/servicePolicyConfig" );
   addDirectory< Kiv::ServiceIntfConfig >( *state_, "state", "kiv/serviceIntfConfig" );
   addDirectory< Kiv::KivPolicySourceState >( *state_, "state", "kiv/servicePolicySourceState" );
   addRecord< Kiv::PolicyRunningInfoCol >( *state_, "state", "kiv/servicePolicyStatus" );
   addRecord< Harbor::ServiceConfigDir >( *state_, "state", "controller/service/config" );
   addRecord< Hubstore::Status >( *state_, "state", "controller/status" );
   addRecord< Kestrel::ClusterStatusDir >( *state_, "state", "controller/cluster/statusDir",
                                           { "clusterStatus", "default" } );
   state_->getEntity< Kestrel::ClusterStatusDir >( "controller/cluster/statusDir" )->clusterStatusIs( "default" );

   addDirectory< Kiv::V1::KivPolicyFragment >( *hub_, "hub", "kiv/version1/policy/switch" );
   addRecord< Loomis::VniStatusDirV2 >( *hub_, "hub", "kiv/version2/vniStatusDir" );
   addDirectory< Loomis::VniFdbStatusV2 >( *hub_, "hub", "loomis/version2/vni" );
   addRecord< Tessera::Status >( *hub_, "hub", "topology/version3/global/status" );
   addDirectory< Loomis::VtepStatusDirV2 >( *hub_, "hub", "vxlan/version2/vtepStatusDir/switch" );
   addDirectory< Kiv::V1::KivPolicyFragmentStatus >( *hub_, "hub", "kivclient/version1/policystatus/switch" );
}

template< class T >
void Tree::addRecord( Quarry::EmbeddedEntityManager & database, char const * root, char const * path,
                      Tokens fixedChild ) {
   database.createEntity< T >( path );
   auto & node = add( database, root, path );
   node.record = &recordForm< T >();
   node.fixedChild = std::move( fixedChild );
}

template< class T >
void Tree::addDirectory( Quarry::EmbeddedEntityManager & database, char const * root, char const * path ) {
   database.createEntity< Lum::Dir >( path );
   add( database, root, path ).entries = &recordForm< T >();
}

Tree::Node & Tree::add( Quarry::EmbeddedEntityManager & database, char const * root, char const * path ) {
   Node * node = root_.get();
   for( auto const & token : tokensOf( "/" + std::string( root ) + "/" + path ) ) {
      auto & member = node->members[ token ];
      if( !member ) member = std::make_unique< Node >();
      node = member.get();
   }
   node->entity = database.getEntity( path );
   return *node;
}

void Tree::check( Json const & patch ) const {
   needObject( patch, "" );
   for( auto const & each : patch.GetObject() ) {
      for( char const * readOnly : { "agent", "service", "switch" } ) {
         if( textOf( each.name ) == readOnly ) throw Refusal{ below( "", readOnly ), "read-only" };
      }
   }
   root_->check( patch, "" );
}

bool Tree::getRecord( Tokens const & tokens, Writer & writer ) const { return root_->get( tokens, 0, writer ); }

void Tree::apply( Json const & patch ) { root_->apply( patch ); }

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
