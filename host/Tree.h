// The tree of the state interface: the two databases, and what can be seen of
// the running agent.
#pragma once

#include "host/RecordForm.h"
#include "platform/quarry/EmbeddedEntityManager.h"

#include <functional>
#include <memory>

namespace Kiv::KivCAgent {
class Agent;
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

   /// The place of a written attribute, or of the member under `key`; empty for
   /// an entity outside of the tree.
   Tokens placeOf( Lum::Entity const & entity, Lum::AttributeId attribute, void const * key ) const;

 private:
   struct Node;

   void add( Quarry::EmbeddedEntityManager & database, char const * root, char const * path, RecordForm const * record,
             RecordForm const * entries );
   template< class T >
   void addRecord( Quarry::EmbeddedEntityManager & database, char const * root, char const * path );
   template< class T >
   void addDirectory( Quarry::EmbeddedEntityManager & database, char const * root, char const * path );

   bool getRecord( Tokens const & tokens, Writer & writer ) const;
   bool getAgent( Tokens const & tokens, Writer & writer ) const;
   bool getService( Tokens const & tokens, Writer & writer ) const;
   bool getSwitch( Tokens const & tokens, Writer & writer ) const;
   void writeSwitch( std::string const & systemId, Writer & writer ) const;
   std::vector< std::string > switches() const;

   Lum::Ptr< Quarry::EmbeddedEntityManager > state_;
   Lum::Ptr< Quarry::EmbeddedEntityManager > hub_;
   std::unique_ptr< Node > root_;
   Kiv::KivCAgent::Agent * agent_ = nullptr;
};

} // namespace Host
