// The collections behind the attributes. They are walked with handlers that may do anything to them: a walk visits each
// member once, whatever members are deleted meanwhile, and ends when the collection itself goes. A member added during
// a walk may or may not be seen.
//
// HashMap2018 (key and value in the node) and HashMap (members that hold their key) are walked in the order of the
// keys' hashes, so the order does not depend on history, and growth does not disturb a walk. RbTreeMap is walked in
// ascending key order.
#pragma once

#include "platform/lum/Hash.h"
#include "platform/lum/PtrInterface.h"

#include <boost/intrusive/set.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

namespace Lum {

/// A key is inserted that is there already.
[[noreturn]] void assertDupKey();

template< class Table >
class Walked;

/// A position in a collection. It survives the deletion of the member under it: the collection moves it on and marks it
/// stale, and `advance()` then only clears the mark. Reading gives copies, so nothing read dangles.
template< class Table >
class Cursor {
 public:
   Cursor( Table & table, typename Table::Node * node ) : table_( &table ), node_( node ), next_( walked().cursors_ ) {
      if( next_ ) next_->previous_ = this;
      walked().cursors_ = this;
   }
   Cursor( Cursor const & ) = delete;
   Cursor & operator=( Cursor const & ) = delete;
   ~Cursor() {
      if( !table_ ) return;
      ( previous_ ? previous_->next_ : walked().cursors_ ) = next_;
      if( next_ ) next_->previous_ = previous_;
   }

   explicit operator bool() const { return node_ != nullptr; }
   auto key() const { return node_->keyCopy(); }
   auto value() const { return node_->value; }
   auto operator*() const { return std::pair( key(), value() ); }
   typename Table::Node & node() const { return *node_; }
   void advance() {
      if( !stale_ && node_ ) node_ = table_->successor( node_ );
      stale_ = false;
   }
   Cursor & operator++() {
      advance();
      return *this;
   }
   friend bool operator==( Cursor const & cursor, std::nullptr_t ) { return !cursor; }

 private:
   friend class Walked< Table >;

   Walked< Table > & walked() { return *table_; }
   void leave( typename Table::Node const & gone ) {
      if( node_ != &gone ) return;
      node_ = table_->successor( node_ );
      stale_ = true;
   }

   Table * table_;
   typename Table::Node * node_;
   bool stale_ = false;
   Cursor * previous_ = nullptr;
   Cursor * next_;
};

/// What all collections share: who walks them.
template< class Table >
class Walked {
 public:
   Walked() = default;
   Walked( Walked const & ) = delete;
   Walked & operator=( Walked const & ) = delete;

   Cursor< Table > begin() const {
      auto & table = const_cast< Table & >( static_cast< Table const & >( *this ) );
      return { table, table.first() };
   }
   std::nullptr_t end() const { return nullptr; }

 protected:
   template< class Node >
   void leave( Node const & gone ) {
      for( auto * each = cursors_; each; each = each->next_ ) each->leave( gone );
   }
   void leaveAll() {
      for( auto * each = cursors_; each; each = each->next_ ) {
         each->node_ = nullptr;
         each->table_ = nullptr;
      }
      cursors_ = nullptr;
   }

 private:
   friend class Cursor< Table >;

   Cursor< Table > * cursors_ = nullptr;
};

/// A chained hash table of nodes with `key()`. The top bits of the hash choose the bucket and a bucket is sorted by
/// hash, so the members stand in the order of their hashes whatever the number of buckets.
template< class NodeType >
class HashTable : public Walked< HashTable< NodeType > > {
 public:
   using Node = NodeType;
   using Key = typename Node::Key;

   HashTable() = default;
   ~HashTable() { clear(); }

   std::size_t size() const { return size_; }
   bool empty() const { return size_ == 0; }

   Node * find( Key const & key ) const {
      std::uint64_t const hash = hashOf( key );
      for( Node * node = buckets_[ bucketOf( hash ) ]; node && node->hash <= hash; node = node->next ) {
         if( node->hash == hash && node->key() == key ) return node;
      }
      return nullptr;
   }

   /// Takes over `node`, whose key must not be there.
   Node & insert( std::unique_ptr< Node > node ) {
      if( size_ >= ( std::size_t( 1 ) << bits_ ) ) grow();
      node->hash = hashOf( node->key() );
      Node ** place = &buckets_[ bucketOf( node->hash ) ];
      for( ; *place && ( *place )->hash <= node->hash; place = &( *place )->next ) {
         if( ( *place )->hash == node->hash && ( *place )->key() == node->key() ) assertDupKey();
      }
      node->next = *place;
      *place = node.get();
      ++size_;
      return *node.release();
   }

   /// Hands back the node, which must be in the table. Cursors on it move on.
   std::unique_ptr< Node > remove( Node & node ) {
      this->leave( node );
      Node ** place = &buckets_[ bucketOf( node.hash ) ];
      while( *place != &node ) place = &( *place )->next;
      *place = node.next;
      --size_;
      return std::unique_ptr< Node >( &node );
   }

   Node * first() const { return size_ ? firstFrom( 0 ) : nullptr; }
   Node * successor( Node const * node ) const {
      return node->next ? node->next : firstFrom( bucketOf( node->hash ) + 1 );
   }

   void clear() {
      this->leaveAll();
      // A member's destructor may look into the table: it finds a smaller one.
      for( auto walk = this->begin(); walk; walk.advance() ) remove( walk.node() );
      if( buckets_ != &single_ ) delete[] buckets_;
      buckets_ = &single_;
      single_ = nullptr;
      bits_ = 0;
   }

 private:
   static std::uint64_t hashOf( Key const & key ) {
      std::uint64_t const hash = std::hash< Key >()( key );
      return std::is_integral_v< Key > ? mix( hash ) : hash; // the library's is the number itself, in the low bits
   }
   std::size_t bucketOf( std::uint64_t hash ) const { return bits_ ? hash >> ( 64 - bits_ ) : 0; }
   Node * firstFrom( std::size_t bucket ) const {
      for( std::size_t const buckets = std::size_t( 1 ) << bits_; bucket < buckets; ++bucket ) {
         if( buckets_[ bucket ] ) return buckets_[ bucket ];
      }
      return nullptr;
   }
   void grow() {
      Node * node = first();
      unsigned const bits = bits_ ? bits_ + 1 : 2;
      auto * const buckets = new Node *[ std::size_t( 1 ) << bits ]();
      Node ** place = nullptr;
      for( std::size_t last = SIZE_MAX; node; ) {
         Node * const next = successor( node );
         std::size_t const bucket = node->hash >> ( 64 - bits );
         if( bucket != last ) place = &buckets[ last = bucket ];
         *place = node;
         place = &node->next;
         node = next;
         *place = nullptr;
      }
      if( buckets_ != &single_ ) delete[] buckets_;
      buckets_ = buckets;
      bits_ = bits;
   }

   Node * single_ = nullptr; // the one bucket of a table with at most one member
   Node ** buckets_ = &single_;
   std::size_t size_ = 0;
   unsigned bits_ = 0;
};

template< class K, class V >
struct KeyValueNode {
   using Key = K;
   template< class... Args >
   explicit KeyValueNode( Key key, Args &&... args )
      : value( std::forward< Args >( args )... ), key_( std::move( key ) ) {}
   Key const & key() const { return key_; }
   Key keyCopy() const { return key_; }

   KeyValueNode * next = nullptr;
   std::uint64_t hash = 0;
   V value;

 private:
   Key key_;
};

/// Values by key, hashed.
template< class K, class V >
class HashMap2018 : public HashTable< KeyValueNode< K, V > > {};

template< class K, class T >
struct MemberNode {
   using Key = K;
   MemberNode( Key const &, Ptr< T > member ) : value( std::move( member ) ) {}
   Key const & key() const { return value->lumKey(); }
   Key keyCopy() const { return key(); }

   MemberNode * next = nullptr;
   std::uint64_t hash = 0;
   Ptr< T > value;
};

/// Objects by the key that they hold, `lumKey()`, hashed.
template< class K, class T >
class HashMap : public HashTable< MemberNode< K, T > > {};

template< class K, class V >
struct TreeNode : boost::intrusive::set_base_hook<> {
   using Key = K;
   template< class... Args >
   explicit TreeNode( Key key, Args &&... args ) : value( std::forward< Args >( args )... ), key_( std::move( key ) ) {}
   Key const & key() const { return key_; }
   Key keyCopy() const { return key_; }

   V value;

 private:
   Key key_;
};

/// Values by key, in ascending order of the keys.
template< class K, class V >
class RbTreeMap : public Walked< RbTreeMap< K, V > > {
 public:
   using Key = K;
   using Node = TreeNode< K, V >;

   RbTreeMap() = default;
   ~RbTreeMap() { clear(); }

   std::size_t size() const { return tree_.size(); }
   bool empty() const { return tree_.empty(); }

   Node * find( Key const & key ) const { return nodeAt( tree_.find( key ) ); }

   Node & insert( std::unique_ptr< Node > node ) {
      if( !tree_.insert( *node ).second ) assertDupKey();
      return *node.release();
   }
   std::unique_ptr< Node > remove( Node & node ) {
      this->leave( node );
      tree_.erase( tree_.iterator_to( node ) );
      return std::unique_ptr< Node >( &node );
   }

   Node * first() const { return nodeAt( tree_.begin() ); }
   Node * successor( Node const * node ) const { return nodeAt( std::next( tree_.iterator_to( *node ) ) ); }

   void clear() {
      this->leaveAll();
      while( Node * node = first() ) remove( *node );
   }

 private:
   struct KeyOf {
      using type = Key;
      Key const & operator()( Node const & node ) const { return node.key(); }
   };
   using Tree = boost::intrusive::set< Node, boost::intrusive::key_of_value< KeyOf > >;

   Node * nodeAt( typename Tree::const_iterator place ) const {
      return place == tree_.end() ? nullptr : const_cast< Node * >( &*place );
   }

   Tree tree_;
};

} // namespace Lum
