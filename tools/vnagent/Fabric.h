// The host process of a scenario: the seven inputs of the agent, the agent
// over them, and the writers that apply a step's patch to the records as the
// real services would.
//
// The inputs exist, empty, from construction on: the configuration (with
// `enabled` false), the output root, the topology status and the four
// directories. A patch (validated against Grammar.h) is applied in document
// order, one record mutation per leaf; each mutation runs the agent's
// handlers to the end before the next one. A record that the patch creates is
// made, filled, and added to its parent last with one notification; a
// topology edge is the exception (added first, its toPort entries after).
//
// An exception raised inside a mutation (by the agent, or by a record that
// refuses the value) ends the step there: the leaves after it are not
// written, and the exception comes back as the step's Raised. A patch that
// names what does not exist (an edge from a port no host has) is a fault of
// the file, raised as PatchFault.
//
//   Fabric fabric;
//   fabric.apply(step.body);
//   fabric.start();
//   Json elements = *fabric.section("elements");
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>

#include "tools/vnagent/Yaml.h"

#include "VirtualNetworkAgent.h"
#include "tools/vnagent/Compare.h"

namespace vnagent {

// An exception raised during a step, and the leaf whose mutation raised it.
struct Raised {
  std::string text;
  YAML::Mark mark;
};

// A patch that names what does not exist; a fault of the file, found while
// running. Not an exception of the library, so that nothing mistakes it for
// one.
struct PatchFault {
  YAML::Mark mark;
  std::string message;
};

class Fabric {
 public:
  Fabric();
  ~Fabric();
  Fabric(Fabric const&) = delete;
  Fabric& operator=(Fabric const&) = delete;

  std::optional<Raised> apply(YAML::Node const& patch);
  // Builds the agent with its factory over the seven inputs.
  std::optional<Raised> start(YAML::Mark const& mark);
  // Drops the agent: its destructor runs; inputs and outputs stay.
  std::optional<Raised> stop(YAML::Mark const& mark);
  bool running() const { return bool(agent_); }

  // The inputs, as a host process would hand them over.
  Vek::Ptr<VirtualNetwork::Config> const& config() const { return config_; }
  Vek::Ptr<VirtualNetwork::Status> const& status() const { return status_; }
  Vek::Ptr<NetworkTopologyAggregatorV3::Status> const& topology() const { return topology_; }
  Vek::Ptr<Vek::Dir> const& portVlanConfigDir() const { return portVlanConfigDir_; }
  Vek::Ptr<Vek::Dir> const& dynVtepConfigDir() const { return dynVtepConfigDir_; }
  Vek::Ptr<Vek::Dir> const& dynVtepStatusDir() const { return dynVtepStatusDir_; }
  Vek::Ptr<Vek::Dir> const& clientDir() const { return clientDir_; }

  // The present state of a record section of the checks (portVlanConfig,
  // vtepConfig, elements, requests, switchNodes) in its model form, empty
  // fields left out; nullopt when this build cannot read it, with the reason
  // in `why`.
  std::optional<Json> section(std::string const& name, std::string* why = nullptr) const;

  // The input tree that the patches have built (RFC 7386 merges of each
  // `set`, scalars kept as their texts, null as null): what a reference
  // model reads. A patch that raised part-way is merged whole, though the
  // records hold only the leaves before the raise; `inputsExact()` is false
  // from then on.
  Json const& inputs() const { return inputs_; }
  bool inputsExact() const { return inputsExact_; }

 private:
  class Patch;

  Vek::Ptr<VirtualNetwork::Config> config_;
  Vek::Ptr<VirtualNetwork::Status> status_;
  Vek::Ptr<NetworkTopologyAggregatorV3::Status> topology_;
  Vek::Ptr<Vek::Dir> portVlanConfigDir_;
  Vek::Ptr<Vek::Dir> dynVtepConfigDir_;
  Vek::Ptr<Vek::Dir> dynVtepStatusDir_;
  Vek::Ptr<Vek::Dir> clientDir_;
  Vek::Ptr<VirtualNetwork::Agent::VirtualNetworkAgentSm> agent_;
  // Topology ports by "<host>|<port>" as the patches named them, so that an
  // edge or a toPort entry can still be removed by that name after its port
  // has left its host.
  std::map<std::string, Vek::Ptr<NetworkTopologyAggregatorV3::PortBase const>> ports_;
  // Every topology host and switch directory key the patches named, in colon
  // form: the names a switch node can have (see library::switchNodes).
  std::set<std::string> switchNames_;
  Json inputs_ = Json::object();
  bool inputsExact_ = true;
};

// The model form of one switch's outputs, as the sections list them: its
// port VLAN record ({vlanList, portAllowedVlanList, portNativeVlan}) and its
// VTEPs ({"<vtep>": {"<port>|<vlan>": <vni>}}).
Json portVlanConfigModel(ControllerProxyAgent::PortVlanConfigV1 const& config);
Json vtepConfigModel(VxlanController::VtepConfigDirV2 const& dir);

}  // namespace vnagent
