// A host process in miniature for the agent's tests: the seven inputs,
// the agent over them, helpers that write the records as the real services
// would, and the trace lines the agent wrote.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "VirtualNetworkAgent.h"

namespace VirtualNetwork::Agent::Testing {

class AgentFixture : public ::testing::Test {
 public:
  void SetUp() override {
    config = ConfigIs(Vek::Name("config"));
    status = StatusIs(Vek::Name("status"));
    topology = NetworkTopologyAggregatorV3::StatusIs(Vek::Name("topology"));
    portVlanConfigDir = Vek::DirIs("controllerProxyAgent/v1/portVlanConfigDir");
    dynVtepConfigDir = Vek::DirIs("vxlancontroller/version2/input/dynVtepConfig/openstack");
    dynVtepStatusDir = Vek::DirIs("vxlan/version2/vtepStatusDir");
    clientDir = Vek::DirIs("requestedResourcesColDir");
    traces.clear();
    Vek::traceHandle().levelIs(9);
    Vek::traceHandle().sinkIs([this](Vek::TraceRecord const& r) { traces.push_back(r); });
  }

  void TearDown() override {
    agent = nullptr;
    Vek::traceHandle().sinkIs(nullptr);
    Vek::traceHandle().levelIs(-1);
    config = nullptr;
    status = nullptr;
    topology = nullptr;
    portVlanConfigDir = dynVtepConfigDir = dynVtepStatusDir = clientDir = nullptr;
    EXPECT_EQ(Vek::liveObjects<VirtualNetworkAgentSm>(), 0u);
    EXPECT_EQ(Vek::liveObjects<RemoteMountsStatus>(), 0u);
    EXPECT_EQ(Vek::liveObjects<VirtualNetworkAgentSm::VekRms>(), 0u);
    EXPECT_EQ(Vek::liveObjects<NetworkElement>(), 0u);
  }

  void start() {
    agent = virtualNetworkAgentSmFactory(config, status, topology, portVlanConfigDir,
                                         dynVtepConfigDir, dynVtepStatusDir, clientDir);
  }

  // A directory child with its entry, entry first.
  static void mount(Vek::Ptr<Vek::Dir> const& dir, std::string const& name,
                    Vek::Ptr<Vek::Entity> const& entity, U32 status = 1) {
    dir->entryStateIs(Vek::DirEntryIs(Vek::Name(name), status));
    dir->entityPtrIs(Vek::Name(name), entity);
  }
  void mountPortVlanConfig(std::string const& dashMac) {
    mount(portVlanConfigDir, dashMac, ControllerProxyAgent::PortVlanConfigV1Is(Vek::Name(dashMac)));
  }
  void mountDynVtepConfig(std::string const& dashMac) {
    mount(dynVtepConfigDir, dashMac, VxlanController::VtepConfigDirV2Is(Vek::Name(dashMac)));
  }
  void mountDynVtepStatus(std::string const& dashMac) {
    mount(dynVtepStatusDir, dashMac, VxlanController::VtepStatusDirV2Is(Vek::Name(dashMac)));
  }
  void addHost(std::string const& colonMac) { topology->hostIs(Vek::Name(colonMac)); }
  // All four facts of a switch.
  void addSwitch(std::string const& colonMac) {
    std::string const dash = getDashMacString(Vek::String(colonMac)).stdString();
    addHost(colonMac);
    mountPortVlanConfig(dash);
    mountDynVtepConfig(dash);
    mountDynVtepStatus(dash);
  }

  std::vector<std::string> messages(int level) const {
    std::vector<std::string> out;
    for (auto const& r : traces) {
      if (r.level == level) out.push_back(r.message);
    }
    return out;
  }
  int count(std::string const& message) const {
    return static_cast<int>(std::count_if(traces.begin(), traces.end(),
                                          [&](auto const& r) { return r.message == message; }));
  }

  Vek::Ptr<Config> config;
  Vek::Ptr<Status> status;
  Vek::Ptr<NetworkTopologyAggregatorV3::Status> topology;
  Vek::Ptr<Vek::Dir> portVlanConfigDir, dynVtepConfigDir, dynVtepStatusDir, clientDir;
  Vek::Ptr<VirtualNetworkAgentSm> agent;
  std::vector<Vek::TraceRecord> traces;
};

}  // namespace VirtualNetwork::Agent::Testing
