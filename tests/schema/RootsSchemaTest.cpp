#include <gtest/gtest.h>

#include "tests/schema/SchemaTestSupport.h"

namespace VirtualNetwork {
namespace {

using SchemaTest::Events;
using SchemaTest::Recorder;

class RootsSchema : public SchemaTest::SchemaFixture {};

Client::ClientDomain const tenant("tenant", "net");

TEST_F(RootsSchema, VniForVlanAtTheBoundsOfARange) {
  auto config = ConfigIs("config");
  config->vlanToVniMapIs(tenant)->mapIs({100, 199}, {10000, 10099});
  EXPECT_EQ(config->vniForVlan(tenant, 99), 0u);
  EXPECT_EQ(config->vniForVlan(tenant, 100), 10000u);
  EXPECT_EQ(config->vniForVlan(tenant, 150), 10050u);
  EXPECT_EQ(config->vniForVlan(tenant, 199), 10099u);
  EXPECT_EQ(config->vniForVlan(tenant, 200), 0u);
  EXPECT_EQ(config->vniForVlan({"tenant", "other"}, 150), 0u);
  EXPECT_EQ(config->vniForVlan({"net", "tenant"}, 150), 0u);
}

TEST_F(RootsSchema, VniForVlanAboveTheVniRangeIsZero) {
  auto config = ConfigIs("config");
  auto map = config->vlanToVniMapIs(tenant);
  map->mapIs({100, 199}, {10000, 10009});
  EXPECT_EQ(config->vniForVlan(tenant, 109), 10009u);
  EXPECT_EQ(config->vniForVlan(tenant, 110), 0u);
  // A VNI range near the top of U32 does not wrap around.
  map->mapIs({300, 399}, {0xfffffff0u, 0xffffffffu});
  EXPECT_EQ(config->vniForVlan(tenant, 315), 0xffffffffu);
  EXPECT_EQ(config->vniForVlan(tenant, 316), 0u);
  // VLAN 0 is no VLAN, even inside a range.
  map->mapIs({0, 10}, {500, 510});
  EXPECT_EQ(config->vniForVlan(tenant, 0), 0u);
  EXPECT_EQ(config->vniForVlan(tenant, 1), 501u);
}

TEST_F(RootsSchema, VniForVlanOverlappingRangesLowestMinThenLowestMaxWins) {
  auto config = ConfigIs("config");
  auto map = config->vlanToVniMapIs(tenant);
  // Written highest first, so the insertion order cannot be what decides.
  map->mapIs({150, 160}, {30000, 30010});
  map->mapIs({100, 300}, {20000, 20200});
  map->mapIs({100, 199}, {10000, 10099});
  EXPECT_EQ(config->vniForVlan(tenant, 155), 10055u);
  EXPECT_EQ(config->vniForVlan(tenant, 250), 20150u);
  map->mapDel({100, 199});
  EXPECT_EQ(config->vniForVlan(tenant, 155), 20055u);
  // The winner gives 0 when its VNI range is too short; no fall back.
  map->mapIs({100, 101}, {40000, 40000});
  EXPECT_EQ(config->vniForVlan(tenant, 101), 0u);
}

TEST_F(RootsSchema, ConfigNotifiesEnabledAndMapsByDomain) {
  auto config = ConfigIs("config");
  auto rec = Recorder::on(config);
  rec->keyed<Client::ClientDomain>(260);
  config->enabledIs(true);
  config->enabledIs(true);
  EXPECT_EQ(config->vlanToVniMapIs(tenant), config->vlanToVniMapIs(tenant));
  EXPECT_EQ(config->vlanToVniMap({"tenant", "other"}), nullptr);
  EXPECT_EQ(rec->take(), (Events{"259", "260 tenant|net"}));
}

TEST_F(RootsSchema, StatusMakesEachCollectionOnceByName) {
  auto status = StatusIs("status");
  auto rec = Recorder::on(status);
  auto elements = status->networkElementCollectionIs("");
  EXPECT_EQ(status->networkElementCollectionIs(""), elements);
  auto requests = status->requestedResourcesCollectionIs("");
  EXPECT_EQ(status->requestedResourcesCollectionIs(""), requests);
  EXPECT_EQ(rec->take(), (Events{"258", "259"}));

  auto renamed = status->networkElementCollectionIs("other");
  EXPECT_NE(renamed, elements);
  EXPECT_EQ(status->networkElementCollectionDel(), renamed);
  EXPECT_EQ(status->networkElementCollection(), nullptr);
  EXPECT_EQ(status->networkElementCollectionDel(), nullptr);
  EXPECT_EQ(rec->take(), (Events{"258", "258"}));
}

TEST_F(RootsSchema, CollectionDestroyEmptiesItAndItsElementsAndStaysUsable) {
  auto status = StatusIs("status");
  auto elements = status->networkElementCollectionIs("");
  auto leaf = elements->networkElementIs("00:00:00:00:00:01");
  leaf->hostnameIs("leaf1");
  auto port = leaf->physicalInterfaceIs("swp1");
  port->vlanIs(100);
  elements->networkElementIs("00:00:00:00:00:0a")->referrerIs("topology", true);
  auto rec = Recorder::on(elements);
  rec->keyed<Vek::Name>(258);

  elements->destroy();
  EXPECT_EQ(rec->take(), (Events{"258 00:00:00:00:00:01", "258 00:00:00:00:00:0a"}));
  EXPECT_TRUE(elements->networkElementCol().empty());
  EXPECT_EQ(status->networkElementCollection(), elements);
  EXPECT_EQ(leaf->hostname(), Vek::String());
  EXPECT_TRUE(leaf->physicalInterfaceCol().empty());
  // The interfaces are for their machines to empty.
  EXPECT_NE(port->vlan(100), nullptr);

  auto again = elements->networkElementIs("00:00:00:00:00:01");
  EXPECT_NE(again, leaf);
  EXPECT_EQ(rec->take(), Events{"258 00:00:00:00:00:01"});
}

TEST_F(RootsSchema, DroppingTheCollectionFreesElementsThatReferToEachOther) {
  auto elements = NetworkElementCollectionIs("");
  auto leaf = elements->networkElementIs("00:00:00:00:00:01");
  auto host = elements->networkElementIs("00:00:00:00:00:0a");
  auto swp1 = leaf->physicalInterfaceIs("swp1");
  auto eth0 = host->physicalInterfaceIs("eth0");
  swp1->discoveredElementIs(host);
  eth0->discoveredElementIs(leaf);
  auto bond = host->portGroupIs("bond0");
  bond->memberInterfaceIs(eth0);
  eth0->portGroupIs(bond);
  host->interfaceIs(bond);
  // The fixture's teardown finds every record gone.
}

}  // namespace
}  // namespace VirtualNetwork
