#include <gmock/gmock.h>

#include "tests/client/ClientFixture.h"

namespace VirtualNetwork::Agent::Testing {
namespace {

using ClientRequestedResourcesCollectionSmTest = ClientFixture;

TEST_F(ClientRequestedResourcesCollectionSmTest,
       EachPortEntryHasOneChildThatWithdrawsItsRequestsWhenTheEntryGoes) {
  addSwitch(kSwitch);
  start();
  auto collection = clientCollection("c1");
  collection->resourcesForSwitchportIs(intf("eth1"))->vlanIs(10);
  collection->resourcesForSwitchportIs(intf("eth2"))->vlanIs(20);
  ASSERT_NE(combiner("c1"), nullptr);
  EXPECT_NE(combiner("c1")->resourcesForSwitchportSm(intf("eth1")), nullptr);
  EXPECT_NE(combiner("c1")->resourcesForSwitchportSm(intf("eth2")), nullptr);
  EXPECT_EQ(Vek::liveObjects<ClientResourcesForSwitchportSm>(), 2u);
  EXPECT_EQ(count("Adding/Modifying ResourcesForSwitchport 00:00:00:00:00:01|eth1 "
                  "networkElementCollection: "),
            1);

  collection->resourcesForSwitchportDel(intf("eth1"));
  EXPECT_EQ(combiner("c1")->resourcesForSwitchportSm(intf("eth1")), nullptr);
  EXPECT_EQ(count("RSP removed, cleaning up ResourcesForSwitchport for intf "
                  "00:00:00:00:00:01|eth1"),
            1);
  EXPECT_EQ(port("eth1"), nullptr);
  ASSERT_NE(portVlan("eth2", 20), nullptr);
  EXPECT_EQ(Vek::liveObjects<ClientResourcesForSwitchportSm>(), 1u);

  // The same port asked for again gets a new child.
  collection->resourcesForSwitchportIs(intf("eth1"))->vlanIs(11);
  EXPECT_NE(combiner("c1")->resourcesForSwitchportSm(intf("eth1")), nullptr);
  EXPECT_NE(portVlan("eth1", 11), nullptr);
}

TEST_F(ClientRequestedResourcesCollectionSmTest,
       EntityLeavingOnlyTracesAndEntryLeavingEndsTheClient) {
  addSwitch(kSwitch);
  start();
  request("c1", "eth1")->vlanIs(10);
  request("c2", "eth1")->vlanIs(20);
  port("eth1")->discoveredIs(true);  // the port outlives its clients

  clientDir->entityPtrDel(Vek::Name("c1"));
  EXPECT_EQ(count("networkElementCollectionDir c1 deleted"), 1);
  ASSERT_NE(combiner("c1"), nullptr);
  EXPECT_NE(portVlan("eth1", 10), nullptr);

  leave("c1");
  EXPECT_EQ(combiner("c1"), nullptr);
  EXPECT_EQ(portVlan("eth1", 10), nullptr);
  EXPECT_NE(portVlan("eth1", 20), nullptr);
  EXPECT_EQ(Vek::liveObjects<ClientRequestedResourcesCollectionSm>(), 1u);
  EXPECT_EQ(Vek::liveObjects<ClientResourcesForSwitchportSm>(), 1u);
  EXPECT_EQ(ports()->portAllowedVlanList("eth1").value(), Vek::String("20"));
}

TEST_F(ClientRequestedResourcesCollectionSmTest,
       NewEntityUnderALiveEntryIsRefusedAndTheOldRequestsStay) {
  start();
  auto const old = clientCollection("c1");
  old->resourcesForSwitchportIs(intf("eth1"))->vlanIs(10);
  auto const fresh = Client::RequestedResourcesCollectionIs(Vek::Name("c1"));
  fresh->resourcesForSwitchportIs(intf("eth1"))->vlanIs(99);
  try {
    clientDir->entityPtrIs(Vek::Name("c1"), fresh);
    ADD_FAILURE() << "a second collection for c1 was accepted";
  } catch (Vek::NameInUseException const& e) {
    EXPECT_THAT(e.what(),
                ::testing::HasSubstr("Reinstantiating the pointer interface where constructor "
                                     "parameter attribute _requestedResourcesCollection has a "
                                     "different value of "));
  }
  ASSERT_NE(combiner("c1"), nullptr);
  EXPECT_EQ(combiner("c1")->requestedResourcesCollection(), old);
  EXPECT_NE(portVlan("eth1", 10), nullptr);
  EXPECT_EQ(portVlan("eth1", 99), nullptr);
  // The old collection is still heard.
  old->resourcesForSwitchportIs(intf("eth1"))->vlanIs(11);
  EXPECT_NE(portVlan("eth1", 11), nullptr);
  // And the client still leaves with its entry.
  leave("c1");
  EXPECT_EQ(combiner("c1"), nullptr);
  EXPECT_EQ(port("eth1"), nullptr);
}

TEST_F(ClientRequestedResourcesCollectionSmTest, HostnamesAreWalkedBeforeSwitchPortsAtStart) {
  auto collection = Client::RequestedResourcesCollectionIs(Vek::Name("c1"));
  // Written port first: the walk order is the combiner's, not the writer's.
  collection->resourcesForSwitchportIs(intf("eth1"))->vlanIs(10);
  collection->resourcesForHostnameIs(Vek::Name("web-1"));
  mount(clientDir, "c1", collection);
  mount(clientDir, "empty", Client::RequestedResourcesCollectionIs(Vek::Name("empty")));
  start();
  ASSERT_NE(combiner("c1"), nullptr);
  EXPECT_TRUE(combiner("c1")->initialized());
  auto const lines = messages(2);
  auto const hostname =
      std::find(lines.begin(), lines.end(), "Adding ResourcesForHostName element web-1");
  auto const port = std::find(lines.begin(), lines.end(),
                              "Adding/Modifying ResourcesForSwitchport 00:00:00:00:00:01|eth1 "
                              "networkElementCollection: ");
  ASSERT_NE(hostname, lines.end());
  ASSERT_NE(port, lines.end());
  EXPECT_LT(hostname, port);
  // A client that asks for nothing has a combiner and no children.
  ASSERT_NE(combiner("empty"), nullptr);
  EXPECT_TRUE(combiner("empty")->initialized());
  EXPECT_EQ(Vek::liveObjects<ClientResourcesForSwitchportSm>(), 1u);
}

TEST_F(ClientRequestedResourcesCollectionSmTest, StoppingTheAgentWithdrawsEveryClient) {
  addSwitch(kSwitch);
  start();
  request("c1", "eth1")->vlanIs(10);
  request("c2", "eth2")->remoteHostIs("web-1", true);
  auto const sw = element(kSwitch);
  agent = nullptr;
  // The output outlives the agent; only the clients' share has left it.
  ASSERT_EQ(element(kSwitch), sw);
  EXPECT_EQ(Vek::liveObjects<ClientRequestedResourcesCollectionSm>(), 0u);
  EXPECT_EQ(Vek::liveObjects<ClientResourcesForSwitchportSm>(), 0u);
  EXPECT_EQ(sw->physicalInterface("eth1"), nullptr);
  EXPECT_FALSE(sw->referrer("c2"));
}

}  // namespace
}  // namespace VirtualNetwork::Agent::Testing
