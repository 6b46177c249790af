// What every switch should hold, computed anew from what stands: the configuration, the hosts' places, the grants, what
// the switches have reported, and the settings. It has no memory and shares nothing with the machines that publish, so
// that either can be held against the other: the machines are right when what they have published is what is wanted.
// No machine uses it.
//
// What is wanted follows from what stands but for a margin, and then it is given by two bounds:
//  - Until all service VTEPs of a VNI have reported, its hosts' flows may be out, as after a restart, or not yet.
//  - A switch that has refused a service flow takes the hosts' flows away, unless `retainInterceptFlows` keeps them;
//    what is left of a fragment without flows may stay.
//  - A VNI in which nobody is diverted may still have its service flows, or have lost them with its last host or by the
//    quiet rounds.
// When all switches have reported all flows as programmed, both bounds are equal in every VNI that has a host.
#pragma once

#include "blackboard/KivLocalTypes.h"
#include "platform/lum/Dir.h"
#include "records/kiv/PolicyConfig.h"
#include "records/kiv/PolicyFragment.h"
#include "records/kiv/PolicyRunningInfo.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace Kiv {

/// What stands. The feature is taken to run: while it does not, nothing is wanted.
struct Standing {
   Lum::Ptr< Config const > kivAgentConfig;
   Lum::Ptr< ServicePolicyConfig const > servicePolicyConfig; // merged from all sources, as is the next
   Lum::Ptr< ServiceIntfConfig const > serviceIntfConfig;
   Lum::Ptr< PolicyHelperInfo const > policyHelperInfo;         // where hosts are seen, who owns what, grants
   Lum::Ptr< PolicyRunningInfoCol const > policyRunningInfoCol; // where a diverted host was placed
   Lum::Ptr< Lum::Dir const > kivPolicyStatusDir;               // the switches' reports
};

/// What a fragment holds, as a plain value.
struct FragmentContent {
   Vxlan::VniOrNone originalVni;
   Vxlan::VniOrNone serviceVni;
   bool isServiceVtep = false;
   std::map< Lum::String, V1::PolicyFlowInfo > flow;
   std::map< Lum::Name, std::set< Lum::String > > serviceIntfSet; // the ports of "near" and "far"
   std::map< Neroli::IpGenAddr, Neroli::EthAddr > interceptInfo;  // the cookie's hosts
};

/// The bounds of one fragment: all of `least` and nothing but `most`. One that is optional need not be there.
struct WantedFragment {
   FragmentContent least;
   FragmentContent most;
   bool optional = false;
};

/// By switch (hyphen form) and fragment name. What is not named must not be there.
using WantedFragments = std::map< Lum::Name, std::map< Lum::String, WantedFragment > >;

/// What every switch should hold now.
WantedFragments wantedFlows( Standing const & standing );

/// Where what is published below `policyPublishBaseDir` is not what is wanted: a line for each place, which names the
/// switch, the fragment and the matter. Empty when all is as it should be.
std::vector< std::string > discrepancies( WantedFragments const & wanted, Lum::Dir const & policyPublishBaseDir );

} // namespace Kiv
