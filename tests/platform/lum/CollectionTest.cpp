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
   void add( int number ) { add( key( number ) ); }
   void addTo( int end ) {
      for( int number = 0; number < end; ++number ) add( number );
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
   struct Case {
      char const * name;
      void ( *atThird )( Map &, std::vector< int > const & order );
      std::vector< std::size_t > unseen; // places in the order
   } const cases[] = {
      { "itself", []( Map & map, auto & order ) { map->del( order[ 2 ] ); }, {} },
      { "the one before", []( Map & map, auto & order ) { map->del( order[ 1 ] ); }, {} },
      { "the next", []( Map & map, auto & order ) { map->del( order[ 3 ] ); }, { 3 } },
      { "itself, then the next",
        []( Map & map, auto & order ) { map->del( order[ 2 ] ), map->del( order[ 3 ] ); },
        { 3 } },
      { "the next, then itself",
        []( Map & map, auto & order ) { map->del( order[ 3 ] ), map->del( order[ 2 ] ); },
        { 3 } },
      { "the last", []( Map & map, auto & order ) { map->del( order[ 5 ] ); }, { 5 } },
      { "itself, and then it grows",
        []( Map & map, auto & order ) {
           map->del( order[ 2 ] );
           for( int number = 100; number < 200; ++number ) map->add( number );
        },
        {} },
      { "all but the last",
        []( Map & map, auto & order ) {
           for( std::size_t i = 0; i < 5; ++i ) map->del( order[ i ] );
        },
        { 3, 4 } },
      { "all", []( Map & map, auto & ) { map->clear(); }, { 3, 4, 5 } },
      { "all by a walk within",
        []( Map & map, auto & ) {
           for( auto const & [ key, value ] : *map ) map->del( key.number );
        },
        { 3, 4, 5 } },
      { "the holder", []( Map & map, auto & ) { map.reset(); }, { 3, 4, 5 } },
   };
   for( auto const & [ name, atThird, unseen ] : cases ) {
      SCOPED_TRACE( name );
      auto map = std::make_unique< Numbers< TypeParam > >();
      map->addTo( 6 );
      auto const order = map->walk();
      std::vector< int > seen, expected;
      for( std::size_t i = 0; i < order.size(); ++i ) {
         if( std::find( unseen.begin(), unseen.end(), i ) == unseen.end() ) expected.push_back( order[ i ] );
      }
      for( auto const & [ key, value ] : *map ) {
         if( key.number < 100 ) seen.push_back( key.number ); // one that is added may be seen or not
         if( seen.size() == 3 && key.number == order[ 2 ] ) atThird( map, order );
      }
      EXPECT_EQ( seen, expected );
   }
}

TYPED_TEST( Walk, TwoAtOneMember ) {
   Numbers< TypeParam > map;
   map.addTo( 3 );
   auto const order = map.walk();
   auto outer = map.begin();
   auto inner = map.begin();
   map.del( order[ 0 ] );
   outer.advance();
   inner.advance();
   EXPECT_EQ( outer.key().number, order[ 1 ] );
   map.del( order[ 1 ] );
   map.del( order[ 2 ] );
   EXPECT_TRUE( outer == nullptr );
   inner.advance();
   EXPECT_TRUE( inner == nullptr );
}

TYPED_TEST( Walk, TheOrderKnowsNoHistory ) {
   std::vector< int > numbers( 500 );
   std::iota( numbers.begin(), numbers.end(), 0 );
   auto expected = numbers;
   constexpr bool ordered = std::is_same_v< TypeParam, Lum::RbTreeMap< Key, int > >;
   if( !ordered ) std::reverse( expected.begin(), expected.end() );
   for( int step : { 1, 7, 499 } ) {
      Numbers< TypeParam > map;
      map.addTo( 0 );
      for( int i = 0; i < 500; ++i ) map.add( i * step % 500 );
      EXPECT_EQ( map.walk(), expected ) << step;
      EXPECT_DEATH( map.add( 77 ), "the key is in the collection already" );
      map.clear();
      EXPECT_EQ( map.walk(), std::vector< int >() );
      map.addTo( 3 ); // once cleared it serves again
      EXPECT_EQ( map.size(), 3u );
      EXPECT_EQ( map.find( map.key( 3 ) ), nullptr );
   }
}

TYPED_TEST( Walk, EqualHashesAreToldApart ) {
   Numbers< TypeParam > map;
   for( std::uint64_t hash : { std::uint64_t( 0 ), ~std::uint64_t( 0 ) } ) {
      int const base = hash ? 100 : 0;
      for( int i = 0; i < 50; ++i ) map.add( Key{ base + i, hash } );
   }
   auto const find = [ & ]( int number ) { return map.find( Key{ number, number < 100 ? 0 : ~std::uint64_t( 0 ) } ); };
   for( int number : { 0, 25, 49, 100, 149 } ) map.remove( *find( number ) );
   auto seen = map.walk();
   EXPECT_EQ( seen.size(), 95u );
   for( int number : seen ) ASSERT_TRUE( find( number ) ) << number;
   for( int number : { 0, 25, 49, 100, 149, 50 } ) EXPECT_FALSE( find( number ) ) << number;
   std::sort( seen.begin(), seen.end() );
   EXPECT_EQ( std::unique( seen.begin(), seen.end() ), seen.end() );
}

TEST( Walk, TheOrderedMapFindsTheFirstFromAKey ) {
   Numbers< Lum::RbTreeMap< Key, int > > map;
   for( int number : { 40, 20, 30 } ) map.add( number );
   for( auto const & [ from, found ] : { std::pair( 10, 20 ), { 20, 20 }, { 21, 30 }, { 40, 40 } } ) {
      EXPECT_EQ( map.findFrom( map.key( from ) )->value, found );
   }
   EXPECT_EQ( map.findFrom( map.key( 41 ) ), nullptr );
}

TEST( Walk, AReaderSurvivesTheHolder ) {
   Lum::Ptr< Tree > tree( new Tree( "oak" ) );
   for( auto const * name : { "a", "b", "c" } ) tree->leafIs( name );
   Tree const & reader = *tree;
   int seen = 0;
   Lum::Ptr< Leaf const > last;
   for( auto const & [ name, leaf ] : reader.leaf() ) {
      EXPECT_EQ( leaf->name(), name );
      EXPECT_EQ( leaf->lumParent(), tree.get() );
      last = leaf;
      if( ++seen == 2 ) tree = nullptr;
   }
   EXPECT_EQ( seen, 2 );
   EXPECT_EQ( last->lumParent(), nullptr );
}

/// Looks into the table that it is removed from.
struct Prying {
   explicit Prying( Lum::HashMap2018< int, Prying > & to ) : table( to ) {}
   ~Prying() {
      for( int key = 0; key < 100; ++key ) found += table.find( key ) != nullptr;
   }
   Lum::HashMap2018< int, Prying > & table;
   static inline int found = 0;
};

TEST( Walk, ATableThatGoesShrinksMemberByMember ) {
   {
      Lum::HashMap2018< int, Prying > table;
      for( int key = 0; key < 100; ++key )
         table.insert( std::make_unique< Lum::KeyValueNode< int, Prying > >( key, table ) );
   }
   EXPECT_EQ( Prying::found, 99 * 100 / 2 );
}

} // namespace
} // namespace Actors
