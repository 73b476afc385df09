// What this build of the library offers the scenario runner: the one place
// to change when a part of the agent lands or changes its interface.
//
// A check section that needs something the library does not offer yet is
// not passed silently: the check fails with "not available in this build"
// and the reason given here.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "agent/VirtualNetworkAgentSm.h"

namespace vnagent::library {

// Why `switchNodes` cannot be read in this build.
inline constexpr char const* kSwitchNodesMissing =
    "the agent offers neither a walk over its switch nodes (switchNodeSmCol()) nor a lookup "
    "(switchNodeSm(name))";

// The colon MACs of the agent's switch nodes, or nullopt while the agent
// offers no way to see them. With a walk (`switchNodeSmCol()`, the records'
// convention for walks) every node is listed. With only the lookup
// `switchNodeSm(name)`, each of `candidates` is looked up: the agent keys its
// nodes by names it has read from its inputs, so the names that the inputs
// ever held, in colon form, are all there can be.
template <class Agent>
std::optional<std::vector<std::string>> switchNodes(Agent const& agent,
                                                    std::set<std::string> const& candidates) {
  std::vector<std::string> names;
  if constexpr (requires { agent.switchNodeSmCol(); }) {
    for (auto it = agent.switchNodeSmCol().iterator(); it; ++it) {
      names.push_back(Vek::String(it.key()).stdString());
    }
    return names;
  } else if constexpr (requires { agent.switchNodeSm(Vek::Name()); }) {
    for (std::string const& name : candidates) {
      if (agent.switchNodeSm(Vek::Name(name))) names.push_back(name);
    }
    return names;
  } else {
    return std::nullopt;
  }
}

}  // namespace vnagent::library
