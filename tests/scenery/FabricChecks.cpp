// What a story may ask of the agent as a whole.
#include "agent/KivAgent.h"
#include "policy/WantedFlows.h"
#include "tests/scenery/Fabric.h"

#include <gtest/gtest.h>

namespace Scenery {

void Fabric::expectAsWanted() {
   auto const root = session_.agent() ? session_.agent()->rootSm() : nullptr;
   if( !root ) return;
   Kiv::WantedFragments wanted;
   if( !root->servicePolicyConfigSm() && root->kivAgentStatus()->running() ) return; // it waits, and touches nothing
   if( root->servicePolicyConfigSm() ) {
      wanted =
         Kiv::wantedFlows( { root->kivAgentConfig(), root->servicePolicyConfig(), root->serviceIntfConfig(),
                             root->policyHelperInfo(), root->policyRunningInfoCol(), root->kivPolicyStatusDir() } );
   }
   for( auto const & line : Kiv::discrepancies( wanted, *root->policyPublishBaseDir() ) ) ADD_FAILURE() << line;
}

void Fabric::expectRepeatChangesNothing() {
   hubWrites_.clear();
   Lum::repeatReactions( *session_.agent()->rootSm() );
   EXPECT_EQ( hubWrites_, std::vector< std::string >() );
   expectAsWanted();
}

} // namespace Scenery
