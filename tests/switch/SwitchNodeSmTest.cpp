#include "tests/switch/SwitchFixture.h"

namespace VirtualNetwork::Agent::Testing {
namespace {

using SwitchTest = SwitchFixture;
using Strings = std::vector<std::string>;

constexpr char kSetting[] = "00:00:00:00:00:01Setting 00:00:00:00:00:01 to 00:00:00:00:00:01";

// The element as the element side builds it before the switch is ready:
// eth1 with VLANs 10 and 20 and native VLAN 5, eth2 with VLAN 30.
void buildTwoPorts(SwitchFixture& f) {
  auto eth1 = f.port("eth1");
  eth1->vlanIs(10);
  eth1->vlanIs(20);
  eth1->nativeVlanIs(5);
  f.port("eth2")->vlanIs(30);
}

TEST_F(SwitchTest, ConnectMarksTheElementAndProvisionsEveryPort) {
  startWithHost();
  buildTwoPorts(*this);
  EXPECT_FALSE(element()->isSwitchElement());
  mountRecords();
  ASSERT_NE(node(), nullptr);
  EXPECT_EQ(node()->switchElement(), element());
  EXPECT_TRUE(element()->isSwitchElement());
  EXPECT_EQ(allowed("eth1"), "10,20");
  EXPECT_EQ(native("eth1"), "5");
  EXPECT_EQ(allowed("eth2"), "30");
  EXPECT_EQ(native("eth2"), "-");
  EXPECT_EQ(vlanList(), "10,20,30");
  EXPECT_EQ(count("00:00:00:00:00:01 Interface: eth1"), 1);
  EXPECT_EQ(count("00:00:00:00:00:01 Interface: eth2"), 1);
  EXPECT_EQ(tracesOf("handleSwitchElement", 9), Strings{kMac});
}

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
  EXPECT_EQ(tracesOf("handleSwitchElement", 9).size(), 1u);

  // The element known first: only the root sets it.
  TearDown();
  SetUp();
  connect();
  ASSERT_NE(node(), nullptr);
  EXPECT_EQ(count(kSetting), 0);
  EXPECT_EQ(tracesOf("handleSwitchElement", 9).size(), 1u);

  // Other elements come and go without touching the node.
  addHost("00:00:00:00:00:02");
  element()->vlanIs(7);
  EXPECT_EQ(node()->switchElement(), element());
  EXPECT_EQ(tracesOf("handleSwitchElement", 9).size(), 1u);
  EXPECT_EQ(vlanList(), "7");
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
  ports->portNativeVlanIs("eth1", 9);
  startWithHost();
  port("eth1")->vlanIs(10);
  log = PortRecordLog::on(ports);
  mountRecords();
  // Marking the element has already written the switch-wide list; the
  // first port writes are the sweep, every one a deletion.
  Strings portEvents;
  for (auto const& e : log->events) {
    if (!e.starts_with("vlanList")) portEvents.push_back(e);
  }
  ASSERT_GT(portEvents.size(), 2u * kStale);
  for (int i = 0; i < 2 * kStale; ++i) {
    EXPECT_TRUE(portEvents[i].starts_with("allowed swp") || portEvents[i].starts_with("native swp"))
        << portEvents[i];
    EXPECT_TRUE(portEvents[i].ends_with(" -")) << portEvents[i];
  }
  EXPECT_EQ(ports->portAllowedVlanListCol().size(), 1u);
  EXPECT_EQ(ports->portNativeVlanCol().size(), 1u);
  // The stored list is read back: 7 goes, 10 stays.
  EXPECT_EQ(allowed("eth1"), "10");
  // A native VLAN that the interface no longer has survives the resync:
  // only a change of the interface's native VLANs removes it.
  EXPECT_EQ(native("eth1"), "9");
  port("eth1")->nativeVlanIs(3);
  port("eth1")->nativeVlanDel(3);
  EXPECT_EQ(native("eth1"), "-");
}

TEST_F(SwitchTest, ReconnectReconcilesTheSwitchVlanList) {
  connect();
  port("eth1")->vlanIs(2);
  ASSERT_EQ(vlanList(), "2");
  disconnect();
  ASSERT_EQ(node(), nullptr);

  // The switch still holds 1-3 from its last life: each stored VLAN is
  // visited once, in rising order, then each VLAN the element wants.
  ports->vlanListIs(Vek::String("1-3"));
  traces.clear();
  reconnect();
  ASSERT_NE(node(), nullptr);
  EXPECT_EQ(vlanListWrites(),
            (Strings{"Removing VLAN: 1 from vlan set 1-3", "Adding VLAN: 2 to vlan set 2-3",
                     "Removing VLAN: 3 from vlan set 2-3", "Adding VLAN: 2 to vlan set 2"}));
  EXPECT_EQ(count("00:00:00:00:00:01 Vlan: 2"), 1);
  EXPECT_EQ(vlanList(), "2");

  // An empty list skips the read-back: the element's VLANs only.
  disconnect();
  ports->vlanListIs(Vek::String());
  traces.clear();
  reconnect();
  EXPECT_EQ(vlanListWrites(), Strings{"Adding VLAN: 2 to vlan set "});
  EXPECT_EQ(vlanList(), "2");
}

TEST_F(SwitchTest, StoredListsNamingVlan0Or4095AreReadWithoutThem) {
  // VLAN 0 and 4095 can never be carried; a switch that reports them in
  // its lists still gets reconciled to what the element wants.
  ports->vlanListIs(Vek::String("0,1-3,4095"));
  ports->portAllowedVlanListIs("eth1", Vek::String("0,10-11,4095"));
  startWithHost();
  port("eth1")->vlanIs(10);
  EXPECT_NO_THROW(mountRecords());
  EXPECT_EQ(vlanList(), "10");
  EXPECT_EQ(allowed("eth1"), "10");
  // Stopping the agent empties the element, which the node still hears:
  // a text it cannot read must not meet it there, inside a destructor.
  ports->vlanListIs(Vek::String());
  ports->portAllowedVlanListDel("eth1");
}

TEST_F(SwitchTest, VlansFollowThePortsAndTheElementUnion) {
  connect();
  auto eth1 = port("eth1");
  auto eth2 = port("eth2");
  eth1->vlanIs(10);
  EXPECT_EQ(allowed("eth1"), "10");
  eth1->vlanIs(11);
  eth1->vlanIs(13);
  eth2->vlanIs(10);
  EXPECT_EQ(allowed("eth1"), "10-11,13");
  EXPECT_EQ(allowed("eth2"), "10");
  EXPECT_EQ(vlanList(), "10-11,13");

  // VLAN 10 is still carried by eth2: the switch keeps it.
  eth1->vlanDel(10);
  EXPECT_EQ(allowed("eth1"), "11,13");
  EXPECT_EQ(vlanList(), "10-11,13");
  eth2->vlanDel(10);
  EXPECT_EQ(allowed("eth2"), "-");
  EXPECT_EQ(vlanList(), "11,13");

  // The element's VLANs have another writer than its ports; the switch-wide
  // list follows the element whoever writes it.
  element()->vlanIs(300);
  EXPECT_EQ(vlanList(), "11,13,300");
  element()->vlanDel(300);
  eth1->vlanDel(11);
  eth1->vlanDel(13);
  EXPECT_EQ(allowed("eth1"), "-");
  EXPECT_EQ(vlanList(), "");
  EXPECT_EQ(count("Deleting allowedVlans from eth1"), 1);
}

TEST_F(SwitchTest, InterfaceLeavingTheElementLosesBothRecords) {
  startWithHost();
  buildTwoPorts(*this);
  mountRecords();
  ASSERT_NE(node()->interface("eth1"), nullptr);
  element()->physicalInterfaceDel("eth1");
  EXPECT_EQ(node()->interface("eth1"), nullptr);
  EXPECT_EQ(allowed("eth1"), "-");
  EXPECT_EQ(native("eth1"), "-");
  EXPECT_EQ(allowed("eth2"), "30");
  EXPECT_EQ(vlanList(), "30");
}

TEST_F(SwitchTest, NativeVlanConflictHeals) {
  connect();
  auto eth1 = port("eth1");
  eth1->vlanIs(10);
  eth1->nativeVlanIs(5);
  EXPECT_EQ(native("eth1"), "5");

  eth1->nativeVlanIs(6);
  EXPECT_EQ(native("eth1"), "-");
  EXPECT_EQ(messages(0),
            Strings{"Conflict is detected for setting native vlan on interface eth1. There are 2 "
                    "different nativeVlans ( 5, 6 ) requested to be configured on the interface. "
                    "Removing nativeVlan from eth1 because of conflict."});
  eth1->nativeVlanIs(7);
  EXPECT_EQ(native("eth1"), "-");
  ASSERT_EQ(messages(0).size(), 2u);
  EXPECT_NE(messages(0)[1].find("There are 3 different nativeVlans ( 5, 6, 7 )"),
            std::string::npos);
  // The allowed list is not part of the conflict.
  EXPECT_EQ(allowed("eth1"), "10");

  // Down to one: the one that stayed is written, whichever went.
  eth1->nativeVlanDel(7);
  EXPECT_EQ(native("eth1"), "-");
  eth1->nativeVlanDel(5);
  EXPECT_EQ(native("eth1"), "6");
  EXPECT_EQ(messages(0).size(), 3u);
  eth1->nativeVlanDel(6);
  EXPECT_EQ(native("eth1"), "-");
}

TEST_F(SwitchTest, NativeVlanAbove4094IsRefusedAndTheRecordKept) {
  ports->portNativeVlanIs("eth1", 7);
  startWithHost();
  port("eth1");
  mountRecords();
  ASSERT_EQ(native("eth1"), "7");
  try {
    port("eth1")->nativeVlanIs(4095);
    ADD_FAILURE() << "native VLAN 4095 was taken";
  } catch (Vek::RangeException const& e) {
    EXPECT_STREQ(e.what(), "VlanIdOrNone::value > 4094 not allowed");
  }
  EXPECT_EQ(native("eth1"), "7");
  port("eth1")->nativeVlanDel(4095);
  EXPECT_EQ(native("eth1"), "-");
}

TEST_F(SwitchTest, JoiningAPortGroupCleansThePortAndLeavingReprovisionsIt) {
  auto vtep = vteps->vtepConfigIs("vtep1");
  vtep->vlanToVniMapIs({"eth1", 10}, 1000);
  vtep->vlanToVniMapIs({"eth1", 20}, 1020);
  vtep->vlanToVniMapIs({"eth2", 10}, 2000);
  vtep->vlanToVniMapIs({"bond0", 30}, 3000);
  startWithHost();
  buildTwoPorts(*this);
  auto bond = element()->portGroupIs("bond0");
  bond->vlanIs(30);
  mountRecords();
  ASSERT_EQ(allowed("bond0"), "30");
  ASSERT_EQ(allowed("eth1"), "10,20");

  auto eth1 = port("eth1");
  bond->memberInterfaceIs(eth1);
  eth1->portGroupIs(bond);
  EXPECT_EQ(count("Cleaning up member interface eth1"), 1);
  EXPECT_EQ(allowed("eth1"), "-");
  EXPECT_EQ(native("eth1"), "-");
  EXPECT_EQ(vtep->vlanToVniMapCol().size(), 2u);
  EXPECT_FALSE(vtep->vlanToVniMapCol().contains({"eth1", 10}));
  EXPECT_TRUE(vtep->vlanToVniMapCol().contains({"eth2", 10}));
  EXPECT_TRUE(vtep->vlanToVniMapCol().contains({"bond0", 30}));
  EXPECT_EQ(allowed("bond0"), "30");

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

TEST_F(SwitchTest, MemberPortKeepsStaleRecordsAcrossReconnect) {
  startWithHost();
  auto bond = element()->portGroupIs("bond0");
  auto eth1 = port("eth1");
  eth1->vlanIs(10);
  bond->memberInterfaceIs(eth1);
  eth1->portGroupIs(bond);
  mountRecords();
  EXPECT_EQ(allowed("eth1"), "-");

  // Entries under a member's name are not the node's to touch, even stale.
  disconnect();
  ports->portAllowedVlanListIs("eth1", Vek::String("99"));
  ports->portNativeVlanIs("eth1", 98);
  reconnect();
  ASSERT_NE(node(), nullptr);
  EXPECT_EQ(allowed("eth1"), "99");
  EXPECT_EQ(native("eth1"), "98");
}

TEST_F(SwitchTest, LostMountEndsTheNodeAndTheNextLifeSweeps) {
  startWithHost();
  buildTwoPorts(*this);
  mountRecords();
  ASSERT_NE(node(), nullptr);
  disconnect();
  EXPECT_EQ(node(), nullptr);
  EXPECT_EQ(Vek::liveObjects<SwitchNodeSm>(), 0u);
  EXPECT_EQ(Vek::liveObjects<SwitchNodeSm::VekInterface>(), 0u);
  // The node's end, then each VLAN's: its VTEP mapping goes with it.
  EXPECT_EQ(tracesOf("doCleanup", 9),
            (Strings{kMac, "Inteface: eth1 VLAN: 10", "Inteface: eth1 VLAN: 20",
                     "Inteface: eth2 VLAN: 30"}));
  // The record stays as the node left it, and nobody writes it meanwhile.
  element()->physicalInterfaceDel("eth1");
  port("eth2")->vlanIs(31);
  EXPECT_EQ(allowed("eth1"), "10,20");
  EXPECT_EQ(native("eth1"), "5");
  EXPECT_EQ(allowed("eth2"), "30");
  EXPECT_EQ(vlanList(), "10,20,30");

  reconnect();
  ASSERT_NE(node(), nullptr);
  EXPECT_EQ(allowed("eth1"), "-");
  EXPECT_EQ(native("eth1"), "-");
  EXPECT_EQ(allowed("eth2"), "30-31");
  EXPECT_EQ(vlanList(), "30-31");
}

}  // namespace
}  // namespace VirtualNetwork::Agent::Testing
