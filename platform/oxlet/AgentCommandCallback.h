// Operator commands: an agent registers callbacks, and each request is served by a machine of its own.
#pragma once

#include "platform/lum/Machine.h"

namespace Oxlet {

class AgentAsyncCommandRequestSm;

/// A command: its name, and a line of help for the operator.
class AgentCommandCallback : public Lum::PtrInterface {
 public:
   AgentCommandCallback( Lum::Name name, Lum::String help ) : name_( std::move( name ) ), help_( std::move( help ) ) {}

   Lum::Name const & name() const { return name_; }
   Lum::String const & help() const { return help_; }

   /// Answers one request on the descriptor `fd`, which stays the caller's; the command says what `parameters` are.
   virtual void handleCommand( std::uint32_t fd, Lum::String parameters ) = 0;

   /// Serves one request at once. An exception that leaves the command goes to Lum::onNotificationException.
   Lum::Ptr< AgentAsyncCommandRequestSm > createAgentAsyncCommandRequestSm( std::uint32_t fd, Lum::String parameters );

 private:
   Lum::Name name_;
   Lum::String help_;
};

/// One request. It holds the command, which may be replaced or removed while it runs.
class AgentAsyncCommandRequestSm : public Lum::PtrInterface {
   LUM_MACHINE( AgentAsyncCommandRequestSm );
   LUM_ARG( callback, Lum::Ptr< AgentCommandCallback > );
   LUM_ARG( fd, std::uint32_t );
   LUM_ARG( parameters, Lum::String );

   void handleInitialized() { callback()->handleCommand( fd(), parameters() ); }
};

inline constexpr Lum::Factory< AgentAsyncCommandRequestSm > agentAsyncCommandRequestSmFactory;

inline Lum::Ptr< AgentAsyncCommandRequestSm >
AgentCommandCallback::createAgentAsyncCommandRequestSm( std::uint32_t fd, Lum::String parameters ) {
   return agentAsyncCommandRequestSmFactory( Lum::Ptr< AgentCommandCallback >( this ), fd, parameters );
}

} // namespace Oxlet
