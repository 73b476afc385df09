// What scenarios cannot write or see: the element's VLANs written by
// another writer than its interfaces, a port group of the element with
// VLANs of its own, and the order of the writes to the port record. The
// rest of the node's behaviour is in tests/scenarios/switch-node.yaml and
// switch-node-reconnect.yaml.
#include "tests/switch/SwitchFixture.h"

namespace VirtualNetwork::Agent::Testing {
namespace {

using SwitchTest = SwitchFixture;
using Strings = std::vector<std::string>;

constexpr char kSetting[] = "00:00:00:00:00:01Setting 00:00:00:00:00:01 to 00:00:00:00:00:01";

TEST_F(SwitchTest, ElementIsSetOnceWhicheverSideNamesItFirst) {
  // The topology last: the node exists before the element does, hears the
  // element arrive, and the root's own setting finds it already set.
  start();
  mountRecords();
  EXPECT_EQ(node(), nullptr);
  addHost(kMac);
  ASSERT_NE(node(), nullptr);
  EXPECT_EQ(node()->switchElement(), element());
  EXPECT_EQ(count(kSetting), 1);
  EXPECT_EQ(tracesOf("handleSwitchElement", 9), Strings{kMac});

  // Other elements come and go without touching the node.
  addHost("00:00:00:00:00:02");
  topology->hostDel(Vek::Name("00:00:00:00:00:02"));
  EXPECT_EQ(node()->switchElement(), element());
  EXPECT_EQ(tracesOf("handleSwitchElement", 9).size(), 1u);
  // The element's VLANs have another writer than its ports; the switch-wide
  // list follows the element whoever writes it.
  element()->vlanIs(7);
  EXPECT_EQ(vlanList(), "7");
  element()->vlanDel(7);
  EXPECT_EQ(vlanList(), "");
}

TEST_F(SwitchTest, StaleRecordsAreSweptBeforeAnyPortIsProvisioned) {
  // Ports the switch had in an earlier life, enough of them that the sweep
  // deletes many keys of the collection it walks.
  constexpr int kStale = 40;
  for (int i = 0; i < kStale; ++i) {
    Vek::String const stale("swp" + std::to_string(i));
    ports->portAllowedVlanListIs(stale, Vek::String("1-3"));
    ports->portNativeVlanIs(stale, 4);
  }
  ports->portAllowedVlanListIs("eth1", Vek::String("7,10"));
  startWithHost();
  port("eth1")->vlanIs(10);
  // Each write of the record, with the number of port entries it then holds.
  log = Vek::Testing::Recorder::on(ports);
  log->keyedAll<Vek::String>().probing([&] {
    return std::to_string(ports->portAllowedVlanListCol().size() +
                          ports->portNativeVlanCol().size());
  });
  mountRecords();
  // Marking the element has already written the switch-wide list; the
  // first port writes are the sweep, every one a deletion.
  Strings portEvents;
  for (auto const& e : log->take()) {
    if (!e.starts_with(std::to_string(ControllerProxyAgent::PortVlanConfigV1::vlanListId) + " ")) {
      portEvents.push_back(e);
    }
  }
  ASSERT_EQ(portEvents.size(), 2u * kStale + 1);
  for (int i = 0; i < 2 * kStale; ++i) {
    EXPECT_NE(portEvents[i].find(" swp"), std::string::npos) << portEvents[i];
    EXPECT_TRUE(portEvents[i].ends_with(" | " + std::to_string(2 * kStale - i))) << portEvents[i];
  }
  EXPECT_EQ(portEvents.back(),
            std::to_string(ControllerProxyAgent::PortVlanConfigV1::portAllowedVlanListId) +
                " eth1 | 1");
  EXPECT_EQ(allowed("eth1"), "10");
}

TEST_F(SwitchTest, JoiningAPortGroupCleansThePortAndLeavingReprovisionsIt) {
  auto vtep = vteps->vtepConfigIs("vtep1");
  vtep->vlanToVniMapIs({"eth1", 10}, 1000);
  vtep->vlanToVniMapIs({"eth1", 20}, 1020);
  vtep->vlanToVniMapIs({"eth2", 10}, 2000);
  vtep->vlanToVniMapIs({"bond0", 30}, 3000);
  startWithHost();
  auto eth1 = port("eth1");
  eth1->vlanIs(10);
  eth1->vlanIs(20);
  eth1->nativeVlanIs(5);
  auto bond = element()->portGroupIs("bond0");
  bond->vlanIs(30);
  mountRecords();
  ASSERT_EQ(allowed("bond0"), "30");
  ASSERT_EQ(allowed("eth1"), "10,20");

  bond->memberInterfaceIs(eth1);
  eth1->portGroupIs(bond);
  EXPECT_EQ(count("Cleaning up member interface eth1"), 1);
  EXPECT_EQ(allowed("eth1"), "-");
  EXPECT_EQ(native("eth1"), "-");
  EXPECT_EQ(vtep->vlanToVniMapCol().size(), 2u);
  EXPECT_FALSE(vtep->vlanToVniMapCol().contains({"eth1", 10}));
  EXPECT_TRUE(vtep->vlanToVniMapCol().contains({"eth2", 10}));
  EXPECT_TRUE(vtep->vlanToVniMapCol().contains({"bond0", 30}));
  // The group carries its new member's VLANs under its own name.
  EXPECT_EQ(allowed("bond0"), "10,20,30");

  // A member is never written by its own name.
  eth1->vlanIs(40);
  eth1->nativeVlanDel(5);
  eth1->nativeVlanIs(6);
  EXPECT_EQ(allowed("eth1"), "-");
  EXPECT_EQ(native("eth1"), "-");

  // Leaving: the port records come back at once, the VTEP map does not.
  eth1->portGroupIs(nullptr);
  bond->memberInterfaceDel("eth1");
  EXPECT_EQ(count("eth1 no longer a member interface. Reprovisioning."), 1);
  EXPECT_EQ(allowed("eth1"), "10,20,40");
  EXPECT_EQ(native("eth1"), "6");
  EXPECT_FALSE(vtep->vlanToVniMapCol().contains({"eth1", 10}));
}

}  // namespace
}  // namespace VirtualNetwork::Agent::Testing
