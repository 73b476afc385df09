#include "tools/vnagent/Scenario.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/Raised.h"

namespace vnagent {
namespace {

// The text of the fault that loading `text` as "s.yaml" raises, or "" if it
// loads.
std::string fault(std::string const& text) {
  try {
    parseScenario(text, "s.yaml");
  } catch (FileError const& e) {
    return e.what();
  }
  return "";
}

TEST(ScenarioLoad, ReadsNameStepsAndDefaults) {
  Scenario const s = parseScenario(
      "steps:\n"
      "  - set: {config: {enabled: true}}\n"
      "    note: turn it on\n"
      "  - start: agent\n"
      "  - expectIncludes: {elements: {}}\n",
      "dir/first-road.yaml");
  EXPECT_EQ(s.name, "first-road");
  EXPECT_EQ(s.traceLevel, 3);
  ASSERT_EQ(s.steps.size(), 3u);
  EXPECT_EQ(s.steps[0].note, "turn it on");
  EXPECT_EQ(s.steps[1].mark.line, 3);  // from 0
  EXPECT_EQ(s.steps[1].kind, Step::Kind::start);
  EXPECT_EQ(s.steps[2].number, 3);
  EXPECT_TRUE(s.steps[2].isCheck());
  EXPECT_FALSE(s.steps[1].isCheck());
  EXPECT_EQ(parseScenario("name: Native VLAN conflict\nsteps: []\n", "x").name,
            "Native VLAN conflict");
}

TEST(ScenarioLoad, UnknownKeyNamesFileLineColumnAndPlace) {
  EXPECT_EQ(fault("steps:\n"
                  "  - set:\n"
                  "      topology:\n"
                  "        host:\n"
                  "          \"00:00:00:00:00:01\": {hostname: leaf1, prot: {}}\n"),
            "s.yaml:5:50: unknown key 'prot' in step 1 set at topology/host/00:00:00:00:00:01 "
            "(known keys: hostname, port, portGroup)");
  EXPECT_EQ(fault("stpes: []\n"),
            "s.yaml:1:1: unknown key 'stpes' in the scenario (known keys: name, description, "
            "traceLevel, steps)");
  EXPECT_EQ(fault("steps:\n  - expct: {}\n"),
            "s.yaml:2:5: unknown key 'expct' in step 1 (known keys: set, start, stop, restart, "
            "expect, expectIncludes, note)");
  // A record that takes no keys says so.
  EXPECT_EQ(fault("steps:\n  - set: {status: {networkElementCollection: {aa: {x: 1}}}}\n"),
            "s.yaml:2:52: unknown key 'x' in step 1 set at status/networkElementCollection/aa "
            "(it takes no keys)");
}

TEST(ScenarioLoad, WrongTypesSayWhatWasExpected) {
  EXPECT_EQ(fault("steps:\n  - set: {config: {enabled: 'true'}}\n"),
            "s.yaml:2:29: expected true or false or null in step 1 set at config/enabled, found "
            "'true'");
  EXPECT_EQ(fault("steps:\n  - set: {clients: {c1: {entry: one}}}\n"),
            "s.yaml:2:33: expected a whole number from 0 to 4294967295 or null in step 1 set at "
            "clients/c1/entry, found 'one'");
  EXPECT_EQ(fault("steps:\n  - set: {topology: {host: [a, b]}}\n"),
            "s.yaml:2:28: expected a mapping keyed by a name in step 1 set at topology/host, found "
            "a list");
  EXPECT_EQ(fault("steps:\n  - set: {config: null}\n"),
            "s.yaml:2:11: expected a mapping in step 1 set at config, found null");
  EXPECT_EQ(fault("steps:\n  - expect: {switchNodes: {a: 1}}\n"),
            "s.yaml:2:27: expected a list of names or null in step 1 expect at switchNodes, found "
            "a mapping");
  EXPECT_EQ(fault("steps:\n  - start: agnet\n"),
            "s.yaml:2:12: expected 'agent' in step 1 start, found 'agnet'");
  EXPECT_EQ(fault("traceLevel: 10\nsteps: []\n"),
            "s.yaml:1:13: expected a trace level from 0 to 9 in the scenario at traceLevel, found "
            "'10'");
  // Any text is an entity of another type; a list is no entity at all.
  EXPECT_EQ(fault("steps:\n  - set: {dirs: {portVlanConfig: {aa: {entity: Foo::Bar}}}}\n"), "");
  EXPECT_EQ(fault("steps:\n  - set: {dirs: {portVlanConfig: {aa: {entity: [a]}}}}\n"),
            "s.yaml:2:48: expected a text or a mapping or null in step 1 set at "
            "dirs/portVlanConfig/aa/entity, found a list");
}

TEST(ScenarioLoad, NumbersMustFitThirtyTwoBits) {
  std::string const prefix =
      "steps:\n  - set: {dirs: {portVlanConfig: {aa: {entity: {portNativeVlan: {p: ";
  EXPECT_EQ(fault(prefix + "4294967295}}}}}}\n"), "");
  EXPECT_EQ(fault(prefix + "'17'}}}}}}\n"), "") << "a quoted number is a number";
  EXPECT_EQ(fault(prefix + "4294967296}}}}}}\n"),
            "s.yaml:2:69: expected a whole number from 0 to 4294967295 or null in step 1 set at "
            "dirs/portVlanConfig/aa/entity/portNativeVlan/p, found '4294967296'");
  // Keys are checked as keys.
  EXPECT_EQ(fault("steps:\n  - set: {clients: {c: {entity: {resourcesForHostname: {h: {vlan: "
                  "{4294967296: {}}}}}}}}\n"),
            "s.yaml:2:68: expected a whole number from 0 to 4294967295 as a key in step 1 set at "
            "clients/c/entity/resourcesForHostname/h/vlan, found '4294967296'");
}

TEST(ScenarioLoad, CompoundKeysNeedTheirParts) {
  EXPECT_EQ(fault("steps:\n  - set: {config: {vlanToVniMap: {tenant: {}}}}\n"),
            "s.yaml:2:35: expected '<first>|<second>' as a key in step 1 set at "
            "config/vlanToVniMap, found 'tenant'");
  EXPECT_EQ(fault("steps:\n  - set: {config: {vlanToVniMap: {a|b: {10-x: 1}}}}\n"),
            "s.yaml:2:41: expected a range '<min>-<max>' as a key in step 1 set at "
            "config/vlanToVniMap/a|b, found '10-x'");
  EXPECT_EQ(fault("steps:\n  - expect: {vtepConfig: {aa: {vtep1: {eth1|x: 5}}}}\n"),
            "s.yaml:2:40: expected '<port>|<vlan>' as a key in step 1 expect at "
            "vtepConfig/aa/vtep1, found 'eth1|x'");
}

TEST(ScenarioLoad, DuplicateKeysAreFaults) {
  EXPECT_EQ(fault("steps:\n  - set: {config: {enabled: true, enabled: false}}\n"),
            "s.yaml:2:35: duplicate key 'enabled' in step 1 set at config");
  // 100 and 0100 are the same VLAN.
  EXPECT_EQ(fault("steps:\n  - expect: {requests: {h: {vlan: {100: {}, 0100: {}}}}}\n"),
            "s.yaml:2:45: duplicate key '0100' in step 1 expect at requests/h/vlan");
}

TEST(ScenarioLoad, YamlSyntaxErrorNamesItsPlace) {
  EXPECT_EQ(fault("steps:\n  - set: {config: {enabled: true}\n  - start: agent\n"),
            "s.yaml:3:3: not valid YAML: illegal block entry");
  EXPECT_EQ(fault("- set: {}\n"),
            "s.yaml:1:1: expected a mapping with 'steps' in the scenario, found a list");
  EXPECT_EQ(fault("name: x\n"), "s.yaml:1:1: the scenario has no 'steps'");
}

TEST(ScenarioLoad, AStepDoesOneThing) {
  EXPECT_EQ(fault("steps:\n  - set: {}\n    start: agent\n"),
            "s.yaml:3:5: step 1 has both 'set' and 'start'; write one step for each");
  EXPECT_EQ(fault("steps:\n  - note: nothing\n"),
            "s.yaml:2:5: step 1 does nothing: it needs one of set, start, stop, restart, expect, "
            "expectIncludes");
  EXPECT_EQ(fault("steps:\n  - 5\n"),
            "s.yaml:2:5: expected a mapping with one of set, start, stop, restart, expect, "
            "expectIncludes in step 1, found '5'");
}

TEST(ScenarioLoad, AgentIsStartedOnceAndStoppedOnlyWhenRunning) {
  EXPECT_EQ(
      fault("steps:\n  - start: agent\n  - start: agent\n"),
      "s.yaml:3:5: step 2 starts the agent, which runs since step 1 (write 'restart: agent')");
  EXPECT_EQ(
      fault("steps:\n  - stop: agent\n"),
      "s.yaml:2:5: step 1 stops the agent, which is not running (write 'start: agent' first)");
  EXPECT_EQ(fault("steps:\n  - start: agent\n  - stop: agent\n  - restart: agent\n"),
            "s.yaml:4:5: step 3 restarts the agent, which is not running (write 'start: agent' "
            "first)");
  EXPECT_EQ(
      fault("steps:\n  - start: agent\n  - restart: agent\n  - stop: agent\n  - start: agent\n"),
      "");
}

TEST(ScenarioLoad, AbortStandsAloneAndLast) {
  EXPECT_EQ(fault("steps:\n  - start: agent\n  - expect: {abort: x}\n"), "");
  EXPECT_EQ(fault("steps:\n  - start: agent\n  - expect: {abort: x, error: null}\n"),
            "s.yaml:3:5: step 2 checks 'abort' with other sections; nothing can be checked in a "
            "process that has ended, so 'abort' stands alone");
  EXPECT_EQ(fault("steps:\n  - expect: {abort: x}\n"),
            "s.yaml:2:5: step 1 checks 'abort', but the step before it runs nothing that could end "
            "the process");
  EXPECT_EQ(fault("steps:\n  - start: agent\n  - expect: {abort: x}\n  - stop: agent\n"),
            "s.yaml:4:5: step 3 follows a check of 'abort' at step 2; a process that has ended "
            "runs no further steps");
}

TEST(ScenarioLoad, UnreadableFileIsNamed) {
  EXPECT_EQ(TestSupport::raised<FileError>([] { loadScenario("/nonexistent/dir/x.yaml"); }),
            "/nonexistent/dir/x.yaml: cannot be read");
}

}  // namespace
}  // namespace vnagent
