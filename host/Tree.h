// The tree of the state interface: the two databases, and what can be seen of
// the running agent.
#pragma once

#include "host/RecordForm.h"
#include "platform/quarry/EmbeddedEntityManager.h"

#include <functional>
#include <memory>
#include <set>

namespace Kiv::KivCAgent {
class Agent;
}
namespace Kiv::V1 {
class KivPolicyFragment;
}

namespace Host {

/// The embedded databases and everything that reads and writes them as
/// documents. The records at fixed paths exist from the start and cannot be
/// deleted; a directory's entries take the type of the directory.
class Tree {
 public:
   explicit Tree( Moth::TaskScheduler & scheduler );
   Tree( Tree const & ) = delete;
   Tree & operator=( Tree const & ) = delete;
   ~Tree();

   Lum::Ptr< Quarry::EmbeddedEntityManager > const & state() const { return state_; }
   Lum::Ptr< Quarry::EmbeddedEntityManager > const & hub() const { return hub_; }

   /// The agent whose memory shows under "/agent", "/service" and "/switch";
   /// null while there is none.
   void agentIs( Kiv::KivCAgent::Agent * agent ) { agent_ = agent; }

   /// Raises Refusal if the merge patch, rooted at the top, does not fit the
   /// tree. Changes nothing.
   void check( Json const & patch ) const;
   /// Applies a checked patch, member by member in its order.
   void apply( Json const & patch );
   /// Writes the value at a place; false when nothing stands there.
   bool get( Tokens const & tokens, Writer & writer ) const;

   /// The place of a written attribute, or of the member under `key`; empty for an entity outside of the tree.
   Tokens placeOf( Lum::Entity const & entity, Lum::AttributeId attribute, void const * key ) const;
   /// Where a write at `place` shows to a switch, under "/switch"; empty if it shows to none.
   Tokens switchPlaceOf( Tokens const & place ) const;

 private:
   struct Node;

   Node & add( Quarry::EmbeddedEntityManager & database, char const * root, char const * path );
   template< class T >
   void addRecord( Quarry::EmbeddedEntityManager & database, char const * root, char const * path,
                   Tokens fixedChild = {} );
   template< class T >
   void addDirectory( Quarry::EmbeddedEntityManager & database, char const * root, char const * path );

   Tokens rootPlaceOf( Lum::Entity const & entity ) const;
   bool getRecord( Tokens const & tokens, Writer & writer ) const;
   bool getAgent( Tokens const & tokens, Writer & writer ) const;
   bool getService( Tokens const & tokens, Writer & writer ) const;
   bool getSwitch( Tokens const & tokens, Writer & writer ) const;
   std::set< std::string > switches() const;
   std::pair< Lum::Ptr< Kiv::V1::KivPolicyFragment const >, Tokens > seenBy( std::string const & systemId ) const;

   Lum::Ptr< Quarry::EmbeddedEntityManager > state_;
   Lum::Ptr< Quarry::EmbeddedEntityManager > hub_;
   std::unique_ptr< Node > root_;
   Kiv::KivCAgent::Agent * agent_ = nullptr;
};

} // namespace Host
