// A visit under way, and everything that a handler may do to it: a matrix of the kinds of subscription and of the
// disturbances.
#include "tests/platform/lum/Actors.h"
#include "tests/platform/lum/Steps.h"

namespace Actors {
namespace {

/// Subscribes in every kind there is: of a tree, each to an attribute of its own.
class WatcherSm : public Lum::PtrInterface {
   LUM_MACHINE( WatcherSm );
   LUM_ARG( id, int );
   LUM_ARG( stage, Stage * );
   LUM_ARG( key, int );
   LUM_INPUT( tree, Tree, LUM_ON( height, handle ), LUM_ON_KEY( fruit, key, handle ), LUM_ON( bird, handle ),
              LUM_ON_MEMBER( leaf, level, handle ), LUM_ON_MEMBER( leaf, twig, handle ),
              LUM_ON_MEMBERSHIP( leaf, handle ) );
   LUM_INPUT( fruits, Tree, LUM_ON( fruit, handle ) );
   LUM_INPUT( leaf, Leaf, LUM_ON( level, handle ) );

   void handleInitialized() {}
   template< class... Anything >
   void handle( Anything const &... ) {
      stage()->called( std::to_string( id() ) );
   }
};

/// Watchers of one tree, numbered in the order of their registration.
struct Scene {
   explicit Scene( int count = 4 ) {
      for( int id = 0; id < count; ++id ) join( id );
   }
   Lum::Ptr< WatcherSm > add( int id, int key = 7 ) {
      watchers[ id ] = Lum::Factory< WatcherSm >()( id, &stage, key );
      return watchers[ id ];
   }
   void join( int id ) { add( id )->treeIs( tree ); }
   void dropAll() { watchers.clear(); }
   void forsakeTree() {
      for( auto const & [ id, watcher ] : watchers ) watcher->treeDel();
      tree = nullptr;
   }
   void fireWith( char const * who, std::function< void() > act ) {
      stage.script[ who ] = std::move( act );
      fire();
   }
   void hear2( bool heard ) { watchers[ 2 ]->hasNotificationActiveIs( heard ); }

   Stage stage;
   Lum::Ptr< Tree > tree = new Tree( "oak" );
   Lum::Ptr< Leaf > const leaf = tree->leafIs( "a" );
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
   { "the entity loses its watchers", []( Scene & s ) { s.forsakeTree(); }, "0 1", nullptr },
   { "the entity loses its watchers, and it raises", []( Scene & s ) { s.forsakeTree(), throw 1; }, "0 1", nullptr },
   { "itself retargets", []( Scene & s ) { s.watchers[ 1 ]->treeDel(); }, "0 1 2 3", "0 2 3" },
   { "the next becomes a zombie", []( Scene & s ) { s.watchers[ 2 ]->lumDoZombieReactors( true ); }, "0 1 3", "0 1 3" },
   { "the next falls silent", []( Scene & s ) { s.hear2( false ); }, "0 1 3", "0 1 3" },
   { "the next is heard anew", []( Scene & s ) { s.hear2( false ), s.hear2( true ); }, "0 1 3", "0 1 3 2" },
   { "one joins", []( Scene & s ) { s.join( 4 ); }, "0 1 2 3", "0 1 2 3 4" },
   { "one takes the place of the last", []( Scene & s ) { s.watchers.erase( 3 ), s.join( 4 ); }, "0 1 2", "0 1 2 4" },
   { "it fires again", []( Scene & s ) { s.fire(); }, "0 1 0 1 2 3 2 3", "0 1 2 3" },
   { "a nested visit loses the next", []( Scene & s ) { s.fireWith( "0", [ & ] { s.watchers.erase( 2 ); } ); },
     "0 1 0 1 3 3", "0 1 3" },
   { "a nested visit loses itself and the rest", []( Scene & s ) { s.fireWith( "1", [ & ] { s.dropAll(); } ); },
     "0 1 0 1", "" },
   { "it raises", []( Scene & ) { throw 1; }, "0 1 2 3", "0 1 2 3" },
};

TEST( Disturbance, AVisitSurvivesIt ) {
   for( auto const & kind : kinds ) {
      for( auto const & disturbance : disturbances ) {
         SCOPED_TRACE( std::string( kind.name ) + ": " + disturbance.name );
         Scene scene;
         scene.fire = [ & ] { kind.fire( scene ); };
         scene.fireWith( "1", [ & ] { disturbance.byWatcher1( scene ); } );
         EXPECT_EQ( scene.stage.logged(), disturbance.called );
         if( !disturbance.after ) continue;
         scene.fire();
         EXPECT_EQ( scene.stage.logged(), disturbance.after );
      }
   }
}

TEST( Visit, GoesByRegistrationAcrossTheKinds ) {
   Scene scene( 1 );
   scene.add( 1 )->fruitsIs( scene.tree );
   scene.add( 2, 8 )->treeIs( scene.tree );
   scene.add( 3 )->leafIs( scene.leaf );
   scene.join( 4 );
   scene.add( 5 )->fruitsIs( scene.tree );
   auto & stage = scene.stage;
   auto const & tree = scene.tree;
   auto const & leaf = scene.leaf;
   scene.fire = [ & ] { tree->fruitIs( 7, ++scene.fired ); };
   Step const story[] = {
      { "a key", scene.fire, "0 1 4 5" },
      { "it goes", [ & ] { tree->fruitDel( 7 ); }, "0 1 4 5" },
      { "another key", [ & ] { tree->fruitIs( 8, 0 ); }, "1 2 5" },
      { "a member", [ & ] { leaf->levelIs( 1 ); }, "0 2 3 4" },
      { "a member's, of which the watchers of members are told", [ & ] { leaf->twigIs( 3 ); }, "0 2 4" },
      { "one of another kind goes", [ & ] { scene.fireWith( "1", [ & ] { scene.watchers.erase( 4 ); } ); }, "0 1 5" },
      { "one that joins is not called yet",
        [ & ] { scene.fireWith( "1", [ & ] { scene.add( 6 )->fruitsIs( tree ); } ); }, "0 1 5" },
      { "but from now on", scene.fire, "0 1 5 6" },
      { "a member leaves during the visit, which is told, too",
        [ & ] {
           stage.script[ "0" ] = [ & ] { tree->leafDel( "a" ); };
           leaf->levelIs( 2 );
        },
        "0 0 2 3" },
      { "it is watched by those only who watch it itself", [ & ] { leaf->levelIs( 3 ); }, "3" },
      { "the last subscriber of a key goes during its visit",
        [ & ] { scene.fireWith( "0", [ & ] { scene.dropAll(); } ); }, "0" },
   };
   play( story, [ & ] { return stage.logged(); } );
   EXPECT_EQ( Tree::LumAttribute_fruit::keyNotifiees( *tree ).listIfAny( 7 ), nullptr );
}

} // namespace
} // namespace Actors
