#include "tests/client/ClientFixture.h"

namespace VirtualNetwork::Agent::Testing {
namespace {

using ClientResourcesForSwitchportSmTest = ClientFixture;

// What scenarios cannot write: a port the topology has discovered, and a
// native VLAN record notified again with an unchanged id. The rest of this
// machine's behaviour is in tests/scenarios/client-switch-port.yaml and
// client-leaves.yaml.
TEST_F(ClientResourcesForSwitchportSmTest, DiscoveredPortStaysAndLosesOnlyTheLeavingClientsShare) {
  addSwitch(kSwitch);
  start();
  auto c1 = request("c1", "eth1");
  c1->vlanIs(10);
  c1->vlanIs(20);
  c1->nativeVlanIs(new Client::UntaggedVlan(5));
  auto c2 = request("c2", "eth1");
  c2->vlanIs(20);
  c2->vlanIs(30);  // no reactor of c1 watches this one
  c2->nativeVlanIs(new Client::UntaggedVlan(6));
  // The topology has seen the port.
  port("eth1")->discoveredIs(true);

  leave("c1");
  ASSERT_NE(port("eth1"), nullptr);
  EXPECT_EQ(count("Deleting physicalInterface eth1"), 0);
  EXPECT_EQ(ids(port("eth1")->vlanCol()), (Ids{20, 30}));
  EXPECT_EQ(names(portVlan("eth1", 20)->referrerCol()), Names{"c2"});
  EXPECT_EQ(names(portVlan("eth1", 30)->referrerCol()), Names{"c2"});
  EXPECT_EQ(ids(port("eth1")->nativeVlanCol()), Ids{6});
  EXPECT_EQ(count("Deleting VLAN: 10 on eth1"), 1);
  EXPECT_EQ(count("Deleting native VLAN: 5 on eth1"), 1);
  EXPECT_EQ(ports()->portAllowedVlanList("eth1").value(), Vek::String("20,30"));
  EXPECT_EQ(ports()->portNativeVlan("eth1").value(), 6);

  // The last client goes: the port stays, empty.
  leave("c2");
  ASSERT_NE(port("eth1"), nullptr);
  EXPECT_TRUE(port("eth1")->vlanCol().empty());
  EXPECT_TRUE(port("eth1")->nativeVlanCol().empty());
}


TEST_F(ClientResourcesForSwitchportSmTest, UnchangedNativeVlanNotifiedAgainIsMadeAgainUnlessShared) {
  addSwitch(kSwitch);
  start();
  auto c1 = request("c1", "eth1");
  c1->nativeVlanIs(new Client::UntaggedVlan(7));
  // Held by this client alone, it is deleted and made again.
  auto const before = port("eth1")->nativeVlan(7);
  c1->nativeVlanIs(new Client::UntaggedVlan(7));
  ASSERT_NE(port("eth1")->nativeVlan(7), nullptr);
  EXPECT_NE(port("eth1")->nativeVlan(7), before);
  EXPECT_EQ(count("Removing native VLAN: 7 from interface: eth1"), 1);
  EXPECT_EQ(count("Adding native vlan 7 to eth1"), 2);
  EXPECT_EQ(ports()->portNativeVlan("eth1").value(), 7);
  // Held by another client as well, the entry survives the withdrawal.
  request("c2", "eth1")->nativeVlanIs(new Client::UntaggedVlan(7));
  auto const shared = port("eth1")->nativeVlan(7);
  c1->nativeVlanIs(new Client::UntaggedVlan(7));
  EXPECT_EQ(port("eth1")->nativeVlan(7), shared);
  EXPECT_EQ(names(shared->referrerCol()), (Names{"c2", "c1"}));
  // A record with the id 0 is none.
  c1->nativeVlanIs(new Client::UntaggedVlan(0));
  EXPECT_EQ(names(shared->referrerCol()), Names{"c2"});
  EXPECT_EQ(count("Adding native vlan 0 to eth1"), 0);
}

}  // namespace
}  // namespace VirtualNetwork::Agent::Testing
