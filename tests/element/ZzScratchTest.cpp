#include "tests/element/ElementFixture.h"

namespace VirtualNetwork::Agent::Testing {
namespace {
constexpr char kHost[] = "00:00:00:00:00:0a";
constexpr char kSwitch[] = "00:00:00:00:00:01";
using ElementScratch = ElementFixture;

TEST_F(ElementScratch, DisableWithGroups) {
  auto h = hostIs(kHost, "web");
  hostIs(kSwitch);
  start();
  bond(h, "bond0", {"eth0", "eth1"});
  element(kSwitch)->isSwitchElementIs(true);
  element(kSwitch)->physicalInterfaceIs(Vek::String("swp1"))->vlanIs(10);
  config->enabledIs(true);
  config->enabledIs(false);
  EXPECT_EQ(Vek::liveObjects<NetworkElementSm>(), 0u);
  EXPECT_EQ(Vek::liveObjects<PhysicalInterface>(), 0u);
  EXPECT_EQ(Vek::liveObjects<PortGroup>(), 0u);
  EXPECT_TRUE(elements()->networkElementCol().empty());
  topology->hostDel(Vek::Name(kHost));
  hostIs(kHost);
  EXPECT_NE(element(kHost), nullptr);
  EXPECT_NE(elementSm(kHost), nullptr);
}

TEST_F(ElementScratch, HostLeavesWithGroupAndIsFreed) {
  start();
  {
    auto h = hostIs(kHost, "web");
    bond(h, "bond0", {"eth0", "eth1"});
  }
  topology->hostDel(Vek::Name(kHost));
  auto e = element(kHost);
  ASSERT_NE(e, nullptr);
  for (auto& m : messages(2)) std::cout << "L2 " << m << "\n";
  std::cout << "members " << e->portGroup(Vek::String("bond0"))->memberInterfaceCol().size() << "\n";
  std::cout << "host live " << Vek::liveObjects<NetworkTopologyAggregatorV3::Host>() << "\n";
  // comes back
  auto h2 = hostIs(kHost);
  bond(h2, "bond0", {"eth0"});
  std::cout << "members2 " << e->portGroup(Vek::String("bond0"))->memberInterfaceCol().size() << "\n";
  h2 = nullptr;
  topology->hostDel(Vek::Name(kHost));
}

TEST_F(ElementScratch, SwitchWithGroupVlansThenHostLeavesAndEdgesGo) {
  start();
  auto h = hostIs(kSwitch);
  auto e = element(kSwitch);
  e->isSwitchElementIs(true);
  bond(h, "po1", {"swp1", "swp2"});
  e->physicalInterface(Vek::String("swp1"))->vlanIs(10);
  e->physicalInterface(Vek::String("swp2"))->vlanIs(10);
  e->portGroup(Vek::String("po1"))->vlanIs(10);
  h->portGroupDel(Vek::Name("po1"));
  EXPECT_EQ(e->vlan(10)->referrerCol().size(), 2u);
  topology->hostDel(Vek::Name(kSwitch));
  h = nullptr;
  e->physicalInterfaceDel(Vek::String("swp1"));
  e->physicalInterfaceDel(Vek::String("swp2"));
  EXPECT_EQ(element(kSwitch), nullptr);
  EXPECT_TRUE(e->vlanCol().empty());
}

TEST_F(ElementScratch, RestartOverSameInputs) {
  auto h = hostIs(kHost, "web");
  start();
  bond(h, "bond0", {"eth0", "eth1"});
  agent = nullptr;
  start();
  auto e = element(kHost);
  ASSERT_NE(e, nullptr);
  std::cout << "pg " << (e->portGroup(Vek::String("bond0")) ? 1 : 0) << " pi " << e->physicalInterfaceCol().size() << "\n";
}
}  // namespace
}  // namespace VirtualNetwork::Agent::Testing
