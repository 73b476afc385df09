// The shapes of a scenario file's two languages: the input tree that `set`
// patches, and the check sections of `expect` and `expectIncludes`.
//
// docs/scenarios.md describes both for the reader; this file is what the
// loader and the checker actually follow, so the two must be changed
// together.
#pragma once

#include <string>
#include <vector>

#include "tools/vnagent/Shape.h"

namespace vnagent {

// The input tree: config, topology, dirs, clients, status.
Shape const& patchShape();

// The check sections: portVlanConfig, vtepConfig, elements, requests,
// switchNodes, traces, tracesExclude, error, abort.
Shape const& checksShape();

// The record sections of checks, those compared against a snapshot of the
// outputs, in the order in which a check step compares them.
std::vector<std::string> const& recordSections();

}  // namespace vnagent
