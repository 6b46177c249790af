// What a machine hears between its start and its end, how it walks all keys, and which end it has.
#include "tests/platform/lum/Actors.h"
#include "tests/platform/lum/Steps.h"

namespace Actors {

/// Looks at a tree, with handlers of every kind. `ring` has none for all keys.
class GardenSm : public Lum::PtrInterface {
 public:
   /// One leaf of the garden's tree. It hears when the garden does.
   class NestSm : public Lum::PtrInterface {
      LUM_MACHINE( NestSm );
      LUM_ARG_INPUT( leaf, Leaf const, LUM_ON( level, handleLevel ), LUM_ON( spot, handleSpot ) );
      LUM_PARENT( parent, GardenSm );
      LUM_INITIALIZED_WITH( parent );
      LUM_END( cleanup );

      void handleInitialized() { note( "made" ); }
      void handleLevel() { note( "level" ); }
      void handleSpot( int spot ) { note( "spot" + std::to_string( spot ) ); }
      void cleanup() { note( "gone" ); }

    private:
      void note( std::string const & what ) { parent()->stage()->called( leaf()->name().str() + " " + what ); }
   };

   LUM_MACHINE( GardenSm );
   LUM_ARG( stage, Stage * );
   LUM_ARG( place, int );
   LUM_INPUT( tree, Tree const, LUM_ON( height, handleHeight ), LUM_ON( ring, handleRing ),
              LUM_ON( fruit, handleFruit ), LUM_ON_KEY( bird, place, handleBird ), LUM_FOLLOW( leaf, nest ),
              LUM_ON_MEMBERSHIP( leaf, handleLeaf ), LUM_ON_MEMBER( leaf, level, handleLeafLevel ) );
   LUM_FOLLOWERS( nest, Lum::String, NestSm, tree, leaf );
   LUM_INITIALIZED;

   void handleInitialized() {}
   void handleHeight() { stage()->called( "height" ); }
   void handleRing( int key ) { stage()->called( "ring" + std::to_string( key ) ); }
   LUM_ALL_KEYS( handleFruit, tree, fruit );
   void handleFruit( int key ) { stage()->called( "fruit" + std::to_string( key ) ); }
   void handleBird() { stage()->called( "bird" ); }
   void handleLeaf( Lum::Ptr< Leaf const > const & leaf ) { stage()->called( "leaf " + leaf->name().str() ); }
   void handleLeafLevel( Lum::Ptr< Leaf const > const & leaf ) { stage()->called( "level of " + leaf->name().str() ); }
   // The members of a read-only tree are read-only.
   void handleLeaf( Lum::Ptr< Leaf > const & ) = delete;
   void handleLeafLevel( Lum::Ptr< Leaf > const & ) = delete;
};

class FieldSm;

/// Ends where it is not held any more.
class StrawSm : public Lum::PtrInterface {
   LUM_MACHINE( StrawSm );
   LUM_ARG( number, int );
   LUM_PARENT( parent, FieldSm );
   LUM_END( cleanup );
   void handleInitialized() {}
   void cleanup();
};

/// Ends where it is still held.
class CropSm : public Lum::PtrInterface {
   LUM_MACHINE( CropSm );
   LUM_ARG( number, int );
   LUM_PARENT( parent, FieldSm );
   LUM_END_BEFORE_REMOVAL( revoke );
   void handleInitialized() {}
   void revoke();
};

class FieldSm : public Lum::PtrInterface {
   LUM_MACHINE( FieldSm );
   LUM_ARG( stage, Stage * );
   LUM_SMS( straw, int, StrawSm );
   LUM_SMS( crop, int, CropSm );
   LUM_SM( lastStraw, StrawSm );
   LUM_SM( lastCrop, CropSm );
   void handleInitialized() {}

   /// Notes an end, whether the machine was still held, and whether it still took part in activity.
   template< class T >
   void noteEnd( char const * what, T const & machine, bool held ) {
      stage()->called( Lum::textOf( what, machine.number(), held ? " held" : " removed",
                                    machine.hasNotificationActive() ? " active" : "" ) );
   }
};

void StrawSm::cleanup() {
   parent()->noteEnd( "straw", *this, parent()->straw( number() ) == this || parent()->lastStraw() == this );
}
void CropSm::revoke() {
   parent()->noteEnd( "crop", *this, parent()->crop( number() ) == this || parent()->lastCrop() == this );
}

namespace {

struct Garden : testing::Test {
   Garden() {
      machine->treeIs( tree );
      elm->heightIs( 1 );
      for( int key : { 3, 1, 2 } ) elm->ringIs( key, 1 );
      elm->fruitIs( 4, 1 );
      elm->leafIs( "b" );
   }

   Stage stage;
   Lum::Ptr< Tree > const tree = new Tree( "oak" ), elm = new Tree( "elm" ), fir = new Tree( "fir" );
   Lum::Ptr< GardenSm > machine = Lum::Factory< GardenSm >()( &stage, 7 );
};

TEST_F( Garden, NothingIsHeardWhileItIsNotInitialized ) {
   Step const story[] = {
      { "a value, keys, its own key", [ & ] { tree->heightIs( 1 ), tree->ringIs( 1, 1 ), tree->birdIs( 7, true ); },
        "" },
      { "a record: its follower is made", [ & ] { tree->leafIs( "a" ); }, "a made" },
      { "a member, which has a follower",
        [ & ] { tree->leaf( "a" )->levelIs( 1 ), tree->leaf( "a" )->spotIs( 1, true ); }, "" },
      { "another tree: they follow that", [ & ] { machine->treeIs( elm ); }, "b made a gone" },
      { "a handler that is called by name", [ & ] { machine->handleFruit(); }, "fruit4" },
      { "its start is over", [ & ] { machine->initializedIs( true ), elm->heightIs( 2 ), elm->birdIs( 7, true ); },
        "height bird" },
      { "so its followers hear, too", [ & ] { elm->leaf( "b" )->levelIs( 1 ), elm->leaf( "b" )->spotIs( 1, true ); },
        "level of b b level b spot1" },
      { "in its own handler it stops",
        [ & ] {
           stage.script[ "leaf c" ] = [ & ] { machine->initializedIs( false ); };
           elm->leafIs( "c" )->levelIs( 1 );
        },
        "c made leaf c" },
   };
   play( story, [ & ] { return stage.logged(); } );
}

TEST_F( Garden, ANewInputIsWalkedKeyByKey ) {
   struct {
      char const * what;
      std::function< void() > act; // at the first of the three rings
      char const * told;
   } const cases[] = {
      { "nothing", [] {}, "height ring1 ring2 ring3 fruit4 bird b made leaf b" },
      { "a ring goes", [ & ] { elm->ringDel( 2 ); }, "height ring1 ring2 ring3 fruit4 bird b made leaf b" },
      { "looks away", [ & ] { machine->treeDel(); }, "height ring1" },
      { "looks elsewhere", [ & ] { machine->treeIs( fir ); }, "height ring1 height bird" },
      { "becomes a zombie", [ & ] { machine->lumDoZombieReactors( true ); }, "height ring1" },
      { "its end begins", [ & ] { machine->initializedIs( false ); }, "height ring1 b made" },
      { "raises", [] { throw std::runtime_error( "rotten" ); }, "height ring1 fruit4 bird b made leaf b" },
      { "changes what is watched", [ & ] { elm->heightIs( 2 ); },
        "height ring1 height ring2 ring3 fruit4 bird b made leaf b" },
      { "ends the machine, which stays to the end", [ & ] { machine = nullptr; },
        "height ring1 ring2 ring3 fruit4 bird b made leaf b" },
   };
   for( auto const & [ what, act, told ] : cases ) {
      machine = Lum::Factory< GardenSm >()( &stage, 7 );
      machine->treeIs( tree );
      machine->initializedIs( true );
      elm->ringIs( 2, 1 );
      stage.logged();
      stage.script = { { "ring1", act } };
      machine->treeIs( elm );
      EXPECT_EQ( stage.logged(), told ) << what;
   }
   EXPECT_EQ( elm->references(), 1u );
}

TEST( Field, AMachineEndsAsItSays ) {
   Stage stage;
   auto field = Lum::Factory< FieldSm >()( &stage );
   for( int number : { 1, 2 } ) field->strawIs( number ), field->cropIs( number );
   field->lastStrawIs( 9 ), field->lastCropIs( 9 );
   Step const story[] = {
      { "behind the removal", [ & ] { EXPECT_EQ( field->strawDel( 1 )->number(), 1 ); }, "straw1 removed" },
      { "before it", [ & ] { EXPECT_EQ( field->cropDel( 1 )->number(), 1 ); }, "crop1 held active" },
      { "before it, and another takes its place, which stays",
        [ & ] {
           field->cropIs( 5 );
           stage.script[ "crop5 held active" ] = [ & ] { field->cropDel( 5, Lum::withoutEnd ), field->cropIs( 5 ); };
           field->cropDel( 5 );
           stage.script[ "crop9 held active" ] = [ & ] { field->lastCropIs( 8 ); };
           field->lastCropDel();
           EXPECT_TRUE( field->cropDel( 5, Lum::withoutEnd ) && field->lastCrop()->number() == 8 );
           field->lastCropIs( 9 );
        },
        "crop5 held active crop9 held active" },
      { "what is not there", [ & ] { EXPECT_FALSE( field->strawDel( 1 ) || field->cropDel( 1 ) ); }, "" },
      { "where the call leaves it out",
        [ & ] { EXPECT_TRUE( field->strawDel( 2, Lum::withoutEnd ) && field->cropDel( 2, Lum::withoutEnd ) ); }, "" },
      { "each of several",
        [ & ] { field->strawIs( 3 ), field->cropIs( 3 ), field->strawDelAll(), field->cropDelAll(); },
        "straw3 removed crop3 held active" },
      { "a single one", [ & ] { EXPECT_TRUE( field->lastStrawDel() && field->lastCropDel() ); },
        "straw9 removed crop9 held active" },
      { "a single one without", [ & ] { field->lastCropIs( 9 ), field->lastCropDel( Lum::withoutEnd ); }, "" },
      { "a single one that is replaced", [ & ] { field->lastCropIs( 8 ), field->lastCropIs( 7 ); }, "" },
      { "with their owner: a destructor writes nothing", [ & ] { field->strawIs( 4 ), field = nullptr; }, "" },
   };
   play( story, [ & ] { return stage.logged(); } );
}

} // namespace
} // namespace Actors
