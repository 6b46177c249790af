#include "platform/oxbow/ServiceAgent.h"
#include "platform/moth/VirtualTaskScheduler.h"
#include "platform/quarry/EmbeddedEntityManager.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

/// Notes each of its hooks.
class Agent : public Oxbow::ServiceAgent {
 public:
   Agent( Lum::Name name, std::string & notes ) : ServiceAgent( std::move( name ) ), log( notes ) {}
   ~Agent() override { log += "gone"; }

   void doInit() override {
      entityManager()->getMountGroup( this )->doClose( false, "", 0.0 );
      entityManager()->getMountGroup( this )->doClose( false, "", 0.0 );
      ServiceAgent::doInit();
      log += "init ";
   }
   void doMountsComplete( Quarry::MountStatus, Lum::Ptr< Quarry::EntityManager > const & manager ) override {
      log += manager == entityManager() ? "mounts " : "wrong ";
   }
   void doServiceAgentInit() override {
      log += "service ";
      auto const service = hubstoreServiceIs( "Kiv", entityManager(), hubstoreEntityManager() );
      EXPECT_EQ( hubstoreServiceIs( "Kiv", entityManager(), hubstoreEntityManager() ), service );
      hubstoreEntityManager()->getMountGroup( controllerMounter() )->doClose( false, "", 0.0 );
   }
   void doControllerMountsComplete( Quarry::MountStatus, Lum::Ptr< Quarry::EntityManager > const & manager ) override {
      log += manager == hubstoreEntityManager() ? "controllerMounts " : "wrong ";
   }

   std::string & log;
};

struct Host : testing::Test {
   Lum::Ptr< Moth::VirtualTaskScheduler > const clock{ new Moth::VirtualTaskScheduler };
   std::string log;
   Lum::Ptr< Agent > agent;

   void start() {
      agent = new Agent( "Kiv", log );
      log.clear();
      agent->taskSchedulerIs( clock );
      agent->entityManagerIs( new Quarry::EmbeddedEntityManager( *clock ) );
      agent->hubstoreEntityManagerIs( new Quarry::EmbeddedEntityManager( *clock ) );
      agent->doPreInit();
      agent->doInit();
   }
};

TEST_F( Host, AStartGoesThroughItsHooksInOrder ) {
   start();
   EXPECT_EQ( log, "init " );
   clock->settle();
   EXPECT_EQ( log, "init mounts service mounts controllerMounts " );
   EXPECT_TRUE( agent->hubstoreService( "Kiv" ) );
   EXPECT_FALSE( agent->hubstoreService( "Viv" ) );
}

TEST_F( Host, AnAgentMayGoDuringItsStart ) {
   start();
   clock->post( [ this ] { agent = nullptr; } );
   clock->settle();
   EXPECT_EQ( log, "init mounts service mounts gone" );
}

/// Answers with its parameters, after `act`.
class Echo : public Oxlet::AgentCommandCallback {
 public:
   Echo( std::string & notes, std::function< void() > act )
      : AgentCommandCallback( "echo", "says it again" ), log_( notes ), act_( std::move( act ) ) {}
   void handleCommand( std::uint32_t fd, Lum::String parameters ) override {
      act_();
      log_ += Lum::textOf( fd, " ", parameters );
   }

 private:
   std::string & log_;
   std::function< void() > act_;
};

TEST_F( Host, ACommandOutlivesItsRunWhateverBecomesOfIt ) {
   Oxlet::AgentCommandRequestDirSm commands;
   auto const ask = [ & ]( std::function< void() > act ) {
      commands.agentCommandCallbackIs( new Echo( log, std::move( act ) ) );
      commands.agentCommandCallback( "echo" )->createAgentAsyncCommandRequestSm( 7, "hello" );
      return std::exchange( log, {} );
   };
   EXPECT_EQ( ask( [ & ] { commands.agentCommandCallbackIs( new Echo( log, [] {} ) ); } ), "7 hello" );
   EXPECT_EQ( ask( [ & ] { commands.agentCommandCallbackDel( "echo" ); } ), "7 hello" );
   EXPECT_FALSE( commands.agentCommandCallback( "echo" ) );
   EXPECT_EQ( ask( [] { throw std::runtime_error( "no answer" ); } ), "" );
}

} // namespace
