// The model's own rules that no scenario file reaches, on fabrics small
// enough to read. The rules the scenarios reach (VNI conflicts, port
// groups, servers that move, links between switches) are checked there by
// ModelAgreementTest, which holds the model to the agent after every step.
#include <string>

#include <gtest/gtest.h>

#include "model/Convert.h"

namespace {

namespace model = vnagent::model;
using model::Tree;

constexpr char kLeafId[] = "00-00-00-00-01-01";

// One ready leaf with ports swp1..swp4 (swp3 and swp4 bonded as po1) and a
// server, web-1.
Tree fabric() {
  return Tree::parse(R"({
    "topology": {
      "host": {
        "00:00:00:00:01:01": {"hostname": "leaf1",
          "port": {"swp1": {}, "swp2": {}, "swp3": {"portGroup": "po1"}, "swp4": {"portGroup": "po1"}},
          "portGroup": {"po1": {"memberPort": {"swp3": true, "swp4": true}}}},
        "00:00:00:00:0a:01": {"hostname": "web-1", "port": {"eth0": {}}}
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

// The conflict itself is switch-node.yaml's; what no scenario writes is a
// client whose entry leaves the synchronised state.
TEST(ModelTest, ClientThatIsNotSynchronisedDoesNotCount) {
  Tree tree = fabric();
  ask(tree, "ops", Tree::parse(R"({"resourcesForSwitchport":
      {"00:00:00:00:01:01|swp2": {"nativeVlan": 5, "vlan": {"50": {}}}}})"));
  ask(tree, "openstack", Tree::parse(R"({"resourcesForSwitchport":
      {"00:00:00:00:01:01|swp2": {"nativeVlan": "6"}}})"));
  EXPECT_EQ(run(tree).ports,
            Tree::parse(R"({"vlanList": "50", "portAllowedVlanList": {"swp2": "50"}})"));
  tree["clients"]["openstack"]["entry"] = 2;
  EXPECT_EQ(run(tree).ports["portNativeVlan"], Tree::parse(R"({"swp2": 5})"));
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
