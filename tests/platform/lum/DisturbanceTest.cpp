// A visit under way, and everything that a handler may do to it: a matrix of the kinds of subscription and of the
// disturbances.
#include "tests/platform/lum/Actors.h"

#include <gtest/gtest.h>

namespace Actors {
namespace {

/// Subscribes in every kind there is, each to an attribute of its own.
class WatcherSm : public Lum::PtrInterface {
   LUM_MACHINE( WatcherSm );
   LUM_ARG( id, int );
   LUM_ARG( stage, Stage * );
   LUM_INPUT( tree, Tree, LUM_ON( height, handle ), LUM_ON_KEY( fruit, id7, handle ), LUM_ON( bird, handle ),
              LUM_ON_MEMBER( leaf, level, handle ), LUM_ON_MEMBERSHIP( leaf, handle ) );

   int id7() const { return 7; }
   void handleInitialized() {}
   template< class... Anything >
   void handle( Anything const &... ) {
      stage()->called( std::to_string( id() ) );
   }
};

/// Four watchers of one tree, numbered in the order of their registration.
struct Scene {
   Scene() {
      tree->leafIs( "a" );
      for( int id = 0; id < 4; ++id ) join( id );
   }
   void join( int id ) {
      watchers[ id ] = Lum::Factory< WatcherSm >()( id, &stage );
      watchers[ id ]->treeIs( tree );
   }
   void dropAll() { watchers.clear(); }

   Stage stage;
   Lum::Ptr< Tree > tree = new Tree( "oak" );
   std::map< int, Lum::Ptr< WatcherSm > > watchers;
   int fired = 0;
   std::function< void() > fire;
};

struct Kind {
   char const * name;
   void ( *fire )( Scene & );
};
Kind const kinds[] = {
   { "value", []( Scene & s ) { s.tree->heightIs( ++s.fired ); } },
   { "key", []( Scene & s ) { s.tree->fruitIs( 7, ++s.fired ); } },
   { "collection", []( Scene & s ) { s.tree->birdIs( ++s.fired, true ); } },
   { "member", []( Scene & s ) { s.tree->leaf( "a" )->levelIs( ++s.fired ); } },
   { "membership", []( Scene & s ) { s.tree->leafIs( std::to_string( ++s.fired ) ); } },
};

struct Disturbance {
   char const * name;
   void ( *byWatcher1 )( Scene & );
   char const * called; // in the visit that is disturbed
   char const * after;  // in the next one
};
Disturbance const disturbances[] = {
   { "itself goes", []( Scene & s ) { s.watchers.erase( 1 ); }, "0 1 2 3", "0 2 3" },
   { "the first goes", []( Scene & s ) { s.watchers.erase( 0 ); }, "0 1 2 3", "1 2 3" },
   { "the next goes", []( Scene & s ) { s.watchers.erase( 2 ); }, "0 1 3", "0 1 3" },
   { "the last goes", []( Scene & s ) { s.watchers.erase( 3 ); }, "0 1 2", "0 1 2" },
   { "itself and the next go", []( Scene & s ) { s.watchers.erase( 1 ), s.watchers.erase( 2 ); }, "0 1 3", "0 3" },
   { "all go", []( Scene & s ) { s.dropAll(); }, "0 1", "" },
   { "the entity goes, and all with it", []( Scene & s ) { s.dropAll(), s.tree = nullptr; }, "0 1", nullptr },
   { "the entity loses its watchers",
     []( Scene & s ) {
        for( auto const & [ id, watcher ] : s.watchers ) watcher->treeDel();
        s.tree = nullptr;
     },
     "0 1", nullptr },
   { "the entity loses its watchers, and it raises",
     []( Scene & s ) {
        for( auto const & [ id, watcher ] : s.watchers ) watcher->treeDel();
        s.tree = nullptr;
        throw 1;
     },
     "0 1", nullptr },
   { "itself retargets", []( Scene & s ) { s.watchers[ 1 ]->treeDel(); }, "0 1 2 3", "0 2 3" },
   { "the next retargets", []( Scene & s ) { s.watchers[ 2 ]->treeDel(); }, "0 1 3", "0 1 3" },
   { "the next becomes a zombie", []( Scene & s ) { s.watchers[ 2 ]->lumDoZombieReactors( true ); }, "0 1 3", "0 1 3" },
   { "the next falls silent", []( Scene & s ) { s.watchers[ 2 ]->hasNotificationActiveIs( false ); }, "0 1 3",
     "0 1 3" },
   { "the next falls silent and is heard again",
     []( Scene & s ) {
        s.watchers[ 2 ]->hasNotificationActiveIs( false );
        s.watchers[ 2 ]->hasNotificationActiveIs( true );
     },
     "0 1 3", "0 1 3 2" },
   { "one joins", []( Scene & s ) { s.join( 4 ); }, "0 1 2 3", "0 1 2 3 4" },
   { "one joins and goes", []( Scene & s ) { s.join( 4 ), s.watchers.erase( 4 ); }, "0 1 2 3", "0 1 2 3" },
   { "one takes the place of the last", []( Scene & s ) { s.watchers.erase( 3 ), s.join( 4 ); }, "0 1 2", "0 1 2 4" },
   { "it fires again", []( Scene & s ) { s.fire(); }, "0 1 0 1 2 3 2 3", "0 1 2 3" },
   { "a nested visit loses the next",
     []( Scene & s ) {
        s.stage.script[ "0" ] = [ & ] { s.watchers.erase( 2 ); };
        s.fire();
     },
     "0 1 0 1 3 3", "0 1 3" },
   { "a nested visit loses itself and the rest",
     []( Scene & s ) {
        s.stage.script[ "1" ] = [ & ] { s.dropAll(); };
        s.fire();
     },
     "0 1 0 1", "" },
   { "it raises", []( Scene & ) { throw 1; }, "0 1 2 3", "0 1 2 3" },
};

TEST( Disturbance, AVisitSurvivesIt ) {
   for( auto const & kind : kinds ) {
      for( auto const & disturbance : disturbances ) {
         SCOPED_TRACE( std::string( kind.name ) + ": " + disturbance.name );
         Scene scene;
         scene.fire = [ & ] { kind.fire( scene ); };
         scene.stage.script[ "1" ] = [ & ] { disturbance.byWatcher1( scene ); };
         scene.fire();
         EXPECT_EQ( scene.stage.logged(), disturbance.called );
         if( !disturbance.after ) continue;
         scene.fire();
         EXPECT_EQ( scene.stage.logged(), disturbance.after );
      }
   }
}

class FruitSm : public Lum::PtrInterface {
   LUM_MACHINE( FruitSm );
   LUM_ARG( id, std::string );
   LUM_ARG( stage, Stage * );
   LUM_ARG_INPUT( tree, Tree const, LUM_ON( fruit, handle ) );
   void handleInitialized() {}
   void handle() { ADD_FAILURE(); }
   void handle( int ) { stage()->called( id() ); }
};

class OneFruitSm : public Lum::PtrInterface {
   LUM_MACHINE( OneFruitSm );
   LUM_ARG( key, int );
   LUM_ARG( id, std::string );
   LUM_ARG( stage, Stage * );
   LUM_ARG_INPUT( tree, Tree const, LUM_ON_KEY( fruit, key, handle ) );
   void handleInitialized() {}
   void handle() { stage()->called( id() ); }
};

class LeavesSm : public Lum::PtrInterface {
   LUM_MACHINE( LeavesSm );
   LUM_ARG( id, std::string );
   LUM_ARG( stage, Stage * );
   LUM_ARG_INPUT( tree, Tree const, LUM_ON_MEMBER( leaf, level, handle ), LUM_ON_MEMBER( leaf, twig, handle ) );
   void handleInitialized() {}
   void handle( Lum::Ptr< Leaf const > const & leaf ) { stage()->called( id() + leaf->name().str() ); }
};

class LeafSm : public Lum::PtrInterface {
   LUM_MACHINE( LeafSm );
   LUM_ARG( id, std::string );
   LUM_ARG( stage, Stage * );
   LUM_ARG_INPUT( leaf, Leaf const, LUM_ON( level, handle ) );
   void handleInitialized() {}
   void handle() { stage()->called( id() ); }
};

TEST( Visit, GoesByRegistrationAcrossTheKinds ) {
   Stage stage;
   Lum::Ptr< Tree > const tree( new Tree( "oak" ) );
   auto const leaf = tree->leafIs( "x" );
   std::vector< Lum::Ptr< Lum::PtrInterface > > kept;
   auto const join = [ & ]( auto factory, auto const &... args ) { kept.push_back( factory( args... ) ); };
   join( Lum::Factory< OneFruitSm >(), 7, "k1", &stage, tree );
   join( Lum::Factory< FruitSm >(), "c2", &stage, tree );
   join( Lum::Factory< OneFruitSm >(), 8, "k3", &stage, tree );
   join( Lum::Factory< OneFruitSm >(), 7, "k4", &stage, tree );
   join( Lum::Factory< LeavesSm >(), "m5", &stage, tree );
   join( Lum::Factory< LeafSm >(), "l6", &stage, leaf );
   join( Lum::Factory< FruitSm >(), "c7", &stage, tree );
   join( Lum::Factory< LeavesSm >(), "m8", &stage, tree );

   tree->fruitIs( 7, 1 );
   EXPECT_EQ( stage.logged(), "k1 c2 k4 c7" );
   tree->fruitDel( 7 );
   EXPECT_EQ( stage.logged(), "k1 c2 k4 c7" );
   tree->fruitIs( 8, 0 );
   EXPECT_EQ( stage.logged(), "c2 k3 c7" );
   leaf->levelIs( 1 );
   EXPECT_EQ( stage.logged(), "m5x l6 m8x" );

   // A change below a member is told of the member, not of what lies below it.
   leaf->twigIs( 3 );
   EXPECT_EQ( stage.logged(), "m5x m8x" );
   leaf->twigDel( 3 );
   EXPECT_EQ( stage.logged(), "m5x m8x" );

   // A disturbance of one kind by another.
   stage.script[ "c2" ] = [ & ] { kept[ 3 ] = nullptr; };
   tree->fruitIs( 7, 1 );
   EXPECT_EQ( stage.logged(), "k1 c2 c7" );
   stage.script[ "c2" ] = [ & ] { join( Lum::Factory< FruitSm >(), "c9", &stage, tree ); };
   tree->fruitIs( 7, 2 );
   EXPECT_EQ( stage.logged(), "k1 c2 c7" ) << "one that joins is not called yet";
   tree->fruitIs( 7, 3 );
   EXPECT_EQ( stage.logged(), "k1 c2 c7 c9" );

   // A member that has left, be it during the visit, is watched by those only who watch it itself.
   stage.script[ "m5x" ] = [ & ] { tree->leafDel( "x" ); };
   leaf->levelIs( 2 );
   EXPECT_EQ( stage.logged(), "m5x l6" );
   leaf->levelIs( 3 );
   EXPECT_EQ( stage.logged(), "l6" );
}

TEST( Visit, TheListOfAKeyGoesWithItsLastSubscriber ) {
   Stage stage;
   Lum::Ptr< Tree > const tree( new Tree( "oak" ) );
   auto const & lists = Tree::LumAttribute_fruit::keyNotifiees( *tree );
   auto one = Lum::Factory< OneFruitSm >()( 7, "one", &stage, tree );
   auto other = Lum::Factory< OneFruitSm >()( 7, "other", &stage, tree );
   stage.script[ "one" ] = [ & ] { one = nullptr, other = nullptr; }; // within the visit of that very list
   tree->fruitIs( 7, 1 );
   EXPECT_EQ( stage.logged(), "one" );
   EXPECT_EQ( lists.listIfAny( 7 ), nullptr );
   one = Lum::Factory< OneFruitSm >()( 7, "again", &stage, tree );
   tree->fruitDel( 7 );
   EXPECT_EQ( stage.logged(), "again" );
   one->lumDoZombieReactors( true );
   EXPECT_EQ( lists.listIfAny( 7 ), nullptr );
}

} // namespace
} // namespace Actors
