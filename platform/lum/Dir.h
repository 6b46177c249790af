#pragma once

#include "platform/lum/Entity.h"

namespace Lum {

/// A directory: entities of any type by name. An entry is made in its place and never moves.
class Dir : public Entity {
   LUM_ENTITY( Dir, name, Lum::Name );

   LUM_TABLE_ENTRY( entityPtr );
   using LumKey_entityPtr = Name;
   using Entries = ChildrenStore< HashMap2018< Name, Ptr< Entity > > >;
   Entries const & entityPtr() { return entityPtr_; }
   ReadOnlyChildren< Entries, Entity > entityPtr() const { return ReadOnlyChildren< Entries, Entity >( entityPtr_ ); }
   /// The entry of that name, null when there is none.
   Ptr< Entity > entityPtr( Name const & key ) { return memberOf( entityPtr_, key ); }
   Ptr< Entity const > entityPtr( Name const & key ) const { return memberOf( entityPtr_, key ); }

   /// Puts `entity` under `key`, in the place of what may be there. Raises RangeException for null.
   void entityPtrIs( Name key, Ptr< Entity > entity );

   /// Makes a T under `key`; the entry that is there is returned if it is one, and replaced if it is not.
   template< class T >
   Ptr< T > createEntity( Name key ) {
      if( auto held = boost::dynamic_pointer_cast< T >( entityPtr( key ) ) ) return held;
      Ptr< T > made( new T( key ) );
      entityPtrIs( std::move( key ), made );
      return made;
   }

   struct LumAttribute_entityPtr {
      LUM_DESCRIBE_COLLECTION_( entityPtr, Form::children )
      using Value = Entity;
      template< class Node >
      static void detach( Node & node ) {
         node.value->lumParentIs( nullptr, 0, nullptr );
      }
      template< class Node >
      static PtrInterface * memberOf( Node & node ) {
         return node.value.get();
      }
      static Ptr< Entity > get( Owner & owner, Key const & key ) { return owner.entityPtr( key ); }
      static Ptr< Entity const > get( Owner const & owner, Key const & key ) { return owner.entityPtr( key ); }
   };
   LUM_COLLECTION_( entityPtr, Entries );
};

/// The entity as a T; null when it is of another type or null.
template< class T, class E >
Ptr< T > narrow( Ptr< E > const & entity ) {
   return boost::dynamic_pointer_cast< T >( entity );
}

/// The entry `key` of `dir` as a T; null when it is absent or of another type.
template< class T, class D >
auto entryOf( D const & dir, Name const & key ) {
   return narrow< T >( dir->entityPtr( key ) );
}

} // namespace Lum
