// The readiness of a switch in every order of its four facts, and what the
// record of its facts notifies. The rest of the root's behaviour, its trace
// lines included, is in the agent-*.yaml, switch-mounts.yaml and
// client-directory.yaml scenarios.
#include "tests/agent/AgentFixture.h"
#include "tests/reactive/Recorder.h"

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

TEST_F(AgentTest, RecordFlagsNotifyReadyFirstAndNothingWhenUnchanged) {
  Vek::Ptr<RemoteMountsStatus> record = new RemoteMountsStatus("aa-bb");
  auto const recorder = Vek::Testing::Recorder::on(record);
  record->topologyIs(true);
  record->portVlanConfigIs(true);
  record->dynVtepConfigIs(true);
  record->dynVtepStatusIs(true);
  record->dynVtepStatusIs(true);
  record->topologyIs(false);
  EXPECT_EQ(recorder->take(),
            (Vek::Testing::Events{"259", "260", "261", "263", "262", "263", "259"}));
}

}  // namespace
}  // namespace VirtualNetwork::Agent::Testing
