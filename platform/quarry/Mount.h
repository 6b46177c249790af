// Mounts: how the agent asks for the parts of a database that it works with. It adds mounts to a group, closes the
// group and is told, on a later turn of the loop, when all of them are in.
#pragma once

#include "platform/lum/PtrInterface.h"
#include "platform/moth/Weak.h"

namespace Quarry {

class EntityManager;

/// One mount: a path ("kiv/config", with "" for the root), the full name of the type that is expected there
/// ("Kiv::Config"), and what is to be done with it ("r" read, "w" write; further letters are the database's own).
class Mount {
 public:
   Mount( Lum::String path, Lum::String typeName, Lum::String flags )
      : path_( std::move( path ) ), typeName_( std::move( typeName ) ) {
      handleFlags( std::move( flags ) );
   }

   Lum::String const & path() const { return path_; }
   Lum::String const & typeName() const { return typeName_; }
   Lum::String const & flags() const { return flags_; }
   void handleFlags( Lum::String flags ) { flags_ = std::move( flags ); }

 private:
   Lum::String path_;
   Lum::String typeName_;
   Lum::String flags_;
};

enum MountStatus {
   mountSuccess_, ///< the database was asked for every path; what stands there, if anything, can be fetched
   mountFailure_, ///< the database could not be asked
};

/// Is told when a mount group is complete. One that goes first is told nothing.
class Mounter : public Moth::WeakTarget {
 public:
   /// The group is complete: calls doMountsComplete.
   virtual void doQuarryMountsComplete( MountStatus mountStatus, Lum::Ptr< EntityManager > const & entityManager );
   /// The hook: what was mounted can be fetched from `entityManager`.
   virtual void doMountsComplete( MountStatus mountStatus, Lum::Ptr< EntityManager > const & entityManager ) = 0;
   /// The group's status alone, just before.
   virtual void handleMountStatus( MountStatus mountStatus );

 protected:
   ~Mounter() = default;
};

/// Mounts that complete together. Nobody needs to hold a group that is closed.
class MountGroup : public Lum::PtrInterface {
 public:
   /// Adds a mount; a programming fault once the group is closed.
   virtual void doMount( Mount mount ) = 0;
   /// Ends the declarations. The mounter is told on a later turn, never inside this call. Whether to wait, the name of
   /// a stage and a time limit in seconds are for databases that take time.
   virtual void doClose( bool wait, Lum::String const & stage, double timeLimit ) = 0;
};

} // namespace Quarry
