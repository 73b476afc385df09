// One switch under a running agent, driven as a host process drives it: the
// switch's port VLAN record and VTEP configuration are made here (so that a
// test can fill them first, as an earlier life of the switch left them),
// mounted through the directories, and the switch's element is written
// interface by interface.
#pragma once

#include <string>
#include <vector>

#include "tests/agent/AgentFixture.h"
#include "tests/reactive/Recorder.h"

namespace VirtualNetwork::Agent::Testing {

class SwitchFixture : public AgentFixture {
 public:
  static constexpr char kMac[] = "00:00:00:00:00:01";
  static constexpr char kDash[] = "00-00-00-00-00-01";

  void SetUp() override {
    AgentFixture::SetUp();
    ports = ControllerProxyAgent::PortVlanConfigV1Is(Vek::Name(kDash));
    vteps = VxlanController::VtepConfigDirV2Is(Vek::Name(kDash));
  }

  void TearDown() override {
    log = nullptr;
    ports = nullptr;
    vteps = nullptr;
    AgentFixture::TearDown();
    EXPECT_EQ(Vek::liveObjects<SwitchNodeSm>(), 0u);
    EXPECT_EQ(Vek::liveObjects<SwitchNodeSm::VekInterface>(), 0u);
    EXPECT_EQ(Vek::liveObjects<SwitchNodeSm::VekPhysicalInterface>(), 0u);
    EXPECT_EQ(Vek::liveObjects<SwitchNodeSm::VekInterface::VekDynVlan>(), 0u);
    EXPECT_EQ(Vek::liveObjects<SwitchNodeSm::VekVlanToVniMap>(), 0u);
  }

  // The agent running and the switch known to the topology, so that its
  // element exists; the three directories are not mounted yet.
  void startWithHost() {
    start();
    addHost(kMac);
  }
  // Mounts the switch's own records; with the host known, the last mount
  // makes the switch ready.
  void mountRecords() {
    mount(portVlanConfigDir, kDash, ports);
    mount(dynVtepConfigDir, kDash, vteps);
    mountDynVtepStatus(kDash);
  }
  void connect() {
    startWithHost();
    mountRecords();
  }
  // The VTEP status goes: the switch loses its node.
  void disconnect() { dynVtepStatusDir->entityPtrDel(Vek::Name(kDash)); }

  SwitchNodeSm* node() const { return agent ? agent->switchNodeSm(Vek::Name(kMac)) : nullptr; }
  Vek::Ptr<NetworkElement> element() const {
    return status->networkElementCollection()->networkElement(Vek::Name(kMac));
  }
  Vek::Ptr<PhysicalInterface> port(std::string const& name) const {
    return element()->physicalInterfaceIs(Vek::String(name));
  }

  // What the records hold; "-" for no entry.
  std::string vlanList() const { return ports->vlanList().value().stdString(); }
  std::string allowed(std::string const& port) const {
    Vek::String const key(port);
    return ports->portAllowedVlanListCol().contains(key)
               ? ports->portAllowedVlanList(key).value().stdString()
               : "-";
  }
  std::string native(std::string const& port) const {
    Vek::String const key(port);
    return ports->portNativeVlanCol().contains(key)
               ? std::to_string(ports->portNativeVlan(key).value())
               : "-";
  }

  // Trace lines of one function at one level, in order.
  std::vector<std::string> tracesOf(std::string const& function, int level) const {
    std::vector<std::string> out;
    for (auto const& r : traces) {
      if (r.level == level && function == r.function) out.push_back(r.message);
    }
    return out;
  }

  Vek::Ptr<ControllerProxyAgent::PortVlanConfigV1> ports;
  Vek::Ptr<VxlanController::VtepConfigDirV2> vteps;
  Vek::Ptr<Vek::Testing::Recorder> log;
};

}  // namespace VirtualNetwork::Agent::Testing
