// vnagent: runs scenario files against the virtual network agent.
//
//   vnagent run FILE...            every file in its own process; one line per
//                                  scenario, then "N passed, N failed"
//   vnagent show FILE [--json]     the final outputs and model, as YAML or JSON
//   vnagent table FILE             each switch's outputs as a table
//   vnagent plan FILE [--json]     per step, the switch outputs it writes and withdraws
//   vnagent explain FILE --switch ID --port NAME [--vlan V]
//                                  why VLANs and VNIs are (or are not) on a port
//   vnagent conflicts FILE [--json]  the conflicts in force
//   vnagent dot FILE [--png OUT]   the fabric as a Graphviz picture
//   vnagent types [NAME] [--json]  the agent's classes as they describe themselves
//   vnagent serve --redis URL      the agent as a service over Redis (docs/serve.md)
//   vnagent load FILE --redis URL  a scenario's inputs written into Redis
//   vnagent dump --redis URL       the outputs in Redis, as `show` prints them
//   --step N                       (table, explain, conflicts, dot) as step N left it
//   --trace-level N                the agent's trace lines, as they happen
//
// Exit status: 0 all passed, 1 a scenario failed, 2 a file could not be read
// (or the command line was wrong).

#include <unistd.h>

#include <csignal>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "reactive/Version.h"
#include "serve/Service.h"
#include "tools/vnagent/Fabric.h"
#include "tools/vnagent/Isolation.h"
#include "tools/vnagent/Operator.h"
#include "tools/vnagent/Output.h"
#include "tools/vnagent/Runner.h"
#include "tools/vnagent/Scenario.h"
#include "tools/vnagent/Types.h"

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

std::optional<vnagent::Scenario> load(std::string const& file) {
  try {
    return vnagent::loadScenario(file);
  } catch (vnagent::FileError const& e) {
    std::cerr << "ERROR " << e.what() << std::endl;
    return std::nullopt;
  }
}

// Runs the steps of `scenario` without checks and calls `at` with the fabric
// as step `step` left it (0: the last step that acts). What a step raised is
// noted on standard error; the run goes on, as `show` does.
bool atStep(vnagent::Scenario const& scenario, int step, int traceLevel,
            std::function<void(vnagent::Fabric const&)> const& at) {
  int last = 0;
  for (vnagent::Step const& s : scenario.steps) {
    if (!s.isCheck() && (step == 0 || s.number <= step)) last = s.number;
  }
  if (last == 0) {
    std::cerr << "ERROR " << scenario.file << ": no step acts" << (step ? " up to step " : "")
              << (step ? std::to_string(step) : std::string()) << std::endl;
    return false;
  }
  vnagent::RunOptions options;
  options.liveTraceLevel = traceLevel;
  options.live = &std::cerr;
  options.afterStep = [&](vnagent::Step const& s, std::optional<std::string> const&,
                          vnagent::Fabric const& fabric) {
    if (s.number == last) at(fabric);
  };
  vnagent::Shown const shown = vnagent::showScenario(scenario, options);
  for (std::string const& note : shown.notes) std::cerr << "note: " << note << std::endl;
  return true;
}

volatile std::sig_atomic_t stopRequested = 0;

void requestStop(int) { stopRequested = 1; }

// The URL with the password from the environment when it has none; nullopt
// after saying what is wrong with it.
std::optional<vnagent::serve::RedisUrl> redisUrl(std::string const& text) {
  try {
    auto url = vnagent::serve::parseRedisUrl(text);
    vnagent::serve::passwordFromEnvironment(url);
    return url;
  } catch (std::invalid_argument const& e) {
    std::cerr << "ERROR " << e.what() << std::endl;
    return std::nullopt;
  }
}

// Colours for a terminal; none when piped or when NO_COLOR is set.
struct Paint {
  bool on = isatty(STDOUT_FILENO) && !std::getenv("NO_COLOR");
  std::string operator()(char const* code, std::string const& text) const {
    return on ? std::string("\033[") + code + "m" + text + "\033[0m" : text;
  }
};

int plan(std::string const& file, bool json, int traceLevel) {
  auto scenario = load(file);
  if (!scenario) return kUnreadable;
  Paint const paint;
  vnagent::Json steps = vnagent::Json::array();
  std::optional<vnagent::Snapshot> before;
  vnagent::RunOptions options;
  options.liveTraceLevel = traceLevel;
  options.live = &std::cerr;
  options.afterStep = [&](vnagent::Step const& step, std::optional<std::string> const& raised,
                          vnagent::Fabric const& fabric) {
    vnagent::Snapshot after = vnagent::snapshotOf(fabric);
    vnagent::StepPlan const p = vnagent::planOf(before ? *before : vnagent::Snapshot{}, after);
    before = std::move(after);
    if (json) {
      vnagent::Json out = {{"step", step.number}, {"kind", vnagent::stepKindName(step.kind)}};
      if (!step.note.empty()) out["note"] = step.note;
      if (raised) out["raised"] = *raised;
      vnagent::Json switches = vnagent::Json::object();
      for (auto const& [sw, changes] : p.switches) {
        switches[sw] = vnagent::Json::array();
        for (auto const& c : changes) switches[sw].push_back(c.json);
      }
      out["switches"] = switches;
      out["conflictsOpened"] = vnagent::Json::array();
      for (auto const& c : p.opened) out["conflictsOpened"].push_back(c.json());
      out["conflictsHealed"] = vnagent::Json::array();
      for (auto const& c : p.healed) out["conflictsHealed"].push_back(c.json());
      steps.push_back(out);
      return;
    }
    std::cout << paint("1", "step " + std::to_string(step.number) + " " +
                                vnagent::stepKindName(step.kind))
              << (step.note.empty() ? "" : ": " + step.note) << "\n";
    if (raised) std::cout << "  " << paint("31", "raised: " + *raised) << "\n";
    if (p.empty()) std::cout << "  no switch output changes\n";
    for (auto const& [sw, changes] : p.switches) {
      std::cout << "  " << vnagent::switchLabel(*before, sw) << "\n";
      for (auto const& c : changes) {
        char const* colour = c.op == '+' ? "32" : c.op == '-' ? "31" : "33";
        std::cout << "    " << paint(colour, std::string(1, c.op) + " " + c.text) << "\n";
      }
    }
    for (auto const& c : p.opened) std::cout << "  " << paint("31", "conflict opened: " + c.text()) << "\n";
    for (auto const& c : p.healed) std::cout << "  " << paint("32", "conflict healed: " + c.text()) << "\n";
  };
  vnagent::Shown const shown = vnagent::showScenario(*scenario, options);
  if (json) std::cout << steps.dump(2) << std::endl;
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
  runCommand->footer("Example: vnagent run examples/*.yaml");
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
  showCommand->footer("Example: vnagent show examples/leaf-pair.yaml --json");
  addTraceLevel(showCommand);

  // A command over one scenario file; `withStep`: it may stop at step N.
  int step = 0;
  std::string file;
  auto addFileCommand = [&](char const* name, char const* description, bool withStep) {
    CLI::App* command = app.add_subcommand(name, description);
    command->add_option("FILE", file, "Scenario file (YAML)")->required();
    if (withStep) {
      command->add_option("--step", step, "As step N left the fabric (default: the last step)")
          ->check(CLI::PositiveNumber);
    }
    addTraceLevel(command);
    return command;
  };

  CLI::App* tableCommand = addFileCommand(
      "table", "Run a scenario's steps and print each switch's outputs as a table: per port its "
               "allowed VLANs, native VLAN and VNIs.", true);
  tableCommand->footer("Example: vnagent table examples/leaf-pair.yaml --step 3");

  CLI::App* planCommand = addFileCommand(
      "plan", "For each step of a scenario, the switch outputs it writes (+), withdraws (-) and "
              "replaces (~), per switch, and the conflicts it opens or heals.", false);
  planCommand->add_flag("--json", json, "Print JSON instead of text");
  planCommand->footer("Example: vnagent plan tests/scenarios/small-fabric.yaml");

  std::string switchId, port;
  std::optional<unsigned> vlan;
  CLI::App* explainCommand = addFileCommand(
      "explain", "Why each VLAN (or one) is or is not on a switch port, and why its VNI is or "
                 "is not mapped: the chain of holders back to the clients and static maps.", true);
  explainCommand->add_option("--switch", switchId, "The switch: colon or dash MAC, or hostname")
      ->required();
  explainCommand->add_option("--port", port, "The port or port group")->required();
  explainCommand->add_option("--vlan", vlan, "One VLAN only")->check(CLI::Range(1, 4094));
  explainCommand->footer(
      "Example: vnagent explain examples/leaf-pair.yaml --switch leaf2 --port srv1 --vlan 100");

  CLI::App* conflictsCommand = addFileCommand(
      "conflicts", "Every native VLAN and VNI conflict in force: switch, interface, VLAN, the "
                   "candidates and who asks for each.", true);
  conflictsCommand->add_flag("--json", json, "Print JSON instead of text");
  conflictsCommand->footer(
      "Example: vnagent conflicts tests/scenarios/small-fabric.yaml --step 7");

  std::string png;
  CLI::App* dotCommand = addFileCommand(
      "dot", "The fabric as a Graphviz graph: switches, servers, links, the VLANs on each "
             "switch port, conflicts in red.", true);
  dotCommand->add_option("--png", png, "Render to this PNG file with Graphviz's dot");
  dotCommand->footer("Example: vnagent dot examples/leaf-pair.yaml --png fabric.png");

  std::string typeName;
  CLI::App* typesCommand = app.add_subcommand(
      "types", "The agent's classes as they describe themselves to the framework, in "
               "registration order: attributes with their ids and kinds, constructor parameters.");
  typesCommand->add_option("NAME", typeName, "One class, by full or short name");
  typesCommand->add_flag("--json", json, "Print JSON instead of text");
  typesCommand->footer("Example: vnagent types HostResourcesSm");

  std::string redis = "redis://127.0.0.1:6379";
  std::string prefix = "vnagent";
  auto addRedis = [&](CLI::App* command) {
    command->add_option("--redis", redis,
                        "redis://[user[:password]@]host[:port][/db]; the password may come from "
                        "VNAGENT_REDIS_PASSWORD instead")
        ->capture_default_str();
    command->add_option("--prefix", prefix, "The prefix of every key")->capture_default_str();
  };

  bool once = false;
  std::string traceFile;
  CLI::App* serveCommand = app.add_subcommand(
      "serve", "Run the agent as a service over Redis: read every input key, write the switch "
               "outputs, then follow the changes through keyspace notifications. Key layout, "
               "security and figures: docs/serve.md.");
  addRedis(serveCommand);
  serveCommand->add_flag("--once", once, "Reconcile, write the outputs and exit");
  addTraceLevel(serveCommand);
  serveCommand->add_option("--trace-file", traceFile,
                           "Append the trace lines to this file instead of standard error");
  serveCommand->footer("Example: vnagent serve --redis redis://vnagent@127.0.0.1:6379/0 "
                       "--trace-level 2   (password in VNAGENT_REDIS_PASSWORD)");

  int stepDelay = 0;
  CLI::App* loadCommand = app.add_subcommand(
      "load", "Write the inputs of a scenario's 'set' steps into Redis, one transaction per "
              "step (start, stop and checks are left out).");
  loadCommand->add_option("FILE", file, "Scenario file (YAML)")->required();
  addRedis(loadCommand);
  loadCommand->add_option("--step-delay", stepDelay, "Milliseconds between two steps")
      ->check(CLI::NonNegativeNumber);
  loadCommand->footer("Example: vnagent load examples/leaf-pair.yaml --redis redis://127.0.0.1:6379 "
                      "--step-delay 100");

  CLI::App* dumpCommand = app.add_subcommand(
      "dump", "Print the outputs that Redis holds (portVlanConfig, vtepConfig, elements, "
              "requests, switchNodes) as 'vnagent show' prints a scenario's.");
  addRedis(dumpCommand);
  dumpCommand->add_flag("--json", json, "Print JSON instead of YAML");
  dumpCommand->footer("Example: vnagent dump --redis redis://127.0.0.1:6379 --json");

  try {
    app.parse(argc, argv);
  } catch (CLI::Success const& e) {
    return app.exit(e);
  } catch (CLI::ParseError const& e) {
    app.exit(e);
    return kUnreadable;
  }

  if (serveCommand->parsed() || loadCommand->parsed() || dumpCommand->parsed()) {
    auto url = redisUrl(redis);
    if (!url) return kUnreadable;
    try {
      if (loadCommand->parsed()) return vnagent::serve::load(file, *url, prefix, stepDelay, std::cerr);
      if (dumpCommand->parsed()) {
        vnagent::Json const model = vnagent::serve::dumpModel(*url, prefix);
        std::cout << (json ? model.dump(2) : vnagent::toYaml(model)) << std::endl;
        return 0;
      }
      std::signal(SIGTERM, requestStop);
      std::signal(SIGINT, requestStop);
      vnagent::serve::ServeOptions options;
      options.url = *url;
      options.prefix = prefix;
      options.once = once;
      options.traceLevel = traceLevel;
      options.traceFile = traceFile;
      options.stopping = [] { return stopRequested != 0; };
      return vnagent::serve::serve(options);
    } catch (std::exception const& e) {
      std::cerr << "ERROR " << e.what() << std::endl;
      return kFailed;
    }
  }
  if (runCommand->parsed()) return run(files, traceLevel);
  if (showCommand->parsed()) return show(showFile, json, traceLevel);
  if (planCommand->parsed()) return plan(file, json, traceLevel);
  if (typesCommand->parsed()) {
    auto const types = vnagent::typesNamed(typeName);
    if (types.empty()) {
      std::cerr << "ERROR no class named " << typeName << "; 'vnagent types' lists them"
                << std::endl;
      return kUnreadable;
    }
    std::cout << (json ? vnagent::typesJson(types).dump(2) + "\n" : vnagent::typesText(types));
    return 0;
  }

  auto scenario = load(file);
  if (!scenario) return kUnreadable;
  int status = 0;
  bool const ran = atStep(*scenario, step, traceLevel, [&](vnagent::Fabric const& fabric) {
    vnagent::Snapshot const snapshot = vnagent::snapshotOf(fabric);
    if (tableCommand->parsed()) {
      std::cout << vnagent::tableOf(snapshot);
    } else if (explainCommand->parsed()) {
      try {
        for (std::string const& line : vnagent::explain(fabric, switchId, port, vlan)) {
          std::cout << line << "\n";
        }
      } catch (std::invalid_argument const& e) {
        std::cerr << "ERROR " << e.what() << std::endl;
        status = kUnreadable;
      }
    } else if (conflictsCommand->parsed()) {
      std::vector<vnagent::Conflict> const conflicts = vnagent::conflictsOf(snapshot);
      if (json) {
        vnagent::Json out = vnagent::Json::array();
        for (auto const& c : conflicts) out.push_back(c.json());
        std::cout << out.dump(2) << "\n";
      } else {
        for (auto const& c : conflicts) std::cout << c.text() << "\n";
        if (conflicts.empty()) std::cout << "no conflicts\n";
      }
    } else if (png.empty()) {
      std::cout << vnagent::dotOf(snapshot);
    } else {
      FILE* dot = popen(("dot -Tpng -o '" + png + "'").c_str(), "w");
      std::string const text = vnagent::dotOf(snapshot);
      if (!dot || std::fwrite(text.data(), 1, text.size(), dot) != text.size() || pclose(dot)) {
        std::cerr << "ERROR could not render " << png << " with Graphviz's dot" << std::endl;
        status = kFailed;
      }
    }
  });
  return ran ? status : kUnreadable;
}
