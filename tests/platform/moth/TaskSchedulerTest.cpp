#include "platform/moth/SteadyTaskScheduler.h"
#include "platform/moth/TimerTask.h"
#include "platform/moth/VirtualTaskScheduler.h"
#include "tests/platform/lum/Actors.h"

#include <gtest/gtest.h>

#include <cmath>

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
};

/// Three tasks on one clock.
struct Scene {
   explicit Scene( Lum::Ptr< Moth::TaskScheduler > loop ) : scheduler( std::move( loop ) ) {
      for( char const * name : { "a", "b", "c" } ) {
         tasks[ *name ] = Lum::Factory< RoundSm >()( name, stage, scheduler );
      }
      EXPECT_EQ( stage->logged(), "a? b? c?" ); // making a task calls the handler once, outside its run
   }
   void on( char const * who, std::function< void() > act ) { stage->script[ who ] = std::move( act ); }
   void post( char const * word ) {
      scheduler->post( [ this, word ] { stage->called( word ); } );
   }
   void arm( char name, double seconds ) { tasks[ name ]->task()->scheduleTaskLowestDelay( seconds ); }

   Lum::Ptr< Moth::TaskScheduler > const scheduler;
   Lum::Ptr< Stage > const stage{ new Stage };
   std::map< char, Lum::Ptr< RoundSm > > tasks;
};

[[noreturn]] void fail() { throw std::runtime_error( "a handler's fault" ); }

struct Story {
   char const * name;
   std::vector< std::pair< char, double > > armed;
   std::function< void( Scene & ) > then;
   char const * log;
} const stories[] = {
   { "the earlier of two delays stands",
     { { 'a', 0.09 }, { 'a', 0.01 }, { 'b', 0.05 }, { 'c', 0.08 }, { 'c', 5 } },
     []( Scene & ) {},
     "a b c" },
   { "a delay that is none runs on a later turn",
     { { 'a', -3 }, { 'b', std::nan( "" ) }, { 'c', 0 } },
     []( Scene & s ) { s.stage->called( "now" ); },
     "now a b c" },
   { "one that is dropped never runs",
     { { 'a', 0.01 }, { 'b', 0.01 }, { 'c', 0.02 } },
     []( Scene & s ) {
        s.tasks.erase( 'a' );
        s.on( "b", [ &s ] { s.tasks.erase( 'c' ); } );
     },
     "b" },
   { "a task is dropped in its own run, and its machine with it",
     { { 'a', 0.01 }, { 'b', 0.02 }, { 'c', 0.03 } },
     []( Scene & s ) {
        s.on( "a", [ &s ] { s.tasks[ 'a' ]->taskDel(); } );
        s.on( "b", [ &s ] { s.tasks.erase( 'b' ); } );
     },
     "a b c" },
   { "one that is replaced announces the new one",
     { { 'a', 0.01 } },
     []( Scene & s ) { s.tasks[ 'a' ]->handleInitialized(); },
     "a?" },
   { "an exception ends one call and nothing else",
     { { 'a', 0.01 }, { 'b', 0.01 } },
     []( Scene & s ) {
        s.on( "a", fail );
        s.on( "first", fail );
        s.on( "second", [ &s ] { s.post( "third" ); } );
        s.post( "first" );
        s.post( "second" );
     },
     "first second third a b" },
};

void tell( Story const & story, Scene & scene, std::function< void() > const & run ) {
   SCOPED_TRACE( story.name );
   for( auto const & [ name, seconds ] : story.armed ) scene.arm( name, seconds );
   story.then( scene );
   run();
   EXPECT_EQ( scene.stage->logged(), story.log );
   run();
   EXPECT_EQ( scene.stage->logged(), "" );
   for( auto const & [ name, machine ] : scene.tasks ) {
      EXPECT_FALSE( machine->task() && machine->task()->taskCurrentlyRunning() );
   }
}

TEST( TaskScheduler, BothClocksTellTheSameStories ) {
   for( auto const & story : stories ) {
      Lum::Ptr< Moth::VirtualTaskScheduler > const clock( new Moth::VirtualTaskScheduler );
      Scene still( clock );
      tell( story, still, [ & ] { clock->advance( 0.1 ); } );
      boost::asio::io_context loop;
      Scene steady( new Moth::SteadyTaskScheduler( loop ) );
      tell( story, steady, [ & ] {
         loop.restart();
         loop.run(); // until nothing waits any more
      } );
   }
}

struct VirtualClock : testing::Test {
   Lum::Ptr< Moth::VirtualTaskScheduler > const clock{ new Moth::VirtualTaskScheduler };
   Scene scene{ clock };

   std::uint64_t runs() { return scene.tasks[ 'a' ]->task()->runs(); }
};

TEST_F( VirtualClock, EachTaskSeesTheTimeAtWhichItIsDue ) {
   auto const stamp = [ this ] { scene.stage->log += Lum::textOf( "@", clock->now() ); };
   scene.on( "a", [ this, stamp ] {
      stamp();
      scene.arm( 'a', 30 );
      scene.on( "a", stamp );
   } );
   scene.on( "b", stamp );
   scene.arm( 'a', 30 );
   scene.arm( 'b', 59.5 );
   clock->advance( 100 );
   EXPECT_EQ( scene.stage->logged(), "a@30 b@59.5 a@60" );
   EXPECT_EQ( clock->now(), 100 );
}

TEST_F( VirtualClock, AtOneTimeTasksRunInTheOrderOfArmingAndPostedWorkBetween ) {
   scene.arm( 'a', 2 );
   scene.arm( 'c', 1 );
   scene.arm( 'b', 1 );
   scene.arm( 'a', 1 ); // armed anew: behind the others
   scene.post( "before" );
   scene.on( "c", [ this ] { scene.post( "between" ); } );
   clock->advance( 1 );
   EXPECT_EQ( scene.stage->logged(), "before c between b a" );
}

TEST_F( VirtualClock, StepsAddUpExactly ) {
   scene.arm( 'a', 57 );
   for( int i = 0; i < 99; ++i ) clock->advance( 0.57 );
   EXPECT_EQ( runs(), 0U );
   clock->advance( 0.57 );
   EXPECT_EQ( runs(), 1U );
}

TEST_F( VirtualClock, APeriodOfZeroComesToAnEnd ) {
   std::function< void() > const again = [ & ] {
      scene.arm( 'a', 0 );
      scene.on( "a", again );
   };
   again();
   clock->settle();
   EXPECT_EQ( runs(), 1U );
   clock->advance( 0.01 );
   EXPECT_EQ( runs(), 11U );
}

} // namespace
