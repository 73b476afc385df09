// The port group machine on its own records: what scenario files cannot
// reach (entries without holders, the mutators' own errors, what is left
// alive at the end).
#include <gtest/gtest.h>

#include <string>

#include "VirtualNetworkAgent.h"
#include "tests/Raised.h"

namespace VirtualNetwork::Agent {
namespace {

class PortGroupSmTest : public ::testing::Test {
 public:
  void SetUp() override {
    group = PortGroupIs(Vek::String("po1"));
    swp3 = PhysicalInterfaceIs(Vek::String("swp3"));
    swp4 = PhysicalInterfaceIs(Vek::String("swp4"));
    sm = portGroupSmFactory(Vek::String("po1"), group);
  }
  void TearDown() override {
    sm = nullptr;
    group = nullptr;
    swp3 = swp4 = nullptr;
    EXPECT_EQ(Vek::liveObjects<PortGroupSm>(), 0u);
    EXPECT_EQ(Vek::liveObjects<PortGroupSm::VekPortGroup>(), 0u);
    EXPECT_EQ(Vek::liveObjects<PortGroupSm::VekMemberInterface>(), 0u);
    EXPECT_EQ(Vek::liveObjects<PortGroupSm::VekMemberInterface::VekDynVlan>(), 0u);
  }

  // VLAN `vlan` on `port` with VNI `vni`, the VNI held by `holder` unless
  // it is empty.
  static void vni(Vek::Ptr<PhysicalInterface> const& port, U32 vlan, U32 vni,
                  std::string const& holder) {
    auto entry = port->vlanIs(vlan);
    entry->referrerIs(Vek::String("client"));
    auto mapped = entry->mappedVniIs(vni);
    if (!holder.empty()) mapped->referrerIs(Vek::String(holder));
  }

  Vek::Ptr<PortGroup> group;
  Vek::Ptr<PhysicalInterface> swp3;
  Vek::Ptr<PhysicalInterface> swp4;
  Vek::Ptr<PortGroupSm> sm;
};

// The leaving member's own entry decides, not the group's: an entry the
// member holds without holders goes from the group although the other
// member still has the VNI.
TEST_F(PortGroupSmTest, LeavingMemberWithUnheldVniTakesTheSharedEntry) {
  vni(swp3, 10, 100, "");
  vni(swp4, 10, 100, "client");
  group->memberInterfaceIs(swp3);
  group->memberInterfaceIs(swp4);
  ASSERT_TRUE(group->vlan(10));
  ASSERT_TRUE(group->vlan(10)->mappedVni(100));
  EXPECT_EQ(group->vlan(10)->mappedVni(100)->referrerCol().size(), 2u);

  group->memberInterfaceDel(Vek::String("swp3"));
  ASSERT_TRUE(group->vlan(10));
  EXPECT_TRUE(group->vlan(10)->referrer(Vek::String("swp4")));
  EXPECT_FALSE(group->vlan(10)->mappedVni(100));
}

// ...and an entry the member still holds stays on the group, although the
// group's entry has just lost its last holder.
TEST_F(PortGroupSmTest, LeavingMemberWithHeldVniLeavesTheEntryUnheld) {
  vni(swp3, 10, 100, "client");
  vni(swp4, 10, 200, "client");
  group->memberInterfaceIs(swp3);
  group->memberInterfaceIs(swp4);

  group->memberInterfaceDel(Vek::String("swp3"));
  ASSERT_TRUE(group->vlan(10));
  auto const stays = group->vlan(10)->mappedVni(100);
  ASSERT_TRUE(stays);
  EXPECT_TRUE(stays->referrerCol().empty());
  EXPECT_TRUE(group->vlan(10)->mappedVni(200));
}

TEST_F(PortGroupSmTest, NullMembersRaiseTheirOwnTexts) {
  using TestSupport::raised;
  EXPECT_EQ(
      raised<Vek::RangeException>([&] { sm->memberInterfaceIs(Vek::Ptr<Interface const>()); }),
      "null _memberInterface parameter to mutator for "
      "VirtualNetwork::Agent::PortGroupSm::memberInterface not allowed");
  group->memberInterfaceIs(swp3);
  auto const member = sm->memberInterface(Vek::String("swp3"));
  EXPECT_EQ(raised<Vek::RangeException>([&] { member->dynVlanIs(Vek::Ptr<DynamicVlan const>()); }),
            "null _dynVlan parameter to mutator for "
            "VirtualNetwork::Agent::PortGroupSm::VekMemberInterface::dynVlan not allowed");
}

// The owner's cleanup empties the group; the machine's end then leaves no
// reactor behind (checked at teardown).
TEST_F(PortGroupSmTest, CleanupEmptiesTheGroup) {
  vni(swp3, 10, 100, "client");
  swp4->nativeVlanIs(5)->referrerIs(Vek::String("client"));
  group->memberInterfaceIs(swp3);
  group->memberInterfaceIs(swp4);
  ASSERT_TRUE(group->nativeVlan(5));

  sm->doCleanup();
  EXPECT_EQ(group->memberInterfaceCol().size(), 0u);
  EXPECT_EQ(group->vlanCol().size(), 0u);
  EXPECT_EQ(group->nativeVlanCol().size(), 0u);
  EXPECT_EQ(sm->memberInterfaceCol().size(), 0u);
}

}  // namespace
}  // namespace VirtualNetwork::Agent
