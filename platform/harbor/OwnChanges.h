#pragma once

#include "platform/lum/Notifiee.h"

#include <array>
#include <cstddef>

namespace Harbor {

/// An entity's watch over its own attributes: `handler` is called after each change of one of `Attributes`, their
/// descriptions in the entity's table, before anybody else is told. A member of the entity, behind the attributes. (A
/// reactor would hold the entity by a counted pointer, and so for ever.)
template< class Entity, class... Attributes >
class OwnChanges final : private Lum::NotifieeConst {
 public:
   OwnChanges( Entity * entity, void ( Entity::*handler )() ) : NotifieeConst( entity ), handler_( handler ) {
      std::size_t index = 0;
      ( subscriptions_[ index++ ].subscribe( Attributes::list( *entity ), this ), ... );
   }

 private:
   void onAttribute( Lum::Subscription const &, Lum::Change const & ) override {
      ( static_cast< Entity * >( machine() )->*handler_ )();
   }

   void ( Entity::*handler_ )();
   std::array< Lum::Subscription, sizeof...( Attributes ) > subscriptions_;
};

} // namespace Harbor
