#include "host/Session.h"

#include "agent/KivAgent.h"
#include "platform/lum/Clock.h"
#include "platform/moth/SteadyTaskScheduler.h"

namespace Host {

namespace {

Moth::TaskScheduler const * programClock = nullptr;
double programTime() { return programClock->now(); }

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

void Session::load( std::string_view document ) {
   auto const patch = parsed( document );
   if( !patch.IsObject() ) throw Refusal{ "", "a document is a JSON object" };
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

Oxlet::AgentCommandRequestDirSm const * Session::commands() const {
   return agent_ ? agent_->agentCommandRequestDirSm().get() : nullptr;
}

// Whatever the loop has pending now is run to the end, so that a caller sees a settled system.
void Session::settle() {
   if( virtualClock_ ) {
      virtualClock_->settle();
   } else {
      loop_.restart();
      while( loop_.poll() > 0 ) {
      }
   }
}

void Session::keepMessage( void * context, Lum::LogMessage const & message ) {
   constexpr std::size_t most = 10'000;
   auto & session = *static_cast< Session * >( context );
   session.log_.push_back( message );
   if( session.log_.size() <= most ) return;
   session.log_.pop_front();
   ++session.lost_;
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
