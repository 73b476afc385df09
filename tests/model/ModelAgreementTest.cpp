// The reference model against the agent: every scenario file of
// tests/scenarios and examples/ runs through the tool's Fabric, and after
// every step while the agent runs, the switch records it shows must equal
// what the model computes from the inputs the patches have built.
//
// What the agent cannot do yet is skipped, file by file, below; empty the
// lists as the issues land, and a disagreement that remains is a fault of
// one side.
#include <algorithm>
#include <cctype>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "model/Agreement.h"
#include "tools/vnagent/Scenario.h"

namespace {

namespace fs = std::filesystem;

// Files whose steps reach a state that depends on the order of events (see
// the list in model/Model.h) where the harness does not yet pause its
// comparison by itself.
std::map<std::string, std::string> const kNotYetBuilt = {
    {"vni-deferral.yaml", "a switch that lost its VTEP status keeps its VTEP map (order case 7)"},
    {"road-hostname-orders.yaml", "a switch that lost its VTEP status keeps its port records (order case 7)"},
    {"vni-two-domains.yaml", "with two VTEPs, single changes reach the first one only (order case 13)"},
};

std::vector<std::string> scenarioFiles() {
  std::vector<std::string> files;
  for (char const* dir : {"tests/scenarios", "examples"}) {
    fs::path const root = fs::path(VNAGENT_SOURCE_DIR) / dir;
    if (!fs::exists(root)) continue;
    for (auto const& entry : fs::directory_iterator(root)) {
      if (entry.path().extension() == ".yaml") files.push_back(entry.path().string());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

class ModelAgreement : public testing::TestWithParam<std::string> {};

TEST_P(ModelAgreement, RecordsEqualTheModelAfterEveryStep) {
  std::string const file = GetParam();
  std::string const name = fs::path(file).filename().string();
  if (auto it = kNotYetBuilt.find(name); it != kNotYetBuilt.end()) {
    GTEST_SKIP() << name << ": " << it->second;
  }
  vnagent::Scenario const scenario = vnagent::loadScenario(file);
  vnagent::Fabric fabric;
  vnagent::agreement::Agreement agreement;
  bool running = false;

  auto const& steps = scenario.steps;
  for (std::size_t i = 0; i < steps.size(); ++i) {
    vnagent::Step const& step = steps[i];
    if (step.isCheck()) continue;
    // A step that ends the process by an assertion is its scenario's business.
    if (i + 1 < steps.size() && steps[i + 1].body.IsMap() && steps[i + 1].body["abort"]) break;
    agreement.before(fabric);
    bool restarted = false;
    try {
      switch (step.kind) {
        case vnagent::Step::Kind::set:
          if (running && vnagent::agreement::writesRecords(step.body)) {
            // Another writer of the switch records: not what the model describes.
            return;
          }
          fabric.apply(step.body);
          break;
        case vnagent::Step::Kind::start:
        case vnagent::Step::Kind::restart:
          fabric.stop(step.mark);
          fabric.start(step.mark);
          running = restarted = true;
          break;
        case vnagent::Step::Kind::stop:
          fabric.stop(step.mark);
          running = false;
          break;
        default:
          break;
      }
    } catch (vnagent::PatchFault const&) {
      return;  // the scenario's own runner reports it
    }
    // A step that raised leaves records with only the leaves before the
    // raise: the model does not describe it, nor what follows.
    if (!fabric.inputsExact()) break;
    if (!running) continue;
    bool const wasSuspended = !agreement.suspended().empty();
    std::string const fault =
        agreement.after(fabric, restarted, name + " step " + std::to_string(step.number));
    if (!wasSuspended && !agreement.suspended().empty()) {
      RecordProperty("suspended", "step " + std::to_string(step.number) + ": " + agreement.suspended());
    }
    ASSERT_EQ(fault, "");
  }
  RecordProperty("comparedSteps", agreement.compared());
}

std::string testName(testing::TestParamInfo<std::string> const& info) {
  std::string name = fs::path(info.param).parent_path().filename().string() + "_" +
                     fs::path(info.param).stem().string();
  for (char& c : name) {
    if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
  }
  return name;
}

INSTANTIATE_TEST_SUITE_P(Model, ModelAgreement, testing::ValuesIn(scenarioFiles()), testName);

}  // namespace
