#include "tests/client/ClientFixture.h"

namespace VirtualNetwork::Agent::Testing {
namespace {

using ClientResourcesForSwitchportSmTest = ClientFixture;

// What scenarios cannot write: a native VLAN record notified again with an
// unchanged id. The rest of this machine's behaviour is in
// tests/scenarios/client-switch-port.yaml, client-leaves.yaml and
// client-leaves-discovered-port.yaml.
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
