#include "tests/client/ClientFixture.h"

namespace VirtualNetwork::Agent::Testing {
namespace {

using ClientResourcesForSwitchportSmTest = ClientFixture;

TEST_F(ClientResourcesForSwitchportSmTest, TaggedVlanMakesElementAndPortWithoutHoldingEither) {
  start();
  auto eth1 = request("c1", "eth1");
  // An entry that asks for nothing yet already has its element and port.
  ASSERT_NE(element(kSwitch), nullptr);
  ASSERT_NE(port("eth1"), nullptr);
  eth1->vlanIs(10);
  EXPECT_TRUE(element(kSwitch)->referrerCol().empty());
  EXPECT_TRUE(port("eth1")->referrerCol().empty());
  ASSERT_NE(portVlan("eth1", 10), nullptr);
  EXPECT_EQ(names(portVlan("eth1", 10)->referrerCol()), Names{"c1"});
  EXPECT_NE(find("Adding VLAN: 10 to interface: eth1"), nullptr);

  eth1->vlanDel(10);
  EXPECT_EQ(portVlan("eth1", 10), nullptr);
  EXPECT_EQ(count("Removing VLAN: 10 from interface: eth1"), 1);
  EXPECT_NE(port("eth1"), nullptr);
}

TEST_F(ClientResourcesForSwitchportSmTest,
       RequestsWrittenBeforeTheClientIsMountedAreCarriedAtStart) {
  auto collection = Client::RequestedResourcesCollectionIs(Vek::Name("c1"));
  auto eth1 = collection->resourcesForSwitchportIs(intf("eth1"));
  auto vlan = eth1->vlanIs(10);
  vlan->mappedVniIs(100);
  vlan->domainIs(domain());
  eth1->nativeVlanIs(new Client::UntaggedVlan(5));
  eth1->remoteHostIs("web-1", true);
  eth1->remoteHostIs("web-2", false);  // never true: nothing to withdraw
  mount(clientDir, "c1", collection);
  addSwitch(kSwitch);
  start();
  ASSERT_NE(portVlan("eth1", 10), nullptr);
  ASSERT_NE(portVlan("eth1", 10)->mappedVni(100), nullptr);
  EXPECT_EQ(names(portVlan("eth1", 10)->mappedVni(100)->referrerCol()), Names{"c1"});
  ASSERT_NE(portVlan("eth1", 10)->domain(domain()), nullptr);
  EXPECT_EQ(ids(port("eth1")->nativeVlanCol()), Ids{5});
  EXPECT_NE(port("eth1")->configuredElement(Vek::Name("web-1")), nullptr);
  EXPECT_EQ(element("web-2"), nullptr);
  EXPECT_EQ(ports()->portAllowedVlanList("eth1").value(), Vek::String("10"));
  EXPECT_EQ(ports()->portNativeVlan("eth1").value(), 5);
}

TEST_F(ClientResourcesForSwitchportSmTest,
       LeavingClientTakesTheUndiscoveredPortWithEveryClientsVlans) {
  addSwitch(kSwitch);
  start();
  request("c1", "eth1")->vlanIs(10);
  auto c2 = request("c2", "eth1");
  c2->vlanIs(20);
  EXPECT_EQ(ports()->portAllowedVlanList("eth1").value(), Vek::String("10,20"));

  leave("c1");
  EXPECT_EQ(port("eth1"), nullptr);
  EXPECT_EQ(count("Deleting physicalInterface eth1"), 1);
  EXPECT_FALSE(ports()->portAllowedVlanListCol().contains("eth1"));
  // The switch holds its own element.
  EXPECT_NE(element(kSwitch), nullptr);
  EXPECT_EQ(count("Deleting network element 00:00:00:00:00:01"), 0);

  // c2 is still there; its next change makes the port again, with what it
  // asks from then on.
  ASSERT_NE(combiner("c2"), nullptr);
  c2->vlanIs(30);
  ASSERT_NE(port("eth1"), nullptr);
  EXPECT_EQ(ids(port("eth1")->vlanCol()), Ids{30});
  EXPECT_EQ(ports()->portAllowedVlanList("eth1").value(), Vek::String("30"));
}

TEST_F(ClientResourcesForSwitchportSmTest,
       ElementWithoutOtherHoldersGoesWithTheLeavingClientWhateverPortsItHas) {
  start();
  request("c1", "eth1")->remoteHostIs("web-1", true);
  request("c2", "eth2")->vlanIs(20);
  EXPECT_EQ(names(element(kSwitch)->referrerCol()), Names{"c1"});
  leave("c1");
  // Its referrers alone decide: c2's port does not save it.
  EXPECT_EQ(element(kSwitch), nullptr);
  EXPECT_EQ(count("Deleting network element 00:00:00:00:00:01"), 1);
  // Hosts are not walked on the way out: the host element keeps the client.
  ASSERT_NE(element("web-1"), nullptr);
  EXPECT_EQ(names(element("web-1")->referrerCol()), Names{"c1"});
}

TEST_F(ClientResourcesForSwitchportSmTest, WithdrawalsAfterTheModelWasEmptiedFindNothingToDo) {
  start();
  config->enabledIs(true);
  auto eth1 = request("c1", "eth1");
  eth1->vlanIs(10)->mappedVniIs(100);
  eth1->remoteHostIs("web-1", true);
  eth1->nativeVlanIs(new Client::UntaggedVlan(5));
  config->enabledIs(false);  // the agent empties its output
  auto const& all = status->networkElementCollection()->networkElementCol();
  ASSERT_TRUE(all.empty());
  eth1->remoteHostIs("web-1", false);
  eth1->nativeVlanIs(nullptr);
  eth1->vlan(10)->mappedVniDel(100);
  EXPECT_TRUE(all.empty());
  leave("c1");
  EXPECT_TRUE(all.empty());
}

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

TEST_F(ClientResourcesForSwitchportSmTest, NativeVlansOfClientsStandSideBySideEachWithItsHolders) {
  addSwitch(kSwitch);
  start();
  auto c1 = request("c1", "eth1");
  auto c2 = request("c2", "eth1");
  c1->nativeVlanIs(new Client::UntaggedVlan(5));
  c2->nativeVlanIs(new Client::UntaggedVlan(6));
  EXPECT_EQ(ids(port("eth1")->nativeVlanCol()), (Ids{5, 6}));
  EXPECT_EQ(names(port("eth1")->nativeVlan(5)->referrerCol()), Names{"c1"});
  EXPECT_EQ(names(port("eth1")->nativeVlan(6)->referrerCol()), Names{"c2"});
  EXPECT_FALSE(ports()->portNativeVlanCol().contains("eth1"));

  // None asked for: the client's referrer leaves and nothing comes.
  c1->nativeVlanIs(nullptr);
  EXPECT_EQ(ids(port("eth1")->nativeVlanCol()), Ids{6});
  EXPECT_EQ(ports()->portNativeVlan("eth1").value(), 6);

  // Agreeing clients share one entry; VLAN 0 means none.
  c1->nativeVlanIs(new Client::UntaggedVlan(6));
  EXPECT_EQ(names(port("eth1")->nativeVlan(6)->referrerCol()), (Names{"c2", "c1"}));
  c2->nativeVlanIs(new Client::UntaggedVlan(0));
  EXPECT_EQ(ids(port("eth1")->nativeVlanCol()), Ids{6});
  EXPECT_EQ(names(port("eth1")->nativeVlan(6)->referrerCol()), Names{"c1"});
  EXPECT_EQ(count("Adding native vlan 0 to eth1"), 0);
}

TEST_F(ClientResourcesForSwitchportSmTest,
       ChangedNativeVlanIsReplacedAndAnUnchangedOneIsMadeAgain) {
  addSwitch(kSwitch);
  start();
  auto c1 = request("c1", "eth1");
  c1->nativeVlanIs(new Client::UntaggedVlan(5));
  c1->nativeVlanIs(new Client::UntaggedVlan(7));
  EXPECT_EQ(ids(port("eth1")->nativeVlanCol()), Ids{7});
  EXPECT_EQ(count("Removing native VLAN: 5 from interface: eth1"), 1);
  EXPECT_EQ(ports()->portNativeVlan("eth1").value(), 7);

  // The same VLAN notified again: held by this client alone, it is deleted
  // and made again.
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
}

TEST_F(ClientResourcesForSwitchportSmTest, RemoteHostHangsAHostElementOnThePortUntilItGoes) {
  addSwitch(kSwitch);
  start();
  auto eth1 = request("c1", "eth1");
  // Two ways for a host to leave the port: false, or no entry.
  for (bool const byDelete : {false, true}) {
    SCOPED_TRACE(byDelete ? "entry deleted" : "set to false");
    eth1->remoteHostIs("web-1", true);
    auto const host = element("web-1");
    ASSERT_NE(host, nullptr);
    EXPECT_EQ(host->hostname(), Vek::String("web-1"));
    EXPECT_EQ(names(host->referrerCol()), Names{"c1"});
    EXPECT_EQ(port("eth1")->configuredElement(Vek::Name("web-1")), host);
    EXPECT_TRUE(element(kSwitch)->referrer("c1"));
    EXPECT_TRUE(port("eth1")->referrer("c1"));

    if (byDelete) {
      eth1->remoteHostDel("web-1");
    } else {
      eth1->remoteHostIs("web-1", false);
    }
    EXPECT_EQ(element("web-1"), nullptr);
    EXPECT_TRUE(port("eth1")->configuredElementCol().empty());
    // The client keeps its hold on the switch and the port.
    EXPECT_TRUE(element(kSwitch)->referrer("c1"));
    EXPECT_TRUE(port("eth1")->referrer("c1"));
  }
}

TEST_F(ClientResourcesForSwitchportSmTest, HostHeldByAnotherClientStaysButLeavesThisPort) {
  addSwitch(kSwitch);
  start();
  auto c1 = request("c1", "eth1");
  auto c2 = request("c2", "eth2");
  c1->remoteHostIs("web-1", true);
  c2->remoteHostIs("web-1", true);
  EXPECT_EQ(names(element("web-1")->referrerCol()), (Names{"c1", "c2"}));

  c1->remoteHostIs("web-1", false);
  ASSERT_NE(element("web-1"), nullptr);
  EXPECT_EQ(names(element("web-1")->referrerCol()), Names{"c2"});
  EXPECT_EQ(port("eth1")->configuredElement(Vek::Name("web-1")), nullptr);
  EXPECT_EQ(port("eth2")->configuredElement(Vek::Name("web-1")), element("web-1"));
}

TEST_F(ClientResourcesForSwitchportSmTest,
       ClientsSharingADomainShareOneReferrerAndTheFirstRemovalEndsIt) {
  addSwitch(kSwitch);
  start();
  auto c1 = request("c1", "eth1")->vlanIs(10);
  auto c2 = request("c2", "eth1")->vlanIs(10);
  c1->domainIs(domain());
  c2->domainIs(domain());
  ASSERT_NE(portVlan("eth1", 10)->domain(domain()), nullptr);
  EXPECT_EQ(names(portVlan("eth1", 10)->domain(domain())->referrerCol()), Names{"tenant|net"});

  c1->domainDel(domain());
  EXPECT_EQ(portVlan("eth1", 10)->domain(domain()), nullptr);
  EXPECT_EQ(count("Deleting domain: tenant|net for VLAN: 10 on eth1"), 1);
  ASSERT_NE(c2->domain(domain()), nullptr);
}

TEST_F(ClientResourcesForSwitchportSmTest, ClientLeavingASharedVlanTakesItsVnisAndLeavesTheDomain) {
  // The client withdraws VLAN 10 either by removing it or by leaving.
  for (bool const byLeaving : {false, true}) {
    SCOPED_TRACE(byLeaving ? "client leaves" : "VLAN removed");
    TearDown();
    SetUp();
    addSwitch(kSwitch);
    start();
    auto c2 = request("c2", "eth1");
    c2->remoteHostIs("web-1", true);  // holds the port
    c2->vlanIs(10)->mappedVniIs(100);
    auto c1 = request("c1", "eth1");
    auto vlan = c1->vlanIs(10);
    vlan->mappedVniIs(100);
    vlan->mappedVniIs(200);
    vlan->domainIs(domain());
    EXPECT_EQ(ids(portVlan("eth1", 10)->mappedVniCol()), (Ids{100, 200}));

    if (byLeaving) {
      leave("c1");
    } else {
      c1->vlanDel(10);
    }
    auto const kept = portVlan("eth1", 10);
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(names(kept->referrerCol()), Names{"c2"});
    EXPECT_EQ(ids(kept->mappedVniCol()), Ids{100});
    EXPECT_EQ(names(kept->mappedVni(100)->referrerCol()), Names{"c2"});
    EXPECT_EQ(count("Deleting 200 <-> 10 map from interface eth1"), 1);
    // Held by its own name, the domain outlives the client that put it.
    ASSERT_NE(kept->domain(domain()), nullptr);
    EXPECT_EQ(names(kept->domain(domain())->referrerCol()), Names{"tenant|net"});
  }
}

}  // namespace
}  // namespace VirtualNetwork::Agent::Testing
