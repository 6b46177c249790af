// What must not compile. Behind each "refused:" stands what the compiler has to say of the class that follows;
// tests/refused asks it.
#include "platform/lum/Machine.h"
#include "platform/lum/ValueRecord.h"

namespace {

class Tree : public Lum::Entity {
   LUM_ENTITY( Tree, name, int );
   LUM_VALUE( height, int );
   LUM_SET( bird, int );
};

// refused: level stands in a class that does not begin with LUM_ENTITY, LUM_MACHINE or LUM_VALUE_RECORD
class Leaf : public Lum::Entity {
   LUM_VALUE( level, int );
};

// refused: number stands in a class that does not begin with LUM_ENTITY, LUM_MACHINE or LUM_VALUE_RECORD
class PlotSm : public Lum::PtrInterface {
   LUM_ARG( number, int );
};

// refused: colour stands in a class that does not begin with LUM_ENTITY, LUM_MACHINE or LUM_VALUE_RECORD
class PaintedTree : public Tree {
   LUM_VALUE( colour, int );
};

#define FIVE( x )                                                                                                      \
   LUM_FIELD( x##1, int );                                                                                             \
   LUM_FIELD( x##2, int );                                                                                             \
   LUM_FIELD( x##3, int );                                                                                             \
   LUM_FIELD( x##4, int );                                                                                             \
   LUM_FIELD( x##5, int )
// refused: last is one attribute too many
struct Long {
   LUM_VALUE_RECORD( Long );
   FIVE( a );
   FIVE( b );
   FIVE( c );
   FIVE( d );
   FIVE( e );
   FIVE( f );
   FIVE( g );
   FIVE( h );
   LUM_FIELD( last, int );
};

// refused: an input has at most eight reactions: tree
class NineSm : public Lum::PtrInterface {
   LUM_MACHINE( NineSm );
   LUM_INPUT( tree, Tree const, LUM_ON( height, handle ), LUM_ON( height, handle ), LUM_ON( height, handle ),
              LUM_ON( height, handle ), LUM_ON( height, handle ), LUM_ON( height, handle ), LUM_ON( height, handle ),
              LUM_ON( height, handle ), LUM_ON( height, handle ) );
   void handle() {}
};

// refused: the key place of LUM_ON_KEY is no constructor argument (LUM_ARG)
class BirdSm : public Lum::PtrInterface {
   LUM_MACHINE( BirdSm );
   LUM_LOCAL( place, int );
   LUM_ARG_INPUT( tree, Tree const, LUM_ON_KEY( bird, place, handle ) );
   void handleInitialized() {}
   void handle() {}
};
auto const birdSm = Lum::Factory< BirdSm >()( Lum::Ptr< Tree const >() );

// refused: a child machine says how it ends: LUM_END, LUM_END_BEFORE_REMOVAL or LUM_NO_END
class RootSm : public Lum::PtrInterface {
   LUM_MACHINE( RootSm );
   LUM_SM( birdSm, BirdSm );
};

// refused: clenaup
class EndSm : public Lum::PtrInterface {
   LUM_MACHINE( EndSm );
   LUM_END( clenaup );
   void cleanup() {}
};

} // namespace
