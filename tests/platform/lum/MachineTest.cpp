// Machines: how they are made, held, followed by others, and how they go.
#include "platform/lum/Dir.h"
#include "tests/platform/lum/Actors.h"
#include "tests/platform/lum/Raised.h"

#include <gtest/gtest.h>

namespace Actors {

class GroveSm;

/// One tree of the grove. Its name heads what it notes.
class OakSm : public Lum::PtrInterface {
   LUM_MACHINE( OakSm );
   LUM_ARG_INPUT( leaf, Leaf const, LUM_ON( level, handleLevel ) );
   LUM_PARENT( parent, GroveSm );
   LUM_END( cleanup );

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
   LUM_NO_END;

   void handleInitialized() { stage()->called( std::to_string( number() ) + " made" ); }
   void handleHeight() { stage()->called( Lum::textOf( number(), " height=", tree()->height() ) ); }
};

class GroveSm : public Lum::PtrInterface {
   LUM_MACHINE( GroveSm );
   LUM_ARG( stage, Stage * );
   LUM_ARG_INPUT( tree, Tree, LUM_FOLLOW( leaf, oak ), LUM_ON( height, handleHeight ) );
   LUM_FOLLOWERS( oak, Lum::String, OakSm, tree, leaf );
   LUM_INPUT( later, Tree, LUM_FOLLOW( leaf, sprout ), LUM_ON( height, handleHeight ) );
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
   Grove() { make(); }
   void make() {
      grove = groveSmFactory( &stage, tree );
      stage.logged();
   }
   Lum::Ptr< PlotSm > plot( char const * owner = "ann" ) { return grove->plotIs( 1, owner, tree, &stage ); }
   Lum::Ptr< PlotSm > best( char const * owner = "ann" ) { return grove->bestIs( 2, owner, tree, &stage ); }

   Stage stage;
   Lum::Ptr< Tree > const tree = new Tree( "oak" ), elm = new Tree( "elm" );
   Lum::Ptr< GroveSm > grove;
};

TEST_F( Grove, TheFollowersAreMadeBeforeTheStart ) {
   elm->leafIs( "a" );
   grove = groveSmFactory( &stage, elm );
   EXPECT_EQ( stage.logged(), "a made grove made grove gone" );
   EXPECT_EQ( grove->oak( "a" )->leaf(), elm->leaf( "a" ) );
   grove = groveSmFactory( &stage, Lum::Ptr< Tree >() );
   EXPECT_EQ( stage.logged(), "grove made grove gone" );
   grove->laterIs( elm ); // the first binding: no handler, but what it holds is followed
   EXPECT_EQ( stage.logged(), "a made" );
   elm->leafIs( "b" );
   EXPECT_EQ( stage.logged(), "b made" );
}

TEST_F( Grove, FollowersComeAndGoWithTheirRecords ) {
   auto const first = tree->leafIs( "a" );
   tree->leafIs( "b" );
   first->levelIs( 1 );
   EXPECT_EQ( stage.logged(), "a made b made a level=1" );
   auto const oak = grove->oak( "a" );
   tree->leafDel( "a" );
   first->levelIs( 2 ); // not heard any more
   EXPECT_EQ( stage.logged(), "a cleanup" );
   EXPECT_FALSE( oak->hasNotificationActive() || oak->lumOwner() );
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
   tree->leafIs( "b" );
   stage.script[ "b level=1" ] = [ & ] {
      auto const oak = grove->oak( "b" ).get();
      tree->leafDel( "b" ); // first cut off from its owner
      grove = nullptr;
      oak->cleanup(); // and yet both stay while the handler runs
   };
   tree->leaf( "b" )->levelIs( 1 );
   EXPECT_EQ( stage.logged(), "b made b level=1 b cleanup b cleanup grove gone" );
}

TEST_F( Grove, ACollectionKeepsAMachineOrRefuses ) {
   auto const kept = plot();
   EXPECT_EQ( plot(), kept );
   auto const strep = []( Tree const & of ) { return "Ptr('Actors::Tree', '" + of.name().str() + "')"; };
   auto const expectRefused = [ & ]( char const * owner, Lum::Ptr< Tree const > const & other,
                                     std::string const & difference ) {
      EXPECT_EQ( raised< Lum::NameInUseException >( [ & ] { grove->plotIs( 1, owner, other, &stage ); } ),
                 "Reinstantiating the pointer interface where constructor parameter attribute " + difference
                    + " not allowed" );
   };
   expectRefused( "bob", tree, "_owner has a different value of 'bob' than the current value of 'ann'" );
   expectRefused( "ann", elm,
                  "_tree has a different value of " + strep( *elm ) + " than the current value of " + strep( *tree ) );
   expectRefused( "ann", nullptr, "_tree has a different value of None than the current value of " + strep( *tree ) );
   EXPECT_EQ( grove->plotDel( 1 ), kept ); // which has no end
   EXPECT_EQ( stage.logged(), "1 made" );
}

TEST_F( Grove, ACollectionOfPointersTakesNoNull ) {
   Lum::Ptr< Lum::Dir > const dir( new Lum::Dir( "dir" ) );
   EXPECT_EQ( raised< Lum::RangeException >( [ & ] { grove->oakIs( Lum::Ptr< Leaf >() ); } ),
              "null _oak parameter to mutator for Actors::GroveSm::oak not allowed\"" );
   EXPECT_EQ( raised< Lum::RangeException >( [ & ] { dir->entityPtrIs( "a", nullptr ); } ),
              "null _entityPtr parameter to mutator for Lum::Dir::entityPtr not allowed\"" );
   EXPECT_TRUE( dir->entityPtr().empty() );
}

TEST_F( Grove, ASlotReplacesItsMachine ) {
   auto const first = best();
   EXPECT_EQ( best(), first );
   auto const second = best( "bob" );
   EXPECT_NE( second, first );
   EXPECT_EQ( second->lumOwner(), grove.get() );
   tree->heightIs( 1 );
   EXPECT_EQ( stage.logged(), "2 made 2 made grove height 2 height=1" );
   EXPECT_EQ( grove->bestDel(), second );
   EXPECT_EQ( grove->bestDel(), nullptr );
   tree->heightIs( 2 );
   EXPECT_EQ( stage.logged(), "grove height" );
}

TEST_F( Grove, AMachineWhoseStartWakesItsOwnerIsMadeOnce ) {
   Lum::Ptr< PlotSm > nested;
   stage.script[ "1 made" ] = [ & ] { nested = plot(); };
   EXPECT_EQ( plot(), nested );
   EXPECT_EQ( grove->plot( 1 ), nested );
   tree->heightIs( 1 ); // the one that was given up is not heard of
   EXPECT_EQ( stage.logged(), "1 made 1 made grove height 1 height=1" );
}

TEST_F( Grove, NotificationIsForwardedToTheChildren ) {
   tree->leafIs( "a" );
   plot(), best();
   stage.logged();
   grove->hasNotificationActiveIs( false );
   tree->heightIs( 1 ), tree->leaf( "a" )->levelIs( 1 ), tree->leafIs( "b" );
   EXPECT_EQ( stage.logged(), "" );
   grove->hasNotificationActiveIs( true ); // what was missed stays missed
   tree->heightIs( 2 ), tree->leaf( "a" )->levelIs( 2 );
   EXPECT_EQ( stage.logged(), "grove height 1 height=2 2 height=2 a level=2" );
   grove->lumDoZombieReactors( true ); // its children are not concerned
   tree->heightIs( 3 );
   EXPECT_EQ( stage.logged(), "1 height=3 2 height=3" );
}

TEST_F( Grove, AChildOutlivesItsOwnerInSilence ) {
   auto const byKey = plot(), single = best();
   auto const oak = grove->oakIs( elm->leafIs( "a" ) );
   grove = nullptr;
   stage.logged();
   tree->heightIs( 1 ), elm->leaf( "a" )->levelIs( 1 );
   EXPECT_EQ( stage.logged(), "" );
   EXPECT_FALSE( byKey->lumOwner() || single->lumOwner() || oak->lumOwner() );
   byKey->hasNotificationActiveIs( true ); // on its own it may go on
   tree->heightIs( 2 );
   EXPECT_EQ( stage.logged(), "1 height=2" );
}

} // namespace
} // namespace Actors
