#include "tests/Raised.h"
#include "tests/client/ClientFixture.h"

namespace VirtualNetwork::Agent::Testing {
namespace {

using TestSupport::raised;
using ClientResourcesForHostnameSmTest = ClientFixture;

TEST_F(ClientResourcesForHostnameSmTest, NullHostVlanIsRefusedWithTheStrayQuote) {
  start();
  clientCollection("c1")->resourcesForHostnameIs(Vek::Name("web"));
  ClientResourcesForHostnameSm* const sm = combiner("c1")->resourcesForHostnameSm(Vek::Name("web"));
  ASSERT_NE(sm, nullptr);
  EXPECT_EQ(
      raised<Vek::RangeException>([&] { sm->hostVlanIs(Vek::Ptr<Client::DynamicVlan const>()); }),
      "null _hostVlan parameter to mutator for "
      "VirtualNetwork::Agent::ClientResourcesForHostnameSm::hostVlan not allowed\"");
}

// The end of a machine walks a shared VLAN twice: once in its own cleanup
// and once more when the VLAN's reactor retires. The second pass meets the
// entries the first one deleted and must leave the other client's alone.
TEST_F(ClientResourcesForHostnameSmTest, EndPassesEachVlanTwiceAndKeepsTheOtherClientsShare) {
  start();
  auto const web = Vek::Name("web");
  auto v1 = clientCollection("c1")->resourcesForHostnameIs(web)->vlanIs(10);
  v1->mappedVniIs(100);
  v1->mappedVniIs(101);
  clientCollection("c2")->resourcesForHostnameIs(web)->vlanIs(10)->mappedVniIs(100);
  auto const global = status->requestedResourcesCollection()->resourcesForHostname(web);
  ASSERT_NE(global, nullptr);
  traces.clear();

  leave("c1");
  int passes = 0;
  for (auto const& r : traces) {
    if (r.level == 9 && std::string(r.function) == "doCleanup" &&
        r.signature.find("VekHostVlan") != std::string::npos) {
      ++passes;
    }
  }
  EXPECT_EQ(passes, 2);
  EXPECT_EQ(count("Deleting mapped VNI 101 from VLAN 10 in global resource"), 1);
  ASSERT_NE(global->vlan(10), nullptr);
  EXPECT_EQ(names(global->vlan(10)->referrerCol()), Names{"c2"});
  EXPECT_EQ(ids(global->vlan(10)->mappedVniCol()), Ids{100});
  EXPECT_EQ(names(global->vlan(10)->mappedVni(100)->referrerCol()), Names{"c2"});
  EXPECT_EQ(Vek::liveObjects<ClientResourcesForHostnameSm>(), 1u);
  EXPECT_EQ(Vek::liveObjects<ClientResourcesForHostnameSm::VekHostVlan>(), 1u);
}

}  // namespace
}  // namespace VirtualNetwork::Agent::Testing
