// The scenario reader on any bytes: a text is either a scenario or a
// FileError naming file, line and column; nothing else may escape. A text
// that reads runs through every step (checks are not judged), and when the
// run is over no counted object of the agent is left alive.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "reactive/AllocTrack.h"
#include "tools/vnagent/Runner.h"
#include "tools/vnagent/Scenario.h"

namespace {

// An entity of another type in a switch directory (`entity: "<type>"`) is
// how a scenario reaches the agent's intended assertions: such a text is
// read, not run.
bool writesForeignEntity(YAML::Node const& node) {
  if (!node.IsMap() && !node.IsSequence()) return false;
  for (auto it = node.begin(); it != node.end(); ++it) {
    YAML::Node const value = node.IsMap() ? it->second : *it;
    if (node.IsMap() && it->first.IsScalar() && it->first.Scalar() == "entity" &&
        value.IsScalar()) {
      return true;
    }
    if (writesForeignEntity(value)) return true;
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const text(reinterpret_cast<char const*>(data), size);
  vnagent::Scenario scenario;
  try {
    scenario = vnagent::parseScenario(text, "fuzz.yaml");
  } catch (vnagent::FileError const& error) {
    if (std::string(error.what()).rfind("fuzz.yaml:", 0) != 0) std::abort();
    return 0;
  }
  // Long runs teach the fuzzer nothing the reader has not: keep them short.
  if (scenario.steps.size() > 40) return 0;
  for (vnagent::Step const& step : scenario.steps) {
    if (writesForeignEntity(step.body)) return 0;
  }
  auto const before = Vek::liveObjectsOfAllTypes();
  vnagent::showScenario(scenario, vnagent::RunOptions{});
  if (Vek::liveObjectsOfAllTypes() != before) std::abort();
  return 0;
}
