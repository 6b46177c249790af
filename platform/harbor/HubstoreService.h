// The layer that a service of the controller lays over the hubstore: which mounts it takes from the switches, and what
// it publishes to which of them.
#pragma once

#include "platform/harbor/HubstoreServiceMountGroup.h"

#include <map>
#include <set>
#include <vector>

namespace Harbor {

/// One service. A change of its groups or white lists opens it again, until it is closed anew. With the object
/// everything that was published through it is withdrawn: a restarted agent publishes from nothing.
class HubstoreService : public Lum::Entity {
   LUM_ENTITY( HubstoreService, name, Lum::Name );

   HubstoreService( Lum::Name name, Lum::Ptr< Quarry::EntityManager > quarryEntityManager,
                    Lum::Ptr< Quarry::EntityManager > hubstoreEntityManager );

   Lum::Ptr< Quarry::EntityManager > const & quarryEntityManager() const { return quarryEntityManager_; }
   Lum::Ptr< Quarry::EntityManager > const & hubstoreEntityManager() const { return hubstoreEntityManager_; }

   LUM_CHILDREN( serviceMountGroup, Lum::Name, HubstoreServiceMountGroup );
   /// The group of that name, made if it is not there; `mounter` is told of its events as long as it exists.
   Lum::Ptr< HubstoreServiceMountGroup > serviceMountGroupIs( Lum::Name name,
                                                              Lum::Ptr< HubstoreServiceMounter > const & mounter );

   /// The white list of that name, made if it is not there.
   Lum::Ptr< VersionWhiteListBase > versionWhiteListIs( Lum::Name name );
   Lum::Ptr< SwitchWhiteListBase > switchWhiteListIs( Lum::Name name );
   /// Removes the list. A group that it is attached to admits nobody from then on.
   void switchWhiteListDel( Lum::Name const & name );

   /// The declarations are complete.
   bool closed() const { return closed_; }
   void closedIs( bool closed ) { closed_ = closed; }
   /// Whether publish mounts are to be in step with each other. Those of the embedded hubstore always are: the wish is
   /// only kept.
   bool publishMountsSynchronized() const { return publishMountsSynchronized_; }
   void publishMountsSynchronizedIs( bool synchronized ) { publishMountsSynchronized_ = synchronized; }

   /// What a switch may read now: the publish mounts of every group whose switch white list admits it.
   std::vector< PublishMount > publishedTo( SystemId const & systemId ) const;

 private:
   friend class HubstoreServiceMountGroup;

   /// Tells a group's mounter of an event on a later turn, if both are still there then.
   using Event = void ( HubstoreService::* )( HubstoreServiceMountGroup & group, HubstoreServiceMounter & mounter );
   void announce( Lum::Ptr< HubstoreServiceMountGroup > const & group, Event event );
   void mountsComplete( HubstoreServiceMountGroup & group, HubstoreServiceMounter & mounter );
   void switchMountsComplete( HubstoreServiceMountGroup & group, HubstoreServiceMounter & mounter );
   std::set< SystemId > switchesOf( HubstoreServiceMountGroup const & group ) const;
   void reopen() { closed_ = false; }

   Lum::Ptr< Quarry::EntityManager > quarryEntityManager_;
   Lum::Ptr< Quarry::EntityManager > hubstoreEntityManager_;
   std::map< Lum::Name, Lum::Ptr< VersionWhiteListBase > > versionWhiteList_;
   std::map< Lum::Name, Lum::Ptr< SwitchWhiteListBase > > switchWhiteList_;
   bool closed_ = false;
   bool publishMountsSynchronized_ = false;
   OwnChanges< HubstoreService, LumAttribute_serviceMountGroup > const groups_{ this, &HubstoreService::reopen };
};

} // namespace Harbor
