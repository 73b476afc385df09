#include <gtest/gtest.h>

#include "tests/schema/SchemaTestSupport.h"

namespace VirtualNetwork {
namespace {

using SchemaTest::Events;
using SchemaTest::Recorder;

class ResourcesSchema : public SchemaTest::SchemaFixture {};

Vek::Ptr<Recorder> recordElement(Vek::Ptr<NetworkElement> const& e) {
  auto rec = Recorder::on(e);
  rec->keyed<U32>(260).keyed<Vek::String>(262).keyed<Vek::String>(263);
  rec->keyed<Vek::String>(264).keyed<Vek::String>(265);
  return rec;
}

TEST_F(ResourcesSchema, ElementNotifiesEachChangeOnceAndEqualValuesNotAtAll) {
  auto e = NetworkElementIs("00:00:00:00:00:01");
  auto rec = recordElement(e);
  auto requests = ResourcesForHostnameIs("web-1");

  e->hostnameIs("web-1");
  e->hostnameIs("web-1");
  e->resourcesForHostnameIs(requests);
  e->resourcesForHostnameIs(requests);
  e->resourcesForHostnameIs(nullptr);
  e->vlanIs(100);
  e->isSwitchElementIs(true);
  auto swp1 = e->physicalInterfaceIs("swp1");
  e->portGroupIs("bond0");
  e->interfaceIs(swp1);
  e->interfaceIs(swp1);
  e->referrerIs("topology", true);
  e->referrerIs("topology", true);
  e->referrerIs("topology", false);
  EXPECT_EQ(rec->take(), (Events{"258", "259", "259", "260 100", "261", "262 swp1", "263 bond0",
                                 "264 swp1", "265 topology", "265 topology"}));

  // Another record under a present name replaces it, notified.
  auto other = PhysicalInterfaceIs("swp1");
  e->interfaceIs(other);
  EXPECT_EQ(e->interface("swp1"), other);
  EXPECT_TRUE(e->referrerCol().contains("topology"));
  EXPECT_FALSE(e->referrer("topology"));
  EXPECT_EQ(e->vlanDel(200), nullptr);
  e->interfaceDel("bond0");
  EXPECT_EQ(rec->take(), Events{"264 swp1"});
}

TEST_F(ResourcesSchema, PhysicalInterfaceIdsContinueAtTheSecondLevel) {
  auto e = NetworkElementIs("00:00:00:00:00:01");
  auto host = NetworkElementIs("00:00:00:00:00:0a");
  auto port = e->physicalInterfaceIs("swp1");
  auto group = e->portGroupIs("bond0");
  auto rec = Recorder::on(port);
  rec->keyed<U32>(260).keyed<Vek::Name>(387).keyed<Vek::Name>(388).keyed<Vek::Name>(389);
  rec->keyed<Vek::String>(391);

  port->isSwitchInterfaceIs(true);
  port->vlanIs(100)->referrerIs("00:00:00:00:00:0a");
  port->portGroupIs(group);
  port->networkElementIs(host);
  port->configuredElementIs(host);
  port->discoveredElementIs(host);
  port->discoveredIs(true);
  port->referrerIs("openstack", true);
  EXPECT_EQ(rec->take(),
            (Events{"259", "260 100", "386", "387 00:00:00:00:00:0a", "388 00:00:00:00:00:0a",
                    "389 00:00:00:00:00:0a", "390", "391 openstack"}));
  EXPECT_EQ(port->portGroup(), group);
  EXPECT_EQ(port->discoveredElement("00:00:00:00:00:0a"), host);
  EXPECT_EQ(port->configuredElement("00:00:00:00:00:0b"), nullptr);

  auto grec = Recorder::on(group);
  grec->keyed<Vek::String>(386);
  group->memberInterfaceIs(port);
  group->memberInterfaceIs(port);
  group->memberInterfaceDel("swp2");
  EXPECT_EQ(group->memberInterface("swp1"), port);
  EXPECT_EQ(grec->take(), Events{"386 swp1"});
  port->destroy();  // unlinks the group, which would keep the port alive
}

TEST_F(ResourcesSchema, NativeVlanEntryCarriesReferrersAndLookupMakesNone) {
  auto group = PortGroupIs("bond0");
  group->nativeVlanIs(5)->referrerIs("swp1");
  EXPECT_EQ(group->nativeVlanIs(5)->referrerCol().size(), 1u);
  EXPECT_TRUE(group->nativeVlan(5)->referrer("swp1"));
  EXPECT_EQ(group->nativeVlan(6), nullptr);
  EXPECT_EQ(group->nativeVlanCol().size(), 1u);
}

TEST_F(ResourcesSchema, DynamicVlanIdsAndReferrers) {
  auto vlan = DynamicVlanIs(100);
  auto rec = Recorder::on(vlan);
  rec->keyed<U32>(259).keyed<Client::ClientDomain>(260).keyed<Vek::String>(261);
  EXPECT_EQ(vlan->mappedVniIs(10100), vlan->mappedVniIs(10100));
  vlan->domainIs({"tenant", "net"})->referrerIs("tenant");
  vlan->referrerIs("web-1");
  vlan->referrerIs("web-1");
  EXPECT_EQ(vlan->domainDel({"tenant", "other"}), nullptr);
  vlan->referrerDel("web-2");
  EXPECT_EQ(rec->take(), (Events{"259 10100", "260 tenant|net", "261 web-1"}));
}

TEST_F(ResourcesSchema, ElementDestroyEmptiesEveryAttributeInOrder) {
  auto e = NetworkElementIs("00:00:00:00:00:01");
  e->hostnameIs("leaf1");
  e->resourcesForHostnameIs(ResourcesForHostnameIs("leaf1"));
  e->vlanIs(100);
  e->vlanIs(200);
  e->isSwitchElementIs(true);
  auto swp1 = e->physicalInterfaceIs("swp1");
  swp1->vlanIs(100);
  e->interfaceIs(swp1);
  e->interfaceIs(e->portGroupIs("bond0"));
  e->referrerIs("topology", true);
  auto rec = recordElement(e);

  e->destroy();
  EXPECT_EQ(rec->take(), (Events{"258", "259", "260 100", "260 200", "261", "262 swp1", "263 bond0",
                                 "264 swp1", "264 bond0", "265 topology"}));
  EXPECT_EQ(e->hostname(), Vek::String());
  EXPECT_EQ(e->resourcesForHostname(), nullptr);
  EXPECT_FALSE(e->isSwitchElement());
  EXPECT_TRUE(e->vlanCol().empty() && e->physicalInterfaceCol().empty() &&
              e->portGroupCol().empty() && e->interfaceCol().empty() && e->referrerCol().empty());
  // A removed interface is detached, not emptied.
  EXPECT_EQ(swp1->parent(), nullptr);
  EXPECT_NE(swp1->vlan(100), nullptr);

  e->destroy();
  EXPECT_TRUE(rec->take().empty());
  EXPECT_NE(e->physicalInterfaceIs("swp1"), swp1);
}

TEST_F(ResourcesSchema, InterfaceDestroyEmptiesBaseThenOwnAttributes) {
  auto e = NetworkElementIs("00:00:00:00:00:01");
  auto port = e->physicalInterfaceIs("swp1");
  auto group = e->portGroupIs("bond0");
  for (Vek::Ptr<Interface> intf : {Vek::Ptr<Interface>(port), Vek::Ptr<Interface>(group)}) {
    intf->isSwitchInterfaceIs(true);
    intf->vlanIs(100);
    intf->nativeVlanIs(5);
  }
  port->portGroupIs(group);
  port->networkElementIs(e);
  port->configuredElementIs(e);
  port->discoveredElementIs(e);
  port->discoveredIs(true);
  port->referrerIs("openstack", true);
  group->memberInterfaceIs(port);

  auto prec = Recorder::on(port);
  auto grec = Recorder::on(group);
  port->destroy();
  group->destroy();
  EXPECT_EQ(prec->take().size(), 9u);
  EXPECT_EQ(grec->take().size(), 4u);
  EXPECT_FALSE(port->isSwitchInterface() || port->discovered());
  EXPECT_TRUE(port->vlanCol().empty() && port->nativeVlanCol().empty() &&
              port->networkElementCol().empty() && port->configuredElementCol().empty() &&
              port->discoveredElementCol().empty() && port->referrerCol().empty());
  EXPECT_EQ(port->portGroup(), nullptr);
  EXPECT_TRUE(group->memberInterfaceCol().empty() && group->vlanCol().empty());
  // Still usable after emptying.
  EXPECT_NE(port->vlanIs(7), nullptr);
}

}  // namespace
}  // namespace VirtualNetwork
