#include "tests/agent/AgentFixture.h"

namespace VirtualNetwork::Agent::Testing {
namespace {

constexpr char kMac[] = "00:11:22:33:44:55";
constexpr char kDash[] = "00-11-22-33-44-55";

using AgentTest = AgentFixture;

TEST_F(AgentTest, EmptyInputsMakeTheTwoCollectionsAndNothingElse) {
  start();
  ASSERT_NE(status->networkElementCollection(), nullptr);
  ASSERT_NE(status->requestedResourcesCollection(), nullptr);
  EXPECT_EQ(status->networkElementCollection()->name(), Vek::Name(""));
  EXPECT_EQ(status->requestedResourcesCollection()->name(), Vek::Name(""));
  EXPECT_TRUE(agent->initialized());
  EXPECT_EQ(Vek::liveObjects<RemoteMountsStatus>(), 0u);
  EXPECT_EQ(count("Cleaning up networkElementCollection"), 0);
}

TEST_F(AgentTest, LeftoversOfAnEarlierLifeAreClearedAtStart) {
  auto elements = status->networkElementCollectionIs(Vek::Name(""));
  elements->networkElementIs(Vek::Name("aa:aa"));
  auto requests = status->requestedResourcesCollectionIs(Vek::Name(""));
  requests->resourcesForHostnameIs(Vek::Name("host1"));
  start();
  EXPECT_EQ(status->networkElementCollection(), elements);
  EXPECT_EQ(elements->networkElementCol().size(), 0u);
  EXPECT_EQ(requests->resourcesForHostnameCol().size(), 0u);
  EXPECT_EQ(messages(2), (std::vector<std::string>{"Cleaning up networkElementCollection",
                                                   "Cleaning up requestedResourcesCollection"}));
}

// The four facts of a switch, each one step.
struct Fact {
  char const* name;
  void (AgentFixture::*apply)(std::string const&);
  bool colon;
};

TEST_F(AgentTest, SwitchBecomesReadyOnTheLastOfFourFactsInEveryOrder) {
  std::vector<Fact> facts{{"topology", &AgentFixture::addHost, true},
                          {"portVlanConfig", &AgentFixture::mountPortVlanConfig, false},
                          {"dynVtepConfig", &AgentFixture::mountDynVtepConfig, false},
                          {"dynVtepStatus", &AgentFixture::mountDynVtepStatus, false}};
  std::vector<int> order{0, 1, 2, 3};
  int orders = 0;
  do {
    SCOPED_TRACE(std::string(facts[order[0]].name) + "," + facts[order[1]].name + "," +
                 facts[order[2]].name + "," + facts[order[3]].name);
    TearDown();
    SetUp();
    start();
    for (std::size_t i = 0; i < order.size(); ++i) {
      Fact const& fact = facts[order[i]];
      (this->*fact.apply)(fact.colon ? kMac : kDash);
      RemoteMountsStatus* record = agent->remoteMountsStatus(kDash);
      ASSERT_NE(record, nullptr);
      bool const last = i + 1 == order.size();
      EXPECT_EQ(record->ready(), last);
      EXPECT_EQ(count("Ready: true"), last ? 1 : 0);
      if (last) {
        auto element = status->networkElementCollection()->networkElement(Vek::Name(kMac));
        ASSERT_NE(element, nullptr);
        EXPECT_TRUE(element->referrer(kMac));
      }
    }
    ++orders;
  } while (std::next_permutation(order.begin(), order.end()));
  EXPECT_EQ(orders, 24);
}

TEST_F(AgentTest, SwitchMountedBeforeStartIsReadyWithinConstruction) {
  addSwitch(kMac);
  start();
  ASSERT_NE(agent->remoteMountsStatus(kDash), nullptr);
  EXPECT_TRUE(agent->remoteMountsStatus(kDash)->ready());
  EXPECT_EQ(count("Ready: true"), 1);
  EXPECT_NE(status->networkElementCollection()->networkElement(Vek::Name(kMac)), nullptr);
}

TEST_F(AgentTest, EntryNotSynchronisedThenSynchronised) {
  start();
  addHost(kMac);
  mountDynVtepConfig(kDash);
  mountDynVtepStatus(kDash);
  mount(portVlanConfigDir, kDash, ControllerProxyAgent::PortVlanConfigV1Is(Vek::Name(kDash)), 3);
  EXPECT_EQ(count("entry instantiated but not synchronized"), 1);
  EXPECT_FALSE(agent->remoteMountsStatus(kDash)->portVlanConfig());
  portVlanConfigDir->entryState(Vek::Name(kDash))->statusIs(1);
  EXPECT_TRUE(agent->remoteMountsStatus(kDash)->portVlanConfig());
  EXPECT_TRUE(agent->remoteMountsStatus(kDash)->ready());
}

TEST_F(AgentTest, ReadySwitchStaysReadyWhenItsEntryLeavesTheSynchronisedState) {
  addSwitch(kMac);
  start();
  traces.clear();
  dynVtepConfigDir->entryState(Vek::Name(kDash))->statusIs(2);
  EXPECT_TRUE(agent->remoteMountsStatus(kDash)->ready());
  EXPECT_EQ(count("entry instantiated but not synchronized"), 1);
  EXPECT_EQ(count("Ready: false"), 0);
  // The entry going away altogether is heard by nobody but its reactor.
  dynVtepConfigDir->entryStateDel(Vek::Name(kDash));
  EXPECT_EQ(agent->dynVtepConfigDirEntry(Vek::Name(kDash)), nullptr);
  EXPECT_TRUE(agent->remoteMountsStatus(kDash)->ready());
  // An entity arriving without its entry is "not instantiated yet".
  mount(portVlanConfigDir, "aa-aa", ControllerProxyAgent::PortVlanConfigV1Is(Vek::Name("aa-aa")));
  portVlanConfigDir->entryStateDel(Vek::Name("aa-aa"));
  portVlanConfigDir->entityPtrIs(Vek::Name("aa-aa"),
                                 ControllerProxyAgent::PortVlanConfigV1Is(Vek::Name("aa-aa")));
  EXPECT_EQ(count("switch subdir added, but not instantiated yet"), 1);
}

TEST_F(AgentTest, EntityLeavingAnyDirectoryEndsReadiness) {
  for (auto dir : {&AgentFixture::portVlanConfigDir, &AgentFixture::dynVtepConfigDir,
                   &AgentFixture::dynVtepStatusDir}) {
    TearDown();
    SetUp();
    addSwitch(kMac);
    start();
    traces.clear();
    (this->*dir)->entityPtrDel(Vek::Name(kDash));
    RemoteMountsStatus* record = agent->remoteMountsStatus(kDash);
    ASSERT_NE(record, nullptr);  // records stay for the switch's next coming
    EXPECT_FALSE(record->ready());
    EXPECT_EQ(messages(2),
              (std::vector<std::string>{
                  "switch deleted",
                  "PortVlanConfig : " +
                      std::string(dir == &AgentFixture::portVlanConfigDir ? "false" : "true"),
                  "Ready: false", "Deleting switch node sm for switch 00-11-22-33-44-55"}));
  }
}

TEST_F(AgentTest, HostLeavingTheTopologyEndsReadiness) {
  addSwitch(kMac);
  start();
  traces.clear();
  topology->hostDel(Vek::Name(kMac));
  EXPECT_FALSE(agent->remoteMountsStatus(kDash)->topology());
  EXPECT_FALSE(agent->remoteMountsStatus(kDash)->ready());
  Vek::TraceRecord const* deleted = find("switch deleted");
  ASSERT_NE(deleted, nullptr);
  EXPECT_EQ(deleted->signature,
            "void VirtualNetwork::Agent::VirtualNetworkAgentSm::handleTopologyStatus(Vek::Name)");
  Vek::TraceRecord const* entry = find(" for switchId 00-11-22-33-44-55");
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->level, 9);
  // It comes back through the same door.
  addHost(kMac);
  EXPECT_TRUE(agent->remoteMountsStatus(kDash)->ready());
}

TEST_F(AgentTest, KeyWithoutSeparatorsPassesUnchanged) {
  addSwitch("sw1");
  start();
  ASSERT_NE(agent->remoteMountsStatus("sw1"), nullptr);
  EXPECT_TRUE(agent->remoteMountsStatus("sw1")->ready());
  EXPECT_NE(status->networkElementCollection()->networkElement(Vek::Name("sw1")), nullptr);
}

TEST_F(AgentTest, PlainHostHasARecordThatNeverBecomesReady) {
  start();
  addHost("aa:bb:cc:dd:ee:ff");
  ASSERT_NE(agent->remoteMountsStatus("aa-bb-cc-dd-ee-ff"), nullptr);
  EXPECT_TRUE(agent->remoteMountsStatus("aa-bb-cc-dd-ee-ff")->topology());
  EXPECT_FALSE(agent->remoteMountsStatus("aa-bb-cc-dd-ee-ff")->ready());
  EXPECT_EQ(count("Ready: true"), 0);
  // The topology makes its element all the same, held by the host's key.
  auto element = status->networkElementCollection()->networkElement(Vek::Name("aa:bb:cc:dd:ee:ff"));
  ASSERT_NE(element, nullptr);
  EXPECT_FALSE(element->isSwitchElement());
}

TEST_F(AgentTest, WrongEntityTypeInASwitchDirectoryIsTracedNotFatal) {
  start();
  addHost(kMac);
  mountDynVtepConfig(kDash);
  mountDynVtepStatus(kDash);
  mount(portVlanConfigDir, kDash, VxlanController::VtepStatusDirV2Is(Vek::Name(kDash)));
  EXPECT_EQ(count("switchId 00-11-22-33-44-55 doesn't exist in "
                  "controllerProxyAgent/v1/portVlanConfigDir"),
            1);
  EXPECT_FALSE(agent->remoteMountsStatus(kDash)->ready());
}

TEST_F(AgentTest, MountHandlersTraceTheirEntryAsTheyAlwaysHave) {
  start();
  mountPortVlanConfig(kDash);
  mountDynVtepConfig(kDash);
  EXPECT_GE(count("switchId 00-11-22-33-44-55"), 1);    // no colon here
  EXPECT_GE(count("switchId : 00-11-22-33-44-55"), 1);  // a colon here
  Vek::TraceRecord const* added = find("switch added");
  ASSERT_NE(added, nullptr);
  EXPECT_EQ(
      added->signature,
      "void VirtualNetwork::Agent::VirtualNetworkAgentSm::handlePortVlanConfigMount(Vek::String)");
  EXPECT_STREQ(added->function, "handlePortVlanConfigMount");
}

TEST_F(AgentTest, ClientEntityBeforeItsEntry) {
  start();
  auto client = VirtualNetwork::Client::RequestedResourcesCollectionIs(Vek::Name("c1"));
  clientDir->entityPtrIs(Vek::Name("c1"), client);
  EXPECT_EQ(messages(1),
            std::vector<std::string>{"networkElementCollectionDir c1 not instantiated yet"});
  clientDir->entryStateIs(Vek::DirEntryIs(Vek::Name("c1"), 0));
  clientDir->entryState(Vek::Name("c1"))->statusIs(2);
  EXPECT_EQ(count("networkElementCollectionDir c1 not synchronized"), 1);
  clientDir->entryState(Vek::Name("c1"))->statusIs(1);
  EXPECT_EQ(count("VirtualNetworkAgent client c1 added"), 1);
  clientDir->entityPtrDel(Vek::Name("c1"));
  EXPECT_EQ(count("networkElementCollectionDir c1 deleted"), 1);
  EXPECT_NE(agent->requestedResourcesColDirEntry(Vek::Name("c1")), nullptr);
  clientDir->entryStateDel(Vek::Name("c1"));
  EXPECT_EQ(agent->requestedResourcesColDirEntry(Vek::Name("c1")), nullptr);
}

TEST_F(AgentTest, EnabledFalseTrueFalse) {
  start();
  auto elements = status->networkElementCollection();
  elements->networkElementIs(Vek::Name("aa:aa"));
  status->requestedResourcesCollection()->resourcesForHostnameIs(Vek::Name("h"));
  config->enabledIs(true);  // initialised already: nothing happens
  EXPECT_EQ(elements->networkElementCol().size(), 1u);
  config->enabledIs(false);
  EXPECT_EQ(elements->networkElementCol().size(), 0u);
  EXPECT_EQ(status->requestedResourcesCollection()->resourcesForHostnameCol().size(), 0u);
  EXPECT_TRUE(agent->initialized());
  elements->networkElementIs(Vek::Name("bb:bb"));
  config->enabledIs(true);
  EXPECT_EQ(elements->networkElementCol().size(), 1u);
  EXPECT_EQ(status->networkElementCollection(), elements);
}

TEST_F(AgentTest, RecordFlagsNotifyReadyFirstAndNothingWhenUnchanged) {
  Vek::Ptr<RemoteMountsStatus> record = new RemoteMountsStatus("aa-bb");
  struct Recorder : Vek::NotifieeConst {
    std::vector<Vek::AttributeId> ids;
    void onAttribute(Vek::AttributeId id, void const*) override { ids.push_back(id); }
  };
  Vek::Ptr<Recorder> recorder = new Recorder;
  record->notifieeList()->add(recorder.ptr());
  recorder->hasNotificationActiveIs(true);
  record->topologyIs(true);
  record->portVlanConfigIs(true);
  record->dynVtepConfigIs(true);
  record->dynVtepStatusIs(true);
  record->dynVtepStatusIs(true);
  record->topologyIs(false);
  EXPECT_EQ(recorder->ids, (std::vector<Vek::AttributeId>{259, 260, 261, 263, 262, 263, 259}));
  EXPECT_EQ(record->name(), Vek::Name("aa-bb"));
  record->notifieeList()->remove(recorder.ptr());
}

TEST_F(AgentTest, NullRmsIsARangeError) {
  start();
  try {
    agent->rmsIs(nullptr);
    FAIL();
  } catch (Vek::RangeException const& e) {
    EXPECT_STREQ(
        e.what(),
        "null _rms parameter to mutator for VirtualNetwork::Agent::VirtualNetworkAgentSm::rms "
        "not allowed");
  }
}

TEST_F(AgentTest, StopLeavesNoMachineButKeepsTheOutputs) {
  addSwitch(kMac);
  start();
  agent = nullptr;
  EXPECT_EQ(Vek::liveObjects<VirtualNetworkAgentSm>(), 0u);
  EXPECT_EQ(Vek::liveObjects<RemoteMountsStatus>(), 0u);
  EXPECT_NE(status->networkElementCollection()->networkElement(Vek::Name(kMac)), nullptr);
  // A new life over the same inputs sweeps the leftovers and rebuilds.
  start();
  EXPECT_EQ(count("Cleaning up networkElementCollection"), 1);
  EXPECT_TRUE(agent->remoteMountsStatus(kDash)->ready());
}

}  // namespace
}  // namespace VirtualNetwork::Agent::Testing
