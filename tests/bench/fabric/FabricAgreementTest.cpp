// The benchmark fabrics against the reference model: the S fabric built
// before the agent starts, then a few of the workloads' events (a VLAN
// added, a server moved to another leaf, a static range replaced), each
// compared with the model's recompute of the inputs the patches built. The
// same events written by the workloads' own writers (bench/fabric/Writers.h)
// must leave the same records as the patches.
//
// Counters, not times: the outputs one VLAN on one server writes, and the
// handlers that run for switches the event does not concern.
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "bench/fabric/Generator.h"
#include "bench/fabric/Writers.h"
#include "model/Convert.h"
#include "reactive/AllocTrack.h"
#include "reactive/Trace.h"

namespace vnagent::fabric {
namespace {

// Key order does not matter to a section: compare them as sorted objects.
nlohmann::json plain(Json const& value) { return nlohmann::json::parse(value.dump()); }

nlohmann::json sectionOf(Fabric const& fabric, char const* name) {
  auto section = fabric.section(name);
  return section ? plain(*section) : nlohmann::json::object();
}

class SmallFabric : public ::testing::Test {
 protected:
  SmallFabric() : gen(*shapeNamed("S")) {}

  void SetUp() override {
    gen.build(fabric);
    ASSERT_FALSE(fabric.start(YAML::Mark()));
  }

  // The agent's records equal what the model computes from the inputs.
  void expectModel(std::string const& where) {
    model::Inputs const in = model::inputsFromTree(fabric.inputs());
    model::Outputs const out = model::recompute(in);
    ASSERT_EQ(out.switches.size(), gen.shape().leaves) << where << ": every leaf is ready";
    EXPECT_EQ(sectionOf(fabric, "portVlanConfig"), plain(model::portVlanConfigSection(in, out)))
        << where;
    EXPECT_EQ(sectionOf(fabric, "vtepConfig"), plain(model::vtepConfigSection(in, out))) << where;
  }

  std::optional<Raised> apply(std::string const& yaml) { return fabric.apply(YAML::Load(yaml)); }

  Server const& singleHomed(U32 leaf) const {
    for (Server const& s : gen.servers()) {
      if (s.legs.size() == 1 && s.legs[0].leaf == leaf) return s;
    }
    throw std::logic_error("no single-homed server");
  }

  Generator gen;
  Fabric fabric;
};

TEST_F(SmallFabric, EveryServerPortCarriesItsVlansAsTheModelSays) {
  expectModel("after start");
  // Not an empty agreement: each leaf's ports carry what its servers ask,
  // the bonds under their own names and never their members'.
  nlohmann::json const ports = sectionOf(fabric, "portVlanConfig");
  nlohmann::json const leaf = ports[Generator::leafId(0)]["portAllowedVlanList"];
  Shape const& shape = gen.shape();
  EXPECT_EQ(leaf.size(), shape.ports);
  EXPECT_TRUE(leaf.contains(Generator::bondName(shape.ports)));
  EXPECT_FALSE(leaf.contains(Generator::portName(shape.ports)));
  EXPECT_EQ(model::vlanListText({singleHomed(0).vlans.begin(), singleHomed(0).vlans.end()}),
            leaf[Generator::portName(1)]);
  std::size_t mapped = 0;
  nlohmann::json const vteps = sectionOf(fabric, "vtepConfig");
  for (auto const& sw : vteps) mapped += sw[Generator::kVtep].size();
  // Single-homed servers once, bonded ones on both leaves.
  EXPECT_EQ(mapped, gen.memberships() + (shape.leaves / 2) * shape.bonded * shape.vlans);
}

TEST_F(SmallFabric, EventsKeepTheAgentWithTheModelAndTheWritersWithThePatches) {
  // The same events through the workloads' writers, on a second fabric.
  Fabric other;
  gen.build(other);
  ASSERT_FALSE(other.start(YAML::Mark()));
  Writer writer(other);
  auto sameRecords = [&](std::string const& where) {
    EXPECT_EQ(sectionOf(other, "portVlanConfig"), sectionOf(fabric, "portVlanConfig")) << where;
    EXPECT_EQ(sectionOf(other, "vtepConfig"), sectionOf(fabric, "vtepConfig")) << where;
  };

  Server const& s = singleHomed(1);
  ASSERT_FALSE(apply("clients: {openstack: {entity: {resourcesForHostname: {" + s.hostname +
                     ": {vlan: {4050: {mappedVni: {104050: true}}}}}}}}"));
  writer.vlanAdded(s.hostname, 4050, 104050);
  expectModel("a VLAN added");
  sameRecords("a VLAN added");

  // The server moves from leaf 2's port to a spare port of leaf 3.
  U32 const spare = gen.shape().ports + 1;
  std::string const near = s.mac + "|eth0";
  std::string const was = Generator::leafMac(1) + "|" + Generator::portName(s.legs[0].port);
  std::string const now = Generator::leafMac(2) + "|" + Generator::portName(spare);
  ASSERT_FALSE(apply("topology: {edge: {\"" + near + "\": null, \"" + was + "\": null}}"));
  ASSERT_FALSE(apply("topology: {edge: {\"" + near + "\": {toPort: {\"" + now + "\": true}}, \"" +
                     now + "\": {toPort: {\"" + near + "\": true}}}}"));
  writer.linkDown(s.mac, "eth0", 1, s.legs[0].port);
  writer.linkUp(s.mac, "eth0", 2, spare);
  expectModel("a server moved");
  sameRecords("a server moved");
  EXPECT_FALSE(sectionOf(fabric, "portVlanConfig")[Generator::leafId(1)]["portAllowedVlanList"]
                   .contains(Generator::portName(s.legs[0].port)));

  // A static range over VLANs that a second server asks by domain only,
  // then replaced: removed, and written again with other VNIs.
  Server const& t = singleHomed(3);
  ASSERT_FALSE(apply(
      "config: {vlanToVniMap: {\"tenant|fabric\": {4060-4069: 500060-500069}}}\n"
      "clients: {openstack: {entity: {resourcesForHostname: {" + t.hostname +
      ": {vlan: {4061: {domain: {\"tenant|fabric\": true}}, 4062: {domain: {\"tenant|fabric\": true}}}}}}}}"));
  // The writers add VLANs, not maps: the map comes by patch on both.
  other.apply(YAML::Load("config: {vlanToVniMap: {\"tenant|fabric\": {4060-4069: 500060-500069}}}"));
  writer.vlanAdded(t.hostname, 4061, 0, "tenant|fabric");
  writer.vlanAdded(t.hostname, 4062, 0, "tenant|fabric");
  expectModel("a static range");
  sameRecords("a static range");
  ASSERT_FALSE(apply("config: {vlanToVniMap: {\"tenant|fabric\": {4060-4069: null}}}"));
  ASSERT_FALSE(apply("config: {vlanToVniMap: {\"tenant|fabric\": {4060-4069: 600060-600069}}}"));
  writer.staticRangeReplaced("tenant|fabric", 4060, 4069, 600060);
  expectModel("a static range replaced");
  sameRecords("a static range replaced");
  EXPECT_EQ(sectionOf(fabric, "vtepConfig")[Generator::leafId(3)][Generator::kVtep]
                [Generator::portName(t.legs[0].port) + "|4062"],
            600062);
}

// Every entry line (level 9) of the agent's handlers while `event` runs,
// by its message.
template <class F>
std::vector<std::string> entryLines(F&& event) {
  std::vector<std::string> lines;
  Vek::TraceHandle& handle = Vek::traceHandle();
  int const level = handle.level();
  handle.sinkIs([&](Vek::TraceRecord const& r) {
    if (r.level == 9) lines.push_back(r.message);
  });
  handle.levelIs(9);
  event();
  handle.levelIs(level);
  handle.sinkIs(nullptr);
  return lines;
}

TEST_F(SmallFabric, OneVlanOnOneServerWritesItsSwitchOnlyAndNoOtherSwitchHears) {
  Writer writer(fabric);
  OutputCounter outputs(fabric);
  Server const& s = singleHomed(4);
  std::vector<std::string> const lines =
      entryLines([&] { writer.vlanAdded(s.hostname, 4050, 104050); });
  // The port's allowed list, the switch's list (a VLAN new to the switch),
  // and one VTEP map entry.
  EXPECT_EQ(outputs.count(), 3u);
  nlohmann::json const leaf = sectionOf(fabric, "portVlanConfig")[Generator::leafId(4)];
  EXPECT_NE(leaf["portAllowedVlanList"][Generator::portName(s.legs[0].port)].get<std::string>().find("4050"),
            std::string::npos);

  // Handlers name what they handle: a leaf by its MAC, in colon or dash form.
  std::size_t own = 0;
  std::map<std::string, std::size_t> others;
  for (std::string const& line : lines) {
    for (U32 leafNo = 0; leafNo < gen.shape().leaves; ++leafNo) {
      bool const named = line.find(Generator::leafMac(leafNo)) != std::string::npos ||
                         line.find(Generator::leafId(leafNo)) != std::string::npos;
      if (!named) continue;
      if (leafNo == 4) {
        ++own;
      } else {
        ++others[Generator::leafMac(leafNo)];
      }
    }
  }
  EXPECT_GT(lines.size(), 0u);
  EXPECT_GT(own, 0u) << "the event's own switch is named by its handlers";
  EXPECT_TRUE(others.empty()) << others.size() << " other switches' handlers ran, first "
                              << others.begin()->first;

  // And a VLAN the switch already has on another port adds no switch-wide write.
  Server const& neighbour = gen.servers()[&s - gen.servers().data() + 1];
  ASSERT_EQ(neighbour.legs[0].leaf, 4u);
  writer.vlanAdded(neighbour.hostname, 4050, 104050);
  EXPECT_EQ(outputs.count(), 5u);
}

TEST_F(SmallFabric, ChurnLeavesTheOutputsAndTheLiveObjectsAsTheyWere) {
  nlohmann::json const ports = sectionOf(fabric, "portVlanConfig");
  nlohmann::json const vteps = sectionOf(fabric, "vtepConfig");
  Writer writer(fabric);
  std::uint64_t const live = Vek::liveObjectsOfAllTypes();
  for (Server const& s : gen.servers()) {
    for (U32 vlan = 4080; vlan < 4090; ++vlan) writer.vlanAdded(s.hostname, vlan, Generator::vniOf(vlan));
  }
  EXPECT_NE(sectionOf(fabric, "portVlanConfig"), ports);
  for (Server const& s : gen.servers()) {
    for (U32 vlan = 4080; vlan < 4090; ++vlan) writer.vlanRemoved(s.hostname, vlan);
  }
  EXPECT_EQ(sectionOf(fabric, "portVlanConfig"), ports);
  EXPECT_EQ(sectionOf(fabric, "vtepConfig"), vteps);
  EXPECT_EQ(Vek::liveObjectsOfAllTypes(), live);
}

TEST_F(SmallFabric, ASwitchReconnectingGetsItsRecordsBack) {
  nlohmann::json const ports = sectionOf(fabric, "portVlanConfig");
  nlohmann::json const vteps = sectionOf(fabric, "vtepConfig");
  Writer writer(fabric);
  writer.vtepStatusLost(0);
  // While the switch is away, a VLAN added for one of its servers waits.
  Server const& s = singleHomed(0);
  writer.vlanAdded(s.hostname, 4050, 104050);
  EXPECT_EQ(sectionOf(fabric, "portVlanConfig"), ports);
  writer.vtepStatusBack(0);
  writer.vlanRemoved(s.hostname, 4050);
  EXPECT_EQ(sectionOf(fabric, "portVlanConfig"), ports);
  EXPECT_EQ(sectionOf(fabric, "vtepConfig"), vteps);
}

}  // namespace
}  // namespace vnagent::fabric
