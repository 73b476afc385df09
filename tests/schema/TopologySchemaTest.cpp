#include <gtest/gtest.h>

#include "tests/schema/SchemaTestSupport.h"

namespace NetworkTopologyAggregatorV3 {
namespace {

using SchemaTest::Events;
using SchemaTest::Recorder;

class TopologySchema : public SchemaTest::SchemaFixture {};

TEST_F(TopologySchema, HostAndHostnameIds) {
  auto status = StatusIs("topology");
  auto srec = Recorder::on(status);
  srec->keyed<Vek::Name>(258).keyed<Vek::Name>(260);
  auto host = status->hostIs("00:00:00:00:00:0a");
  auto byName = status->hostsByHostnameIs("web-1");
  EXPECT_EQ(srec->take(), (Events{"258 00:00:00:00:00:0a", "260 web-1"}));

  auto hrec = Recorder::on(host);
  hrec->keyed<Vek::Name>(259).keyed<Vek::Name>(265);
  host->hostnameIs("web-1");
  host->portIs("eth0");
  host->portGroupIs("bond0");
  EXPECT_EQ(host->portIs("eth0"), host->port("eth0"));
  EXPECT_EQ(hrec->take(), (Events{"258", "259 eth0", "265 bond0"}));

  auto brec = Recorder::on(byName);
  brec->keyed<Vek::Name>(259);
  byName->hostIs(host);
  byName->hostIs(host);
  EXPECT_EQ(byName->host("00:00:00:00:00:0a"), host);
  EXPECT_EQ(byName->host("00:00:00:00:00:0b"), nullptr);
  EXPECT_EQ(brec->take(), Events{"259 00:00:00:00:00:0a"});
}

TEST_F(TopologySchema, EdgeIsFoundByThePortObjectNotByItsName) {
  auto status = StatusIs("topology");
  auto web = status->hostIs("00:00:00:00:00:0a")->portIs("eth0");
  auto db = status->hostIs("00:00:00:00:00:0b")->portIs("eth0");
  auto swp1 = status->hostIs("00:00:00:00:00:01")->portIs("swp1");
  auto rec = Recorder::on(status);
  rec->keyed<Vek::Ptr<PortBase const>>(259);

  auto edge = status->edgeIs(web);
  EXPECT_EQ(status->edgeIs(web), edge);
  EXPECT_EQ(status->edge(web), edge);
  EXPECT_EQ(status->edge(db), nullptr);
  EXPECT_EQ(status->edgeDel(db), nullptr);
  EXPECT_EQ(edge->fromPort(), web);
  EXPECT_EQ(edge->name(), Vek::Name("eth0"));
  EXPECT_EQ(rec->take(), Events{"259 eth0"});

  auto erec = Recorder::on(edge);
  erec->keyed<Vek::Ptr<PortBase const>>(259);
  edge->toPortIs(swp1, false);
  EXPECT_FALSE(edge->toPort(swp1));
  EXPECT_TRUE(edge->toPortCol().contains(swp1));
  edge->toPortIs(swp1, true);
  EXPECT_TRUE(edge->toPort(swp1));
  EXPECT_FALSE(edge->toPort(db));
  EXPECT_EQ(erec->take(), (Events{"259 swp1", "259 swp1"}));
}

TEST_F(TopologySchema, PortKnowsItsHostUntilItLeaves) {
  auto host = HostIs("00:00:00:00:00:0a");
  Vek::Ptr<PortBase const> eth0 = host->portIs("eth0");
  Vek::Ptr<PortBase const> bond = host->portGroupIs("bond0");
  EXPECT_EQ(eth0->host(), host);
  EXPECT_EQ(bond->host(), host);
  host->portDel("eth0");
  EXPECT_EQ(eth0->host(), nullptr);
  EXPECT_EQ(PortIs("eth1")->host(), nullptr);
}

TEST_F(TopologySchema, PortLeavingItsHostLeavesItsGroup) {
  auto host = HostIs("00:00:00:00:00:0a");
  auto eth0 = host->portIs("eth0");
  auto eth1 = host->portIs("eth1");
  auto bond = host->portGroupIs("bond0");
  for (auto const& p : {eth0, eth1}) {
    p->portGroupIs(bond);
    bond->memberPortIs(p);
  }
  auto prec = Recorder::on(eth0);
  auto grec = Recorder::on(bond);
  grec->keyed<Vek::Name>(386);

  host->portDel("eth0");
  EXPECT_EQ(eth0->portGroup(), nullptr);
  EXPECT_EQ(prec->take(), Events{"386"});
  // Membership is the writer's: the group still lists the port that left.
  EXPECT_EQ(bond->memberPort("eth0"), eth0);
  EXPECT_TRUE(grec->take().empty());

  host->portGroupDel("bond0");
  EXPECT_TRUE(bond->memberPortCol().empty());
  EXPECT_EQ(grec->take(), (Events{"386 eth0", "386 eth1"}));
  // eth1 still names the group; dropping the host clears that too.
}

}  // namespace
}  // namespace NetworkTopologyAggregatorV3
