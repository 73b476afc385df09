// A topology machine made over requests that exist already, which a
// scenario cannot make: the agent's start empties them. The rest of the
// machine's behaviour is in tests/scenarios/topology-hosts.yaml.
#include "tests/element/ElementFixture.h"

namespace VirtualNetwork::Agent::Testing {
namespace {

constexpr char kHost[] = "00:00:00:00:00:0a";
constexpr char kOther[] = "00:00:00:00:00:0b";

using TopologyTest = ElementFixture;

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
