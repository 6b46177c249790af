#include "platform/moth/SteadyTaskScheduler.h"
#include "platform/moth/TimerTask.h"
#include "platform/moth/VirtualTaskScheduler.h"
#include "tests/platform/lum/Actors.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using Actors::Stage;

/// Tells the stage of each call of its task's handler: "a?" outside the task's run, "a" inside.
class RoundSm : public Lum::PtrInterface {
   LUM_MACHINE( RoundSm );
   LUM_ARG( name, Lum::Name );
   LUM_ARG( stage, Lum::Ptr< Stage > );
   LUM_ARG( scheduler, Lum::Ptr< Moth::TaskScheduler > );
   LUM_TASK( task, handleRound );

   void handleInitialized() { taskIs( scheduler(), Moth::TaskPriority( 2 ), name() ); }
   void handleRound() { stage()->called( name().str() + ( task()->taskCurrentlyRunning() ? "" : "?" ) ); }
   void again( double seconds ) { task()->scheduleTaskLowestDelay( seconds ); }
};

/// Three tasks on one clock. `run` lets everything happen that is due within a tenth of a second.
struct Scene {
   explicit Scene( Lum::Ptr< Moth::TaskScheduler > loop, std::function< void() > tenth )
      : scheduler( std::move( loop ) ), run( std::move( tenth ) ) {
      stage->logged();
   }
   ~Scene() { stage->script.clear(); }

   Lum::Ptr< RoundSm > make( char const * name ) { return Lum::Factory< RoundSm >()( name, stage, scheduler ); }
   void on( char const * who, std::function< void() > act ) { stage->script[ who ] = std::move( act ); }
   void post( char const * word ) {
      scheduler->post( [ this, word ] { stage->called( word ); } );
   }

   Lum::Ptr< Moth::TaskScheduler > const scheduler;
   std::function< void() > const run;
   Lum::Ptr< Stage > const stage{ new Stage };
   Lum::Ptr< RoundSm > a = make( "a" ), b = make( "b" ), c = make( "c" );
};

struct Story {
   char const * name;
   std::function< void( Scene & ) > tell;
   char const * log;
};

[[noreturn]] void fail() { throw std::runtime_error( "a handler's fault" ); }

Story const stories[] = {
   { "making a task calls the handler, once and outside its run", []( Scene & s ) { s.make( "d" ); }, "d?" },
   { "one that is replaced announces itself once, too", []( Scene & s ) { s.a->handleInitialized(); }, "a?" },
   { "a task runs once for each arming",
     []( Scene & s ) {
        s.a->again( 0.01 );
        s.a->again( 0.02 );
        s.on( "a", [ &s ] { s.a->again( 0.01 ); } );
     },
     "a a" },
   { "the earlier of two delays stands, whichever comes first",
     []( Scene & s ) {
        s.a->again( 0.09 );
        s.a->again( 0.01 );
        s.b->again( 0.05 );
        s.c->again( 0.08 );
        s.c->again( 5 );
     },
     "a b c" },
   { "a delay that is none runs on a later turn",
     []( Scene & s ) {
        s.a->again( -3 );
        s.b->again( std::nan( "" ) );
        s.c->again( 0 );
        s.stage->called( "now" );
     },
     "now a b c" },
   { "one that is dropped never runs",
     []( Scene & s ) {
        s.a->again( 0.01 );
        s.b->again( 0.01 );
        s.a = nullptr;
        s.on( "b", [ &s ] { s.c = nullptr; } );
        s.c->again( 0.02 );
     },
     "b" },
   { "a task is dropped in its own run, and its machine with it",
     []( Scene & s ) {
        s.a->again( 0.01 );
        s.on( "a", [ &s ] { s.a->taskDel(); } );
        s.b->again( 0.02 );
        s.on( "b", [ &s ] { s.b = nullptr; } );
        s.c->again( 0.03 );
     },
     "a b c" },
   { "a detached machine is not called",
     []( Scene & s ) {
        s.a->again( 0.01 );
        s.a->hasNotificationActiveIs( false );
        s.b->again( 0.02 );
     },
     "b" },
   { "what is posted waits for its turn, in order",
     []( Scene & s ) {
        s.on( "first", [ &s ] { s.post( "third" ); } );
        s.post( "first" );
        s.post( "second" );
        s.stage->called( "now" );
     },
     "now first second third" },
   { "an exception ends one call and nothing else",
     []( Scene & s ) {
        s.on( "first", fail );
        s.on( "a", fail );
        s.post( "first" );
        s.post( "second" );
        s.a->again( 0.01 );
        s.b->again( 0.01 );
     },
     "first second a b" },
};

void tell( Story const & story, Scene & scene ) {
   SCOPED_TRACE( story.name );
   scene.stage->logged();
   story.tell( scene );
   scene.run();
   EXPECT_EQ( scene.stage->logged(), story.log );
   scene.run();
   EXPECT_EQ( scene.stage->logged(), "" );
}

TEST( TaskScheduler, TasksAndPostedWorkOnTheVirtualClock ) {
   for( auto const & story : stories ) {
      Lum::Ptr< Moth::VirtualTaskScheduler > const clock( new Moth::VirtualTaskScheduler );
      Scene scene( clock, [ & ] { clock->advance( 0.1 ); } );
      tell( story, scene );
   }
}

TEST( TaskScheduler, TheSameOnTheSteadyClock ) {
   for( auto const & story : stories ) {
      boost::asio::io_context loop;
      Scene scene( new Moth::SteadyTaskScheduler( loop ), [ & ] {
         loop.restart();
         loop.run(); // until nothing waits any more
      } );
      tell( story, scene );
      EXPECT_GE( scene.scheduler->now(), 0 );
   }
}

TEST( TaskScheduler, ALoopThatEndsDropsWhatIsPending ) {
   Lum::Ptr< Stage > const stage( new Stage );
   {
      boost::asio::io_context loop;
      Lum::Ptr< Moth::TaskScheduler > const steady( new Moth::SteadyTaskScheduler( loop ) );
      Lum::Ptr< Moth::TaskScheduler > const still( new Moth::VirtualTaskScheduler );
      for( auto const & scheduler : { steady, still } ) {
         scheduler->post( [ stage ] { stage->called( "posted" ); } );
         Lum::Factory< RoundSm >()( "a", stage, scheduler )->again( 0 );
      }
      stage->logged();
   }
   EXPECT_EQ( stage->logged(), "" );
   EXPECT_EQ( stage->references(), 1U );
}

struct VirtualClock : testing::Test {
   Lum::Ptr< Moth::VirtualTaskScheduler > const clock{ new Moth::VirtualTaskScheduler };
   Scene scene{ clock, [ this ] { clock->advance( 1 ); } };

   /// Writes "who@time" for each of these calls.
   void stamp( char const * who, std::function< void() > then = nullptr ) {
      scene.on( who, [ this, who, then ] {
         scene.stage->log += Lum::textOf( "@", clock->now() );
         if( then ) then();
      } );
   }
   void SetUp() override { scene.stage->logged(); }
};

TEST_F( VirtualClock, EachTaskSeesTheTimeAtWhichItIsDue ) {
   stamp( "a", [ this ] {
      scene.a->again( 30 );
      stamp( "a" );
   } );
   stamp( "b" );
   scene.a->again( 30 );
   scene.b->again( 59.5 );
   clock->advance( 100 );
   EXPECT_EQ( scene.stage->logged(), "a@30 b@59.5 a@60" );
   EXPECT_EQ( clock->now(), 100 );
}

TEST_F( VirtualClock, AtOneTimeTasksRunInTheOrderOfArmingAndPostedWorkBetween ) {
   scene.a->again( 2 );
   scene.c->again( 1 );
   scene.b->again( 1 );
   scene.a->again( 1 ); // armed anew: behind the others
   scene.post( "before" );
   scene.on( "c", [ this ] { scene.post( "between" ); } );
   scene.on( "a", [ this ] { scene.post( "behind" ); } );
   clock->advance( 1 );
   EXPECT_EQ( scene.stage->logged(), "before c between b a behind" );
}

TEST_F( VirtualClock, TenTenthsAreOneSecond ) {
   scene.a->again( 1 );
   for( int i = 0; i < 9; ++i ) clock->advance( 0.1 );
   EXPECT_EQ( scene.stage->logged(), "" );
   clock->advance( 0.1 );
   EXPECT_EQ( scene.stage->logged(), "a" );
}

TEST_F( VirtualClock, APeriodOfZeroComesToAnEnd ) {
   std::function< void() > again = [ & ] {
      scene.a->again( 0 );
      scene.on( "a", again );
   };
   again();
   clock->settle();
   EXPECT_EQ( scene.a->task()->runs(), 1U );
   clock->advance( 0.01 );
   EXPECT_EQ( scene.a->task()->runs(), 11U );
}

TEST_F( VirtualClock, TimeGoesForwardOnlyAndNotForEver ) {
   scene.a->again( std::numeric_limits< double >::infinity() );
   for( double const seconds : { -0.001, std::nan( "" ), 1e300 } ) {
      EXPECT_THROW( clock->advance( seconds ), Lum::RangeException ) << seconds;
   }
   clock->advance( 1e9 );
   EXPECT_EQ( clock->now(), 1e9 );
   EXPECT_EQ( scene.stage->logged(), "" );
}

} // namespace
