#include "tools/vnagent/Operator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/vnagent/Fabric.h"

namespace vnagent {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

// One ready switch, leaf1, with the agent running; two clients ask on its swp1.
class OperatorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    set("{config: {enabled: true}, topology: {host: {'00:00:00:00:01:01': {hostname: leaf1}}}, "
        "dirs: {portVlanConfig: {'00-00-00-00-01-01': {entry: 1, entity: {}}}, "
        "dynVtepConfig: {'00-00-00-00-01-01': {entry: 1, entity: {}}}, "
        "dynVtepStatus: {'00-00-00-00-01-01': {entry: 1, entity: {vtepStatus: {vtep1: true}}}}}}");
    ASSERT_FALSE(fabric.start(YAML::Mark()));
  }
  void set(std::string const& yaml) { ASSERT_FALSE(fabric.apply(YAML::Load(yaml))); }
  // Applies a client's request for swp1 and answers the step's plan.
  StepPlan step(std::string const& client, std::string const& request) {
    Snapshot const before = snapshotOf(fabric);
    set("{clients: {" + client + ": {entry: 1, entity: {resourcesForSwitchport: "
        "{'00:00:00:00:01:01|swp1': " + request + "}}}}}");
    return planOf(before, snapshotOf(fabric));
  }
  static std::vector<std::string> texts(StepPlan const& plan) {
    std::vector<std::string> out;
    for (auto const& [sw, changes] : plan.switches) {
      for (Change const& c : changes) out.push_back(sw + " " + c.op + " " + c.text);
    }
    return out;
  }

  Fabric fabric;
};

TEST_F(OperatorTest, PlanWritesWithdrawsAndTellsConflictsOpeningAndHealing) {
  EXPECT_THAT(texts(step("ops", "{nativeVlan: 5, vlan: {10: {}, 11: {}, 12: {}, 20: {}}}")),
              ElementsAre("00-00-00-00-01-01 + vlan 10-12,20",
                          "00-00-00-00-01-01 + swp1 allowed 10-12,20",
                          "00-00-00-00-01-01 + swp1 native 5"));

  StepPlan conflict = step("openstack", "{nativeVlan: 6, vlan: {12: {}, 30: {}}}");
  EXPECT_THAT(texts(conflict), ElementsAre("00-00-00-00-01-01 + vlan 30",
                                           "00-00-00-00-01-01 + swp1 allowed 30",
                                           "00-00-00-00-01-01 - swp1 native 5 withdrawn"));
  ASSERT_EQ(conflict.opened.size(), 1u);
  EXPECT_EQ(conflict.opened[0].text(), "native VLAN on 00:00:00:00:01:01 swp1: 5 (ops), 6 (openstack)");
  EXPECT_TRUE(conflict.healed.empty());
  EXPECT_EQ(conflictsOf(snapshotOf(fabric)), conflict.opened);

  // The one native VLAN left comes back; the VLANs stay.
  StepPlan healed = step("openstack", "{nativeVlan: null}");
  EXPECT_THAT(texts(healed), ElementsAre("00-00-00-00-01-01 + swp1 native 5"));
  EXPECT_EQ(healed.healed, conflict.opened);
  EXPECT_TRUE(conflictsOf(snapshotOf(fabric)).empty());
  EXPECT_TRUE(planOf(snapshotOf(fabric), snapshotOf(fabric)).empty());
}

TEST_F(OperatorTest, ExplainFollowsHoldersAndNamesWhatIsMissing) {
  step("ops", "{nativeVlan: 5, vlan: {10: {}}}");
  step("openstack", "{vlan: {10: {}}, nativeVlan: 6}");
  // By hostname, by dash MAC: the same switch.
  std::vector<std::string> const lines = explain(fabric, "leaf1", "swp1", 10u);
  EXPECT_EQ(lines, explain(fabric, "00-00-00-00-01-01", "swp1", 10u));
  EXPECT_THAT(lines, ElementsAre("VLAN 10 on 00:00:00:00:01:01 swp1: allowed",
                                 "  asked by client openstack", "  asked by client ops",
                                 "  no VNI asked for"));
  std::vector<std::string> const native = explain(fabric, "leaf1", "swp1", 5u);
  ASSERT_GE(native.size(), 3u);
  EXPECT_EQ(native[1], "  native VLAN 5: withdrawn, 2 native VLANs are asked for (5, 6)");
  EXPECT_EQ(native[2], "    asked by client ops");
  EXPECT_THROW(explain(fabric, "leaf9", "swp1", std::nullopt), std::invalid_argument);
  EXPECT_THROW(explain(fabric, "leaf1", "swp9", std::nullopt), std::invalid_argument);
}

TEST_F(OperatorTest, PicturesShowPortsVlansAndConflictsInRed) {
  step("ops", "{nativeVlan: 5, vlan: {10: {}}}");
  Snapshot const calm = snapshotOf(fabric);
  EXPECT_THAT(dotOf(calm), HasSubstr("label=\"VLANs 10\""));
  EXPECT_THAT(dotOf(calm), ::testing::Not(HasSubstr("color=red")));
  EXPECT_THAT(tableOf(calm), HasSubstr("leaf1 (00:00:00:00:01:01)  VLANs: 10\n"));
  EXPECT_THAT(tableOf(calm), HasSubstr("  swp1  10                  5       -\n"));
  step("openstack", "{nativeVlan: 6}");
  EXPECT_THAT(dotOf(snapshotOf(fabric)), HasSubstr("color=red"));
}

TEST(VlanText, ReadsAndPrintsAsTheSwitchDoes) {
  EXPECT_EQ(vlanText(vlansOf("1-3,5, 7-8")), "1-3,5,7-8");
  EXPECT_EQ(vlanText({}), "");
}

}  // namespace
}  // namespace vnagent
