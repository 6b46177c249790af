// Entities: named, watched records. A class that derives from Entity lists its attributes, one line each:
//
//    class HostInfo : public Lum::Entity {
//       LUM_ENTITY( HostInfo, name, Neroli::IpGenAddr );  // the key; never changes
//       LUM_VALUE( mac, Neroli::EthAddr );                // all zero: not learned yet
//       LUM_SET( allPolicy, Lum::String );
//    };
//
// and gets from each line the accessors of its form, the firing, and an entry in the attribute table:
//
//    form          reading                 writing
//    LUM_VALUE     x()                     xIs( value )
//    LUM_SET       x(), x( key )           xIs( key, true ), xDel( key ), xDelAll()
//    LUM_VALUES    x(), x( key )           xIs( key, value ), xDel( key ), xDelAll()
//    LUM_RECORDS   x(), x( key )           xIs( record ), xDel( key ), xDelAll()
//    LUM_CHILDREN  x(), x( key )           xIs( key ), xDel( key ), xDelAll()
//    LUM_CHILD     x()                     xIs( ... ), xDel()
//
// x() of a collection can be walked (`for( auto const & [ key, value ] : host->allPolicy() )`) and tells its size.
// x( key ) of an absent key is the value's default, for a child null. A mutator that changes nothing fires nothing.
// Values by key are told apart by presence: writing the default under an absent key is a change.
#pragma once

#include "platform/lum/AttributeTable.h"
#include "platform/lum/Collection.h"
#include "platform/lum/Strep.h"

#include <array>
#include <memory>
#include <vector>

namespace Lum {

class Entity;

/// Is told of every single write to an entity, before the handlers of that write run. The host observes in this way.
class WriteObserver {
 public:
   virtual void handleWrite( Entity const & entity, AttributeId attribute, void const * key ) = 0;

 protected:
   ~WriteObserver() = default;
};

/// Subscribers by key; made with the first one.
template< class Key >
class KeyNotifiees {
 public:
   NotifieeList & list( Key const & key ) {
      if( !lists_ ) lists_ = std::make_unique< Lists >();
      auto * node = lists_->find( key );
      if( !node ) node = &lists_->insert( std::make_unique< typename Lists::Node >( key ) );
      return node->value;
   }
   bool empty() const { return !lists_; }
   NotifieeList const * listIfAny( Key const & key ) const {
      auto const * node = lists_ ? lists_->find( key ) : nullptr;
      return node ? &node->value : nullptr;
   }
   void dropIfEmpty( Key const & key ) {
      auto * node = lists_ ? lists_->find( key ) : nullptr;
      if( node && node->value.empty() ) lists_->remove( *node );
   }

 private:
   using Lists = HashMap2018< Key, NotifieeList >;
   std::unique_ptr< Lists > lists_;
};

/// What a member function without arguments returns, and whose it is.
template< class Function >
struct RouteOf;
template< class T, class K >
struct RouteOf< K ( T::* )() const > {
   using Member = T;
   using Key = std::remove_cvref_t< K >;
};

/// The subscriptions to attributes of those members that a route leads to a key.
class MemberRoute {
 public:
   virtual ~MemberRoute() = default;
   virtual NotifieeList const * listIfAny( Entity const & member, AttributeId attribute ) const = 0;
};

/// `route` is a member function of the members: the key of one.
template< auto route >
class MemberRouteBy final : public MemberRoute {
 public:
   using Member = typename RouteOf< decltype( route ) >::Member;
   using Key = typename RouteOf< decltype( route ) >::Key;

   KeyNotifiees< Key > & notifiees( AttributeId attribute ) { return notifiees_[ attribute ]; }
   NotifieeList const * listIfAny( Entity const & member, AttributeId attribute ) const override {
      auto const & notifiees = notifiees_[ attribute ];
      return notifiees.empty() ? nullptr : notifiees.listIfAny( ( static_cast< Member const & >( member ).*route )() );
   }

 private:
   std::array< KeyNotifiees< Key >, maxAttributes > notifiees_;
};

/// The subscriptions to the attributes of the members of one collection of children.
class MemberNotifiees {
 public:
   /// Those to the attribute of all members.
   NotifieeList & list( AttributeId attribute ) {
      if( !lists_ ) lists_ = std::make_unique< NotifieeList[] >( maxAttributes );
      return lists_[ attribute ];
   }

   template< auto route >
   MemberRouteBy< route > & by() {
      for( auto const & each : routes_ ) {
         if( auto * const known = dynamic_cast< MemberRouteBy< route > * >( each.get() ) ) return *known;
      }
      LUM_ASSERT( routes_.size() < maxRoutes && "the members of a collection have two routes at most" );
      routes_.push_back( std::make_unique< MemberRouteBy< route > >() );
      return static_cast< MemberRouteBy< route > & >( *routes_.back() );
   }

   /// Whom the change of a member concerns.
   void addTo( Visit & visit, Entity const & member, AttributeId attribute ) const {
      if( lists_ ) visit.add( lists_[ attribute ] );
      for( auto const & route : routes_ ) {
         if( auto const * list = route->listIfAny( member, attribute ) ) visit.add( *list );
      }
   }

 private:
   static constexpr std::size_t maxRoutes = Visit::maxLists - 3; // beside the attribute's list, the key's, the members'

   std::unique_ptr< NotifieeList[] > lists_;
   std::vector< std::unique_ptr< MemberRoute > > routes_;
};

class Entity : public PtrInterface {
 public:
   /// The entity that holds this one, null at the top or when it has been removed; and the attribute that holds it.
   Entity * lumParent() const { return parent_; }
   AttributeId lumParentAttribute() const { return parentAttribute_; }
   void lumParentIs( Entity * parent, AttributeId attribute, MemberNotifiees const * siblings );

   /// The text of the key, as it stands in a path.
   virtual String lumKeyText() const = 0;
   /// The name of an attribute by its number.
   virtual String lumAttributeName( AttributeId attribute ) const = 0;
   /// Whether an attribute is a collection.
   virtual bool lumHasKeys( AttributeId attribute ) const = 0;
   /// The text of a key of a collection attribute; empty for an attribute without keys.
   virtual String lumAttributeKeyText( AttributeId attribute, void const * key ) const = 0;

   String fwkKey() const override { return lumKeyText(); }

   /// One observer at most; null for none.
   static void writeObserverIs( WriteObserver * observer ) { writeObserver_ = observer; }

 protected:
   /// Fires: visits the subscribers to the attribute, to the key, and to this attribute of all siblings.
   void lumChanged( AttributeId attribute, NotifieeList const & list, NotifieeList const * keyList, Change change ) {
      if( writeObserver_ ) [[unlikely]]
         writeObserver_->handleWrite( *this, attribute, change.key );
      if( list.empty() && !keyList && !siblings_ ) return;
      change.entity = this;
      Visit visit( this );
      visit.add( list );
      if( keyList ) visit.add( *keyList );
      if( siblings_ ) siblings_->addTo( visit, *this, attribute );
      visit.run( change, [ & ] { return textOf( fwkType(), "::", lumAttributeName( attribute ) ); } );
   }

 private:
   static inline WriteObserver * writeObserver_ = nullptr;

   Entity * parent_ = nullptr;
   MemberNotifiees const * siblings_ = nullptr;
   AttributeId parentAttribute_ = 0;
};

/// What a lookup of an absent key yields: the value's default, which may depend on the key.
template< class Value, class Key >
Value absentValue( Key const & key ) {
   if constexpr( requires { Value::absent( key ); } ) {
      return Value::absent( key );
   } else {
      return Value{};
   }
}

/// The member under `key`, null when there is none.
template< class Map, class Key >
auto memberOf( Map const & map, Key const & key ) {
   auto const * node = map.find( key );
   return node ? node->value : nullptr;
}

/// A collection of children as a reader sees it: its members are read-only.
template< class Map, class T >
class ReadOnlyChildren {
 public:
   explicit ReadOnlyChildren( Map const & map ) : map_( &map ) {}

   class Walk {
    public:
      explicit Walk( Map const & map ) : cursor_( map.begin() ) {}
      auto operator*() const { return std::pair( cursor_.key(), Ptr< T const >( cursor_.value() ) ); }
      Walk & operator++() {
         cursor_.advance();
         return *this;
      }
      friend bool operator==( Walk const & walk, std::nullptr_t ) { return !walk.cursor_; }

    private:
      decltype( std::declval< Map const & >().begin() ) cursor_;
   };
   Walk begin() const { return Walk( *map_ ); }
   std::nullptr_t end() const { return nullptr; }
   std::size_t size() const { return map_->size(); }
   bool empty() const { return map_->empty(); }

 private:
   Map const * map_;
};

/// Cuts the children off when their holder goes; they may live on in other hands.
template< class Map >
class ChildrenStore : public Map {
 public:
   ~ChildrenStore() {
      for( auto const & [ key, child ] : *this ) child->lumParentIs( nullptr, 0, nullptr );
   }
};

/// The same for a single child.
template< class T >
class ChildSlot : public Ptr< T > {
 public:
   ~ChildSlot() {
      if( *this ) ( *this )->lumParentIs( nullptr, 0, nullptr );
   }
   void fill( T * child ) { static_cast< Ptr< T > & >( *this ) = child; }
   void empty() {
      ( *this )->lumParentIs( nullptr, 0, nullptr );
      static_cast< Ptr< T > & >( *this ) = nullptr;
   }
};

} // namespace Lum

/// Marks an entity class. `key` is the immutable attribute that names it, the one argument of its constructor.
#define LUM_ENTITY( Self, key, ... )                                                                                   \
   LUM_TABLE( Self );                                                                                                  \
   using LumKey = __VA_ARGS__;                                                                                         \
   explicit Self( LumKey keyOfSelf ) : key##_( std::move( keyOfSelf ) ) {}                                             \
   LumKey const & key() const { return key##_; }                                                                       \
   LumKey const & lumKey() const { return key##_; }                                                                    \
   Lum::String lumKeyText() const override { return Lum::textOf( key##_ ); }                                           \
   Lum::String fwkType() const override { return Lum::typeName< Self >(); }                                            \
   Lum::String lumAttributeName( Lum::AttributeId attribute ) const override {                                         \
      Lum::String text;                                                                                                \
      Lum::forEachAttribute< Self >( [ & ]( auto each ) {                                                              \
         if( each.id == attribute ) text = each.name;                                                                  \
      } );                                                                                                             \
      return text;                                                                                                     \
   }                                                                                                                   \
   bool lumHasKeys( Lum::AttributeId attribute ) const override {                                                      \
      bool keys = false;                                                                                               \
      Lum::forEachAttribute< Self >( [ & ]( auto each ) {                                                              \
         keys = keys || ( each.id == attribute && requires { typename decltype( each )::Key; } );                      \
      } );                                                                                                             \
      return keys;                                                                                                     \
   }                                                                                                                   \
   Lum::String lumAttributeKeyText( Lum::AttributeId attribute, void const * key ) const override {                    \
      Lum::String text;                                                                                                \
      Lum::forEachAttribute< Self >( [ & ]( auto each ) {                                                              \
         if constexpr( requires { typename decltype( each )::Key; } ) {                                                \
            if( each.id == attribute && key )                                                                          \
               text = Lum::textOf( *static_cast< typename decltype( each )::Key const * >( key ) );                    \
         }                                                                                                             \
      } );                                                                                                             \
      return text;                                                                                                     \
   }                                                                                                                   \
                                                                                                                       \
 private:                                                                                                              \
   LumKey const key##_;                                                                                                \
                                                                                                                       \
 public:                                                                                                               \
   static_assert( true )

/// What every attribute's description begins with, and its list of subscribers.
#define LUM_DESCRIBE_( attribute, formOfIt )                                                                           \
   using Owner = LumSelf;                                                                                              \
   [[maybe_unused]] static constexpr char const * name = #attribute;                                                   \
   [[maybe_unused]] static constexpr Lum::AttributeId id = lumId_##attribute;                                          \
   [[maybe_unused]] static constexpr Lum::Form form = formOfIt;                                                        \
   static Lum::NotifieeList & list( Owner const & owner ) { return owner.attribute##Notifiees_; }

/// A value. Its default is the type's, or the one that LUM_VALUE_DEFAULT names.
#define LUM_VALUE( attribute, ... ) LUM_VALUE_( attribute, ( __VA_ARGS__{} ), __VA_ARGS__ )
#define LUM_VALUE_DEFAULT( attribute, initially, ... ) LUM_VALUE_( attribute, ( initially ), __VA_ARGS__ )
#define LUM_VALUE_( attribute, initially, ... )                                                                        \
   LUM_TABLE_ENTRY( attribute );                                                                                       \
   __VA_ARGS__ const & attribute() const { return attribute##_; }                                                      \
   void attribute##Is( __VA_ARGS__ value ) {                                                                           \
      if( attribute##_ == value ) return;                                                                              \
      attribute##_ = std::move( value );                                                                               \
      lumChanged( lumId_##attribute, attribute##Notifiees_, nullptr, {} );                                             \
   }                                                                                                                   \
   struct LumAttribute_##attribute {                                                                                   \
      LUM_DESCRIBE_( attribute, Lum::Form::value )                                                                     \
      using Value = __VA_ARGS__;                                                                                       \
      static Value initial() { return initially; }                                                                     \
      static Value const & get( Owner const & owner ) { return owner.attribute(); }                                    \
      static void set( Owner & owner, Value value ) { owner.attribute##Is( std::move( value ) ); }                     \
   };                                                                                                                  \
                                                                                                                       \
 private:                                                                                                              \
   __VA_ARGS__ attribute##_ = initially;                                                                               \
   mutable Lum::NotifieeList attribute##Notifiees_;                                                                    \
                                                                                                                       \
 public:                                                                                                               \
   static_assert( true )

/// What the collections share: storage, walking, deletion, subscribers of one key.
#define LUM_COLLECTION_( attribute, ... )                                                                              \
   void attribute##Del( LumKey_##attribute key ) {                                                                     \
      auto * node = attribute##_.find( key );                                                                          \
      if( !node ) return;                                                                                              \
      auto const gone = attribute##_.remove( *node );                                                                  \
      LumAttribute_##attribute::detach( *gone );                                                                       \
      lumChanged( lumId_##attribute, attribute##Notifiees_, attribute##KeyNotifiees_.listIfAny( key ),                 \
                  { &key, LumAttribute_##attribute::memberOf( *gone ) } );                                             \
   }                                                                                                                   \
   void attribute##DelAll() {                                                                                          \
      Lum::Ptr< LumSelf > const alive( this );                                                                         \
      for( auto const & [ key, value ] : attribute##_ ) attribute##Del( key );                                         \
   }                                                                                                                   \
                                                                                                                       \
 private:                                                                                                              \
   void attribute##Fire( LumKey_##attribute const & key, Lum::PtrInterface * member ) {                                \
      lumChanged( lumId_##attribute, attribute##Notifiees_, attribute##KeyNotifiees_.listIfAny( key ),                 \
                  { &key, member } );                                                                                  \
   }                                                                                                                   \
   __VA_ARGS__ attribute##_;                                                                                           \
   mutable Lum::NotifieeList attribute##Notifiees_;                                                                    \
   mutable Lum::KeyNotifiees< LumKey_##attribute > attribute##KeyNotifiees_;                                           \
                                                                                                                       \
 public:                                                                                                               \
   static_assert( true )

#define LUM_DESCRIBE_COLLECTION_( attribute, formOfIt )                                                                \
   LUM_DESCRIBE_( attribute, formOfIt )                                                                                \
   using Key = LumKey_##attribute;                                                                                     \
   static auto & keyNotifiees( Owner const & owner ) { return owner.attribute##KeyNotifiees_; }                        \
   static auto const & all( Owner const & owner ) { return owner.attribute##_; }                                       \
   static bool has( Owner const & owner, Key const & key ) { return owner.attribute##_.find( key ) != nullptr; }       \
   static void del( Owner & owner, Key key ) { owner.attribute##Del( std::move( key ) ); }                             \
   static void delAll( Owner & owner ) { owner.attribute##DelAll(); }

#define LUM_VALUE_NODE_                                                                                                \
   template< class Node >                                                                                              \
   static void detach( Node & ) {}                                                                                     \
   template< class Node >                                                                                              \
   static Lum::PtrInterface * memberOf( Node & ) {                                                                     \
      return nullptr;                                                                                                  \
   }

/// Values by key.
#define LUM_VALUES( attribute, K, ... )                                                                                \
   LUM_VALUES_( attribute, Lum::Form::values, LUM_HASHED_( K, __VA_ARGS__ ), K, __VA_ARGS__ )
/// Values by key, in the order of the keys.
#define LUM_ORDERED_VALUES( attribute, K, ... )                                                                        \
   LUM_VALUES_( attribute, Lum::Form::values, LUM_ORDERED_( K, __VA_ARGS__ ), K, __VA_ARGS__ )
#define LUM_HASHED_( K, ... ) Lum::HashMap2018< K, __VA_ARGS__ >
#define LUM_ORDERED_( K, ... ) Lum::RbTreeMap< K, __VA_ARGS__ >
#define LUM_SINGLE_( ... ) __VA_ARGS__

#define LUM_VALUES_( attribute, formOfIt, Map, K, ... )                                                                \
   LUM_TABLE_ENTRY( attribute );                                                                                       \
   using LumKey_##attribute = K;                                                                                       \
   auto const & attribute() const { return attribute##_; }                                                             \
   __VA_ARGS__ attribute( K const & key ) const {                                                                      \
      auto const * node = attribute##_.find( key );                                                                    \
      return node ? node->value : Lum::absentValue< __VA_ARGS__ >( key );                                              \
   }                                                                                                                   \
   void attribute##Is( K key, __VA_ARGS__ value ) {                                                                    \
      if( auto * node = attribute##_.find( key ) ) {                                                                   \
         if( node->value == value ) return;                                                                            \
         node->value = std::move( value );                                                                             \
      } else {                                                                                                         \
         using Node = typename decltype( attribute##_ )::Node;                                                         \
         attribute##_.insert( std::make_unique< Node >( key, std::move( value ) ) );                                   \
      }                                                                                                                \
      attribute##Fire( key, nullptr );                                                                                 \
   }                                                                                                                   \
   struct LumAttribute_##attribute {                                                                                   \
      LUM_DESCRIBE_COLLECTION_( attribute, formOfIt )                                                                  \
      LUM_VALUE_NODE_                                                                                                  \
      using Value = __VA_ARGS__;                                                                                       \
      static Value get( Owner const & owner, Key const & key ) { return owner.attribute( key ); }                      \
      static void set( Owner & owner, Key key, Value value ) {                                                         \
         owner.attribute##Is( std::move( key ), std::move( value ) );                                                  \
      }                                                                                                                \
   };                                                                                                                  \
   LUM_COLLECTION_( attribute, LUM_SINGLE_( Map ) )

/// A set of keys: the collection holds a member with the value true.
#define LUM_SET( attribute, ... )                                                                                      \
   LUM_VALUES_( attribute, Lum::Form::set, LUM_HASHED_( __VA_ARGS__, bool ), LUM_SINGLE_( __VA_ARGS__ ), bool )

/// Values that hold their own key, `lumKey()`.
#define LUM_RECORDS( attribute, K, ... )                                                                               \
   LUM_TABLE_ENTRY( attribute );                                                                                       \
   using LumKey_##attribute = K;                                                                                       \
   auto const & attribute() const { return attribute##_; }                                                             \
   __VA_ARGS__ attribute( K const & key ) const {                                                                      \
      auto const * node = attribute##_.find( key );                                                                    \
      return node ? node->value : Lum::absentValue< __VA_ARGS__ >( key );                                              \
   }                                                                                                                   \
   void attribute##Is( __VA_ARGS__ record ) {                                                                          \
      K const key = record.lumKey();                                                                                   \
      if( auto * node = attribute##_.find( key ) ) {                                                                   \
         if( node->value == record ) return;                                                                           \
         node->value = std::move( record );                                                                            \
      } else {                                                                                                         \
         using Node = typename decltype( attribute##_ )::Node;                                                         \
         attribute##_.insert( std::make_unique< Node >( key, std::move( record ) ) );                                  \
      }                                                                                                                \
      attribute##Fire( key, nullptr );                                                                                 \
   }                                                                                                                   \
   struct LumAttribute_##attribute {                                                                                   \
      LUM_DESCRIBE_COLLECTION_( attribute, Lum::Form::records )                                                        \
      LUM_VALUE_NODE_                                                                                                  \
      using Value = __VA_ARGS__;                                                                                       \
      static Value get( Owner const & owner, Key const & key ) { return owner.attribute( key ); }                      \
      static void set( Owner & owner, Value record ) { owner.attribute##Is( std::move( record ) ); }                   \
   };                                                                                                                  \
   LUM_COLLECTION_( attribute, Lum::HashMap2018< K, __VA_ARGS__ > )

/// Child entities by key.
#define LUM_CHILDREN( attribute, K, ... )                                                                              \
   LUM_CHILDREN_( attribute, LUM_SINGLE_( Lum::HashMap< K, __VA_ARGS__ > ), K, __VA_ARGS__ )
/// Child entities by key, in the order of the keys.
#define LUM_ORDERED_CHILDREN( attribute, K, ... )                                                                      \
   LUM_CHILDREN_( attribute, LUM_SINGLE_( Lum::RbTreeMap< K, Lum::Ptr< __VA_ARGS__ > > ), K, __VA_ARGS__ )

#define LUM_CHILDREN_( attribute, Map, K, ... )                                                                        \
   LUM_TABLE_ENTRY( attribute );                                                                                       \
   using LumKey_##attribute = K;                                                                                       \
   auto const & attribute() { return attribute##_; }                                                                   \
   auto attribute() const {                                                                                            \
      return Lum::ReadOnlyChildren< std::remove_const_t< decltype( attribute##_ ) >, __VA_ARGS__ >( attribute##_ );    \
   }                                                                                                                   \
   Lum::Ptr< __VA_ARGS__ > attribute( K const & key ) { return Lum::memberOf( attribute##_, key ); }                   \
   Lum::Ptr< __VA_ARGS__ const > attribute( K const & key ) const { return Lum::memberOf( attribute##_, key ); }       \
   Lum::Ptr< __VA_ARGS__ > attribute##Is( K key ) {                                                                    \
      if( auto * node = attribute##_.find( key ) ) return node->value;                                                 \
      using Node = typename decltype( attribute##_ )::Node;                                                            \
      Lum::Ptr< __VA_ARGS__ > child( new __VA_ARGS__( key ) );                                                         \
      child->lumParentIs( this, lumId_##attribute, &attribute##MemberNotifiees_ );                                     \
      attribute##_.insert( std::make_unique< Node >( key, child ) );                                                   \
      attribute##Fire( key, child.get() );                                                                             \
      return child;                                                                                                    \
   }                                                                                                                   \
   struct LumAttribute_##attribute {                                                                                   \
      LUM_DESCRIBE_COLLECTION_( attribute, Lum::Form::children )                                                       \
      using Value = __VA_ARGS__;                                                                                       \
      template< class Node >                                                                                           \
      static void detach( Node & node ) {                                                                              \
         node.value->lumParentIs( nullptr, 0, nullptr );                                                               \
      }                                                                                                                \
      template< class Node >                                                                                           \
      static Lum::PtrInterface * memberOf( Node & node ) {                                                             \
         return node.value.get();                                                                                      \
      }                                                                                                                \
      static Lum::MemberNotifiees & memberNotifiees( Owner const & owner ) {                                           \
         return owner.attribute##MemberNotifiees_;                                                                     \
      }                                                                                                                \
      static Lum::Ptr< Value > get( Owner & owner, Key const & key ) { return owner.attribute( key ); }                \
      static Lum::Ptr< Value const > get( Owner const & owner, Key const & key ) { return owner.attribute( key ); }    \
      static Lum::Ptr< Value > make( Owner & owner, Key key ) { return owner.attribute##Is( std::move( key ) ); }      \
   };                                                                                                                  \
                                                                                                                       \
 private:                                                                                                              \
   mutable Lum::MemberNotifiees attribute##MemberNotifiees_;                                                           \
                                                                                                                       \
 public:                                                                                                               \
   LUM_COLLECTION_( attribute, Lum::ChildrenStore< LUM_SINGLE_( Map ) > )

/// A single child entity; `xIs( key )` returns the existing one or makes it. Another key is not looked at: the slot has
/// one child, whose name is a formality.
#define LUM_CHILD( attribute, ... )                                                                                    \
   LUM_TABLE_ENTRY( attribute );                                                                                       \
   Lum::Ptr< __VA_ARGS__ > attribute() { return attribute##_; }                                                        \
   Lum::Ptr< __VA_ARGS__ const > attribute() const { return attribute##_; }                                            \
   Lum::Ptr< __VA_ARGS__ > attribute##Is( typename __VA_ARGS__::LumKey key ) {                                         \
      if( attribute##_ ) return attribute##_;                                                                          \
      Lum::Ptr< __VA_ARGS__ > child( new __VA_ARGS__( std::move( key ) ) );                                            \
      child->lumParentIs( this, lumId_##attribute, nullptr );                                                          \
      attribute##_.fill( child.get() );                                                                                \
      lumChanged( lumId_##attribute, attribute##Notifiees_, nullptr, {} );                                             \
      return child;                                                                                                    \
   }                                                                                                                   \
   void attribute##Del() {                                                                                             \
      if( !attribute##_ ) return;                                                                                      \
      attribute##_.empty();                                                                                            \
      lumChanged( lumId_##attribute, attribute##Notifiees_, nullptr, {} );                                             \
   }                                                                                                                   \
   struct LumAttribute_##attribute {                                                                                   \
      LUM_DESCRIBE_( attribute, Lum::Form::child )                                                                     \
      using Value = __VA_ARGS__;                                                                                       \
      static Lum::Ptr< Value > get( Owner & owner ) { return owner.attribute(); }                                      \
      static Lum::Ptr< Value const > get( Owner const & owner ) { return owner.attribute(); }                          \
      static Lum::Ptr< Value > make( Owner & owner ) { return owner.attribute##Is( {} ); }                             \
      static void del( Owner & owner ) { owner.attribute##Del(); }                                                     \
   };                                                                                                                  \
                                                                                                                       \
 private:                                                                                                              \
   Lum::ChildSlot< __VA_ARGS__ > attribute##_;                                                                         \
   mutable Lum::NotifieeList attribute##Notifiees_;                                                                    \
                                                                                                                       \
 public:                                                                                                               \
   static_assert( true )
