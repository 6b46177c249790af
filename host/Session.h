// The requests of the state interface, served one line at a time, and the agent that they are about.
#pragma once

#include "host/Watches.h"
#include "platform/lum/Log.h"
#include "platform/moth/VirtualTaskScheduler.h"

#include <deque>
#include <functional>

namespace boost::asio {
class io_context;
}
namespace Oxlet {
class AgentCommandRequestDirSm;
}

namespace Host {

class Session final : private Lum::WriteObserver {
 public:
   enum class Clock { real, virtualClock };

   /// @param loop  carries the real clock; between requests its owner runs it
   /// @param emit  is given each line that is no answer ("changed"), in its order, before the answer
   Session( Clock clock, boost::asio::io_context & loop, std::function< void( std::string const & line ) > emit );
   Session( Session const & ) = delete;
   Session & operator=( Session const & ) = delete;
   /// Ends the agent as a killed process ends: the databases stay as they are.
   ~Session();

   /// Serves one line of any length; the answer has no newline. A bad line is answered by an error and changes nothing.
   std::string answer( std::string_view line );
   /// Applies a document before the agent starts; raises Refusal when it is bad, and then changes nothing.
   void load( std::string_view document );
   /// Makes the agent and runs its start to the end. There must be none yet.
   void start();

   /// A quit request has been served.
   bool quits() const { return quits_; }
   Tree const & tree() const { return tree_; }
   /// Null until it is started.
   Lum::Ptr< Kiv::KivCAgent::Agent > const & agent() const { return agent_; }

   /// A line for each request: its name and what it does.
   static std::string requestList();

 private:
   /// Adds the members of the answer behind `ok`.
   using Serve = void ( Session::* )( Json const & argument, Writer & writer );
   struct Request {
      char const * name;
      Serve serve;
      char const * does;
      char const * example;
   };
   static std::span< Request const > requests();
   /// Null where there is none of that name.
   static Request const * request( std::string_view name );
   /// The one request of a line, and its argument. Beside it a line may carry a "note" for a person who reads along.
   static std::pair< Request const *, Json const * > requestIn( Json const & line );
   [[noreturn]] static void refuseStranger( std::string_view name, Request const * chosen );

   void serveStart( Json const & argument, Writer & writer );
   void servePatch( Json const & argument, Writer & writer );
   void serveGet( Json const & argument, Writer & writer );
   void serveAdvance( Json const & argument, Writer & writer );
   void serveCommand( Json const & argument, Writer & writer );
   void serveLog( Json const & argument, Writer & writer );
   void serveRestart( Json const & argument, Writer & writer );
   void serveWatch( Json const & argument, Writer & writer );
   void serveHelp( Json const & argument, Writer & writer );
   void serveSchema( Json const & argument, Writer & writer );
   void serveQuit( Json const & argument, Writer & writer );

   static void keepMessage( void * session, Lum::LogMessage const & message );
   void endAgent();
   /// Those of the agent; null while there is none.
   Oxlet::AgentCommandRequestDirSm const * commands() const;
   void settle();
   void handleWrite( Lum::Entity const & entity, Lum::AttributeId attribute, void const * key ) override;

   boost::asio::io_context & loop_;
   std::function< void( std::string const & line ) > emit_;
   Lum::Ptr< Moth::VirtualTaskScheduler > virtualClock_; // null on the real one
   Lum::Ptr< Moth::TaskScheduler > scheduler_;
   Tree tree_;
   Watches watches_;
   Lum::Ptr< Kiv::KivCAgent::Agent > agent_;
   std::deque< Lum::LogMessage > log_;
   std::uint64_t lost_ = 0;            // messages that had to leave the log unread
   std::vector< std::string > raised_; // by the request under way
   bool quits_ = false;
};

} // namespace Host
