#include "tests/client/ClientFixture.h"

namespace VirtualNetwork::Agent::Testing {
namespace {

using FirstRoadTest = ClientFixture;

TEST_F(FirstRoadTest, ClientVlanAndNativeVlanReachTheSwitchAndLeaveWithTheClient) {
  addSwitch(kSwitch);
  start();
  auto eth1 = request("c1", "eth1");
  eth1->vlanIs(10);
  eth1->nativeVlanIs(new Client::UntaggedVlan(5));
  EXPECT_EQ(ports()->portAllowedVlanList("eth1").value(), Vek::String("10"));
  EXPECT_EQ(ports()->portNativeVlan("eth1").value(), 5);
  EXPECT_EQ(ports()->vlanList().value(), Vek::String("10"));
  // A second client with another native VLAN: conflict, withdrawn.
  auto other = request("c2", "eth1");
  other->nativeVlanIs(new Client::UntaggedVlan(6));
  EXPECT_FALSE(ports()->portNativeVlanCol().contains("eth1"));
  EXPECT_EQ(count("Conflict is detected for setting native vlan on interface eth1. There are 2 "
                  "different nativeVlans ( 5, 6 ) requested to be configured on the interface. "
                  "Removing nativeVlan from eth1 because of conflict."),
            1);
  // It heals when c1 withdraws its native VLAN.
  eth1->nativeVlanIs(nullptr);
  EXPECT_EQ(ports()->portNativeVlan("eth1").value(), 6);
  // c2 leaves: the port has no holder and goes whole, with c1's VLAN.
  leave("c2");
  EXPECT_FALSE(ports()->portAllowedVlanListCol().contains("eth1"));
  EXPECT_FALSE(ports()->portNativeVlanCol().contains("eth1"));
  EXPECT_EQ(ports()->vlanList().value(), Vek::String());
}

}  // namespace
}  // namespace VirtualNetwork::Agent::Testing
