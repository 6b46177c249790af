#include "platform/oxbow/ServiceAgent.h"
#include "platform/moth/VirtualTaskScheduler.h"
#include "platform/quarry/EmbeddedEntityManager.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

class Agent;

struct ServiceMounter : Harbor::HubstoreServiceMounter {
   explicit ServiceMounter( Agent * owner ) : agent( owner ) {}
   void doMountsComplete( Lum::Name const &, Lum::Ptr< Quarry::EntityManager > const & ) override;
   void doInitialSwitchMountsComplete( Lum::Name const &, Lum::Ptr< Quarry::EntityManager > const & ) override;
   Agent * agent;
};

/// Notes each of its hooks, with a "|" for the end of the one before.
class Agent : public Oxbow::ServiceAgent {
 public:
   Agent( Lum::Name name, std::string & notes ) : ServiceAgent( std::move( name ) ), log( notes ) {}
   ~Agent() override { log += "gone"; }

   void mount( Lum::Ptr< Quarry::EntityManager > const & manager, Quarry::Mounter * mounter ) {
      auto const group = manager->getMountGroup( mounter );
      group->doMount( { "", "Lum::Dir", "r" } );
      group->doClose( false, "", 0.0 );
   }
   void doInit() override {
      log += "init|";
      mount( entityManager(), this );
      mount( entityManager(), this );
      ServiceAgent::doInit();
   }
   void doMountsComplete( Quarry::MountStatus, Lum::Ptr< Quarry::EntityManager > const & manager ) override {
      EXPECT_EQ( manager, entityManager() );
      log += "mounts|";
   }
   void doServiceAgentInit() override {
      log += "service|";
      auto const service = hubstoreServiceIs( "Kiv", entityManager(), hubstoreEntityManager() );
      EXPECT_EQ( hubstoreServiceIs( "Kiv", entityManager(), hubstoreEntityManager() ), service );
      auto const group = service->serviceMountGroupIs( "mg1", serviceMounter );
      group->controllerMountIs( "status", "status", "Status", "rCt" );
      group->closedIs( true );
   }
   void doControllerMounts() override {
      log += "controllerMounts|";
      mount( hubstoreEntityManager(), controllerMounter() );
   }
   void doControllerMountsComplete( Quarry::MountStatus, Lum::Ptr< Quarry::EntityManager > const & manager ) override {
      EXPECT_EQ( manager, hubstoreEntityManager() );
      log += "controllerMountsComplete|";
   }

   std::string & log;
   Lum::Ptr< ServiceMounter > const serviceMounter{ new ServiceMounter( this ) };
};

void ServiceMounter::doMountsComplete( Lum::Name const &, Lum::Ptr< Quarry::EntityManager > const & ) {
   agent->doControllerMounts();
}
void ServiceMounter::doInitialSwitchMountsComplete( Lum::Name const &, Lum::Ptr< Quarry::EntityManager > const & ) {
   agent->log += "switches|";
}

struct Host : testing::Test {
   Lum::Ptr< Moth::VirtualTaskScheduler > const clock{ new Moth::VirtualTaskScheduler };
   Lum::Ptr< Quarry::EntityManager > const state{ new Quarry::EmbeddedEntityManager( *clock ) };
   Lum::Ptr< Quarry::EntityManager > const hub{ new Quarry::EmbeddedEntityManager( *clock ) };
   std::string log;
   Lum::Ptr< Agent > agent{ new Agent( "Kiv", log ) };

   void start() {
      agent->taskSchedulerIs( clock );
      agent->entityManagerIs( state );
      agent->hubstoreEntityManagerIs( hub );
      agent->doPreInit();
      agent->doInit();
   }
};

TEST_F( Host, AStartGoesThroughItsHooksInOrder ) {
   start();
   EXPECT_EQ( log, "init|" );
   clock->settle();
   EXPECT_EQ( log, "init|mounts|service|mounts|controllerMounts|controllerMountsComplete|switches|" );
   EXPECT_TRUE( agent->hubstoreService( "Kiv" ) );
   EXPECT_FALSE( agent->hubstoreService( "Viv" ) );
}

TEST_F( Host, AnAgentMayGoAtAnyMomentOfItsStart ) {
   std::function< void( unsigned ) > const dropAfter = [ & ]( unsigned turns ) {
      if( turns == 0 ) agent = nullptr;
      if( turns > 0 ) clock->post( [ &, turns ] { dropAfter( turns - 1 ); } );
   };
   for( unsigned turns = 0; turns < 8; ++turns ) {
      SCOPED_TRACE( turns );
      agent = new Agent( "Kiv", log );
      log.clear();
      start();
      dropAfter( turns );
      clock->settle();
      EXPECT_TRUE( log.ends_with( "gone" ) ) << log;
   }
}

TEST_F( Host, SurroundingsThatAreMissingAreAFault ) { EXPECT_DEATH( agent->doPreInit(), "taskScheduler()" ); }

/// Answers with its parameters, after `act`.
class Echo : public Oxlet::AgentCommandCallback {
 public:
   Echo( std::string & notes, std::function< void() > act )
      : AgentCommandCallback( "echo", "says it again" ), log_( notes ), act_( std::move( act ) ) {}
   void handleCommand( std::uint32_t fd, Lum::String parameters ) override {
      act_();
      log_ += Lum::textOf( fd, " ", parameters, "|" );
   }

 private:
   std::string & log_;
   std::function< void() > act_;
};

TEST_F( Host, ACommandOutlivesItsRunWhateverBecomesOfIt ) {
   auto const commands = agent->agentCommandRequestDirSm();
   auto const ask = [ & ]( std::function< void() > act ) {
      commands->agentCommandCallbackIs( new Echo( log, std::move( act ) ) );
      commands->agentCommandCallback( "echo" )->createAgentAsyncCommandRequestSm( 7, "hello" );
      return std::exchange( log, {} );
   };
   EXPECT_EQ( ask( [] {} ), "7 hello|" );
   EXPECT_EQ( ask( [ & ] { commands->agentCommandCallbackIs( new Echo( log, [] {} ) ); } ), "7 hello|" );
   EXPECT_EQ( ask( [ & ] { commands->agentCommandCallbackDel( "echo" ); } ), "7 hello|" );
   EXPECT_FALSE( commands->agentCommandCallback( "echo" ) );
   commands->agentCommandCallbackDel( "echo" );
   auto const exceptions = Lum::notificationExceptions();
   EXPECT_EQ( ask( [] { throw std::runtime_error( "no answer" ); } ), "" );
   EXPECT_EQ( Lum::notificationExceptions(), exceptions + 1 );
}

} // namespace
