// Walks over the collections, and what may be done to a collection meanwhile.
#include "tests/platform/lum/Actors.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <numeric>

namespace Actors {

/// A key whose hash the test chooses.
struct Key {
   int number;
   std::uint64_t hash;
   friend bool operator==( Key const & a, Key const & b ) { return a.number == b.number; }
   friend bool operator<( Key const & a, Key const & b ) { return a.number < b.number; }
};

} // namespace Actors

template<>
struct std::hash< Actors::Key > {
   std::size_t operator()( Actors::Key const & key ) const { return key.hash; }
};

namespace Actors {
namespace {

struct Member : Lum::PtrInterface {
   explicit Member( Key key ) : key_( key ) {}
   Key const & lumKey() const { return key_; }
   Key key_;
};

/// The three collections behind one face: numbers, hashed in descending order so that the order shows.
template< class Map >
struct Numbers : Map {
   static Key key( int number ) { return { number, ~( std::uint64_t( number ) << 48 ) }; }
   void add( Key key ) {
      if constexpr( std::is_same_v< Map, Lum::HashMap< Key, Member > > ) {
         this->insert( std::make_unique< typename Map::Node >( key, new Member( key ) ) );
      } else {
         this->insert( std::make_unique< typename Map::Node >( key, key.number ) );
      }
   }
   void addTo( int end, int first = 0 ) {
      for( int number = first; number < end; ++number ) add( key( number ) );
   }
   void del( int number ) {
      if( auto * node = this->find( key( number ) ) ) this->remove( *node );
   }
   std::vector< int > walk() const {
      std::vector< int > seen;
      for( auto const & [ each, value ] : *this ) seen.push_back( each.number );
      return seen;
   }
};

template< class Map >
class Walk : public testing::Test {};
using Maps = testing::Types< Lum::HashMap2018< Key, int >, Lum::HashMap< Key, Member >, Lum::RbTreeMap< Key, int > >;
TYPED_TEST_SUITE( Walk, Maps );

TYPED_TEST( Walk, EachMemberOnceWhateverIsDeleted ) {
   using Map = std::unique_ptr< Numbers< TypeParam > >;
   using Places = std::vector< std::size_t >;
   auto const nothing = []( Map & ) {};
   struct {
      char const * name;
      Places deleted; // by their places in the order, when the third is visited
      std::function< void( Map & ) > then;
      Places unseen;
   } const cases[] = {
      { "the one before", { 1 }, nothing, {} },
      { "itself", { 2 }, nothing, {} },
      { "itself, then the next", { 2, 3 }, nothing, { 3 } },
      { "the next, then itself", { 3, 2 }, nothing, { 3 } },
      { "the last", { 5 }, nothing, { 5 } },
      { "all but the last", { 0, 1, 2, 3, 4 }, nothing, { 3, 4 } },
      { "itself, and it grows", { 2 }, []( Map & map ) { map->addTo( 200, 100 ); }, {} },
      { "all", {}, []( Map & map ) { map->clear(); }, { 3, 4, 5 } },
      { "all by a walk within",
        {},
        []( Map & map ) {
           for( auto const & [ key, value ] : *map ) map->del( key.number );
        },
        { 3, 4, 5 } },
      { "the holder", {}, []( Map & map ) { map.reset(); }, { 3, 4, 5 } },
   };
   for( auto const & [ name, deleted, then, unseen ] : cases ) {
      SCOPED_TRACE( name );
      auto map = std::make_unique< Numbers< TypeParam > >();
      map->addTo( 6 );
      auto const order = map->walk();
      auto expected = order;
      for( auto place : unseen ) std::erase( expected, order[ place ] );
      std::vector< int > seen;
      for( auto const & [ key, value ] : *map ) {
         if( key.number < 100 ) seen.push_back( key.number ); // one that is added may be seen or not
         if( key.number != order[ 2 ] ) continue;
         for( auto place : deleted ) map->del( order[ place ] );
         then( map );
      }
      EXPECT_EQ( seen, expected );
   }
}

TYPED_TEST( Walk, TheOrderKnowsNoHistory ) {
   std::vector< int > expected( 500 );
   std::iota( expected.begin(), expected.end(), 0 );
   constexpr bool ordered = std::is_same_v< TypeParam, Lum::RbTreeMap< Key, int > >;
   if( !ordered ) std::reverse( expected.begin(), expected.end() );
   for( int step : { 1, 7, 499 } ) {
      Numbers< TypeParam > map;
      for( int i = 0; i < 500; ++i ) map.add( map.key( i * step % 500 ) );
      EXPECT_EQ( map.walk(), expected ) << step;
      EXPECT_DEATH( map.add( map.key( 77 ) ), "the key is in the collection already" );
      map.clear();
      EXPECT_EQ( map.walk(), std::vector< int >() );
      map.addTo( 3 ); // once cleared it serves again
      EXPECT_EQ( map.size(), 3u );
      EXPECT_EQ( map.find( map.key( 3 ) ), nullptr );
   }
}

} // namespace
} // namespace Actors
