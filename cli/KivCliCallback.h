// The operator command "showPolicyDetail": what the agent is doing with each policy group.
#pragma once

#include "platform/oxlet/AgentCommandCallback.h"
#include "records/kiv/PolicyRunningInfo.h"

namespace Kiv::Cli {

/// Reads the running info and changes nothing.
class ShowPolicyDetail : public Oxlet::AgentCommandCallback {
 public:
   ShowPolicyDetail( Lum::Name name, Lum::String help, Lum::Ptr< PolicyRunningInfoCol const > policyRunningInfoCol )
      : AgentCommandCallback( std::move( name ), std::move( help ) ),
        policyRunningInfoCol_( std::move( policyRunningInfoCol ) ) {}

   Lum::Ptr< PolicyRunningInfoCol const > const & policyRunningInfoCol() const { return policyRunningInfoCol_; }

   /// Answers on `fd`, which stays open. See parsePolicyDetailParams for the parameters.
   void handleCommand( std::uint32_t fd, Lum::String parameters ) override;

   /// Writes the groups that have a source policy named `policy`, all groups if it is empty; nothing if there is none.
   /// When `fd` cannot be written the reason goes to standard output and the answer ends there.
   void render( std::uint32_t fd, std::uint32_t format, Lum::String policy ) const;

 private:
   Lum::Ptr< PolicyRunningInfoCol const > policyRunningInfoCol_;
};

inline Lum::Ptr< ShowPolicyDetail > showPolicyDetailFactory( Lum::Name name, Lum::String help,
                                                             Lum::Ptr< PolicyRunningInfoCol const > running ) {
   return new ShowPolicyDetail( std::move( name ), std::move( help ), std::move( running ) );
}

} // namespace Kiv::Cli
