// The records of the schema: the ids and keys they publish, and the few
// operations of their own. What their generic members do (notify once,
// never on an equal value, lookups that never create...) is tested once in
// tests/reactive/AttributeTest.cpp.
#include <gtest/gtest.h>

#include "tests/schema/SchemaTestSupport.h"

namespace VirtualNetwork {
namespace {

namespace Topo = NetworkTopologyAggregatorV3;
using ControllerProxyAgent::PortVlanConfigV1Is;
using SchemaTest::Events;
using SchemaTest::Recorder;

class Schema : public SchemaTest::SchemaFixture {};

Client::ClientDomain const tenant("tenant", "net");

// What `change` made `record` notify, "<id>" or "<id> <key>" with the key
// read as K, the notifications joined by ", ".
template <class K = U32, class R, class F>
std::string heard(Vek::Ptr<R> const& record, F change) {
  Vek::Ptr<Recorder> const rec = Recorder::on(record);
  rec->keyedAll<K>();
  change();
  std::string out;
  for (auto const& e : rec->take()) out += (out.empty() ? "" : ", ") + e;
  return out;
}

TEST_F(Schema, EachMutatorNotifiesItsPublishedIdWithItsKey) {
  using S = Vek::String;
  auto mappedVni = Client::MappedVniIs(1);
  auto domain = Client::DomainIs(tenant);
  auto untagged = Client::UntaggedVlanIs(5);
  EXPECT_EQ(heard<S>(mappedVni, [&] { mappedVni->referrerIs("c1"); }), "258 c1");
  EXPECT_EQ(heard<S>(domain, [&] { domain->referrerIs("c1"); }), "258 c1");
  EXPECT_EQ(heard<S>(untagged, [&] { untagged->referrerIs("c1"); }), "258 c1");
  auto cVlan = Client::DynamicVlanIs(100);
  EXPECT_EQ(heard(cVlan, [&] { cVlan->mappedVniIs(10100); }), "259 10100");
  EXPECT_EQ(heard<Client::ClientDomain>(cVlan, [&] { cVlan->domainIs(tenant); }), "260 tenant|net");
  auto cHost = Client::ResourcesForHostnameIs("web-1");
  EXPECT_EQ(heard(cHost, [&] { cHost->vlanIs(100); }), "258 100");
  auto cPort = Client::ResourcesForSwitchportIs({"aa:01", "eth1"});
  EXPECT_EQ(heard(cPort, [&] { cPort->nativeVlanIs(5); }), "259");
  EXPECT_EQ(heard(cPort, [&] { cPort->vlanIs(100); }), "260 100");
  EXPECT_EQ(heard<S>(cPort, [&] { cPort->remoteHostIs("web-1", false); }), "262 web-1");
  auto rrc = Client::RequestedResourcesCollectionIs("c1");
  EXPECT_EQ(heard<S>(rrc, [&] { rrc->resourcesForHostnameIs("web-1"); }), "258 web-1");
  using SI = Client::SwitchInterface;
  EXPECT_EQ(heard<SI>(rrc, [&] { rrc->resourcesForSwitchportIs({"aa", "e1"}); }), "259 aa|e1");

  auto vlan = DynamicVlanIs(100);
  EXPECT_EQ(heard(vlan, [&] { vlan->mappedVniIs(10100); }), "259 10100");
  EXPECT_EQ(heard<Client::ClientDomain>(vlan, [&] { vlan->domainIs(tenant); }), "260 tenant|net");
  EXPECT_EQ(heard<S>(vlan, [&] { vlan->referrerIs("web-1"); }), "261 web-1");
  auto host = ResourcesForHostnameIs("web-1");
  EXPECT_EQ(heard(host, [&] { host->vlanIs(100); }), "258 100");
  EXPECT_EQ(heard<S>(host, [&] { host->referrerIs("c1"); }), "259 c1");
  auto vniMap = VlanToVniMapIs(tenant);
  EXPECT_EQ(heard<Range>(vniMap, [&] { vniMap->mapIs({1, 9}, {11, 19}); }), "259 1-9");

  auto e = NetworkElementIs("00:00:00:00:00:01");
  EXPECT_EQ(heard(e, [&] { e->hostnameIs("leaf1"); }), "258");
  EXPECT_EQ(heard(e, [&] { e->resourcesForHostnameIs(host); }), "259");
  EXPECT_EQ(heard(e, [&] { e->vlanIs(100); }), "260 100");
  EXPECT_EQ(heard(e, [&] { e->isSwitchElementIs(true); }), "261");
  auto port = e->physicalInterfaceIs("swp1");
  auto group = e->portGroupIs("bond0");
  EXPECT_EQ(heard<S>(e, [&] { e->physicalInterfaceIs("swp2"); }), "262 swp2");
  EXPECT_EQ(heard<S>(e, [&] { e->portGroupIs("bond1"); }), "263 bond1");
  EXPECT_EQ(heard<S>(e, [&] { e->interfaceIs(port); }), "264 swp1");
  EXPECT_EQ(heard<S>(e, [&] { e->referrerIs("topology", false); }), "265 topology");
  EXPECT_EQ(heard(port, [&] { port->isSwitchInterfaceIs(true); }), "259");
  EXPECT_EQ(heard(port, [&] { port->vlanIs(100); }), "260 100");
  EXPECT_EQ(heard(port, [&] { port->nativeVlanIs(5); }), "261 5");
  EXPECT_EQ(heard(port, [&] { port->portGroupIs(group); }), "386");
  EXPECT_EQ(heard<S>(port, [&] { port->networkElementIs(e); }), "387 00:00:00:00:00:01");
  EXPECT_EQ(heard<S>(port, [&] { port->configuredElementIs(e); }), "388 00:00:00:00:00:01");
  EXPECT_EQ(heard<S>(port, [&] { port->discoveredElementIs(e); }), "389 00:00:00:00:00:01");
  EXPECT_EQ(heard(port, [&] { port->discoveredIs(true); }), "390");
  EXPECT_EQ(heard<S>(port, [&] { port->referrerIs("c1", true); }), "391 c1");
  EXPECT_EQ(heard<S>(group, [&] { group->memberInterfaceIs(port); }), "386 swp1");

  auto config = ConfigIs("config");
  EXPECT_EQ(heard(config, [&] { config->enabledIs(true); }), "259");
  EXPECT_EQ(heard<Client::ClientDomain>(config, [&] { config->vlanToVniMapIs(tenant); }),
            "260 tenant|net");
  auto elements = NetworkElementCollectionIs("");
  EXPECT_EQ(heard<S>(elements, [&] { elements->networkElementIs("aa:01"); }), "258 aa:01");
  auto requests = RequestedResourcesCollectionIs("");
  EXPECT_EQ(heard<S>(requests, [&] { requests->resourcesForHostnameIs("web-1"); }), "258 web-1");
  auto status = StatusIs("status");
  EXPECT_EQ(heard(status, [&] { status->networkElementCollectionIs(""); }), "258");
  EXPECT_EQ(heard(status, [&] { status->requestedResourcesCollectionIs(""); }), "259");

  auto topology = Topo::StatusIs("topology");
  EXPECT_EQ(heard<S>(topology, [&] { topology->hostIs("aa:0a"); }), "258 aa:0a");
  auto tHost = topology->host("aa:0a");
  EXPECT_EQ(heard(tHost, [&] { tHost->hostnameIs("web-1"); }), "258");
  EXPECT_EQ(heard<S>(tHost, [&] { tHost->portIs("eth0"); }), "259 eth0");
  EXPECT_EQ(heard<S>(tHost, [&] { tHost->portGroupIs("bond0"); }), "265 bond0");
  auto eth0 = tHost->port("eth0");
  auto bond0 = tHost->portGroup("bond0");
  EXPECT_EQ(heard(eth0, [&] { eth0->portGroupIs(bond0); }), "386");
  EXPECT_EQ(heard<S>(bond0, [&] { bond0->memberPortIs(eth0); }), "386 eth0");
  using PortKey = Vek::Ptr<Topo::PortBase const>;
  EXPECT_EQ(heard<PortKey>(topology, [&] { topology->edgeIs(eth0); }), "259 eth0");
  auto edge = topology->edge(eth0);
  EXPECT_EQ(heard<PortKey>(edge, [&] { edge->toPortIs(bond0, true); }), "259 bond0");
  EXPECT_EQ(heard<S>(topology, [&] { topology->hostsByHostnameIs("web-1"); }), "260 web-1");
  auto byName = topology->hostsByHostname("web-1");
  EXPECT_EQ(heard<S>(byName, [&] { byName->hostIs(tHost); }), "259 aa:0a");

  auto vteps = VxlanController::VtepConfigDirV2Is("aa-01");
  EXPECT_EQ(heard<S>(vteps, [&] { vteps->vtepConfigIs("vtep1"); }), "258 vtep1");
  auto vtep = vteps->vtepConfig("vtep1");
  using PV = VxlanController::PortVlanPairV2;
  EXPECT_EQ(heard<PV>(vtep, [&] { vtep->vlanToVniMapIs({"swp1", 100}, 5); }), "258 swp1|100");
  auto vtepStatus = VxlanController::VtepStatusDirV2Is("aa-01");
  EXPECT_EQ(heard<S>(vtepStatus, [&] { vtepStatus->vtepStatusIs("vtep1"); }), "258 vtep1");
  auto ports = PortVlanConfigV1Is("aa-01");
  EXPECT_EQ(heard(ports, [&] { ports->vlanListIs(S("5")); }), "258");
  EXPECT_EQ(heard<S>(ports, [&] { ports->portAllowedVlanListIs("swp1", S("5")); }), "259 swp1");
  EXPECT_EQ(heard<S>(ports, [&] { ports->portNativeVlanIs("swp1", 5); }), "260 swp1");

  auto dir = Vek::DirIs("dir");
  EXPECT_EQ(heard<S>(dir, [&] { dir->entryStateIs(Vek::DirEntryIs("a", 0)); }), "261 a");
  EXPECT_EQ(heard<S>(dir, [&] { dir->entityPtrIs("b", ports); }), "266 b");
  auto entry = dir->entryState("a");
  EXPECT_EQ(heard(entry, [&] { entry->statusIs(Vek::Dir::Entry::synchronised); }), "134");
  port->destroy();  // unlinks the group, which would keep the port alive
}

TEST_F(Schema, VniForVlanTakesTheLowestRangeHoldingTheVlanAndNeverWraps) {
  auto config = ConfigIs("config");
  auto map = config->vlanToVniMapIs(tenant);
  // Written highest first, so that the insertion order cannot be what decides.
  map->mapIs({150, 160}, {30000, 30010});
  map->mapIs({100, 300}, {20000, 20200});
  map->mapIs({100, 199}, {10000, 10009});  // fewer VNIs than VLANs: no fall back past 109
  map->mapIs({400, 499}, {0xfffffff0u, 0xffffffffu});
  map->mapIs({0, 10}, {500, 510});  // VLAN 0 is no VLAN, even inside a range
  std::vector<std::pair<U32, U32>> const vlanToVni = {
      // clang-format off
      {0, 0}, {1, 501}, {99, 0}, {100, 10000}, {109, 10009}, {110, 0}, {155, 0}, {250, 20150},
      {300, 20200}, {301, 0}, {415, 0xffffffffu}, {416, 0}};
  // clang-format on
  for (auto const& [vlan, vni] : vlanToVni) {
    EXPECT_EQ(config->vniForVlan(tenant, vlan), vni) << vlan;
  }
  EXPECT_EQ(config->vniForVlan({"tenant", "other"}, 150), 0u);
  EXPECT_EQ(config->vniForVlan({"net", "tenant"}, 150), 0u);
  map->mapDel({100, 199});
  EXPECT_EQ(config->vniForVlan(tenant, 155), 20055u);
}

TEST_F(Schema, StatusAndClientPortMakeANewRecordOnlyForANewNameOrId) {
  auto status = StatusIs("status");
  auto elements = status->networkElementCollectionIs("");
  EXPECT_EQ(status->networkElementCollectionIs(""), elements);
  auto requests = status->requestedResourcesCollectionIs("");
  EXPECT_EQ(status->requestedResourcesCollectionIs(""), requests);
  EXPECT_NE(status->networkElementCollectionIs("other"), elements);
  EXPECT_EQ(status->requestedResourcesCollectionDel(), requests);
  EXPECT_EQ(status->requestedResourcesCollectionDel(), nullptr);

  auto port = Client::ResourcesForSwitchportIs({"00:00:00:00:00:01", "swp1"});
  auto rec = Recorder::on(port);
  auto five = port->nativeVlanIs(5);
  EXPECT_EQ(port->nativeVlanIs(5), five);
  EXPECT_NE(port->nativeVlanIs(6), five);
  EXPECT_EQ(port->nativeVlan()->vlanId(), 6u);
  EXPECT_EQ(port->nativeVlanIs(0), nullptr);
  EXPECT_EQ(port->nativeVlan(), nullptr);
  port->nativeVlanIs(0);
  EXPECT_EQ(rec->take(), (Events{"259", "259", "259"}));
}

TEST_F(Schema, DestroyEmptiesEveryAttributeInOrderAndDetachesWhatLeaves) {
  auto e = NetworkElementIs("00:00:00:00:00:01");
  e->hostnameIs("leaf1");
  e->resourcesForHostnameIs(ResourcesForHostnameIs("leaf1"));
  e->vlanIs(100);
  e->vlanIs(200);
  e->isSwitchElementIs(true);
  auto port = e->physicalInterfaceIs("swp1");
  auto group = e->portGroupIs("bond0");
  e->interfaceIs(port);
  e->interfaceIs(group);
  e->referrerIs("topology", true);
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
  auto rec = Recorder::on(e);
  auto prec = Recorder::on(port);
  auto grec = Recorder::on(group);
  for (auto const& r : {rec, prec, grec})
    r->keyed<U32>(260).keyed<U32>(261).keyedAll<Vek::String>();

  e->destroy();
  EXPECT_EQ(rec->take(), (Events{"258", "259", "260 100", "260 200", "261", "262 swp1", "263 bond0",
                                 "264 swp1", "264 bond0", "265 topology"}));
  // A removed interface is detached, not emptied.
  EXPECT_EQ(port->parent(), nullptr);
  EXPECT_NE(port->vlan(100), nullptr);
  e->destroy();
  EXPECT_TRUE(rec->take().empty());
  port->destroy();
  group->destroy();
  EXPECT_EQ(prec->take(),
            (Events{"259", "260 100", "261 5", "386", "387 00:00:00:00:00:01",
                    "388 00:00:00:00:00:01", "389 00:00:00:00:00:01", "390", "391 openstack"}));
  EXPECT_EQ(grec->take(), (Events{"259", "260 100", "261 5", "386 swp1"}));
}

TEST_F(Schema, CollectionDestroyEmptiesItAndItsElementsButNotTheirInterfaces) {
  auto elements = NetworkElementCollectionIs("");
  auto leaf = elements->networkElementIs("00:00:00:00:00:01");
  leaf->hostnameIs("leaf1");
  auto port = leaf->physicalInterfaceIs("swp1");
  port->vlanIs(100);
  elements->networkElementIs("00:00:00:00:00:0a");
  auto rec = Recorder::on(elements);
  rec->keyedAll<Vek::Name>();
  elements->destroy();
  EXPECT_EQ(rec->take(), (Events{"258 00:00:00:00:00:01", "258 00:00:00:00:00:0a"}));
  EXPECT_TRUE(elements->networkElementCol().empty());
  EXPECT_EQ(leaf->hostname(), Vek::String());
  EXPECT_TRUE(leaf->physicalInterfaceCol().empty());
  EXPECT_NE(port->vlan(100), nullptr);  // the interfaces are for their machines to empty
  EXPECT_NE(elements->networkElementIs("00:00:00:00:00:01"), leaf);
}

TEST_F(Schema, DroppingTheCollectionFreesElementsThatReferToEachOther) {
  auto elements = NetworkElementCollectionIs("");
  auto leaf = elements->networkElementIs("00:00:00:00:00:01");
  auto host = elements->networkElementIs("00:00:00:00:00:0a");
  auto eth0 = host->physicalInterfaceIs("eth0");
  leaf->physicalInterfaceIs("swp1")->discoveredElementIs(host);
  eth0->discoveredElementIs(leaf);
  auto bond = host->portGroupIs("bond0");
  bond->memberInterfaceIs(eth0);
  eth0->portGroupIs(bond);
  host->interfaceIs(bond);
  // The fixture's teardown finds every record gone.
}

TEST_F(Schema, TopologyPortLeavingItsHostLeavesItsGroupAndAGroupLeavingLosesItsMembers) {
  auto host = Topo::HostIs("00:00:00:00:00:0a");
  auto eth0 = host->portIs("eth0");
  auto eth1 = host->portIs("eth1");
  auto bond = host->portGroupIs("bond0");
  for (auto const& p : {eth0, eth1}) {
    p->portGroupIs(bond);
    bond->memberPortIs(p);
  }
  EXPECT_EQ(Vek::Ptr<Topo::PortBase const>(bond)->host(), host);
  auto prec = Recorder::on(eth0);
  auto grec = Recorder::on(bond);
  grec->keyedAll<Vek::Name>();
  host->portDel("eth0");
  EXPECT_EQ(eth0->host(), nullptr);
  EXPECT_EQ(eth0->portGroup(), nullptr);
  EXPECT_EQ(prec->take(), Events{"386"});
  // Membership is the writer's: the group still lists the port that left.
  EXPECT_EQ(bond->memberPort("eth0"), eth0);
  host->portGroupDel("bond0");
  EXPECT_TRUE(bond->memberPortCol().empty());
  EXPECT_EQ(grec->take(), (Events{"386 eth0", "386 eth1"}));
  // An edge is keyed by the port object, and named after it.
  auto topology = Topo::StatusIs("topology");
  auto edge = topology->edgeIs(eth1);
  EXPECT_EQ(edge->fromPort(), eth1);
  EXPECT_EQ(edge->name(), Vek::Name("eth1"));
  EXPECT_EQ(topology->edge(Topo::PortIs("eth1")), nullptr);
}

}  // namespace
}  // namespace VirtualNetwork
