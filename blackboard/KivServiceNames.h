// The names under which the agent is known to the controller.
#pragma once

namespace Kiv {

constexpr char const * serviceName = "Kiv";
constexpr char const * serviceMountGroupName = "mg1";
constexpr char const * versionWhiteListName = "v1";
constexpr char const * showPolicyDetailName = "showPolicyDetail";

} // namespace Kiv
