// Elements and their machines: what keeps an element, an interface that
// rejoins its group, and a switch element that stops being one, written
// here as the links of a port and the switch's node would write them. The
// topology's port groups and the agent's stop are in
// tests/scenarios/element-port-groups.yaml, the VLANs of a switch element
// in element-switch-vlans.yaml, an element that a client holds after its
// host left in client-switch-port.yaml.
#include "tests/element/ElementFixture.h"

namespace VirtualNetwork::Agent::Testing {
namespace {

constexpr char kHost[] = "00:00:00:00:00:0a";
constexpr char kSwitch[] = "00:00:00:00:00:01";

using ElementCollectionTest = ElementFixture;
using ElementTest = ElementFixture;
using Names = std::vector<std::string>;

// Interfaces are written here as the links of a port would write them.
TEST_F(ElementCollectionTest, HostLeavingKeepsElementWhileItHasInterfaces) {
  start();
  hostIs(kHost);
  auto e = element(kHost);
  e->physicalInterfaceIs(Vek::String("eth0"));
  e->physicalInterfaceIs(Vek::String("eth1"));
  EXPECT_EQ(interfaceNames(kHost), (Names{"eth0", "eth1"}));
  // An interface going while the host holds the element changes nothing else.
  e->physicalInterfaceDel(Vek::String("eth1"));
  EXPECT_EQ(count(std::string("Deleted eth1 from ") + kHost), 1);
  EXPECT_EQ(element(kHost), e);
  topology->hostDel(Vek::Name(kHost));
  EXPECT_EQ(element(kHost), e);
  ASSERT_NE(elementSm(kHost), nullptr);
  EXPECT_EQ(elementSm(kHost)->topologyHost(), nullptr);
  EXPECT_EQ(count(std::string("Deleting ") + kHost), 0);
  // The last interface takes the element and its machine.
  e->physicalInterfaceDel(Vek::String("eth0"));
  EXPECT_EQ(element(kHost), nullptr);
  EXPECT_EQ(elementSm(kHost), nullptr);
  EXPECT_EQ(Vek::liveObjects<NetworkElementSm>(), 0u);
  EXPECT_EQ(messages(2).back(), std::string("Deleting ") + kHost);
}

TEST_F(ElementCollectionTest, ElementNeverHeldStaysUntilItsFirstChange) {
  start();
  auto e = elements()->networkElementIs(Vek::Name(kHost));
  ASSERT_NE(elementSm(kHost), nullptr);
  EXPECT_EQ(elementSm(kHost)->topologyHost(), nullptr);
  // Its host, listed later, binds to the same element.
  hostIs(kHost);
  EXPECT_EQ(element(kHost), e);
  EXPECT_EQ(elementSm(kHost)->topologyHost(), host(kHost));
  auto other = elements()->networkElementIs(Vek::Name("aa:aa"));
  EXPECT_EQ(elements()->networkElement(Vek::Name("aa:aa")), other);
  other->physicalInterfaceIs(Vek::String("eth0"));
  other->physicalInterfaceDel(Vek::String("eth0"));
  EXPECT_EQ(elements()->networkElement(Vek::Name("aa:aa")), nullptr);
  EXPECT_EQ(Vek::liveObjects<NetworkElementSm>(), 1u);
}

TEST_F(ElementTest, InterfaceMadeAgainAfterItsGroupWasSeenRejoinsIt) {
  start();
  bond(hostIs(kHost), "bond0", {"eth0"});
  auto e = element(kHost);
  auto vn = e->portGroup(Vek::String("bond0"));
  e->physicalInterfaceDel(Vek::String("eth0"));
  EXPECT_EQ(count("Deleting eth0 from port group bond0"), 1);
  EXPECT_TRUE(vn->memberInterfaceCol().empty());
  auto eth0 = e->physicalInterfaceIs(Vek::String("eth0"));
  EXPECT_EQ(vn->memberInterface(Vek::String("eth0")), eth0);
  EXPECT_EQ(eth0->portGroup(), vn);
}

TEST_F(ElementTest, ElementThatStopsBeingASwitchLosesVlansButKeepsInterfaces) {
  start();
  hostIs(kSwitch);
  auto e = element(kSwitch);
  auto swp1 = e->physicalInterfaceIs(Vek::String("swp1"));
  e->isSwitchElementIs(true);
  swp1->vlanIs(10);
  ASSERT_NE(e->vlan(10), nullptr);
  e->isSwitchElementIs(false);
  EXPECT_TRUE(e->vlanCol().empty());
  EXPECT_TRUE(swp1->vlanCol().empty());
  EXPECT_EQ(e->interface(Vek::String("swp1")), swp1);
  EXPECT_TRUE(swp1->isSwitchInterface());
  swp1->vlanIs(30);
  EXPECT_EQ(count("Ignoring 30 on non-switch element"), 1);
  EXPECT_TRUE(e->vlanCol().empty());
}

}  // namespace
}  // namespace VirtualNetwork::Agent::Testing
