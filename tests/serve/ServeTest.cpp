// The service against a real redis-server, started here on a free loopback
// port in a temporary directory. redis-server is installed by
// scripts/setup.sh: a machine without it fails these tests, never skips them.
#include "serve/Service.h"

#include <gtest/gtest.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "serve/Layout.h"
#include "serve/Redis.h"
#include "tools/vnagent/Fabric.h"
#include "tools/vnagent/Grammar.h"
#include "tools/vnagent/Runner.h"
#include "tools/vnagent/Scenario.h"

extern char** environ;

namespace vnagent::serve {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

int freePort() {
  int s = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  bind(s, reinterpret_cast<sockaddr*>(&a), sizeof a);
  socklen_t n = sizeof a;
  getsockname(s, reinterpret_cast<sockaddr*>(&a), &n);
  close(s);
  return ntohs(a.sin_port);
}

// Starts `args` with its output appended to `out`; -1 if it cannot start.
pid_t spawn(std::vector<std::string> const& args, std::string const& out) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
  posix_spawn_file_actions_adddup2(&actions, 1, 2);
  std::vector<char*> argv;
  for (auto const& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  pid_t pid = -1;
  if (posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ) != 0) pid = -1;
  posix_spawn_file_actions_destroy(&actions);
  return pid;
}

void stop(pid_t& pid, int signal) {
  if (pid <= 0) return;
  kill(pid, signal);
  waitpid(pid, nullptr, 0);
  pid = -1;
}

template <class F>
bool eventually(F&& condition, std::chrono::milliseconds limit = 15s) {
  auto const end = std::chrono::steady_clock::now() + limit;
  while (std::chrono::steady_clock::now() < end) {
    if (condition()) return true;
    std::this_thread::sleep_for(20ms);
  }
  return condition();
}

std::string text(std::string const& file) {
  std::ifstream in(file);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

Json shown(std::string const& file) { return showScenario(loadScenario(file), {}).model; }

class ServeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir = fs::temp_directory_path() / ("vnagent-serve-" + std::to_string(getpid()) + "-" +
                                       ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(dir);
    url.port = freePort();
    startRedis();
  }

  void TearDown() override {
    stop(service, SIGKILL);
    stop(redis, SIGKILL);
    if (!HasFailure()) fs::remove_all(dir);
  }

  void startRedis() {
    redis = spawn({"redis-server", "--port", std::to_string(url.port), "--bind", "127.0.0.1",
                   "--save", "", "--appendonly", "no", "--dir", dir.string()},
                  (dir / "redis.log").string());
    ASSERT_GT(redis, 0) << "redis-server cannot be started (scripts/setup.sh installs it)";
    bool const up = eventually([&] {
      try {
        return Redis(url).command({"PING"}).str() == "PONG";
      } catch (Disconnected const&) {
        return false;
      }
    });
    ASSERT_TRUE(up) << "redis-server did not answer: " << text((dir / "redis.log").string());
  }

  void startService() {
    service = spawn({VNAGENT_BIN, "serve", "--redis", url.text()}, (dir / "serve.log").string());
    ASSERT_GT(service, 0);
  }

  int run(std::vector<std::string> args) {
    args.insert(args.begin(), VNAGENT_BIN);
    pid_t pid = spawn(args, (dir / "tool.log").string());
    int status = -1;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  void load(std::string const& file) {
    std::ostringstream log;
    ASSERT_EQ(serve::load(file, url, "vnagent", 0, log), 0) << log.str();
  }

  // `--once`, in this process.
  void once() {
    std::ostringstream log;
    ServeOptions options;
    options.url = url;
    options.once = true;
    options.log = &log;
    ASSERT_EQ(serve::serve(options), 0) << log.str();
  }

  Json dump() { return dumpModel(url, "vnagent"); }

  Reply command(std::vector<std::string> const& args) { return Redis(url).command(args); }

  static std::vector<std::string> scan(RedisUrl const& url) {
    Reply r = Redis(url).command({"KEYS", "vnagent:in:*"});
    std::vector<std::string> keys;
    for (std::size_t i = 0; i < r.size(); ++i) keys.push_back(r[i].str());
    std::sort(keys.begin(), keys.end());
    return keys;
  }

  // Waits until the store's outputs are those of `show` of the file.
  void expectConverges(std::string const& file, char const* when) {
    Json const expected = shown(file);
    bool const same = eventually([&] { return dump() == expected; });
    EXPECT_TRUE(same) << when << ": " << file << "\nexpected:\n"
                      << expected.dump(1) << "\nfound:\n"
                      << dump().dump(1) << "\nservice log:\n"
                      << text((dir / "serve.log").string());
  }

  fs::path dir;
  RedisUrl url;
  pid_t redis = -1;
  pid_t service = -1;
};

std::string source(std::string const& path) { return std::string(VNAGENT_SOURCE_DIR) + "/" + path; }

// A mapping's entries sorted by key, to the depth given.
Json sortedBy(Json const& value, int depth) {
  if (!value.is_object() || depth == 0) return value;
  std::vector<std::string> keys;
  for (auto it = value.begin(); it != value.end(); ++it) keys.push_back(it.key());
  std::sort(keys.begin(), keys.end());
  Json out = Json::object();
  for (auto const& k : keys) out[k] = sortedBy(value[k], depth - 1);
  return out;
}

// The outputs of an agent started over a scenario's final inputs, written
// before its start in the order of the store's key layout (by kind, then by
// name): what a service that finds them in the store must write.
Json startedOverFinalInputs(std::string const& file) {
  Json tree = Json::object();
  for (Step const& step : loadScenario(file).steps) {
    if (step.kind == Step::Kind::set) tree.merge_patch(jsonOf(step.body));
  }
  Json ordered = Json::object();
  for (char const* section : {"config", "status"}) {
    if (tree.contains(section)) ordered[section] = tree[section];
  }
  using Parts = std::vector<char const*>;
  for (auto const& [section, parts] :
       {std::pair{"topology", Parts{"host", "edge", "hostsByHostname"}},
        std::pair{"dirs", Parts{"portVlanConfig", "dynVtepConfig", "dynVtepStatus"}}}) {
    if (!tree.contains(section)) continue;
    for (char const* part : parts) {
      if (tree[section].contains(part)) ordered[section][part] = sortedBy(tree[section][part], 1);
    }
  }
  if (tree.contains("clients")) {
    ordered["clients"] = sortedBy(tree["clients"], 1);
    for (auto& client : ordered["clients"]) {
      if (!client.contains("entity") || !client["entity"].is_object()) continue;
      Json requests = Json::object();
      for (char const* field : {"resourcesForHostname", "resourcesForSwitchport"}) {
        if (client["entity"].contains(field)) requests[field] = sortedBy(client["entity"][field], 1);
      }
      client["entity"] = requests;
    }
  }
  // One record at a time; one that names what is not there is left out, as
  // the service leaves it waiting.
  Fabric fabric;
  auto apply = [&](Json const& patch) {
    try {
      (void)fabric.apply(yamlOf(patch));
    } catch (PatchFault const&) {
    }
  };
  for (auto it = ordered.begin(); it != ordered.end(); ++it) {
    if (it.key() == "config" || it.key() == "status") {
      apply(Json{{it.key(), *it}});
    } else if (it.key() == "clients") {
      for (auto c = it->begin(); c != it->end(); ++c) apply(Json{{"clients", {{c.key(), *c}}}});
    } else {
      for (auto part = it->begin(); part != it->end(); ++part) {
        for (auto r = part->begin(); r != part->end(); ++r) {
          apply(Json{{it.key(), {{part.key(), {{r.key(), *r}}}}}});
        }
      }
    }
  }
  (void)fabric.start(YAML::Mark());
  Json model = Json::object();
  for (std::string const& section : recordSections()) model[section] = *fabric.section(section);
  return model;
}

// Scenarios whose final outputs are not those of their final inputs alone:
// the agent keeps what it learnt on the way (or the scenario ends stopped).
std::string const kStopped = "stopped and started on the way: the first life's outputs are leftovers";
std::string const kLearnt = "the agent keeps what it heard on the way (removals, links, arrival order)";
std::string const kRaised = "a step raises part-way";
std::map<std::string, std::string> const kHistoryBound = {
    {"agent-start-and-enable.yaml", "enabled true again rebuilds nothing"},
    {"agent-switch-readiness.yaml", kLearnt},
    {"client-leaves.yaml", kStopped},
    {"client-switch-port.yaml", kLearnt},
    {"edges-element-life.yaml", kLearnt},
    {"edges-link.yaml", kLearnt},
    {"edges-port-group.yaml", kLearnt},
    {"element-port-groups.yaml", kStopped},
    {"element-switch-vlans.yaml", kLearnt},
    {"host-resources-element.yaml", kLearnt},
    {"physical-interface-elements.yaml", kStopped},
    {"port-group-members.yaml", kStopped},
    {"refused-values.yaml", kRaised},
    {"road-hostname-move-and-share.yaml", kStopped},
    {"road-hostname-orders.yaml", kStopped},
    {"road-hostname-port-group.yaml", kStopped},
    {"road-hostname-switch-link.yaml", kStopped},
    {"switch-node.yaml", kRaised},
    {"switch-node-reconnect.yaml", kLearnt},
    {"topology-hosts.yaml", kLearnt},
};

TEST_F(ServeTest, EveryScenarioLoadedGivesTheOutputsOfShow) {
  std::vector<std::string> files;
  for (char const* d : {"tests/scenarios", "examples"}) {
    for (auto const& e : fs::directory_iterator(source(d))) {
      if (e.path().extension() == ".yaml") files.push_back(e.path().string());
    }
  }
  std::sort(files.begin(), files.end());
  ASSERT_GT(files.size(), 10u);
  for (std::string const& file : files) {
    std::string const name = fs::path(file).filename().string();
    if (name == "switch-mount-assertion.yaml") continue;
    command({"FLUSHALL"});
    load(file);
    once();
    Json const fresh = startedOverFinalInputs(file);
    bool const historyBound = shown(file) != fresh;
    // The list says why each scenario is there; a scenario that leaves it
    // (or should join it) fails here.
    EXPECT_EQ(historyBound, kHistoryBound.count(name) == 1) << name;
    Json const expected = historyBound ? fresh : shown(file);
    EXPECT_EQ(dump(), expected) << file;
    // A second life over the first one's outputs sweeps nothing it should keep.
    once();
    EXPECT_EQ(dump(), expected) << file << " after a second --once";
  }
}

TEST_F(ServeTest, KilledInTheMiddleOfALoadConvergesAfterARestart) {
  std::string const file = source("tests/scenarios/small-fabric.yaml");
  startService();
  pid_t loader = spawn({VNAGENT_BIN, "load", file, "--redis", url.text(), "--step-delay", "40"},
                       (dir / "load.log").string());
  ASSERT_GT(loader, 0);
  // Some steps in, the service dies without a word.
  ASSERT_TRUE(eventually([&] { return command({"EXISTS", "vnagent:out:switchNodes"}).integer() == 1; }));
  std::this_thread::sleep_for(100ms);
  stop(service, SIGKILL);
  int status = -1;
  waitpid(loader, &status, 0);
  ASSERT_EQ(status, 0) << text((dir / "load.log").string());
  startService();
  expectConverges(file, "after the restart");
}

TEST_F(ServeTest, SwitchDeregistersAndComesBack) {
  std::string const file = source("examples/leaf-pair.yaml");
  load(file);
  startService();
  expectConverges(file, "at the start");
  std::string const entry = "vnagent:in:dirs:portVlanConfig:00-00-00-00-01-02";
  std::string const registered = command({"GET", entry}).str();
  ASSERT_FALSE(registered.empty());
  command({"DEL", entry});
  // Its entity gone, the switch's outputs go with its node.
  EXPECT_TRUE(eventually([&] {
    return command({"EXISTS", "vnagent:out:portVlanConfig:00-00-00-00-01-02"}).integer() == 0 &&
           command({"HEXISTS", "vnagent:out:switch:00-00-00-00-01-02", "portVlanConfig"}).integer() == 0;
  }));
  EXPECT_TRUE(eventually([&] { return !dump()["switchNodes"].contains("00:00:00:00:01:02"); }));
  command({"SET", entry, registered});
  expectConverges(file, "after the switch came back");
}

TEST_F(ServeTest, RedisRestartedUnderTheServiceIsReadAgain) {
  std::string const file = source("examples/leaf-pair.yaml");
  load(file);
  startService();
  expectConverges(file, "at the start");
  // The store is saved, then changed: after the restart it holds the saved
  // inputs and outputs again, and the service, which saw the change, must
  // take it back from what it reads.
  ASSERT_EQ(command({"SAVE"}).str(), "OK");
  std::string const request = "vnagent:in:clients:openstack:hostname:web";
  ASSERT_EQ(command({"DEL", request}).integer(), 1);
  ASSERT_TRUE(eventually([&] { return dump()["requests"].empty(); }));
  stop(redis, SIGKILL);
  startRedis();
  expectConverges(file, "after Redis restarted");
  EXPECT_TRUE(eventually([&] {
    return command({"HGET", "vnagent:stats", "reconnects"}).str() == "1" &&
           command({"HGET", "vnagent:stats", "resyncs"}).str() == "1";
  })) << text((dir / "serve.log").string());
}

TEST_F(ServeTest, BadInputIsReportedPerKeyAndThePreviousValueKept) {
  std::string const file = source("tests/scenarios/small-fabric.yaml");
  load(file);
  startService();
  expectConverges(file, "at the start");
  Layout const layout("vnagent");
  // One key of each kind: the scenario's own where it has one.
  std::map<InputKind, std::string> byKind;
  for (auto const& key : scan(url)) {
    if (auto parsed = layout.parseInput(key)) byKind.emplace(parsed->kind, key);
  }
  for (auto [kind, name] : {std::pair{InputKind::config, ""}, std::pair{InputKind::status, ""},
                            std::pair{InputKind::host, "aa:00"},
                            std::pair{InputKind::portVlanConfig, "00-00-00-00-09-09"},
                            std::pair{InputKind::hostnameRequest, "nobody"},
                            std::pair{InputKind::client, "openstack"},
                            std::pair{InputKind::edge, "aa:00|p1"},
                            std::pair{InputKind::hostsByHostname, "nobody"},
                            std::pair{InputKind::dynVtepConfig, "00-00-00-00-09-09"},
                            std::pair{InputKind::dynVtepStatus, "00-00-00-00-09-09"},
                            std::pair{InputKind::switchportRequest, "aa:00|p1"}}) {
    byKind.emplace(kind, layout.input(InputKey{kind, name, "openstack"}));
  }
  ASSERT_EQ(byKind.size(), 11u);
  for (auto const& entry : byKind) {
    std::string const& key = entry.second;  // a plain name: the lambdas below capture it
    std::string const previous = command({"GET", key}).str();
    command({"SET", key, "{\"a\": 1,"});
    ASSERT_TRUE(eventually([&] { return command({"HEXISTS", "vnagent:errors", key}).integer() == 1; }))
        << key;
    std::string const error = command({"HGET", "vnagent:errors", key}).str();
    EXPECT_NE(error.find(key + ": invalid JSON"), std::string::npos) << error;
    EXPECT_NE(error.find("line 1, column 9"), std::string::npos) << error;
    // Valid JSON that is no record of its kind: its place in the text.
    command({"SET", key, "{\n \"nosuch\": {}}"});
    ASSERT_TRUE(eventually([&] {
      return command({"HGET", "vnagent:errors", key}).str().find(key + ":2:2: unknown key 'nosuch'") == 0;
    })) << command({"HGET", "vnagent:errors", key}).str();
    if (previous.empty()) {
      command({"DEL", key});
    } else {
      command({"SET", key, previous});
    }
    EXPECT_TRUE(eventually([&] { return command({"HEXISTS", "vnagent:errors", key}).integer() == 0; }))
        << key << ": " << command({"HGET", "vnagent:errors", key}).str();
  }
  // The faults changed nothing: the last values in force are those of the file.
  expectConverges(file, "after the bad values");
}

}  // namespace
}  // namespace vnagent::serve
