// Running a scenario in a process of its own, so that a scenario that ends
// by an assertion of the agent ends nothing else.
//
// The child runs the scenario (Runner.h) and tells the parent, through a
// pipe, the number of each step before it runs it and the outcome at the
// end. Its standard error comes to the parent through another pipe: the
// parent passes it on at once (live trace lines, sanitizer reports) and
// keeps it to find the assertion that ended the child, if one did.
//
// A child that ends by SIGABRT after printing "Assertion `<expr>' failed"
// during step N passes if step N+1 checks `abort: "<expr>"`, and fails
// otherwise, naming step N and the assertion. A child that passes but then
// exits with a non-zero status (a leak report of the sanitizers) fails.
#pragma once

#include <optional>
#include <string>

#include "tools/vnagent/Runner.h"
#include "tools/vnagent/Scenario.h"

namespace vnagent {

Outcome runIsolated(Scenario const& scenario, int liveTraceLevel);

// The expression of the last "Assertion `<expr>' failed" in `text`.
std::optional<std::string> assertionExpression(std::string const& text);

// The outcome of a child that ended by `signal` during step `lastStep`
// (0: before the first), with `errorText` its standard error.
Outcome judgeSignal(Scenario const& scenario, int lastStep, int signal,
                    std::string const& errorText);

}  // namespace vnagent
