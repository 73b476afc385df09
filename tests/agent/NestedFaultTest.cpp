// A value refused deep inside a cascade: every raise a host's input can
// reach, each from a running agent over a small fabric. The exception
// carries the system's own text; the records the raise interrupted hold
// what was written before it; taking the refused input back restores every
// output (referrers included); and the next inputs leave the agent where an
// agent that never saw the fault stands, down to no live object once both
// are gone.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "model/Agreement.h"
#include "reactive/AllocTrack.h"

namespace {

using vnagent::Fabric;
using vnagent::Json;
using vnagent::agreement::plain;
using vnagent::agreement::sectionOf;

char const* const kSections[] = {"portVlanConfig", "vtepConfig", "elements", "requests"};

// leaf1 with web-1 behind swp1; c1 asks for swp2 by port, c2 for web-1 by
// hostname; t|n maps VLANs 10-11 statically, and c1's VLAN 12 names u|m,
// which maps nothing yet.
constexpr char kFabric[] = R"({
  config: {enabled: true, vlanToVniMap: {"t|n": {"10-11": "1000-1001"}}},
  topology: {
    host: {"00:00:00:00:01:01": {hostname: leaf1, port: {swp1: {}, swp2: {}}},
           "00:00:00:00:0a:01": {hostname: web-1, port: {eth0: {}}}},
    edge: {"00:00:00:00:01:01|swp1": {toPort: {"00:00:00:00:0a:01|eth0": true}},
           "00:00:00:00:0a:01|eth0": {toPort: {"00:00:00:00:01:01|swp1": true}}},
    hostsByHostname: {web-1: {host: {"00:00:00:00:0a:01": true}}}},
  dirs: {
    portVlanConfig: {"00-00-00-00-01-01": {entry: 1, entity: {}}},
    dynVtepConfig: {"00-00-00-00-01-01": {entry: 1, entity: {}}},
    dynVtepStatus: {"00-00-00-00-01-01": {entry: 1, entity: {vtepStatus: {vtep1: true}}}}},
  clients: {
    c1: {entry: 1, entity: {resourcesForSwitchport: {"00:00:00:00:01:01|swp2": {nativeVlan: 5,
          vlan: {10: {domain: {"t|n": true}}, 12: {domain: {"u|m": true}}, 20: {mappedVni: {100: true}}}}}}},
    c2: {entry: 1, entity: {resourcesForHostname: {web-1: {vlan: {21: {mappedVni: {200: true}}}}}}}}})";

// Touches everything the faults went through: both clients, the port, the
// server, the static maps.
constexpr char kNext[] = R"({
  config: {vlanToVniMap: {"u|m": {"12-13": "3000-3001"}}},
  clients: {
    c1: {entity: {resourcesForSwitchport: {"00:00:00:00:01:01|swp2": {nativeVlan: 6,
          vlan: {13: {domain: {"u|m": true}, mappedVni: {300: true}}}}}}},
    c2: {entity: {resourcesForHostname: {web-1: {vlan: {22: {mappedVni: {400: true}}}}}}}}})";

// What c1 asks for its port, what c2 asks for web-1.
std::string port(std::string const& ask) {
  return R"({clients: {c1: {entity: {resourcesForSwitchport: {"00:00:00:00:01:01|swp2": )" + ask + "}}}}}";
}
std::string host(std::string const& ask) { return R"({clients: {c2: {entity: {resourcesForHostname: {web-1: )" + ask + "}}}}}"; }
constexpr char kVlanRange[] = "VlanIdOrNone::value > 4094 not allowed";
constexpr char kVniRange[] = "Vni::value < Vni::min or > Vni::max not allowed";
std::string reinstantiating(std::string const& parameter) {
  return "Reinstantiating the pointer interface where constructor parameter attribute _" + parameter +
         " has a different value of ";
}

struct Fault {
  char const* name;
  std::string fault;               // the patch that raises
  std::string error;               // the exception's text, or its start
  std::vector<char const*> unchanged;  // sections the raise leaves as they were
  std::vector<std::string> heal;   // patches that take the refused input back
};

// The switch directories' entities replaced under their entries raise
// nothing here: the switch's node is made again only when it comes back.
std::vector<Fault> const kFaults = {
    // Taking the old native VLAN away is written before the new one raises.
    {"NativeVlan4095OnAPort", port("{nativeVlan: 4095}"), kVlanRange, {"vtepConfig"},
     {port("{nativeVlan: 5}")}},
    {"Vlan4095WithAVniOnAPort", port("{vlan: {4095: {mappedVni: {7: true}}}}"), kVlanRange,
     {"vtepConfig"}, {port("{vlan: {4095: null}}")}},
    {"Vni2To24OnAPort", port("{vlan: {30: {mappedVni: {16777216: true}}}}"), kVniRange, {"vtepConfig"},
     {port("{vlan: {30: null}}")}},
    {"Vni2To24ForAHostname", host("{vlan: {31: {mappedVni: {16777216: true}}}}"), kVniRange,
     {"vtepConfig"}, {host("{vlan: {31: null}}")}},
    {"Vlan4095WithAVniForAHostname", host("{vlan: {4095: {mappedVni: {7: true}}}}"), kVlanRange,
     {"vtepConfig"}, {host("{vlan: {4095: null}}")}},
    {"StaticVni2To24ReachesAWaitingVlan",
     R"({config: {vlanToVniMap: {"u|m": {"12-12": "16777216-16777216"}}}})", kVniRange, {"vtepConfig"},
     {R"({config: {vlanToVniMap: {"u|m": null}}})"}},
    {"ClientEntityReplacedUnderItsEntry",
     R"({clients: {c1: {entity: "VirtualNetwork::Client::RequestedResourcesCollection"}}})",
     reinstantiating("requestedResourcesCollection"), {"portVlanConfig", "vtepConfig", "elements", "requests"},
     {"{clients: {c1: null}}", kFabric}},
};

class NestedFault : public testing::TestWithParam<Fault> {
 protected:
  static std::optional<std::string> apply(Fabric& fabric, std::string const& patch) {
    auto raised = fabric.apply(YAML::Load(patch));
    return raised ? std::optional(raised->text) : std::nullopt;
  }
  static Json sections(Fabric const& fabric) {
    Json out;
    for (char const* s : kSections) out[s] = plain(sectionOf(fabric, s));
    return out;
  }
};

TEST_P(NestedFault, RaisesItsTextLeavesTheRecordsWholeAndTheAgentGoesOn) {
  Fault const& f = GetParam();
  std::uint64_t const live = Vek::liveObjectsOfAllTypes();
  {
    Fabric faulted, twin;
    for (Fabric* fabric : {&faulted, &twin}) {
      ASSERT_EQ(apply(*fabric, kFabric), std::nullopt);
      ASSERT_FALSE(fabric->start({}));
    }
    Json const before = sections(faulted);
    ASSERT_FALSE(before["vtepConfig"].empty()) << "the fabric maps VNIs";

    std::optional<std::string> const raised = apply(faulted, f.fault);
    ASSERT_TRUE(raised) << f.name << " raised nothing";
    EXPECT_TRUE(raised->starts_with(f.error)) << *raised;
    Json const after = sections(faulted);
    for (char const* s : f.unchanged) EXPECT_EQ(after[s], before[s]) << s;

    for (std::string const& heal : f.heal) ASSERT_EQ(apply(faulted, heal), std::nullopt) << heal;
    EXPECT_EQ(sections(faulted), before) << "the refused input taken back";

    for (Fabric* fabric : {&faulted, &twin}) ASSERT_EQ(apply(*fabric, kNext), std::nullopt);
    EXPECT_EQ(sections(faulted), sections(twin)) << "the next inputs";
  }
  EXPECT_EQ(Vek::liveObjectsOfAllTypes(), live);
}

INSTANTIATE_TEST_SUITE_P(Agent, NestedFault, testing::ValuesIn(kFaults),
                         [](testing::TestParamInfo<Fault> const& info) { return info.param.name; });

}  // namespace
