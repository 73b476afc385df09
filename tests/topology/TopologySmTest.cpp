// The topology's hosts as elements: the hold of a host on its element, the
// links of its ports, and the two ways a hostname reaches an element.
#include "tests/element/ElementFixture.h"

namespace VirtualNetwork::Agent::Testing {
namespace {

constexpr char kHost[] = "00:00:00:00:00:0a";
constexpr char kOther[] = "00:00:00:00:00:0b";
constexpr char kSwitch[] = "00:00:00:00:00:01";

using TopologyTest = ElementFixture;

TEST_F(TopologyTest, HostWithoutPortsBecomesAnElementHeldByItsKey) {
  auto h = hostIs(kHost, "web-1");
  start();
  auto e = element(kHost);
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(e->referrerCol().size(), 1u);
  EXPECT_TRUE(e->referrer(kHost));  // colon form, as the host is keyed
  EXPECT_EQ(e->hostname(), Vek::String("web-1"));
  ASSERT_NE(elementSm(kHost), nullptr);
  EXPECT_EQ(elementSm(kHost)->topologyHost(), h);
  Vek::TraceRecord const* ports = find(std::string(kHost) + " has 0 physical port(s)");
  ASSERT_NE(ports, nullptr);
  EXPECT_EQ(ports->level, 2);
  // A host listed while the agent runs is bound at once, too.
  hostIs(kOther);
  ASSERT_NE(element(kOther), nullptr);
  EXPECT_TRUE(element(kOther)->referrer(kOther));
  EXPECT_EQ(elementSm(kOther)->topologyHost(), host(kOther));
  EXPECT_EQ(Vek::liveObjects<NetworkElementSm>(), 2u);
}

TEST_F(TopologyTest, PortsAreWalkedForTheirLinksAndAPortWithoutOneIsTraced) {
  auto h = hostIs(kHost);
  h->portIs(Vek::Name("eth0"));
  auto eth1 = h->portIs(Vek::Name("eth1"));
  auto swp1 = hostIs(kSwitch)->portIs(Vek::Name("swp1"));
  topology->edgeIs(eth1)->toPortIs(swp1, true);
  start();
  EXPECT_EQ(count(std::string(kHost) + " has 2 physical port(s)"), 1);
  Vek::TraceRecord const* missing = find("Edge from eth0 does not exist");
  ASSERT_NE(missing, nullptr);
  EXPECT_EQ(missing->level, 3);
  EXPECT_EQ(count("Edge from eth1 does not exist"), 0);
  // The switch's own port has no edge of its own: one trace for it too.
  EXPECT_EQ(count("Edge from swp1 does not exist"), 1);
  EXPECT_EQ(count("To port: swp1"), 1);
  EXPECT_EQ(find("To port: swp1")->level, 2);
  EXPECT_EQ(agent->topologySm()->directedEdge(eth1)->directedEdge(), topology->edge(eth1));
  // An edge that leaves takes its reactors with it.
  topology->edgeDel(eth1);
  EXPECT_EQ(agent->topologySm()->directedEdge(eth1), nullptr);
  EXPECT_EQ(agent->topologySm()->topologyEdge(eth1), nullptr);
}

TEST_F(TopologyTest, HostLeavingDeletesItsUnusedElementAndMachine) {
  start();
  hostIs(kHost, "web-1");
  hostIs(kOther);
  topology->hostDel(Vek::Name(kHost));
  EXPECT_EQ(element(kHost), nullptr);
  EXPECT_EQ(elementSm(kHost), nullptr);
  Vek::TraceRecord const* deleting = find(std::string("Deleting ") + kHost);
  ASSERT_NE(deleting, nullptr);
  EXPECT_EQ(deleting->level, 2);
  EXPECT_EQ(Vek::liveObjects<NetworkElementSm>(), 1u);
  EXPECT_NE(element(kOther), nullptr);
  hostIs(kHost);  // back as a new element
  ASSERT_NE(element(kHost), nullptr);
  EXPECT_EQ(Vek::liveObjects<NetworkElementSm>(), 2u);
}

TEST_F(TopologyTest, RequestAfterTheHostnameGroupLinksAndUnlinksItsHosts) {
  start();
  hostIs(kHost, "web");
  hostIs(kOther, "db");
  auto group = topology->hostsByHostnameIs(Vek::Name("web"));
  group->hostIs(host(kHost));
  auto requests = status->requestedResourcesCollection();
  // A request for a hostname that no host reports touches no element.
  requests->resourcesForHostnameIs(Vek::Name("db"));
  EXPECT_EQ(element(kOther)->resourcesForHostname(), nullptr);
  EXPECT_EQ(element(kHost)->resourcesForHostname(), nullptr);
  auto web = requests->resourcesForHostnameIs(Vek::Name("web"));
  EXPECT_EQ(element(kHost)->resourcesForHostname(), web);
  EXPECT_EQ(element(kHost)->hostname(), Vek::String("web"));
  EXPECT_EQ(element(kOther)->resourcesForHostname(), nullptr);
  requests->resourcesForHostnameDel(Vek::Name("web"));
  EXPECT_EQ(element(kHost)->resourcesForHostname(), nullptr);
  EXPECT_EQ(element(kHost)->hostname(), Vek::String("web"));
}

TEST_F(TopologyTest, RequestBeforeTheHostnameGroupLinksTheHostThatJoins) {
  start();
  hostIs(kHost);
  auto web = status->requestedResourcesCollection()->resourcesForHostnameIs(Vek::Name("web"));
  topology->hostsByHostnameIs(Vek::Name("web"))->hostIs(host(kHost));
  EXPECT_EQ(element(kHost)->hostname(), Vek::String("web"));
  EXPECT_EQ(element(kHost)->resourcesForHostname(), web);
}

// The listing of a hostname group writes nothing without a request; a host
// joining a group is given the name all the same.
TEST_F(TopologyTest, HostnameIsWrittenByAJoiningHostButNotByAGroupWithoutRequest) {
  hostIs(kHost, "reported");
  topology->hostsByHostnameIs(Vek::Name("web"))->hostIs(host(kHost));
  start();
  EXPECT_EQ(element(kHost)->hostname(), Vek::String("reported"));
  hostIs(kOther, "reported");
  topology->hostsByHostnameIs(Vek::Name("web"))->hostIs(host(kOther));
  EXPECT_EQ(element(kOther)->hostname(), Vek::String("web"));
  EXPECT_EQ(element(kOther)->resourcesForHostname(), nullptr);
}

TEST_F(TopologyTest, HostLeavingItsHostnameGroupLosesNameAndRequestButStaysHeld) {
  start();
  hostIs(kHost, "web");
  auto web = status->requestedResourcesCollection()->resourcesForHostnameIs(Vek::Name("web"));
  auto group = topology->hostsByHostnameIs(Vek::Name("web"));
  group->hostIs(host(kHost));
  ASSERT_EQ(element(kHost)->resourcesForHostname(), web);
  group->hostDel(Vek::Name(kHost));
  EXPECT_EQ(element(kHost)->hostname(), Vek::String(""));
  EXPECT_EQ(element(kHost)->resourcesForHostname(), nullptr);
  EXPECT_TRUE(element(kHost)->referrer(kHost));
  // The group leaving the topology altogether changes nothing more.
  group->hostIs(host(kHost));
  topology->hostsByHostnameDel(Vek::Name("web"));
  EXPECT_EQ(element(kHost)->hostname(), Vek::String("web"));
  EXPECT_EQ(element(kHost)->resourcesForHostname(), web);
  EXPECT_EQ(agent->topologySm()->hostsByHostname(Vek::Name("web")), nullptr);
}

// A topology machine made over requests that exist already links every
// grouped host as it starts; a second start is refused.
TEST_F(TopologyTest, MachineOverExistingRequestsLinksGroupedHostsOnce) {
  hostIs(kHost, "reported");
  hostIs(kOther);
  topology->hostsByHostnameIs(Vek::Name("web"))->hostIs(host(kHost));
  auto elements = NetworkElementCollectionIs(Vek::Name(""));
  auto requests = RequestedResourcesCollectionIs(Vek::Name(""));
  auto web = requests->resourcesForHostnameIs(Vek::Name("web"));
  auto sm = TopologySm::vekCreate(elements, requests,
                                  Vek::Ptr<TopologySm::TopologyStatus const>(topology));
  auto e = elements->networkElement(Vek::Name(kHost));
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(e->hostname(), Vek::String("web"));
  EXPECT_EQ(e->resourcesForHostname(), web);
  EXPECT_EQ(elements->networkElement(Vek::Name(kOther))->resourcesForHostname(), nullptr);
  traces.clear();
  sm->handleInitialized();
  EXPECT_EQ(messages(1), std::vector<std::string>{"TopologySM already initialized"});
  EXPECT_EQ(count(kHost), 0);  // no host walked again
}

}  // namespace
}  // namespace VirtualNetwork::Agent::Testing
