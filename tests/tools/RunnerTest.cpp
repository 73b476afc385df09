#include "tools/vnagent/Runner.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/vnagent/Isolation.h"

namespace vnagent {
namespace {

// A switch's port VLAN configuration left by an earlier life: the checks
// below compare against it without needing any machine of the agent.
std::string const kLeftover =
    "steps:\n"
    "  - set:\n"
    "      dirs:\n"
    "        portVlanConfig:\n"
    "          aa-01: {entry: 1, entity: {vlanList: '5', portNativeVlan: {eth1: 5}}}\n";

// A step that raises: the record refuses VLAN 4095.
constexpr char kRefused[] =
    "  - set: {dirs: {portVlanConfig: {aa-01: {entity: {portNativeVlan: {eth2: 4095}}}}}}\n";

Outcome run(std::string const& text) { return runScenario(parseScenario(text, "s.yaml"), {}); }

TEST(RunnerChecks, SectionsAreCheckedInTheOrderWritten) {
  Outcome const o =
      run(kLeftover + "  - expect: {requests: {h: {}}, portVlanConfig: {}}\n");
  EXPECT_EQ(o.message, "s.yaml:6:25: step 2 expect: requests: h: expected {}, found (absent)");
}

TEST(RunnerErrors, ARaisedErrorMustBeNamedByTheNextCheck) {
  std::string const base = kLeftover + kRefused;
  Outcome o = run(base + "  - expect: {error: 'VlanIdOrNone::value > 4094 not allowed'}\n");
  EXPECT_TRUE(o.passed) << o.message;

  o = run(base +
          "  - expect: {portVlanConfig: {aa-01: {vlanList: '5', portNativeVlan: {eth1: 5}}}}\n");
  EXPECT_EQ(o.message,
            "s.yaml:6:75: step 2 set: raised: VlanIdOrNone::value > 4094 not allowed (a check "
            "naming it with 'error' must follow the step)");

  o = run(base + "  - start: agent\n");
  EXPECT_FALSE(o.passed) << "the next step is no check";
  EXPECT_EQ(o.message.rfind("s.yaml:6:75: step 2 set: raised:", 0), 0u) << o.message;

  o = run(base);
  EXPECT_FALSE(o.passed) << "the scenario ends with the error unnamed";

  o = run(base + "  - expect: {error: 'VLAN too high'}\n");
  EXPECT_EQ(o.message,
            "s.yaml:7:21: step 3 expect: error: expected 'VLAN too high', found "
            "'VlanIdOrNone::value > 4094 not allowed' (raised by step 2 at s.yaml:6:75)");

  o = run(kLeftover + "  - expect: {error: 'VLAN too high'}\n");
  EXPECT_EQ(o.message,
            "s.yaml:6:21: step 2 expect: error: expected 'VLAN too high', found no error");
}

TEST(RunnerErrors, APatchNamingWhatDoesNotExistFails) {
  Outcome const o =
      run("steps:\n  - set: {topology: {hostsByHostname: {web: {host: {'aa:01': true}}}}}\n");
  EXPECT_EQ(o.message, "s.yaml:2:62: step 1 set: no host 'aa:01' in the topology");
}

TEST(RunnerChecks, AnAbortThatDidNotHappenFails) {
  Outcome const o = run("steps:\n  - start: agent\n  - expect: {abort: portVlanConfig}\n");
  EXPECT_EQ(o.message,
            "s.yaml:3:21: step 2 expect: abort: expected step 1 to end the process by the "
            "assertion `portVlanConfig', but it ran to its end");
}

TEST(RunnerChecks, TracesAreThoseSinceThePreviousCheck) {
  std::string const text =
      "steps:\n"
      "  - start: agent\n"
      "  - expectIncludes: {traces: [{level: 9, function: "
      "VirtualNetworkAgentSm::handleInitialized}]}\n"
      "  - expectIncludes: {traces: [{function: handleInitialized}]}\n";
  Scenario s = parseScenario(text, "s.yaml");
  s.traceLevel = 9;
  Outcome const o = runScenario(s, {});
  EXPECT_EQ(o.message,
            "s.yaml:4:31: step 3 expectIncludes: traces: 1: expected {function: "
            "'handleInitialized'}, not found among the 0 lines up to level 9 written since step 2");
}

TEST(RunnerShow, ShowsEverySectionAndNotesWhatRaised) {
  Shown const shown = showScenario(
      parseScenario(kLeftover + kRefused + "  - expect: {portVlanConfig: {}}\n",
                    "s.yaml"),
      {});
  EXPECT_EQ(shown.model["portVlanConfig"].dump(),
            R"({"aa-01":{"vlanList":"5","portNativeVlan":{"eth1":5}}})");
  for (char const* section : {"vtepConfig", "elements", "requests", "switchNodes"}) {
    EXPECT_TRUE(shown.model.contains(section)) << section;
  }
  ASSERT_EQ(shown.notes.size(), 1u);
  EXPECT_EQ(shown.notes[0],
            "s.yaml:6:75: step 2 set: raised: VlanIdOrNone::value > 4094 not allowed");
}

TEST(RunnerProgress, EveryStepIsAnnouncedBeforeItRuns) {
  std::vector<int> seen;
  RunOptions options;
  options.onStep = [&seen](int n) { seen.push_back(n); };
  runScenario(
      parseScenario(kLeftover + "  - start: agent\n  - stop: agent\n", "s.yaml"),
      options);
  EXPECT_EQ(seen, (std::vector<int>{1, 2, 3}));
}

// --- The verdict on a process that ended by a signal ---

constexpr char kAbortScenario[] =
    "steps:\n"
    "  - start: agent\n"
    "  - set: {config: {enabled: true}}\n"
    "  - expect: {abort: portVlanConfig}\n";
constexpr char kAssertionText[] =
    "some trace\nagent/X.cpp:321: void f(): Assertion `portVlanConfig' failed.\n";

TEST(IsolationVerdict, OnlyTheExpectedAssertionAfterTheStepBeforeTheCheckPasses) {
  Scenario const s = parseScenario(kAbortScenario, "s.yaml");
  EXPECT_TRUE(judgeSignal(s, 2, SIGABRT, kAssertionText).passed);
  EXPECT_EQ(judgeSignal(s, 2, SIGABRT, "x.cpp:1: f(): Assertion `vtepConfigDir' failed.").message,
            "s.yaml:4:21: step 3 expect: abort: expected the assertion `portVlanConfig', found "
            "`vtepConfigDir' (x.cpp:1: f(): Assertion `vtepConfigDir' failed.)");
  EXPECT_EQ(judgeSignal(s, 1, SIGABRT, kAssertionText).message,
            "s.yaml:2:5: step 1 start: the process ended by an assertion: agent/X.cpp:321: void "
            "f(): Assertion `portVlanConfig' failed.");
  // The last assertion of the output is the one that ended the process.
  EXPECT_EQ(assertionExpression("Assertion `a' failed.\nAssertion `b' failed.\n"),
            std::optional<std::string>("b"));
  EXPECT_EQ(judgeSignal(s, 2, SIGSEGV, "")
                .message.rfind("s.yaml:3:5: step 2 set: the process ended by signal 11 (", 0),
            0u);
}

}  // namespace
}  // namespace vnagent
