#include "tools/vnagent/Fabric.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/reactive/Recorder.h"

namespace vnagent {
namespace {

namespace Topo = NetworkTopologyAggregatorV3;

using Vek::Testing::Events;
using Vek::Testing::Recorder;

class FabricTest : public ::testing::Test {
 protected:
  std::optional<Raised> apply(std::string const& yaml) { return fabric.apply(YAML::Load(yaml)); }

  Fabric fabric;
};

TEST_F(FabricTest, NewHostIsAddedFilledWithOneNotification) {
  Topo::Status const& topology = *fabric.topology();
  auto const l = Recorder::on(fabric.topology());
  l->keyedAll<Vek::Name>().probing([&] {
    auto host = topology.host("aa:01");
    return host
               ? host->hostname().stdString() + " ports " + std::to_string(host->portCol().size()) +
                     " groups " + std::to_string(host->portGroupCol().size())
               : std::string("none");
  });
  EXPECT_FALSE(
      apply("topology: {host: {'aa:01': {hostname: h1, port: {eth1: {portGroup: bond0}}, "
            "portGroup: {bond0: {memberPort: {eth1: true, eth2: true}}}}}}"));
  EXPECT_EQ(l->take(), Events{"258 aa:01 | h1 ports 2 groups 1"});
  auto host = topology.host("aa:01");
  auto group = host->portGroup("bond0");
  EXPECT_EQ(host->port("eth1")->portGroup(), group);
  EXPECT_EQ(host->port("eth2")->portGroup(), nullptr) << "membership is not cascaded to the port";
  EXPECT_EQ(group->memberPortCol().size(), 2u);
}

TEST_F(FabricTest, ExistingRecordIsWrittenInPlaceLeafByLeaf) {
  ASSERT_FALSE(apply("topology: {host: {'aa:01': {hostname: h1}}}"));
  auto host = fabric.topology()->host("aa:01");
  auto const onTopology = Recorder::on(fabric.topology());
  auto const onHost = Recorder::on(host);
  onHost->keyedAll<Vek::Name>();
  ASSERT_FALSE(apply("topology: {host: {'aa:01': {port: {eth1: {}}, hostname: h2}}}"));
  EXPECT_EQ(onHost->take(), (Events{"259 eth1", "258"})) << "port first, then hostname";
  EXPECT_TRUE(onTopology->take().empty());
  EXPECT_EQ(host->hostname().stdString(), "h2");
  // The same value again is still written; the record decides not to notify.
  ASSERT_FALSE(apply("topology: {host: {'aa:01': {hostname: h2}}}"));
  EXPECT_TRUE(onHost->take().empty());
}

TEST_F(FabricTest, NullRemovesARecordWithOneRemovalAndLeavesItWhole) {
  ASSERT_FALSE(apply("topology: {host: {'aa:01': {port: {eth1: {}, eth2: {}}}}}"));
  Vek::Ptr<Topo::Host> const held = fabric.topology()->host("aa:01");
  auto const l = Recorder::on(fabric.topology());
  l->keyedAll<Vek::Name>();
  ASSERT_FALSE(apply("topology: {host: {'aa:01': null}}"));
  EXPECT_EQ(l->take(), Events{"258 aa:01"});
  EXPECT_FALSE(fabric.topology()->host("aa:01"));
  EXPECT_EQ(held->portCol().size(), 2u);
}

TEST_F(FabricTest, EdgeIsAddedBeforeItsRemotePorts) {
  ASSERT_FALSE(
      apply("topology: {host: {'aa:01': {port: {eth1: {}}}, 'bb:02': {port: {swp1: {}}}}}"));
  Topo::Status const& topology = *fabric.topology();
  Vek::Ptr<Topo::PortBase const> const from = topology.host("aa:01")->port("eth1");
  Vek::Ptr<Topo::PortBase const> const to = topology.host("bb:02")->port("swp1");
  auto const l = Recorder::on(fabric.topology());
  l->keyed<Vek::Ptr<Topo::PortBase const>>(259).probing([&] {
    auto edge = topology.edge(from);
    return edge ? "toPorts " + std::to_string(edge->toPortCol().size()) : std::string("no edge");
  });
  ASSERT_FALSE(apply("topology: {edge: {'aa:01|eth1': {toPort: {'bb:02|swp1': true}}}}"));
  EXPECT_EQ(l->take(), Events{"259 eth1 | toPorts 0"});
  EXPECT_TRUE(topology.edge(from)->toPort(to));

  // An edge can be removed by name after its port has left the host.
  ASSERT_FALSE(apply("topology: {host: {'aa:01': {port: {eth1: null}}}}"));
  ASSERT_FALSE(apply("topology: {edge: {'aa:01|eth1': {toPort: {'bb:02|swp1': null}}}}"))
      << "a known port stays known";
  EXPECT_FALSE(topology.edge(from)->toPortCol().contains(to));
  ASSERT_FALSE(apply("topology: {edge: {'aa:01|eth1': null}}"));
  EXPECT_FALSE(topology.edge(from));
  EXPECT_EQ(l->take(), Events{"259 eth1 | no edge"});
}

TEST_F(FabricTest, PortsThatDoNotExistAreFaultsOfTheFile) {
  try {
    apply("topology: {edge: {'aa:01|eth1': {toPort: {}}}}");
    FAIL() << "an edge from nowhere was written";
  } catch (PatchFault const& fault) {
    EXPECT_EQ(fault.message, "no host 'aa:01' in the topology for port 'aa:01|eth1'");
  }
  ASSERT_FALSE(apply("topology: {host: {'aa:01': {port: {eth1: {}}}}}"));
  try {
    apply("topology: {edge: {'aa:01|eth1': {toPort: {'aa:01|eth9': true}}}}");
    FAIL() << "an edge to nowhere was written";
  } catch (PatchFault const& fault) {
    EXPECT_EQ(fault.message, "host 'aa:01' has no port or port group 'eth9'");
  }
}

TEST_F(FabricTest, DirectoryChildIsWrittenInTheOrderGiven) {
  Vek::Dir const& dir = *fabric.clientDir();
  auto const l = Recorder::on(fabric.clientDir());
  l->keyedAll<Vek::Name>();
  Events const entityThenEntry = {std::to_string(Vek::Dir::entityPtrId) + " c1",
                                  std::to_string(Vek::Dir::entryStateId) + " c1"};
  ASSERT_FALSE(
      apply("clients: {c1: {entity: {resourcesForHostname: {h1: {vlan: {100: {}}}}}, "
            "entry: 1}}"));
  EXPECT_EQ(l->take(), entityThenEntry);
  auto rrc =
      Vek::ptrCast<VirtualNetwork::Client::RequestedResourcesCollection>(dir.entityPtr("c1"));
  ASSERT_TRUE(rrc);
  EXPECT_TRUE(rrc->resourcesForHostname("h1")->vlan(100));
  EXPECT_EQ(dir.entryState("c1")->status(), 1u);

  // On an existing entry, `entry` changes its status: one notification of the entry.
  auto const onEntry = Recorder::on(dir.entryState("c1"));
  ASSERT_FALSE(apply("clients: {c1: {entry: 2}}"));
  EXPECT_EQ(onEntry->take(), Events{std::to_string(Vek::Dir::Entry::statusId)});
  EXPECT_TRUE(l->take().empty());

  // `null` on the child removes the entity, then the entry.
  ASSERT_FALSE(apply("clients: {c1: null}"));
  EXPECT_EQ(l->take(), entityThenEntry);
  EXPECT_FALSE(dir.entityPtr("c1"));
  EXPECT_FALSE(dir.entryState("c1"));
}

TEST_F(FabricTest, ATextAsEntityMakesAForeignEntity) {
  ASSERT_FALSE(apply(
      "dirs: {portVlanConfig: {aa-01: {entry: 1, entity: 'VxlanController::VtepStatusDirV2'}}}"));
  auto entity = fabric.portVlanConfigDir()->entityPtr("aa-01");
  ASSERT_TRUE(entity);
  EXPECT_TRUE(Vek::ptrCast<VxlanController::VtepStatusDirV2>(entity));
  EXPECT_EQ(*fabric.section("portVlanConfig"), Json::object()) << "not a port VLAN configuration";
  // A mapping then replaces it with a record of the directory's own type.
  ASSERT_FALSE(apply("dirs: {portVlanConfig: {aa-01: {entity: {vlanList: '5'}}}}"));
  EXPECT_EQ(fabric.section("portVlanConfig")->dump(), R"({"aa-01":{"vlanList":"5"}})");
}

TEST_F(FabricTest, ARefusedValueEndsTheStepAtItsLeaf) {
  auto raised = apply(
      "dirs:\n"
      "  portVlanConfig:\n"
      "    aa-01:\n"
      "      entity:\n"
      "        vlanList: '5'\n"
      "        portNativeVlan: {eth1: 4095}\n"
      "        portAllowedVlanList: {eth1: '5'}\n");
  ASSERT_TRUE(raised);
  EXPECT_EQ(raised->text, "VlanIdOrNone::value > 4094 not allowed");
  EXPECT_EQ(raised->mark.line, 5);
  EXPECT_EQ(raised->mark.column, 31);
  // The new record was not added: it raised while being filled.
  EXPECT_FALSE(fabric.portVlanConfigDir()->entityPtr("aa-01"));
}

TEST_F(FabricTest, SectionsShowTheModelFormSorted) {
  ASSERT_FALSE(
      apply("config: {enabled: true, vlanToVniMap: {'t|n': {'100-199': '10100-10199'}}}\n"
            "dirs:\n"
            "  dynVtepConfig:\n"
            "    aa-01: {entry: 1, entity: {vtepConfig: {vtep1: {vlanToVniMap: {'eth2|20': 1020, "
            "'eth1|100': 1100}}}}}\n"
            "  portVlanConfig:\n"
            "    aa-01: {entry: 1, entity: {portAllowedVlanList: {eth10: '1', eth2: '2'}, "
            "portNativeVlan: {eth2: 0}}}\n"
            "status:\n"
            "  networkElementCollection: {'bb:02': {}, 'aa:01': {}}\n"
            "  requestedResourcesCollection: {web-1: {}}\n"));
  EXPECT_TRUE(fabric.config()->enabled());
  EXPECT_EQ(fabric.config()->vniForVlan({"t", "n"}, 150), 10150u);
  EXPECT_EQ(fabric.section("vtepConfig")->dump(),
            R"({"aa-01":{"vtep1":{"eth1|100":1100,"eth2|20":1020}}})");
  EXPECT_EQ(
      fabric.section("portVlanConfig")->dump(),
      R"({"aa-01":{"portAllowedVlanList":{"eth10":"1","eth2":"2"},"portNativeVlan":{"eth2":0}}})");
  EXPECT_EQ(fabric.section("elements")->dump(), R"({"aa:01":{},"bb:02":{}})");
  EXPECT_EQ(fabric.section("requests")->dump(), R"({"web-1":{}})");
  EXPECT_EQ(fabric.section("switchNodes")->dump(), "[]") << "no agent, no switch nodes";
  std::string why;
  EXPECT_FALSE(fabric.section("nonsense", &why));
  EXPECT_EQ(why, "no such section");
}

}  // namespace
}  // namespace vnagent
