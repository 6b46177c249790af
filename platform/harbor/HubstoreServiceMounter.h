#pragma once

#include "platform/harbor/SystemId.h"
#include "platform/quarry/EntityManager.h"

namespace Harbor {

/// Is told what becomes of a service's mount groups, always on a later turn than the declaration. One that goes first
/// is told nothing, and of a group that left its service nothing is told. Each group goes through this once, when it is
/// closed for the first time; the last two only if it has controller mounts.
class HubstoreServiceMounter : public Lum::PtrInterface, public Moth::WeakTarget {
 public:
   /// The group stands.
   virtual void doMountsComplete( Lum::Name const & groupName,
                                  Lum::Ptr< Quarry::EntityManager > const & entityManager );
   /// The mounts of one of the switches known at the start.
   virtual void doHandleControllerMountState( SystemId const & systemId, Lum::Name const & groupName,
                                              Quarry::MountStatus mountState,
                                              Lum::Ptr< Quarry::EntityManager > const & entityManager );
   /// Those of all switches known at the start are in; a turn later than the first.
   virtual void doInitialSwitchMountsComplete( Lum::Name const & groupName,
                                               Lum::Ptr< Quarry::EntityManager > const & entityManager );
};

} // namespace Harbor
