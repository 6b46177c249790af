#pragma once

#include "platform/oxlet/AgentCommandCallback.h"

#include <map>

namespace Oxlet {

/// The commands of an agent.
class AgentCommandRequestDirSm : public Lum::PtrInterface {
 public:
   /// All of them, by name.
   auto const & agentCommandCallback() const { return callback_; }
   /// The command of that name, null when there is none.
   Lum::Ptr< AgentCommandCallback > agentCommandCallback( Lum::Name const & name ) const {
      auto const found = callback_.find( name );
      return found == callback_.end() ? nullptr : found->second;
   }
   /// Registers a command under its name, in the place of one that is there.
   void agentCommandCallbackIs( Lum::Ptr< AgentCommandCallback > callback ) {
      auto const name = callback->name();
      callback_[ name ] = std::move( callback );
   }
   void agentCommandCallbackDel( Lum::Name const & name ) { callback_.erase( name ); }

 private:
   std::map< Lum::Name, Lum::Ptr< AgentCommandCallback > > callback_;
};

} // namespace Oxlet
