// When an attribute fires, who hears of it, and what retargeting does.
#include "tests/platform/lum/Actors.h"
#include "tests/platform/lum/Steps.h"

namespace Actors {
namespace {

/// Notes for every attribute of a tree what it finds there when it is called; "all" for the call without a key.
class TreeSm : public Lum::PtrInterface {
   LUM_MACHINE( TreeSm );
   LUM_ARG( stage, Stage * );
   LUM_ARG( key, int );
   LUM_INPUT( tree, Tree const, LUM_ON( height, handleHeight ), LUM_ON( fruit, handleFruit ),
              LUM_ON( ring, handleRing ), LUM_ON( nest, handleNest ), LUM_ON( leaf, handleLeaf ),
              LUM_ON( crown, handleCrown ), LUM_ON_KEY( bird, key, handleBird ) );

   void handleInitialized() {}
   void handleHeight() { stage()->called( "height=" + std::to_string( tree()->height() ) ); }
   void handleFruit() { stage()->called( "fruit" ); }
   void handleFruit( int of ) { note( "fruit", of, tree()->fruit(), tree()->fruit( of ) ); }
   void handleRing() { stage()->called( "ring" ); }
   void handleRing( int of ) { note( "ring", of, tree()->ring(), tree()->ring( of ) ); }
   void handleNest() { stage()->called( "nest" ); }
   void handleNest( int of ) { note( "nest", of, tree()->nest(), tree()->nest( of ).eggs ); }
   void handleLeaf() { stage()->called( "leaf" ); }
   void handleLeaf( Lum::String of ) { stage()->called( of.str() + ( tree()->leaf( of ) ? " there" : " gone" ) ); }
   void handleCrown() { stage()->called( tree()->crown() ? "crowned" : "uncrowned" ); }
   void handleBird() { stage()->called( tree()->bird( key() ) ? "bird" : "no bird" ); }

 private:
   template< class Map >
   void note( std::string const & name, int of, Map const & map, int value ) {
      stage()->called( name + std::to_string( of ) + ( map.find( of ) ? "=" + std::to_string( value ) : " gone" ) );
   }
};

struct Watched : testing::Test {
   Watched() { machine->treeIs( tree ); }
   Stage stage;
   Lum::Ptr< Tree > tree = new Tree( "oak" );
   Lum::Ptr< TreeSm > machine = Lum::Factory< TreeSm >()( &stage, 7 );
};

Nest nest( int place, int eggs ) { return { place, eggs }; }

TEST_F( Watched, OnlyAChangeFires ) {
   for( int key : { 30, 10, 20 } ) tree->ringIs( key, 1 );
   EXPECT_EQ( stage.logged(), "ring30=1 ring10=1 ring20=1" );
   Step const story[] = {
      { "the value that is held", [ & ] { tree->heightIs( 0 ); }, "" },
      { "another value", [ & ] { tree->heightIs( 3 ); }, "height=3" },
      { "a new key, twice", [ & ] { tree->fruitIs( 1, 5 ), tree->fruitIs( 1, 5 ); }, "fruit1=5" },
      { "another under it", [ & ] { tree->fruitIs( 1, 6 ); }, "fruit1=6" },
      { "the default, where nothing was", [ & ] { tree->fruitIs( 2, 0 ); }, "fruit2=0" },
      { "a key goes, twice", [ & ] { tree->fruitDel( 1 ), tree->fruitDel( 1 ); }, "fruit1 gone" },
      { "all go, twice", [ & ] { tree->ringDelAll(), tree->ringDelAll(); }, "ring10 gone ring20 gone ring30 gone" },
      { "a record, twice", [ & ] { tree->nestIs( nest( 4, 2 ) ), tree->nestIs( nest( 4, 2 ) ); }, "nest4=2" },
      { "another under its key", [ & ] { tree->nestIs( nest( 4, 1 ) ); }, "nest4=1" },
      { "a child, twice", [ & ] { tree->leafIs( "a" ), tree->leafIs( "a" ); }, "a there" },
      { "the child goes", [ & ] { tree->leafDel( "a" ); }, "a gone" },
      { "the single child, twice", [ & ] { tree->crownIs( "x" ), tree->crownIs( "y" ); }, "crowned" },
      { "the single child goes, twice", [ & ] { tree->crownDel(), tree->crownDel(); }, "uncrowned" },
      { "a key that it does not care for", [ & ] { tree->birdIs( 6, true ); }, "" },
      { "its own key", [ & ] { tree->birdIs( 7, true ); }, "bird" },
      { "its own key goes with all", [ & ] { tree->birdDelAll(); }, "no bird" },
   };
   play( story, [ & ] { return stage.logged(); } );
}

TEST_F( Watched, AHandlerMayEndTheEntityThatFires ) {
   auto const endAt = [ & ]( std::string const & call ) {
      stage.script.clear();
      machine->treeIs( tree = new Tree( "oak" ) );
      stage.logged();
      stage.script[ call ] = [ & ] { machine->treeDel(), tree = nullptr; };
   };
   endAt( "a there" ); // each mutator still finishes
   EXPECT_EQ( tree->leafIs( "a" )->lumParent(), nullptr );
   endAt( "crowned" );
   EXPECT_EQ( tree->crownIs( "x" )->lumParent(), nullptr );
   endAt( "uncrowned" );
   tree->crownIs( "x" ), tree->crownDel();
   endAt( "fruit1 gone" );
   tree->fruitIs( 1, 1 ), tree->fruitDel( 1 );
   endAt( "ring1 gone" );
   tree->ringIs( 1, 1 ), tree->ringIs( 2, 1 ), tree->ringDelAll();
   EXPECT_EQ( stage.logged(), "ring1=1 ring2=1 ring1 gone" );
   endAt( "a gone" );
   tree->leafIs( "a" ), tree->leafIs( "b" ), tree->leafDelAll(); // in whichever order
   EXPECT_FALSE( tree );
}

TEST_F( Watched, RetargetingReadsTheWholeOnce ) {
   Lum::Ptr< Tree > const elm( new Tree( "elm" ) );
   std::string const whole = "height=0 fruit ring nest leaf uncrowned no bird";
   Step const story[] = {
      { "the first binding", [] {}, "" },
      { "another tree", [ & ] { machine->treeIs( elm ); }, whole },
      { "the old one is not watched", [ & ] { tree->heightIs( 1 ), tree->birdIs( 7, true ); }, "" },
      { "the same again", [ & ] { machine->treeIs( elm ); }, "" },
      { "none", [ & ] { machine->treeDel(), elm->heightIs( 1 ), elm->heightIs( 0 ); }, "" },
      { "one again", [ & ] { machine->treeIs( elm ); }, whole },
      { "a zombie", [ & ] { machine->lumDoZombieReactors( true ), elm->heightIs( 5 ), machine->treeIs( tree ); }, "" },
      { "it lives again", [ & ] { machine->lumDoZombieReactors( false ), tree->heightIs( 10 ); }, "height=10" },
   };
   play( story, [ & ] { return stage.logged(); } );
}

TEST_F( Watched, AnExceptionEndsAtItsHandler ) {
   auto const exceptions = Lum::notificationExceptions();
   testing::internal::CaptureStderr();
   stage.script[ "height=1" ] = [] { throw std::runtime_error( "too high" ); };
   stage.script[ "fruit1=1" ] = [] { throw 1; };
   stage.script[ "a there" ] = [ & ] { Lum::throwRangeException( "late" ); };
   tree->heightIs( 1 );
   tree->fruitIs( 1, 1 );
   tree->leafIs( "a" );
   EXPECT_EQ( testing::internal::GetCapturedStderr(),
              "exception in a handler of Actors::Tree::height: too high\n"
              "exception in a handler of Actors::Tree::fruit: unknown exception\n"
              "exception in a handler of Actors::Tree::leaf: late\n" );
   EXPECT_EQ( Lum::notificationExceptions(), exceptions + 3 );
   EXPECT_EQ( stage.logged(), "height=1 fruit1=1 a there" );
}

/// Watches the leaves whose level is its own, and those on its side.
class RoutedSm : public Lum::PtrInterface {
   LUM_MACHINE( RoutedSm );
   LUM_ARG( stage, Stage * );
   LUM_ARG( number, int );
   LUM_ARG_INPUT( tree, Tree const, LUM_ON_MEMBER_OF( leaf, level, number, level, handleLevel ),
                  LUM_ON_MEMBER_OF( leaf, sideOf, number, level, handleSide ) );
   void handleInitialized() {}
   void handleLevel( Lum::Ptr< Leaf const > leaf ) { note( "level", *leaf ); }
   void handleSide( Lum::Ptr< Leaf const > leaf ) { note( "side", *leaf ); }
   void note( char const * what, Leaf const & leaf ) { stage()->called( Lum::textOf( number(), what, leaf.name() ) ); }
};

TEST( Routes, LeadAChangeToTheKeysOfItsMember ) {
   Stage stage;
   Lum::Ptr< Tree > const tree = new Tree( "oak" );
   auto const make = [ & ]( int number ) {
      return Lum::Factory< RoutedSm >()( &stage, number, Lum::Ptr< Tree const >( tree ) );
   };
   auto two = make( 2 ), one = make( 1 );
   auto const a = tree->leafIs( "a" );
   Step const story[] = {
      { "nobody's level, nobody's side", [ & ] { a->levelIs( 9 ); }, "" },
      { "as it is now, not as it was", [ & ] { a->levelIs( 1 ), a->levelIs( 2 ); }, "1levela 2levela" },
      { "in the order of registration", [ & ] { a->side = 2, a->levelIs( 1 ); }, "2sidea 1levela" },
      { "whoever comes later is called later",
        [ & ] { two = nullptr, two = make( 2 ), a->levelIs( 9 ), a->levelIs( 1 ); }, "2sidea 1levela 2sidea" },
      { "who goes in the midst is not called",
        [ & ] { stage.script[ "1levela" ] = [ & ] { two = nullptr; }, a->levelIs( 9 ), a->levelIs( 1 ); },
        "2sidea 1levela" },
      { "a leaf that has gone", [ & ] { tree->leafDel( "a" ), a->levelIs( 9 ), a->levelIs( 1 ); }, "" },
   };
   play( story, [ & ] { return stage.logged(); } );
}

TEST( Ownership, AChildKnowsItsHolderAsLongAsItIsHeld ) {
   Lum::Ptr< Tree > tree( new Tree( "oak" ) );
   auto const leaf = tree->leafIs( "a" ), crown = tree->crownIs( "c" ), held = tree->leafIs( "b" );
   EXPECT_EQ( leaf->lumParent(), tree.get() );
   EXPECT_EQ( tree->lumAttributeName( leaf->lumParentAttribute() ), "leaf" );
   EXPECT_EQ( tree->lumAttributeName( crown->lumParentAttribute() ), "crown" );
   tree->leafDel( "a" );
   EXPECT_EQ( leaf->lumParent(), nullptr );
   tree = nullptr;
   EXPECT_FALSE( crown->lumParent() || held->lumParent() );
}

} // namespace
} // namespace Actors
