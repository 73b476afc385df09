// vnagent: runs scenario files against the virtual network agent.
//
//   vnagent run FILE...            every file in its own process; one line per
//                                  scenario, then "N passed, N failed"
//   vnagent show FILE [--json]     the final outputs and model, as YAML or JSON
//   --trace-level N                the agent's trace lines, as they happen
//
// Exit status: 0 all passed, 1 a scenario failed, 2 a file could not be read
// (or the command line was wrong).

#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "reactive/Version.h"
#include "tools/vnagent/Isolation.h"
#include "tools/vnagent/Output.h"
#include "tools/vnagent/Runner.h"
#include "tools/vnagent/Scenario.h"

namespace {

constexpr int kFailed = 1;
constexpr int kUnreadable = 2;

int run(std::vector<std::string> const& files, int traceLevel) {
  // Every file is read and checked before any scenario runs.
  std::vector<std::optional<vnagent::Scenario>> scenarios;
  std::vector<std::string> faults;
  for (std::string const& file : files) {
    try {
      scenarios.push_back(vnagent::loadScenario(file));
      faults.emplace_back();
    } catch (vnagent::FileError const& e) {
      scenarios.emplace_back();
      faults.push_back(e.what());
    }
  }
  int passed = 0;
  int failed = 0;
  bool unreadable = false;
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (!scenarios[i]) {
      std::cout << "ERROR " << faults[i] << std::endl;
      ++failed;
      unreadable = true;
      continue;
    }
    vnagent::Outcome const outcome = vnagent::runIsolated(*scenarios[i], traceLevel);
    if (outcome.passed) {
      std::cout << "PASS " << scenarios[i]->name << std::endl;
      ++passed;
    } else {
      std::cout << "FAIL " << scenarios[i]->name << ": " << outcome.message << std::endl;
      ++failed;
    }
  }
  std::cout << passed << " passed, " << failed << " failed" << std::endl;
  if (unreadable) return kUnreadable;
  return failed ? kFailed : 0;
}

int show(std::string const& file, bool json, int traceLevel) {
  vnagent::Scenario scenario;
  try {
    scenario = vnagent::loadScenario(file);
  } catch (vnagent::FileError const& e) {
    std::cerr << "ERROR " << e.what() << std::endl;
    return kUnreadable;
  }
  vnagent::RunOptions options;
  options.liveTraceLevel = traceLevel;
  options.live = &std::cerr;
  vnagent::Shown const shown = vnagent::showScenario(scenario, options);
  for (std::string const& note : shown.notes) std::cerr << "note: " << note << std::endl;
  std::cout << (json ? shown.model.dump(2) : vnagent::toYaml(shown.model)) << std::endl;
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"vnagent: runs scenario files against the virtual network agent", "vnagent"};
  app.set_version_flag("--version", std::string(Vek::versionString()));
  app.require_subcommand(1);

  int traceLevel = -1;
  auto addTraceLevel = [&traceLevel](CLI::App* command) {
    command
        ->add_option("--trace-level", traceLevel,
                     "Print the agent's trace lines up to this level (0-9) to standard error as "
                     "they happen")
        ->check(CLI::Range(0, 9));
  };

  std::vector<std::string> files;
  CLI::App* runCommand = app.add_subcommand(
      "run",
      "Run scenario files, each in its own process, and check them. Prints one line per "
      "scenario, then 'N passed, N failed'. Exit status 0 if all passed, 1 if one failed, 2 if a "
      "file could not be read.");
  runCommand->add_option("FILE", files, "Scenario files (YAML)")->required();
  addTraceLevel(runCommand);

  std::string showFile;
  bool json = false;
  CLI::App* showCommand = app.add_subcommand(
      "show",
      "Run a scenario's steps without its checks and print the final outputs and model "
      "(portVlanConfig, vtepConfig, elements, requests, switchNodes), as YAML that an 'expect' "
      "step accepts.");
  showCommand->add_option("FILE", showFile, "Scenario file (YAML)")->required();
  showCommand->add_flag("--json", json, "Print JSON instead of YAML");
  addTraceLevel(showCommand);

  try {
    app.parse(argc, argv);
  } catch (CLI::Success const& e) {
    return app.exit(e);
  } catch (CLI::ParseError const& e) {
    app.exit(e);
    return kUnreadable;
  }

  if (runCommand->parsed()) return run(files, traceLevel);
  return show(showFile, json, traceLevel);
}
