// The VTEP side of the switch node where scenarios cannot reach it: port
// group members (the topology makes no groups yet), walks that lose their
// current entry to a nested handler, and the reactors' live counts.
#include "tests/switch/SwitchFixture.h"

namespace VirtualNetwork::Agent::Testing {
namespace {

using SwitchVniTest = SwitchFixture;
using Key = VxlanController::PortVlanPairV2;

// The VTEP's mapping of a port's VLAN; -1 for none.
long long mapped(Vek::Ptr<VxlanController::VtepConfigV2> const& vtep, char const* port, U32 vlan) {
  Key const key(port, vlan);
  return vtep->vlanToVniMapCol().contains(key)
             ? static_cast<long long>(vtep->vlanToVniMap(key).value())
             : -1;
}

TEST_F(SwitchVniTest, MemberPortIsNotMappedButLosesItsKeyWithTheVlan) {
  auto vtep = vteps->vtepConfigIs("vtep1");
  // Left by an earlier life under the member's own name.
  vtep->vlanToVniMapIs({"eth1", 20}, 2020);
  startWithHost();
  auto bond = element()->portGroupIs("bond0");
  auto eth1 = port("eth1");
  eth1->vlanIs(10);
  eth1->vlanIs(20);
  bond->memberInterfaceIs(eth1);
  eth1->portGroupIs(bond);
  auto const status = VxlanController::VtepStatusDirV2Is(Vek::Name(kDash));
  mount(portVlanConfigDir, kDash, ports);
  mount(dynVtepConfigDir, kDash, vteps);
  mount(dynVtepStatusDir, kDash, status);
  ASSERT_EQ(vtep->vlanToVniMapCol().size(), 1u);

  // The bulk pass and single changes pass the member by.
  eth1->vlan(10)->mappedVniIs(1010)->referrerIs("ops");
  EXPECT_EQ(mapped(vtep, "eth1", 10), -1);
  EXPECT_TRUE(tracesOf("handleInterfaceVniMapping", 2).empty());
  // ... but the VLAN's going takes the stale key: no member test there.
  eth1->vlanDel(20);
  EXPECT_EQ(mapped(vtep, "eth1", 20), -1);

  // Leaving the group does not bring the mapping back at once; the next
  // change of the VLAN's VNIs or the next bulk pass does.
  eth1->portGroupIs(nullptr);
  bond->memberInterfaceDel("eth1");
  EXPECT_EQ(mapped(vtep, "eth1", 10), -1);
  status->vtepStatusIs("vtep1");  // a status change runs the bulk pass
  EXPECT_EQ(mapped(vtep, "eth1", 10), 1010);
}

TEST_F(SwitchVniTest, MapRemovalSurvivesTheDeletionsInsideItsWalk) {
  // Every VLAN of every port holds the static VNI of one domain; on every
  // third VLAN a client's VNI stands beside it, in conflict. Removing the
  // map deletes entries of the collection being walked, and each deletion
  // rewrites the VTEP map inside the walk.
  Client::ClientDomain const tenant("tenant", "net");
  Client::ClientDomain const other("other", "net");
  config->vlanToVniMapIs(tenant)->mapIs({100, 139}, {5100, 5139});
  config->vlanToVniMapIs(other)->mapIs({100, 139}, {5100, 5139});
  connect();
  auto vtep = vteps->vtepConfigIs("vtep1");
  constexpr int kPorts = 4;
  constexpr U32 kVlans = 40;
  for (int p = 0; p < kPorts; ++p) {
    auto eth = port("eth" + std::to_string(p));
    for (U32 vlan = 100; vlan < 100 + kVlans; ++vlan) {
      eth->vlanIs(vlan);
      eth->vlan(vlan)->domainIs(tenant)->referrerIs(tenant.name());
      if (vlan % 3 == 0) eth->vlan(vlan)->mappedVniIs(9000 + vlan)->referrerIs("ops");
    }
  }
  // The other domain is on eth0's VLAN 100 only: its entry keeps that
  // mapping when the tenant's map goes.
  port("eth0")->vlan(100)->domainIs(other)->referrerIs(other.name());
  ASSERT_EQ(vtep->vlanToVniMapCol().size(), kPorts * kVlans - kPorts * 13);
  ASSERT_EQ(mapped(vtep, "eth0", 100), 5100);

  config->vlanToVniMapDel(tenant);
  EXPECT_EQ(Vek::liveObjects<SwitchNodeSm::VekVlanToVniMap>(), 1u);
  for (int p = 0; p < kPorts; ++p) {
    std::string const name = "eth" + std::to_string(p);
    for (U32 vlan = 100; vlan < 100 + kVlans; ++vlan) {
      long long want = -1;
      if (vlan % 3 == 0) {
        want = 9000 + vlan;
      } else if (p == 0 && vlan == 100) {
        want = 5100;
      }
      EXPECT_EQ(mapped(vtep, name.c_str(), vlan), want) << name << " VLAN " << vlan;
    }
  }
  // The domains themselves are not the map's to touch.
  EXPECT_TRUE(port("eth3")->vlan(139)->domain(tenant));
}

TEST_F(SwitchVniTest, VlanReactorsEndWithTheirVlansAndTheNode) {
  connect();
  auto vtep = vteps->vtepConfigIs("vtep1");
  auto eth1 = port("eth1");
  for (U32 vlan = 1; vlan <= 5; ++vlan) eth1->vlanIs(vlan)->mappedVniIs(vlan)->referrerIs("ops");
  EXPECT_EQ(Vek::liveObjects<SwitchNodeSm::VekInterface::VekDynVlan>(), 5u);
  EXPECT_EQ(vtep->vlanToVniMapCol().size(), 5u);
  eth1->vlanDel(3);
  EXPECT_EQ(Vek::liveObjects<SwitchNodeSm::VekInterface::VekDynVlan>(), 4u);
  EXPECT_EQ(mapped(vtep, "eth1", 3), -1);
  // The node's end takes every reactor and, one by one, every mapping.
  disconnect();
  EXPECT_EQ(Vek::liveObjects<SwitchNodeSm::VekInterface::VekDynVlan>(), 0u);
  EXPECT_TRUE(vtep->vlanToVniMapCol().empty());
}

}  // namespace
}  // namespace VirtualNetwork::Agent::Testing
