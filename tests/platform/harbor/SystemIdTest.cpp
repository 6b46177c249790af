#include "platform/harbor/SystemId.h"

#include "platform/lum/Strep.h"

#include <gtest/gtest.h>

TEST( SystemId, FormsOfAnIdentifier ) {
   struct {
      char const *text, *key, *switchId;
   } const cases[] = { { "02:00:00:00:00:0A", "02-00-00-00-00-0a", "02:00:00:00:00:0a" },
                       { "02-00-00-00-00-0a", "02-00-00-00-00-0a", "02:00:00:00:00:0a" },
                       { "Leaf-1, left", "Leaf-1, left", "Leaf:1, left" },
                       { "", "", "" } };
   for( auto const & [ text, key, switchId ] : cases ) {
      SCOPED_TRACE( text );
      auto const id = Harbor::systemIdFromString( text );
      EXPECT_EQ( id.stringValue(), key );
      EXPECT_EQ( id.switchId(), switchId );
      EXPECT_EQ( Lum::strepToValue< Harbor::SystemId >( Lum::valueToStrep( id ).view() ), id );
   }
}
