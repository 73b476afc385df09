#include "tests/Raised.h"
#include "tests/element/ElementFixture.h"

namespace VirtualNetwork::Agent::Testing {
namespace {

using TestSupport::raised;
constexpr char kWeb[] = "00:00:00:00:00:11";

class HostResourcesSmTest : public ElementFixture {
 public:
  // The global request of "web" as the client machines leave it: every
  // level held by client c1. Linked to the host kWeb by its hostname group.
  void webWanted() {
    auto global = status->requestedResourcesCollection()->resourcesForHostnameIs(Vek::Name("web"));
    global->referrerIs("c1");
    auto vlan = global->vlanIs(10);
    vlan->referrerIs("c1");
    vlan->mappedVniIs(100)->referrerIs("c1");
    group = topology->hostsByHostnameIs(Vek::Name("web"));
    group->hostIs(hostIs(kWeb, "web"));
  }
  Vek::Ptr<NetworkTopologyAggregatorV3::HostsByHostname> group;
};

TEST_F(HostResourcesSmTest, NullHostVlanIsRefusedWithTheStrayQuote) {
  start();
  webWanted();
  HostResourcesSm* const sm = elementSm(kWeb)->hostResourcesSm();
  ASSERT_NE(sm, nullptr);
  EXPECT_EQ(raised<Vek::RangeException>([&] { sm->hostVlanIs(Vek::Ptr<DynamicVlan const>()); }),
            "null _hostVlan parameter to mutator for "
            "VirtualNetwork::Agent::HostResourcesSm::hostVlan not allowed\"");
}

// Unlike every other removal, the reactor's cleanup asks the global entry
// whether a VNI is still wanted: while a client holds it, the element's
// copy stays, held by nobody, as long as its VLAN does.
TEST_F(HostResourcesSmTest, ElementCopyOutlivesItsHolderWhileAClientStillWantsIt) {
  start();
  webWanted();
  auto const vlan = element(kWeb)->vlan(10);
  ASSERT_NE(vlan, nullptr);
  ASSERT_NE(vlan->mappedVni(100), nullptr);
  EXPECT_TRUE(vlan->mappedVni(100)->referrer("web"));
  // Another writer of the element's VLANs keeps the VLAN itself.
  vlan->referrerIs("swp1");

  group->hostDel(Vek::Name(kWeb));
  EXPECT_EQ(elementSm(kWeb)->hostResourcesSm(), nullptr);
  ASSERT_EQ(element(kWeb)->vlan(10), vlan);
  EXPECT_FALSE(vlan->referrer("web"));
  ASSERT_NE(vlan->mappedVni(100), nullptr);
  EXPECT_TRUE(vlan->mappedVni(100)->referrerCol().empty());
  EXPECT_EQ(Vek::liveObjects<HostResourcesSm::VekHostVlan>(), 0u);
}

}  // namespace
}  // namespace VirtualNetwork::Agent::Testing
