// The model's own rules, on fabrics small enough that a disagreement with
// the agent can be read here rather than in a scenario's step.
#include <string>

#include <gtest/gtest.h>

#include "model/Convert.h"

namespace {

namespace model = vnagent::model;
using model::Tree;

constexpr char kLeaf[] = "00:00:00:00:01:01";
constexpr char kLeafId[] = "00-00-00-00-01-01";

// One ready leaf with ports swp1..swp4 (swp3 and swp4 bonded as po1) and two
// servers, web-1 (eth0) and web-2 (eth0), in their hostname groups.
Tree fabric() {
  return Tree::parse(R"({
    "topology": {
      "host": {
        "00:00:00:00:01:01": {"hostname": "leaf1",
          "port": {"swp1": {}, "swp2": {}, "swp3": {"portGroup": "po1"}, "swp4": {"portGroup": "po1"}},
          "portGroup": {"po1": {"memberPort": {"swp3": true, "swp4": true}}}},
        "00:00:00:00:0a:01": {"hostname": "web-1", "port": {"eth0": {}, "eth1": {}}},
        "00:00:00:00:0a:02": {"hostname": "web-2", "port": {"eth0": {}}}
      },
      "hostsByHostname": {
        "web-1": {"host": {"00:00:00:00:0a:01": true}},
        "web-2": {"host": {"00:00:00:00:0a:02": true}}
      }
    },
    "dirs": {
      "portVlanConfig": {"00-00-00-00-01-01": {"entry": 1, "entity": {}}},
      "dynVtepConfig": {"00-00-00-00-01-01": {"entry": 1, "entity": {}}},
      "dynVtepStatus": {"00-00-00-00-01-01": {"entry": 1, "entity": {"vtepStatus": {"vtep1": true}}}}
    }
  })");
}

// A link in both directions, as the topology service reports one.
void link(Tree& tree, std::string const& a, std::string const& b) {
  tree["topology"]["edge"][a]["toPort"][b] = true;
  tree["topology"]["edge"][b]["toPort"][a] = true;
}

void ask(Tree& tree, std::string const& client, Tree const& entity) {
  tree["clients"][client]["entry"] = 1;
  tree["clients"][client]["entity"].merge_patch(entity);
}

struct Result {
  Tree ports;  // the leaf's portVlanConfig record
  Tree vtep;   // its vtep1 map
};

Result run(Tree const& tree) {
  model::Inputs const in = model::inputsFromTree(tree);
  model::Outputs const out = model::recompute(in);
  Tree const ports = model::portVlanConfigSection(in, out);
  Tree const vteps = model::vtepConfigSection(in, out);
  Result r;
  r.ports = ports.contains(kLeafId) ? ports[kLeafId] : Tree();
  r.vtep = vteps.contains(kLeafId) && vteps[kLeafId].contains("vtep1") ? vteps[kLeafId]["vtep1"]
                                                                       : Tree();
  return r;
}

TEST(ModelTest, NativeVlanConflictWithdrawsTheNativeAndKeepsTheVlans) {
  Tree tree = fabric();
  ask(tree, "ops", Tree::parse(R"({"resourcesForSwitchport":
      {"00:00:00:00:01:01|swp2": {"nativeVlan": 5, "vlan": {"50": {}}}}})"));
  EXPECT_EQ(run(tree).ports, Tree::parse(R"({"vlanList": "50",
      "portAllowedVlanList": {"swp2": "50"}, "portNativeVlan": {"swp2": 5}})"));

  ask(tree, "openstack", Tree::parse(R"({"resourcesForSwitchport":
      {"00:00:00:00:01:01|swp2": {"nativeVlan": "6"}}})"));
  EXPECT_EQ(run(tree).ports,
            Tree::parse(R"({"vlanList": "50", "portAllowedVlanList": {"swp2": "50"}})"));

  // The same native VLAN from both is one candidate; a client that is not
  // synchronised does not count.
  tree["clients"]["openstack"]["entity"]["resourcesForSwitchport"]["00:00:00:00:01:01|swp2"]
      ["nativeVlan"] = 5;
  EXPECT_EQ(run(tree).ports["portNativeVlan"], Tree::parse(R"({"swp2": 5})"));
  tree["clients"]["openstack"]["entity"]["resourcesForSwitchport"]["00:00:00:00:01:01|swp2"]
      ["nativeVlan"] = 6;
  tree["clients"]["openstack"]["entry"] = 2;
  EXPECT_EQ(run(tree).ports["portNativeVlan"], Tree::parse(R"({"swp2": 5})"));
}

TEST(ModelTest, VniConflictWithdrawsTheMappingOnlyAndHeals) {
  Tree tree = fabric();
  tree["config"]["vlanToVniMap"]["tenant|a"]["10-19"] = "1000-1009";
  ask(tree, "ops", Tree::parse(R"({"resourcesForSwitchport": {"00:00:00:00:01:01|swp1":
      {"vlan": {"12": {"mappedVni": {"1002": true}, "domain": {"tenant|a": true}}}}}})"));
  // Static and dynamic agree: one VNI.
  EXPECT_EQ(run(tree).vtep, Tree::parse(R"({"swp1|12": 1002})"));

  tree["clients"]["ops"]["entity"]["resourcesForSwitchport"]["00:00:00:00:01:01|swp1"]["vlan"]
      ["12"]["mappedVni"] = Tree::parse(R"({"7": true})");
  Result const conflict = run(tree);
  EXPECT_EQ(conflict.vtep, Tree::object());
  EXPECT_EQ(conflict.ports["portAllowedVlanList"], Tree::parse(R"({"swp1": "12"})"));

  // The range's end bounds the static side: VLAN 19 maps, 20 does not.
  tree["config"]["vlanToVniMap"]["tenant|a"] = Tree::parse(R"({"10-19": "1000-1009"})");
  tree["clients"]["ops"]["entity"]["resourcesForSwitchport"]["00:00:00:00:01:01|swp1"]["vlan"] =
      Tree::parse(R"({"19": {"domain": {"tenant|a": true}}, "20": {"domain": {"tenant|a": true}}})");
  EXPECT_EQ(run(tree).vtep, Tree::parse(R"({"swp1|19": 1009})"));
}

TEST(ModelTest, StaticVniTakesTheLowestRangeAtItsOffset) {
  model::Inputs in;
  in.vlanToVniMap["d|x"] = {{{10, 20}, {500, 505}}, {{5, 30}, {100, 200}}};
  EXPECT_EQ(model::staticVni(in, "d|x", 5), 100u);
  EXPECT_EQ(model::staticVni(in, "d|x", 12), 107u);  // 5-30 starts lower
  EXPECT_EQ(model::staticVni(in, "d|x", 30), 125u);
  EXPECT_EQ(model::staticVni(in, "d|x", 31), 0u);
  EXPECT_EQ(model::staticVni(in, "d|y", 12), 0u);
  in.vlanToVniMap["d|x"] = {{{10, 20}, {500, 502}}};
  EXPECT_EQ(model::staticVni(in, "d|x", 12), 502u);
  EXPECT_EQ(model::staticVni(in, "d|x", 13), 0u);  // past the VNI range
}

TEST(ModelTest, PortGroupCarriesItsMembersUnderItsOwnName) {
  Tree tree = fabric();
  link(tree, "00:00:00:00:01:01|swp3", "00:00:00:00:0a:01|eth0");
  link(tree, "00:00:00:00:01:01|swp4", "00:00:00:00:0a:01|eth1");
  ask(tree, "os", Tree::parse(R"({"resourcesForHostname": {"web-1": {"vlan": {"20": {}, "21": {}}}}})"));
  ask(tree, "ops", Tree::parse(R"({"resourcesForSwitchport": {
      "00:00:00:00:01:01|swp3": {"nativeVlan": 4, "vlan": {"30": {}}},
      "00:00:00:00:01:01|swp4": {"nativeVlan": 4}}})"));
  EXPECT_EQ(run(tree).ports, Tree::parse(R"({"vlanList": "20-21,30",
      "portAllowedVlanList": {"po1": "20-21,30"}, "portNativeVlan": {"po1": 4}})"));

  // Members that disagree on the native VLAN put the group in conflict.
  tree["clients"]["ops"]["entity"]["resourcesForSwitchport"]["00:00:00:00:01:01|swp4"]
      ["nativeVlan"] = 8;
  EXPECT_FALSE(run(tree).ports.contains("portNativeVlan"));
}

TEST(ModelTest, ServerMovingCarriesItsVlansAndSharedVlansStay) {
  Tree tree = fabric();
  link(tree, "00:00:00:00:01:01|swp1", "00:00:00:00:0a:01|eth0");
  link(tree, "00:00:00:00:01:01|swp2", "00:00:00:00:0a:02|eth0");
  ask(tree, "os", Tree::parse(R"({"resourcesForHostname": {
      "web-1": {"vlan": {"10": {}, "11": {}}}, "web-2": {"vlan": {"10": {}}}}})"));
  EXPECT_EQ(run(tree).ports["portAllowedVlanList"],
            Tree::parse(R"({"swp1": "10-11", "swp2": "10"})"));

  // web-1 moves to swp2: its VLANs leave swp1 and join web-2's there.
  tree["topology"]["edge"].erase("00:00:00:00:01:01|swp1");
  tree["topology"]["edge"].erase("00:00:00:00:0a:01|eth0");
  link(tree, "00:00:00:00:01:01|swp2", "00:00:00:00:0a:01|eth0");
  Result const moved = run(tree);
  EXPECT_EQ(moved.ports["portAllowedVlanList"], Tree::parse(R"({"swp2": "10-11"})"));
  EXPECT_EQ(moved.ports["vlanList"], "10-11");

  // Named by a client behind a port instead of linked, it counts the same.
  tree["topology"]["edge"] = Tree::object();
  ask(tree, "ops", Tree::parse(R"({"resourcesForSwitchport": {
      "00:00:00:00:01:01|swp4": {"remoteHost": {"00:00:00:00:0a:02": true, "00:00:00:00:0a:01": false}}}})"));
  EXPECT_EQ(run(tree).ports["portAllowedVlanList"], Tree::parse(R"({"swp4": "10"})"));
}

TEST(ModelTest, VlansDoNotCrossFromSwitchToSwitch) {
  Tree tree = fabric();
  for (char const* dir : {"portVlanConfig", "dynVtepConfig", "dynVtepStatus"}) {
    tree["dirs"][dir]["00-00-00-00-01-02"] = tree["dirs"][dir][kLeafId];
  }
  tree["topology"]["host"]["00:00:00:00:01:02"] =
      Tree::parse(R"({"hostname": "leaf2", "port": {"swp9": {}}})");
  tree["topology"]["hostsByHostname"]["leaf2"]["host"]["00:00:00:00:01:02"] = true;
  link(tree, "00:00:00:00:01:01|swp1", "00:00:00:00:01:02|swp9");
  ask(tree, "os", Tree::parse(R"({"resourcesForHostname": {"leaf2": {"vlan": {"77": {}}}}})"));
  // leaf2's own hostname brings VLAN 77 to its VLAN list, not to leaf1.
  model::Inputs const in = model::inputsFromTree(tree);
  Tree const ports = model::portVlanConfigSection(in, model::recompute(in));
  EXPECT_EQ(ports["00-00-00-00-01-02"], Tree::parse(R"({"vlanList": "77"})"));
  EXPECT_EQ(ports[kLeafId], Tree::object());

  // Once leaf2 is not ready it is a server like any other.
  tree["dirs"]["dynVtepStatus"]["00-00-00-00-01-02"]["entry"] = 3;
  EXPECT_EQ(run(tree).ports, Tree::parse(R"({"vlanList": "77", "portAllowedVlanList": {"swp1": "77"}})"));
}

TEST(ModelTest, ReconnectKeepsOnlyWhatTheReconciliationLeaves) {
  Tree tree = fabric();
  link(tree, "00:00:00:00:01:01|swp3", "00:00:00:00:0a:01|eth0");
  ask(tree, "ops", Tree::parse(R"({"resourcesForSwitchport": {"00:00:00:00:01:01|swp1": {"vlan": {"9": {}}}}})"));
  tree["dirs"]["portVlanConfig"][kLeafId]["entity"] = Tree::parse(R"({"vlanList": "1-100",
      "portAllowedVlanList": {"swp1": "1-5", "swp3": "7", "gone": "8"},
      "portNativeVlan": {"swp1": 3, "swp3": 4, "gone": 5}})");
  tree["dirs"]["dynVtepConfig"][kLeafId]["entity"] =
      Tree::parse(R"({"vtepConfig": {"vtep1": {"vlanToVniMap": {"old|1": 5}}}})");
  Result const r = run(tree);
  // swp1 is rewritten but keeps its native VLAN; the member swp3 keeps its
  // records; a port that is no interface is swept; the VTEP only gains.
  EXPECT_EQ(r.ports, Tree::parse(R"({"vlanList": "9", "portAllowedVlanList": {"swp1": "9", "swp3": "7"},
      "portNativeVlan": {"swp1": 3, "swp3": 4}})"));
  EXPECT_EQ(r.vtep, Tree::parse(R"({"old|1": 5})"));

  // Not ready: the records stay as they were left.
  tree["dirs"]["portVlanConfig"][kLeafId]["entry"] = 0;
  EXPECT_EQ(run(tree).ports["portAllowedVlanList"]["gone"], "8");
}

TEST(ModelTest, VlanListTextRunsOfTwoOrMore) {
  EXPECT_EQ(model::vlanListText({}), "");
  EXPECT_EQ(model::vlanListText({1, 2, 3, 5, 7, 8, 9}), "1-3,5,7-9");
  EXPECT_EQ(model::vlanListText({7, 8}), "7-8");
  EXPECT_EQ(model::vlanListText({4094}), "4094");
}

}  // namespace
