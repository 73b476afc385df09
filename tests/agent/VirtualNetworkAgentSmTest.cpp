// The readiness of a switch in every order of its four facts, and what the
// records and trace sites of the root pin down. The rest of the root's
// behaviour is in the agent-*.yaml, switch-mounts.yaml and
// client-directory.yaml scenarios.
#include "tests/agent/AgentFixture.h"

namespace VirtualNetwork::Agent::Testing {
namespace {

constexpr char kMac[] = "00:11:22:33:44:55";
constexpr char kDash[] = "00-11-22-33-44-55";

using AgentTest = AgentFixture;

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


}  // namespace
}  // namespace VirtualNetwork::Agent::Testing
