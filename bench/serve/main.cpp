// vnagent_serve_bench: loads a benchmark fabric into Redis, runs the service
// over it in this process, and measures what docs/serve.md reports:
//   - the first reconcile (every key read, the agent built, outputs written);
//   - input changes per second: a burst of hostname requests rewritten (one
//     VLAN dropped, then given back), until the service has taken them all;
//   - latency: one input write, then the keyspace event of the switch's
//     output hash that it changes.
//
//   redis-server --port 6390 --save '' --appendonly no &
//   vnagent_serve_bench --redis redis://127.0.0.1:6390 --size L
#include <algorithm>
#include <atomic>
#include <chrono>
#include <iostream>
#include <sstream>
#include <thread>

#include <CLI/CLI.hpp>

#include "bench/fabric/Generator.h"
#include "serve/Layout.h"
#include "serve/Service.h"

using namespace vnagent;
using namespace vnagent::serve;
using Clock = std::chrono::steady_clock;

namespace {

double ms(Clock::duration d) { return std::chrono::duration<double, std::milli>(d).count(); }

// Waits for a pushed message on `channel`.
bool waitFor(Redis& sub, std::string const& channel, int timeoutMs = 30000) {
  auto const end = Clock::now() + std::chrono::milliseconds(timeoutMs);
  while (Clock::now() < end) {
    auto m = sub.next(100);
    if (m && m->isArray() && m->size() == 4 && (*m)[2].str() == channel) return true;
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"The service's figures through Redis on a benchmark fabric"};
  std::string redisText = "redis://127.0.0.1:6379", size = "L", prefix = "vnbench";
  int changes = 20000, samples = 500;
  app.add_option("--redis", redisText, "A Redis to use (its database is flushed)");
  app.add_option("--size", size, "S, M, L or XL")->check(CLI::IsMember({"S", "M", "L", "XL"}));
  app.add_option("--changes", changes, "Input changes in the throughput burst");
  app.add_option("--samples", samples, "Latency samples");
  CLI11_PARSE(app, argc, argv);

  RedisUrl const url = parseRedisUrl(redisText);
  fabric::Generator const gen(*fabric::shapeNamed(size));
  auto typed = [](YAML::Node const& patch) { return jsonOf(YAML::Load(YAML::Dump(patch))); };
  Json tree = typed(gen.configPatch());
  for (fabric::U32 pair = 0; pair < (gen.shape().leaves + 1) / 2; ++pair) {
    tree.merge_patch(typed(gen.pairPatch(pair)));
  }
  Layout const layout(prefix);
  Split const keys = split(layout, tree);

  Redis redis(url);
  redis.command({"FLUSHDB"});
  redis.command({"CONFIG", "SET", "notify-keyspace-events", "K$ghx"});
  for (auto const& [key, value] : keys.inputs) redis.append({"SET", key, value.dump()});
  if (auto error = redis.flush()) {
    std::cerr << "ERROR " << *error << std::endl;
    return 1;
  }
  std::cout << "fabric " << size << ": " << gen.shape().leaves << " leaves, " << gen.servers().size()
            << " servers, " << gen.memberships() << " host/VLAN memberships, " << keys.inputs.size()
            << " input keys" << std::endl;

  std::atomic<bool> stop{false};
  std::ostringstream log;
  ServeOptions options;
  options.url = url;
  options.prefix = prefix;
  options.log = &log;
  options.stopping = [&] { return stop.load(); };
  auto const started = Clock::now();
  std::thread service([&] { vnagent::serve::serve(options); });
  while (redis.command({"EXISTS", layout.stats()}).integer() == 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  std::cout << "first reconcile: " << ms(Clock::now() - started) / 1000 << " s, "
            << redis.command({"HGET", layout.stats(), "outputFields"}).str() << " output fields"
            << std::endl;

  // Each server's request, and the same with its first VLAN dropped.
  struct Change {
    std::string key, full, reduced, output;
  };
  std::vector<Change> requests;
  Json const& byHostname = tree["clients"][fabric::Generator::kClient]["entity"]["resourcesForHostname"];
  for (auto const& server : gen.servers()) {
    Json const full = byHostname[server.hostname];
    Json reduced = full;
    reduced["vlan"].erase(reduced["vlan"].begin());
    requests.push_back({layout.input(InputKey{InputKind::hostnameRequest, server.hostname,
                                              fabric::Generator::kClient}),
                        full.dump(), reduced.dump(),
                        layout.portVlanConfig(fabric::Generator::leafId(server.legs[0].leaf))});
  }

  Redis sub(url);
  std::string const channel = "__keyspace@" + std::to_string(url.db) + "__:";
  sub.command({"PSUBSCRIBE", channel + prefix + ":out:portVlanConfig:*", channel + layout.errors()});

  // Throughput: the burst, then a value that the service refuses; its error
  // is written after every change before it has been taken.
  std::string const before = redis.command({"HGET", layout.stats(), "inputEvents"}).str();
  auto const burst = Clock::now();
  for (int i = 0; i < changes; ++i) {
    Change const& c = requests[std::size_t(i) % requests.size()];
    bool const dropped = (std::size_t(i) / requests.size()) % 2 == 0;
    redis.append({"SET", c.key, dropped ? c.reduced : c.full});
    if (i % 1000 == 999) redis.flush();
  }
  std::string const sentinel = layout.input(InputKey{InputKind::host, "bench-sentinel", ""});
  redis.append({"SET", sentinel, "{"});
  redis.flush();
  bool const done = waitFor(sub, channel + layout.errors(), 600000);
  double const seconds = ms(Clock::now() - burst) / 1000;
  // Every request back to its full value, untimed, then a second refused
  // value (another error text) to know that the service has taken them.
  for (std::size_t i = 0; i < requests.size(); ++i) redis.append({"SET", requests[i].key, requests[i].full});
  redis.append({"SET", sentinel, "["});
  redis.flush();
  waitFor(sub, channel + layout.errors(), 600000);
  redis.command({"DEL", sentinel});
  std::this_thread::sleep_for(std::chrono::milliseconds(500));  // the counters, written when idle
  std::string const after = redis.command({"HGET", layout.stats(), "inputEvents"}).str();
  std::cout << "throughput: " << changes << " changes in " << seconds << " s = "
            << (done ? changes / seconds : 0) << " changes/s (input events applied in the burst and "
            << "the restore: " << std::stoll(after) - std::stoll(before) << ")" << std::endl;

  // Latency, one change at a time.
  while (sub.next(200)) {
  }
  std::vector<double> latencies;
  for (int i = 0; i < samples; ++i) {
    Change const& c = requests[std::size_t(i) * 7919 % requests.size()];
    for (std::string const* value : {&c.reduced, &c.full}) {
      auto const t0 = Clock::now();
      redis.command({"SET", c.key, *value});
      if (!waitFor(sub, channel + c.output, 5000)) {
        std::cerr << "no output for " << c.key << std::endl;
        break;
      }
      latencies.push_back(ms(Clock::now() - t0));
      while (sub.next(0)) {
      }
    }
  }
  std::sort(latencies.begin(), latencies.end());
  if (!latencies.empty()) {
    auto at = [&](double q) { return latencies[std::size_t(q * double(latencies.size() - 1))]; };
    std::cout << "latency input write -> output write over " << latencies.size()
              << " changes: median " << at(0.5) << " ms, p90 " << at(0.9) << " ms, p99 " << at(0.99)
              << " ms, max " << latencies.back() << " ms" << std::endl;
  }
  stop = true;
  service.join();
  return 0;
}
