#include "host/Session.h"

#include "agent/KivAgent.h"
#include "host/Command.h"
#include "platform/lum/Clock.h"

namespace Host {

namespace {

Moth::TaskScheduler const * programClock = nullptr;
double programTime() { return programClock->now(); }

void needTrue( Json const & argument ) {
   if( !argument.IsTrue() ) throw Refusal{ "", "true is expected" };
}

std::string_view needText( Json const & argument ) {
   if( !argument.IsString() ) throw Refusal{ "", "a JSON Pointer is expected" };
   return textOf( argument );
}

std::string errorLine( Refusal const & refusal ) {
   rapidjson::StringBuffer buffer;
   Writer writer( buffer );
   writer.StartObject();
   writer.Key( "error" );
   writer.StartObject();
   writer.Key( "at" );
   writeText( writer, refusal.at );
   writer.Key( "reason" );
   writeText( writer, refusal.reason );
   writer.EndObject();
   writer.EndObject();
   return buffer.GetString();
}

} // namespace

Session::Session( Clock clock, boost::asio::io_context & loop, std::function< void( std::string const & ) > emit )
   : loop_( loop ), emit_( std::move( emit ) ),
     virtualClock_( clock == Clock::virtualClock ? new Moth::VirtualTaskScheduler : nullptr ),
     scheduler_( virtualClock_ ? Lum::Ptr< Moth::TaskScheduler >( virtualClock_ )
                               : Lum::Ptr< Moth::TaskScheduler >( new Moth::SteadyTaskScheduler( loop ) ) ),
     tree_( *scheduler_ ), watches_( tree_ ) {
   programClock = scheduler_.get();
   Lum::clockIs( programTime );
   Lum::Entity::writeObserverIs( this );
   Lum::logSinkIs( keepMessage, this );
   Lum::notificationExceptionSinkIs(
      []( void * context, std::string const & text ) {
         static_cast< Session * >( context )->raised_.push_back( text );
      },
      this );
}

Session::~Session() {
   watches_.clear();
   endAgent();
   Lum::notificationExceptionSinkIs( nullptr, nullptr );
   Lum::logSinkIs( nullptr, nullptr );
   Lum::Entity::writeObserverIs( nullptr );
   Lum::clockIs( nullptr );
}

std::map< std::string_view, Session::Serve > const & Session::requests() {
   static std::map< std::string_view, Serve > const all{
      { "start", &Session::serveStart },     { "patch", &Session::servePatch },     { "get", &Session::serveGet },
      { "advance", &Session::serveAdvance }, { "command", &Session::serveCommand }, { "log", &Session::serveLog },
      { "restart", &Session::serveRestart }, { "watch", &Session::serveWatch },     { "quit", &Session::serveQuit },
   };
   return all;
}

std::string Session::answer( std::string_view line ) {
   raised_.clear();
   try {
      auto const request = parsed( line );
      if( !request.IsObject() ) throw Refusal{ "", "a request is a JSON object" };
      rapidjson::StringBuffer buffer;
      Writer writer( buffer );
      writer.StartObject();
      writer.Key( "ok" );
      writer.Bool( true );
      serve( request, writer );
      if( !raised_.empty() ) {
         writer.Key( "raised" );
         writer.StartArray();
         for( auto const & text : raised_ ) writeText( writer, text );
         writer.EndArray();
      }
      writer.EndObject();
      return buffer.GetString();
   } catch( Refusal const & refusal ) {
      return errorLine( refusal );
   }
}

// A request may carry a "note" for a person who reads along.
void Session::serve( Json const & request, Writer & writer ) {
   Serve chosen = nullptr;
   Json const * argument = nullptr;
   for( auto const & each : request.GetObject() ) {
      if( textOf( each.name ) == "note" ) continue;
      auto const found = requests().find( textOf( each.name ) );
      if( found == requests().end() ) {
         throw Refusal{ "", "unknown request \"" + std::string( textOf( each.name ) ) + "\"" };
      }
      if( chosen ) throw Refusal{ "", "more than one request in a line" };
      chosen = found->second;
      argument = &each.value;
   }
   if( !chosen ) throw Refusal{ "", "no request" };
   ( this->*chosen )( *argument, writer );
}

void Session::load( std::string_view document ) {
   auto const patch = parsed( document );
   tree_.check( patch );
   tree_.apply( patch );
}

void Session::start() {
   auto const made = Kiv::KivCAgent::agentFactory( "Kiv" );
   agent_ = boost::dynamic_pointer_cast< Kiv::KivCAgent::Agent >( made );
   agent_->taskSchedulerIs( scheduler_ );
   agent_->entityManagerIs( tree_.state() );
   agent_->hubstoreEntityManagerIs( tree_.hub() );
   tree_.agentIs( agent_.get() );
   agent_->doPreInit();
   agent_->doInit();
   settle();
}

void Session::endAgent() {
   tree_.agentIs( nullptr );
   if( !agent_ ) return;
   agent_->abandon();
   agent_ = nullptr;
}

// Whatever the loop has pending now is run to the end, so that a caller sees a
// settled system.
void Session::settle() {
   if( virtualClock_ ) {
      virtualClock_->settle();
   } else {
      loop_.restart();
      while( loop_.poll() > 0 ) {
      }
   }
}

void Session::serveStart( Json const & argument, Writer & ) {
   needTrue( argument );
   if( agent_ ) throw Refusal{ "", "the agent is started already" };
   start();
}

void Session::servePatch( Json const & argument, Writer & ) {
   if( !argument.IsObject() ) throw Refusal{ "", "a patch is a JSON object" };
   tree_.check( argument );
   tree_.apply( argument );
   settle();
}

void Session::serveGet( Json const & argument, Writer & writer ) {
   auto const pointer = needText( argument );
   auto const tokens = tokensOf( pointer );
   settle();
   rapidjson::StringBuffer buffer;
   Writer value( buffer );
   if( !tree_.get( tokens, value ) ) throw Refusal{ std::string( pointer ), "no such record" };
   writer.Key( "value" );
   writer.RawValue( buffer.GetString(), buffer.GetSize(), rapidjson::kObjectType );
}

void Session::serveAdvance( Json const & argument, Writer & writer ) {
   if( !virtualClock_ ) throw Refusal{ "", "the clock is the real one" };
   if( !argument.IsNumber() || argument.GetDouble() < 0 )
      throw Refusal{ "", "a number of seconds is expected, 0 or more" };
   try {
      virtualClock_->advance( argument.GetDouble() );
   } catch( Lum::RangeException const & exception ) {
      throw Refusal{ "", exception.what() };
   }
   writer.Key( "now" );
   writer.Double( virtualClock_->now() );
}

void Session::serveCommand( Json const & argument, Writer & writer ) {
   auto const command = checkedCommand( argument );
   auto const callback =
      agent_ ? agent_->agentCommandRequestDirSm()->agentCommandCallback( Lum::String( command.name ) ) : nullptr;
   if( !callback ) throw Refusal{ "", "no such command: \"" + command.name + "\"" };
   auto const output = outputOf( *callback, command.parameters );
   writer.Key( "output" );
   writeText( writer, output );
}

void Session::keepMessage( void * context, Lum::LogMessage const & message ) {
   constexpr std::size_t most = 10'000;
   auto & session = *static_cast< Session * >( context );
   session.log_.push_back( message );
   if( session.log_.size() <= most ) return;
   session.log_.pop_front();
   ++session.lost_;
}

void Session::serveLog( Json const & argument, Writer & writer ) {
   needTrue( argument );
   writer.Key( "log" );
   writer.StartArray();
   for( auto const & message : log_ ) {
      writer.StartObject();
      writer.Key( "handle" );
      writeText( writer, message.handle.view() );
      writer.Key( "severity" );
      writer.Uint( static_cast< unsigned >( message.severity ) );
      writer.Key( "text" );
      writeText( writer, message.text.view() );
      if( message.count > 1 ) {
         writer.Key( "count" );
         writer.Uint64( message.count );
      }
      writer.EndObject();
   }
   writer.EndArray();
   log_.clear();
   if( lost_ ) {
      writer.Key( "lost" );
      writer.Uint64( std::exchange( lost_, 0 ) );
   }
}

void Session::serveRestart( Json const & argument, Writer & ) {
   needTrue( argument );
   endAgent();
   start();
}

// All that is written, once: what a switch sees is written to the hubstore.
void Session::serveWatch( Json const & argument, Writer & ) {
   auto const pointer = tokensOf( needText( argument ) );
   if( !pointer.empty() ) return watches_.add( pointer );
   for( char const * root : { "state", "hub", "agent", "service" } ) watches_.add( { root } );
}

void Session::serveQuit( Json const & argument, Writer & ) {
   needTrue( argument );
   quits_ = true;
}

void Session::handleWrite( Lum::Entity const & entity, Lum::AttributeId attribute, void const * key ) {
   if( watches_.empty() ) return;
   auto const written = tree_.placeOf( entity, attribute, key );
   for( auto const & place : { written, tree_.switchPlaceOf( written ) } ) {
      auto const line = place.empty() ? "" : watches_.lineOf( place );
      if( !line.empty() ) emit_( line );
   }
}

} // namespace Host
