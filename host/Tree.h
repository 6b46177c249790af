// The tree of the state interface: the two databases, and what can be seen of the running agent.
#pragma once

#include "host/Place.h"
#include "platform/quarry/EmbeddedEntityManager.h"

#include <set>

namespace Kiv::KivCAgent {
class Agent;
}
namespace Kiv::V1 {
class KivPolicyFragment;
}

namespace Host {

/// The embedded databases and everything that reads and writes them as documents. The records at fixed paths exist from
/// the start and cannot be deleted; a directory's entries take the type of the directory.
class Tree {
 public:
   explicit Tree( Moth::TaskScheduler & scheduler );
   Tree( Tree const & ) = delete;
   Tree & operator=( Tree const & ) = delete;

   Lum::Ptr< Quarry::EmbeddedEntityManager > const & state() const { return state_; }
   Lum::Ptr< Quarry::EmbeddedEntityManager > const & hub() const { return hub_; }

   /// The agent whose memory shows under "/agent", "/service" and "/switch"; null while there is none.
   void agentIs( Kiv::KivCAgent::Agent * agent ) { agent_ = agent; }

   /// Raises Refusal if the merge patch, rooted at the top, does not fit the tree. Changes nothing.
   void check( Json const & patch ) const;
   /// Applies a checked patch, member by member in its order.
   void apply( Json const & patch ) { root_.apply( patch ); }
   /// Writes the value at a place; false when nothing stands there.
   bool get( Tokens const & tokens, Writer & writer ) const;
   /// The place with its keys in the form in which they are read. Raises Refusal when nothing can ever stand there.
   Tokens located( Tokens tokens ) const;
   /// Writes an object with a member for each record that may stand, under its place: its class and its attributes,
   /// each with form, types, default and who writes it.
   void describe( Writer & writer ) const;

   /// The place of a written attribute, or of the member under `key`; empty for an entity outside of the tree.
   Tokens placeOf( Lum::Entity const & entity, Lum::AttributeId attribute, void const * key ) const;
   /// Where a write at `place` shows to a switch, under "/switch"; empty if it shows to none.
   Tokens switchPlaceOf( Tokens const & place ) const;

 private:
   template< class T >
   Place & addRecord( Quarry::EmbeddedEntityManager & database, std::string const & pointer );
   template< class T >
   void addDirectory( Quarry::EmbeddedEntityManager & database, std::string const & pointer, EntryName const & name );
   void addAgentViews();

   Tokens rootPlaceOf( Lum::Entity const & entity ) const;
   bool getAgent( Tokens const & tokens, Writer & writer ) const;
   bool getService( Tokens const & tokens, Writer & writer ) const;
   bool getSwitch( Tokens const & tokens, Writer & writer ) const;
   std::set< std::string > switches() const;
   std::pair< Lum::Ptr< Kiv::V1::KivPolicyFragment const >, Tokens > seenBy( std::string const & systemId ) const;

   Lum::Ptr< Quarry::EmbeddedEntityManager > state_;
   Lum::Ptr< Quarry::EmbeddedEntityManager > hub_;
   Place root_;
   Kiv::KivCAgent::Agent * agent_ = nullptr;
};

} // namespace Host
