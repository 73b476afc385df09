// Running a scenario in this process: its steps in order over a Fabric, its
// checks against the present state.
//
// runScenario stops at the first failed check and explains it in one line:
//
//   a.yaml:48:13: step 7 expect: portVlanConfig: aa-bb/portNativeVlan/eth1: expected 5, found
//   (absent)
//
// An exception raised by a step is kept as that step's error. The next step
// must be a check that names it with `error`; otherwise the scenario fails
// at the step that raised, with the exception's text.
//
// showScenario runs every step and no check, and returns the final state of
// the outputs and the model; what a step raised is noted and the run goes
// on.
#pragma once

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tools/vnagent/Compare.h"
#include "tools/vnagent/Scenario.h"

namespace vnagent {

class Fabric;

struct Outcome {
  bool passed = true;
  std::string message;  // why it failed; empty if it passed
};

struct RunOptions {
  int liveTraceLevel = -1;          // --trace-level
  std::ostream* live = nullptr;     // where live trace lines go
  std::function<void(int)> onStep;  // told each step's number before it runs
  // showScenario only: told of each step that acted, once it has, with what
  // it raised, if anything, and the fabric as the step left it.
  std::function<void(Step const&, std::optional<std::string> const&, Fabric const&)> afterStep;
};

Outcome runScenario(Scenario const& scenario, RunOptions const& options);

struct Shown {
  Json model;                      // section name -> model form
  std::vector<std::string> notes;  // raised exceptions, unavailable sections
};

Shown showScenario(Scenario const& scenario, RunOptions const& options);

// "FILE:LINE:COLUMN: step N <kind>: <detail>"
std::string stepMessage(Scenario const& scenario, Step const& step, YAML::Mark const& mark,
                        std::string const& detail);

}  // namespace vnagent
