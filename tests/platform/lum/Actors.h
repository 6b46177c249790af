// The small actors of the runtime's tests: a tree that is watched, and watchers that note what they are told and then
// do what the test has laid down for them.
#pragma once

#include "platform/lum/Machine.h"
#include "platform/lum/ValueRecord.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace Actors {

class Twig : public Lum::Entity {
   LUM_ENTITY( Twig, name, int );
};

class Leaf : public Lum::Entity {
   LUM_ENTITY( Leaf, name, Lum::String );
   LUM_VALUE( level, int );
   LUM_SET( spot, int );
   LUM_CHILDREN( twig, int, Twig );

   int side = 0; // no attribute
   int sideOf() const { return side; }
};

/// A record that holds its key.
struct Nest {
   LUM_VALUE_RECORD( Nest );
   LUM_KEY_FIELD( place, int );
   LUM_FIELD( eggs, int );
};

class Tree : public Lum::Entity {
   LUM_ENTITY( Tree, name, Lum::String );
   LUM_VALUE( height, int );
   LUM_VALUES( fruit, int, int );
   LUM_ORDERED_VALUES( ring, int, int );
   LUM_SET( bird, int );
   LUM_RECORDS( nest, int, Nest );
   LUM_CHILDREN( leaf, Lum::String, Leaf );
   LUM_ORDERED_CHILDREN( twig, int, Twig );
   LUM_CHILD( crown, Leaf );
};

/// Who calls, in order, and what each caller then does, once.
struct Stage : Lum::PtrInterface {
   void called( std::string const & who ) {
      log += log.empty() ? who : " " + who;
      auto const act = std::exchange( script[ who ], nullptr );
      if( act ) act();
   }
   std::string logged() { return std::exchange( log, {} ); }

   std::string log;
   std::map< std::string, std::function< void() > > script;
};

} // namespace Actors
