#include <gtest/gtest.h>

#include "tests/schema/SchemaTestSupport.h"

namespace VxlanController {
namespace {

using SchemaTest::Events;
using SchemaTest::Recorder;

class ControllerSchema : public SchemaTest::SchemaFixture {};

TEST_F(ControllerSchema, VtepConfigIsMadeOnceByName) {
  auto dir = VtepConfigDirV2Is("00-00-00-00-00-01");
  auto rec = Recorder::on(dir);
  rec->keyed<Vek::String>(258);
  auto vtep = dir->vtepConfigIs("vtep1");
  EXPECT_EQ(dir->vtepConfigIs("vtep1"), vtep);
  EXPECT_EQ(dir->vtepConfig("vtep2"), nullptr);
  EXPECT_EQ(rec->take(), Events{"258 vtep1"});

  auto vrec = Recorder::on(vtep);
  vrec->keyed<PortVlanPairV2>(258);
  PortVlanPairV2 const swp1v100("swp1", 100);
  vtep->vlanToVniMapIs(swp1v100, 10100);
  vtep->vlanToVniMapIs(swp1v100, 10100);
  vtep->vlanToVniMapIs(swp1v100, 10200);
  EXPECT_EQ(vtep->vlanToVniMap(swp1v100), Vxlan::Vni(10200));
  EXPECT_EQ(vtep->vlanToVniMap({"swp1", 101}), Vxlan::Vni(0));
  vtep->vlanToVniMapDel({"swp2", 100});
  vtep->vlanToVniMapDel(swp1v100);
  EXPECT_EQ(vrec->take(), (Events{"258 swp1|100", "258 swp1|100", "258 swp1|100"}));
}

TEST_F(ControllerSchema, VtepStatusPresenceByName) {
  auto dir = VtepStatusDirV2Is("00-00-00-00-00-01");
  auto rec = Recorder::on(dir);
  rec->keyed<Vek::String>(258);
  dir->vtepStatusIs("vtep1");
  EXPECT_NE(dir->vtepStatus("vtep1"), nullptr);
  EXPECT_EQ(dir->vtepStatusDel("vtep2"), nullptr);
  dir->vtepStatusDel("vtep1");
  EXPECT_EQ(rec->take(), (Events{"258 vtep1", "258 vtep1"}));
}

TEST_F(ControllerSchema, PortVlanListsOfAnUnknownPortAreEmptyAndMakeNoEntry) {
  auto config = ControllerProxyAgent::PortVlanConfigV1Is("00-00-00-00-00-01");
  auto rec = Recorder::on(config);
  rec->keyed<Vek::String>(259).keyed<Vek::String>(260);
  EXPECT_TRUE(config->portAllowedVlanList("swp9").empty());
  EXPECT_EQ(config->portNativeVlan("swp9"), Bridging::VlanIdOrNone());
  EXPECT_TRUE(config->portAllowedVlanListCol().empty() && config->portNativeVlanCol().empty());

  config->vlanListIs(Vek::String("5,100"));
  config->vlanListIs(Vek::String("5,100"));
  config->portAllowedVlanListIs("swp1", Vek::String("100"));
  config->portNativeVlanIs("swp1", 5);
  config->portNativeVlanIs("swp1", 5);
  config->portNativeVlanDel("swp1");
  EXPECT_EQ(config->portAllowedVlanList("swp1").value(), Vek::String("100"));
  EXPECT_EQ(rec->take(), (Events{"258", "259 swp1", "260 swp1", "260 swp1"}));
}

TEST_F(ControllerSchema, DirectoryEntriesAndEntitiesStandApart) {
  auto dir = Vek::DirIs("vxlan/version2/vtepStatusDir");
  // An entry without an entity, and an entity without an entry.
  dir->entryStateIs(Vek::DirEntryIs("00-00-00-00-00-01", Vek::Dir::Entry::synchronised));
  dir->entityPtrIs("00-00-00-00-00-02", VtepStatusDirV2Is("00-00-00-00-00-02"));
  EXPECT_EQ(dir->entityPtr("00-00-00-00-00-01"), nullptr);
  EXPECT_EQ(dir->entryState("00-00-00-00-00-02"), nullptr);

  auto child = dir->entityPtr("00-00-00-00-00-02");
  EXPECT_NE(Vek::ptrCast<VtepStatusDirV2>(child), nullptr);
  EXPECT_EQ(Vek::ptrCast<VtepConfigDirV2>(child), nullptr);
  EXPECT_EQ(Vek::ptrCast<ControllerProxyAgent::PortVlanConfigV1>(child), nullptr);
}

}  // namespace
}  // namespace VxlanController
