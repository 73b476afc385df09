// Comparing what a check step expects with what the agent has written.
//
// The present state comes as JSON in the model form of the check sections
// (see Snapshot.h); the expectation is the YAML node of the section, already
// validated against its shape (Grammar.h). The shape says how to compare:
//
//   record      fixed fields; a field that is empty, false or null may be
//               left out and reads as that value
//   collection  data keys; in an exact check every entry of the present
//               state must be listed, and an entry given as null must be
//               absent
//   set         a list whose order does not matter
//
// With Match::includes the check has subset meaning at every depth: what
// it lists must be there and equal, what it leaves out is not looked at. A
// collection or a set written explicitly empty ({} or []) still means
// "empty", since as a subset it would say nothing.
//
// The first difference is returned, in the order in which the expectation is
// written, then the entries it does not list:
//
//   aa-bb-cc-dd-ee-01/portNativeVlan/eth1: expected 5, found (absent)
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>
#include "tools/vnagent/Yaml.h"

#include "tools/vnagent/Shape.h"

namespace vnagent {

// Keys keep the order in which the snapshot writes them.
using Json = nlohmann::ordered_json;

enum class Match { exact, includes };

struct Difference {
  std::vector<std::string> path;  // below the section
  std::string expected;
  std::string found;
  YAML::Mark mark;  // where the expectation (or the mapping missing an entry) stands

  // "<path>: expected <x>, found <y>"
  std::string text() const;
};

// Compares `expected` (a node of `shape`, possibly null) with `actual`.
// `mark` stands for the expectation when the node has no place of its own.
std::optional<Difference> compare(YAML::Node const& expected, Json const& actual,
                                  Shape const& shape, Match mode, YAML::Mark const& mark);

// Short one-line texts of values, as differences print them: scalars as they
// are (texts in single quotes), lists as [a, b], mappings as {k: v}; long
// texts are cut with "...".
std::string renderYaml(YAML::Node const& node);
std::string renderJson(Json const& value);

}  // namespace vnagent
