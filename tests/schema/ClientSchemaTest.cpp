#include <gtest/gtest.h>

#include "tests/schema/SchemaTestSupport.h"

namespace VirtualNetwork::Client {
namespace {

using SchemaTest::Events;
using SchemaTest::Recorder;

class ClientSchema : public SchemaTest::SchemaFixture {};

TEST_F(ClientSchema, CollectionsNotifyWithTheKeyOfEachKind) {
  auto rrc = RequestedResourcesCollectionIs("openstack");
  auto rec = Recorder::on(rrc);
  rec->keyed<Vek::Name>(258).keyed<SwitchInterface>(259);

  auto web = rrc->resourcesForHostnameIs("web-1");
  auto port = rrc->resourcesForSwitchportIs({"00:00:00:00:00:01", "swp1"});
  EXPECT_EQ(rec->take(), (Events{"258 web-1", "259 00:00:00:00:00:01|swp1"}));
  EXPECT_EQ(web->parent(), rrc.ptr());
  EXPECT_EQ(port->name(), Vek::Name("00:00:00:00:00:01|swp1"));

  // A present member is returned as it is; an absent one is neither made nor notified.
  EXPECT_EQ(rrc->resourcesForHostnameIs("web-1"), web);
  EXPECT_EQ(rrc->resourcesForHostname("web-2"), nullptr);
  EXPECT_EQ(rrc->resourcesForHostnameDel("web-2"), nullptr);
  EXPECT_TRUE(rec->take().empty());
  EXPECT_EQ(rrc->resourcesForHostnameCol().size(), 1u);

  auto vlan = web->vlanIs(100);
  auto vrec = Recorder::on(vlan);
  vrec->keyed<U32>(259).keyed<ClientDomain>(260);
  vlan->mappedVniIs(10100);
  vlan->domainIs({"tenant", "net"});
  EXPECT_EQ(vrec->take(), (Events{"259 10100", "260 tenant|net"}));
  EXPECT_EQ(vlan->name(), Vek::Name("100"));
  EXPECT_EQ(vlan->domain({"tenant", "net"})->name(), Vek::Name("tenant|net"));

  EXPECT_EQ(rrc->resourcesForHostnameDel("web-1"), web);
  EXPECT_EQ(web->parent(), nullptr);
  EXPECT_EQ(rec->take(), Events{"258 web-1"});
}

TEST_F(ClientSchema, NativeVlanByIdKeepsTheRecordOfAnUnchangedId) {
  auto port = ResourcesForSwitchportIs({"00:00:00:00:00:01", "swp1"});
  auto rec = Recorder::on(port);
  EXPECT_EQ(port->nativeVlan(), nullptr);

  auto five = port->nativeVlanIs(5);
  five->referrerIs("openstack");
  EXPECT_EQ(port->nativeVlanIs(5), five);
  EXPECT_TRUE(port->nativeVlan()->referrer("openstack"));
  EXPECT_EQ(rec->take(), Events{"259"});

  auto six = port->nativeVlanIs(6);
  EXPECT_NE(six, five);
  EXPECT_EQ(port->nativeVlan()->vlanId(), 6u);
  EXPECT_EQ(port->nativeVlanIs(0), nullptr);
  EXPECT_EQ(port->nativeVlan(), nullptr);
  port->nativeVlanIs(0);
  EXPECT_EQ(rec->take(), (Events{"259", "259"}));

  // A record made elsewhere may carry the id 0, which readers take as none.
  port->nativeVlanIs(UntaggedVlanIs(0));
  EXPECT_EQ(port->nativeVlan()->vlanId(), 0u);
  port->nativeVlanIs(nullptr);
  EXPECT_EQ(rec->take(), (Events{"259", "259"}));
}

TEST_F(ClientSchema, RemoteHostFalseReadsAsAbsentButIsAnEntry) {
  auto port = ResourcesForSwitchportIs({"00:00:00:00:00:01", "swp1"});
  auto rec = Recorder::on(port);
  rec->keyed<Vek::String>(262);

  port->remoteHostIs("web-1", false);
  EXPECT_FALSE(port->remoteHost("web-1"));
  EXPECT_TRUE(port->remoteHostCol().contains("web-1"));
  port->remoteHostIs("web-1", false);
  port->remoteHostIs("web-1", true);
  EXPECT_TRUE(port->remoteHost("web-1"));
  port->remoteHostDel("web-1");
  port->remoteHostDel("web-1");
  EXPECT_EQ(rec->take(), (Events{"262 web-1", "262 web-1", "262 web-1"}));
  EXPECT_TRUE(port->remoteHostCol().empty());
}

TEST_F(ClientSchema, ReferrerSetKeepsOneEntryPerString) {
  auto native = UntaggedVlanIs(5);
  auto rec = Recorder::on(native);
  rec->keyed<Vek::String>(UntaggedVlan::referrerId);
  native->referrerIs("a");
  native->referrerIs("a");
  native->referrerDel("b");
  EXPECT_EQ(native->referrerCol().size(), 1u);
  native->referrerDel("a");
  EXPECT_FALSE(native->referrer("a"));
  EXPECT_EQ(rec->take(), (Events{"258 a", "258 a"}));
}

}  // namespace
}  // namespace VirtualNetwork::Client
