// Machines: how they are made, held, followed by others, and how they go.
#include "platform/lum/Dir.h"
#include "tests/platform/lum/Actors.h"

#include <gtest/gtest.h>

namespace Actors {

class GroveSm;

/// One tree of the grove. Its name heads what it notes.
class OakSm : public Lum::PtrInterface {
   LUM_MACHINE( OakSm );
   LUM_ARG_INPUT( leaf, Leaf const, LUM_ON( level, handleLevel ) );
   LUM_PARENT( parent, GroveSm );

   void handleInitialized() { note( "made" ); }
   void handleLevel() { note( "level=" + std::to_string( leaf()->level() ) ); }
   void cleanup() { note( "cleanup" ); }

 private:
   void note( std::string const & what );
};

/// A child by key, with arguments of every sort.
class PlotSm : public Lum::PtrInterface {
   LUM_MACHINE( PlotSm );
   LUM_ARG( number, int );
   LUM_ARG( owner, Lum::String );
   LUM_ARG_INPUT( tree, Tree const, LUM_ON( height, handleHeight ) );
   LUM_ARG( stage, Stage * );

   void handleInitialized() { note( "made" ); }
   void handleHeight() { note( "height=" + std::to_string( tree()->height() ) ); }
   void note( std::string const & what ) { stage()->called( std::to_string( number() ) + " " + what ); }
};

class GroveSm : public Lum::PtrInterface {
   LUM_MACHINE( GroveSm );
   LUM_ARG( stage, Stage * );
   LUM_ARG_INPUT( tree, Tree, LUM_ON( leaf, oakFollow ), LUM_ON( height, handleHeight ) );
   LUM_FOLLOWERS( oak, Lum::String, OakSm, tree, leaf );
   LUM_INPUT( later, Tree, LUM_ON( leaf, sproutFollow ), LUM_ON( height, handleHeight ) );
   LUM_FOLLOWERS( sprout, Lum::String, OakSm, later, leaf );
   LUM_SMS( plot, int, PlotSm );
   LUM_SM( best, PlotSm );
   ~GroveSm() override { stage()->called( "grove gone" ); }

   void handleInitialized() { stage()->called( "grove made" ); }
   void handleHeight() { stage()->called( "grove height" ); }
};

void OakSm::note( std::string const & what ) { parent()->stage()->called( leaf()->name().str() + " " + what ); }

namespace {

constexpr Lum::Factory< GroveSm > groveSmFactory;

struct Grove : testing::Test {
   Stage stage;
   Lum::Ptr< Tree > tree = new Tree( "oak" ), elm = new Tree( "elm" );
   Lum::Ptr< GroveSm > grove;
   void make() {
      grove = groveSmFactory( &stage, tree );
      stage.logged();
   }
};

TEST_F( Grove, TheFollowersAreMadeBeforeTheStart ) {
   tree->leafIs( "a" );
   grove = groveSmFactory( &stage, tree );
   EXPECT_EQ( stage.logged(), "a made grove made" );
   EXPECT_EQ( grove->oak( "a" )->leaf(), tree->leaf( "a" ) );

   Lum::Ptr< Tree > none;
   auto const bare = groveSmFactory( &stage, none );
   EXPECT_EQ( stage.logged(), "grove made" );
   bare->laterIs( tree ); // the first binding: no handler, but what it holds is followed
   EXPECT_EQ( stage.logged(), "a made" );
   tree->leafIs( "b" );
   EXPECT_EQ( stage.logged(), "b made b made" );
}

TEST_F( Grove, FollowersComeAndGoWithTheirRecords ) {
   make();
   auto const first = tree->leafIs( "a" );
   tree->leafIs( "b" );
   first->levelIs( 1 );
   EXPECT_EQ( stage.logged(), "a made b made a level=1" );
   auto const oak = grove->oak( "a" );
   tree->leafDel( "a" );
   first->levelIs( 2 ); // not heard any more
   EXPECT_EQ( stage.logged(), "a cleanup" );
   EXPECT_FALSE( oak->hasNotificationActive() );
   EXPECT_EQ( oak->lumOwner(), nullptr );
   EXPECT_EQ( grove->oak().size(), 1u );

   // Another tree: what is there is made or retargeted, what is not is cleaned up.
   grove->laterIs( tree );
   elm->leafIs( "b" ), elm->leafIs( "c" ), tree->leafIs( "d" );
   auto const sprout = grove->sprout( "b" );
   stage.logged();
   grove->laterIs( elm );
   EXPECT_EQ( stage.logged(), "b level=0 c made d cleanup grove height" );
   EXPECT_EQ( grove->sprout( "b" ), sprout );
   EXPECT_EQ( sprout->leaf(), elm->leaf( "b" ) );
   grove->laterDel();
   EXPECT_EQ( grove->sprout().size(), 2u );

   grove->sproutDelAll();
   EXPECT_EQ( stage.logged(), "b cleanup c cleanup" );
   grove = nullptr; // without cleanup: a destructor writes nothing
   EXPECT_EQ( stage.logged(), "grove gone" );
}

TEST_F( Grove, AFollowerKeepsPaceWithWhatItsStartChanges ) {
   make();
   stage.script[ "a made" ] = [ & ] { tree->leafDel( "a" ); };
   tree->leafIs( "a" );
   EXPECT_EQ( stage.logged(), "a made a cleanup" );
   EXPECT_TRUE( grove->oak().empty() );

   stage.script[ "a made" ] = [ & ] { tree->leafDel( "a" ), tree->leafIs( "a" ); };
   tree->leafIs( "a" );
   ASSERT_TRUE( grove->oak( "a" ) );
   EXPECT_EQ( grove->oak( "a" )->leaf(), tree->leaf( "a" ) );

   stage.script[ "b made" ] = [ & ] { grove = nullptr; };
   tree->leafIs( "b" );
   EXPECT_EQ( tree->references(), 1u );

   make();
   elm->leafIs( "a" ), elm->leafIs( "b" );
   for( auto const * made : { "a made", "b made" } ) stage.script[ made ] = [ & ] { grove = nullptr; };
   grove->laterIs( elm ); // outside of any visit
   EXPECT_EQ( elm->references(), 1u );
}

TEST_F( Grove, AFollowerMayRemoveItselfAndItsOwner ) {
   make();
   auto const leaf = tree->leafIs( "a" );
   stage.script[ "a level=1" ] = [ & ] { tree->leafDel( "a" ); };
   leaf->levelIs( 1 );
   EXPECT_EQ( stage.logged(), "a made a level=1 a cleanup" );
   tree->leafIs( "b" );
   stage.script[ "b level=1" ] = [ & ] {
      grove = nullptr;
      stage.called( "still here" ); // the owner stays while a handler below it runs
   };
   tree->leaf( "b" )->levelIs( 1 );
   EXPECT_EQ( stage.logged(), "b made b level=1 still here grove gone" );

   make();
   stage.script[ "b level=2" ] = [ & ] {
      auto const oak = grove->oak( "b" ).get();
      tree->leafDel( "b" ); // first cut off from its owner
      grove = nullptr;
      oak->cleanup(); // and yet both are there
   };
   tree->leaf( "b" )->levelIs( 2 );
   EXPECT_EQ( stage.logged(), "b level=2 b cleanup b cleanup grove gone" );
}

TEST_F( Grove, ACollectionKeepsAMachineOrRefuses ) {
   make();
   Lum::Ptr< Tree const > const oak = tree, fir = elm;
   auto const plot = grove->plotIs( 1, "ann", oak, &stage );
   EXPECT_EQ( grove->plotIs( 1, "ann", oak, &stage ), plot );
   auto const refused = [ & ]( auto const &... args ) {
      try {
         grove->plotIs( 1, args... );
      } catch( Lum::NameInUseException const & exception ) {
         return std::string( exception.what() );
      }
      return std::string( "not refused" );
   };
   std::string const head = "Reinstantiating the pointer interface where constructor parameter attribute ";
   EXPECT_EQ( refused( "bob", oak, &stage ),
              head + "_owner has a different value of 'bob' than the current value of 'ann' not allowed" );
   auto const strep = []( Tree const & of ) {
      return Lum::format( "Ptr('Actors::Tree', '%s', %p)", of.name().charPtr(), static_cast< void const * >( &of ) )
         .str();
   };
   EXPECT_EQ( refused( "ann", fir, &stage ), head + "_tree has a different value of " + strep( *fir )
                                                + " than the current value of " + strep( *oak ) + " not allowed" );
   EXPECT_EQ( refused( "ann", Lum::Ptr< Tree const >(), &stage ),
              head + "_tree has a different value of None than the current value of " + strep( *oak )
                 + " not allowed" );
   EXPECT_EQ( grove->plot( 1 ), plot );
   EXPECT_EQ( stage.logged(), "1 made" );
}

TEST_F( Grove, ACollectionOfPointersTakesNoNull ) {
   make();
   Lum::Ptr< Lum::Dir > const dir( new Lum::Dir( "dir" ) );
   auto const refused = []( auto const & mutator ) {
      try {
         mutator();
      } catch( Lum::RangeException const & exception ) {
         return std::string( exception.what() );
      }
      return std::string( "not refused" );
   };
   EXPECT_EQ( refused( [ & ] { grove->oakIs( Lum::Ptr< Leaf >() ); } ),
              "null _oak parameter to mutator for Actors::GroveSm::oak not allowed\"" );
   EXPECT_EQ( refused( [ & ] { dir->entityPtrIs( "a", nullptr ); } ),
              "null _entityPtr parameter to mutator for Lum::Dir::entityPtr not allowed\"" );
   EXPECT_TRUE( dir->entityPtr().empty() );
}

TEST_F( Grove, ASlotReplacesItsMachine ) {
   make();
   auto const first = grove->bestIs( 1, "ann", tree, &stage );
   EXPECT_EQ( grove->bestIs( 1, "ann", tree, &stage ), first );
   auto const second = grove->bestIs( 1, "bob", tree, &stage );
   EXPECT_NE( second, first );
   EXPECT_FALSE( first->hasNotificationActive() );
   EXPECT_TRUE( second->hasNotificationActive() );
   EXPECT_EQ( second->lumOwner(), grove.get() );
   tree->heightIs( 1 );
   EXPECT_EQ( stage.logged(), "1 made 1 made grove height 1 height=1" );
   EXPECT_EQ( grove->bestDel(), second );
   EXPECT_EQ( grove->bestDel(), nullptr );
   tree->heightIs( 2 );
   EXPECT_EQ( stage.logged(), "grove height" );
}

TEST_F( Grove, AMachineWhoseStartWakesItsOwnerIsMadeOnce ) {
   make();
   Lum::Ptr< PlotSm > nested;
   stage.script[ "1 made" ] = [ & ] { nested = grove->plotIs( 1, "ann", tree, &stage ); };
   auto const plot = grove->plotIs( 1, "ann", tree, &stage );
   EXPECT_EQ( plot, nested );
   EXPECT_EQ( grove->plot( 1 ), plot );
   tree->heightIs( 1 ); // the one that was given up is not heard of
   EXPECT_EQ( stage.logged(), "1 made 1 made grove height 1 height=1" );
}

TEST_F( Grove, AStartThatRaisesLeavesTheMachine ) {
   make();
   auto const exceptions = Lum::notificationExceptions();
   stage.script[ "1 made" ] = [] { Lum::throwRangeException( "bad" ); };
   testing::internal::CaptureStderr();
   auto const plot = grove->plotIs( 1, "ann", tree, &stage );
   EXPECT_EQ( testing::internal::GetCapturedStderr(), "exception in a handler of Actors::PlotSm at its start: bad\n" );
   EXPECT_EQ( Lum::notificationExceptions(), exceptions + 1 );
   EXPECT_EQ( grove->plot( 1 ), plot );
   tree->heightIs( 1 );
   EXPECT_EQ( stage.logged(), "1 made grove height 1 height=1" );
}

TEST_F( Grove, NotificationIsForwardedToTheChildren ) {
   make();
   tree->leafIs( "a" );
   auto const plot = grove->plotIs( 1, "ann", tree, &stage );
   auto const best = grove->bestIs( 2, "ann", tree, &stage );
   stage.logged();
   grove->hasNotificationActiveIs( false );
   tree->heightIs( 1 ), tree->leaf( "a" )->levelIs( 1 ), tree->leafIs( "b" );
   EXPECT_EQ( stage.logged(), "" );
   EXPECT_FALSE( plot->hasNotificationActive() || best->hasNotificationActive() );
   grove->hasNotificationActiveIs( true ); // what was missed stays missed
   tree->heightIs( 2 ), tree->leaf( "a" )->levelIs( 2 );
   EXPECT_EQ( stage.logged(), "grove height 1 height=2 2 height=2 a level=2" );

   grove->lumDoZombieReactors( true ); // its children are not concerned
   tree->heightIs( 3 );
   EXPECT_EQ( stage.logged(), "1 height=3 2 height=3" );
}

TEST_F( Grove, AChildOutlivesItsOwnerInSilence ) {
   make();
   auto const plot = grove->plotIs( 1, "ann", tree, &stage );
   auto const best = grove->bestIs( 2, "ann", tree, &stage );
   auto const oak = grove->oakIs( elm->leafIs( "a" ) );
   grove = nullptr;
   stage.logged();
   tree->heightIs( 1 ), elm->leaf( "a" )->levelIs( 1 );
   EXPECT_EQ( stage.logged(), "" );
   EXPECT_FALSE( plot->lumOwner() || best->lumOwner() || oak->lumOwner() );
   plot->hasNotificationActiveIs( true ); // on its own it may go on
   tree->heightIs( 2 );
   EXPECT_EQ( stage.logged(), "1 height=2" );
}

} // namespace
} // namespace Actors
