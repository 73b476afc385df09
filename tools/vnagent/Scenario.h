// A scenario file, read and checked as a whole before any step runs.
//
// loadScenario reads the file, parses it as YAML and validates every node
// against the grammar (Grammar.h): unknown keys, values of the wrong type,
// numbers out of range, duplicate keys, steps that do more or less than one
// thing, an agent started twice or stopped while not running. The first
// fault is raised as a FileError whose text starts with "FILE:LINE:COLUMN: ";
// nothing is run from a file with a fault.
//
//   Scenario s = loadScenario("examples/fabric.yaml");
//   for (Step const& step : s.steps) ...
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "tools/vnagent/Shape.h"
#include "tools/vnagent/Yaml.h"

namespace vnagent {

// A fault of a scenario file: "FILE:LINE:COLUMN: <what is wrong>".
class FileError : public std::runtime_error {
 public:
  FileError(std::string const& file, YAML::Mark const& mark, std::string const& message);
  // For a file that cannot be read at all: "FILE: <message>".
  FileError(std::string const& file, std::string const& message);
};

// "FILE:LINE:COLUMN" with 1-based line and column.
std::string position(std::string const& file, YAML::Mark const& mark);

struct Step {
  enum class Kind { set, start, stop, restart, expect, expectIncludes };

  Kind kind = Kind::set;
  int number = 0;   // 1-based, as reports name it
  YAML::Node body;  // the patch of `set`, the sections of a check
  YAML::Mark mark;  // where the step's key stands
  std::string note;

  bool isCheck() const { return kind == Kind::expect || kind == Kind::expectIncludes; }
};

// "set", "start", ..., "expectIncludes".
char const* stepKindName(Step::Kind kind);

struct Scenario {
  std::string file;
  std::string name;  // the `name`, or the file's base name without extension
  std::string description;
  int traceLevel = 3;
  std::vector<Step> steps;
};

// Reads and validates `file`; raises FileError.
Scenario loadScenario(std::string const& file);
// Validates `text` as the contents of `file`; raises FileError.
Scenario parseScenario(std::string const& text, std::string const& file);

// Checks `node` against `shape` as the loader checks a file: raises FileError
// "FILE:LINE:COLUMN: expected ... in <what> at <path>, found ...".
void checkNode(YAML::Node const& node, Shape const& shape, std::string const& file,
               std::string const& what);

}  // namespace vnagent
