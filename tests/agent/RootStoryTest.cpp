// When the feature begins.
#include "tests/scenery/Redirect.h"

#include <algorithm>

using namespace Scenery;

TEST( Root, TheFeatureBeginsInWhateverOrderItsConditionsAreMet ) {
   std::pair< std::string, std::string > const conditions[] = {
      { "/state/kiv/config/enabled", "true" },
      { "/state/controller/status/enabled", "true" },
      { "/state/controller/cluster/statusDir/clusterStatus/default/leader", "true" },
      { "/hub/topology/version3/global/status/convergenceStatus", "{}" },
      { "/state/kiv/servicePolicySourceState/site/convergenceComplete", "true" },
   };
   std::vector< std::size_t > order{ 0, 1, 2, 3, 4, 5 }; // the last one is the agent's start
   do {
      Fabric fabric;
      fabric.source( "site", false );
      fabric.device( 'A' );
      fabric.host( "10.0.0.1", web, 'C' );
      fabric.group( "web", { "10.0.0.1" } );
      for( auto const index : order ) {
         EXPECT_TRUE( fabric.published().empty() ) << testing::PrintToString( order );
         if( index == std::size( conditions ) ) {
            fabric.start();
         } else {
            fabric.patch( conditions[ index ].first, conditions[ index ].second );
         }
      }
      EXPECT_EQ( fabric.flows( 'A' ), serviceFlows() ) << testing::PrintToString( order );
   } while( std::next_permutation( order.begin(), order.end() ) );
}
