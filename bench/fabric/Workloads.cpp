#include "bench/fabric/Workloads.h"

#include <sys/utsname.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <thread>

#include "bench/fabric/Writers.h"
#include "model/Convert.h"
#include "reactive/AllocTrack.h"

namespace vnagent::fabric {

namespace {

using Clock = std::chrono::steady_clock;

double microsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

// A field of /proc/self/status in bytes (VmRSS, VmHWM), 0 if unreadable.
std::int64_t statusBytes(std::string const& field) {
  std::ifstream in("/proc/self/status");
  std::string line;
  while (std::getline(in, line)) {
    if (line.rfind(field + ":", 0) == 0) return std::stoll(line.substr(field.size() + 1)) * 1024;
  }
  return 0;
}

Json memory() {
  Json out = Json::object();
  out["rssMiB"] = double(statusBytes("VmRSS")) / (1 << 20);
  out["peakRssMiB"] = double(statusBytes("VmHWM")) / (1 << 20);
  return out;
}

double percentile(std::vector<double> v, double p) {
  if (v.empty()) return 0;
  std::sort(v.begin(), v.end());
  std::size_t const i = std::min(v.size() - 1, std::size_t(p * double(v.size() - 1) + 0.5));
  return v[i];
}

// The samples of one workload: a time per event, and what the events cost
// in allocations and outputs altogether.
struct Samples {
  std::vector<double> micros;
  std::uint64_t allocations = 0;
  std::uint64_t outputs = 0;

  // Times `event`, counting its allocations and the outputs `counter` hears.
  template <class F>
  void take(OutputCounter const* counter, F&& event) {
    std::uint64_t const out = counter ? counter->count() : 0;
    std::uint64_t const allocs = heapNow().allocations;
    auto const start = Clock::now();
    event();
    micros.push_back(microsSince(start));
    allocations += heapNow().allocations - allocs;
    if (counter) outputs += counter->count() - out;
  }

  // `per` divides the times (per membership, per changed entry); the
  // recompute is compared with a whole event.
  Json json(double recomputeMicros, double per = 1) const {
    Json out = Json::object();
    double const n = double(micros.size());
    out["events"] = micros.size();
    out["medianUs"] = percentile(micros, 0.5) / per;
    out["p99Us"] = percentile(micros, 0.99) / per;
    out["allocationsPerEvent"] = double(allocations) / n;
    out["outputsPerEvent"] = double(outputs) / n;
    out["recomputeOverMedian"] = recomputeMicros / percentile(micros, 0.5);
    out["memory"] = memory();
    return out;
  }
};

struct Recompute {
  double medianMicros = 0;
  Json json;
};

// The model's full recompute of what `fabric` holds: its inputs read from
// the tree the patches built, then every switch's outputs.
Recompute recompute(Fabric const& fabric, int runs) {
  auto start = Clock::now();
  model::Inputs const in = model::inputsFromTree(fabric.inputs());
  double const read = microsSince(start);
  std::vector<double> micros;
  std::size_t switches = 0;
  for (int i = 0; i < std::max(runs, 1); ++i) {
    start = Clock::now();
    switches = model::recompute(in).switches.size();
    micros.push_back(microsSince(start));
  }
  Recompute out;
  out.medianMicros = percentile(micros, 0.5);
  out.json["runs"] = micros.size();
  out.json["medianMs"] = out.medianMicros / 1000;
  out.json["readInputsMs"] = read / 1000;
  out.json["readySwitches"] = switches;
  return out;
}

Json fabricJson(Generator const& gen, double buildMicros) {
  Json out = Json::object();
  Shape const& s = gen.shape();
  out["name"] = s.name;
  out["leaves"] = s.leaves;
  out["serverPortsPerLeaf"] = s.ports;
  out["bondedPortsPerLeaf"] = s.bonded;
  out["vlansPerServer"] = s.vlans;
  out["servers"] = gen.servers().size();
  out["memberships"] = gen.memberships();
  out["buildS"] = buildMicros / 1e6;
  return out;
}

// Servers spread over the fabric, `n` of them at most, in a fixed order.
std::vector<Server const*> spread(Generator const& gen, std::size_t n, bool singleHomed = false) {
  std::vector<Server const*> all;
  for (Server const& s : gen.servers()) {
    if (!singleHomed || s.legs.size() == 1) all.push_back(&s);
  }
  std::vector<Server const*> out;
  n = std::min(n, all.size());
  for (std::size_t i = 0; i < n; ++i) out.push_back(all[i * all.size() / n]);
  return out;
}

nlohmann::json plainSection(Fabric const& fabric, char const* name) {
  auto section = fabric.section(name);
  return section ? nlohmann::json::parse(section->dump()) : nlohmann::json();
}

// A fabric of one leaf built for W4 or W5, started, with its recompute.
struct Fixture {
  explicit Fixture(Shape shape) : gen(std::move(shape)) {
    auto const start = Clock::now();
    gen.build(fabric);
    if (fabric.start(YAML::Mark())) throw std::runtime_error("the agent raised at start");
    buildMicros = microsSince(start);
  }
  Generator gen;
  Fabric fabric;
  double buildMicros = 0;
};

Json reconnect(Fabric& fabric, U32 leaves, int events, double recomputeMicros) {
  Writer writer(fabric);
  OutputCounter outputs(fabric);
  Samples samples;
  for (int i = 0; i < events; ++i) {
    U32 const leaf = U32(i) % leaves;
    writer.vtepStatusLost(leaf);
    samples.take(&outputs, [&] { writer.vtepStatusBack(leaf); });
  }
  return samples.json(recomputeMicros);
}

Json denseReconnect(VlanPattern pattern, U32 vlans, int runs) {
  Shape shape;
  shape.name = pattern == VlanPattern::dense ? "one leaf, 48 ports x 4094 VLANs"
                                             : "one leaf, 48 ports x every other VLAN";
  shape.leaves = 1;
  shape.bonded = 0;
  shape.spare = 0;
  shape.vlans = vlans;
  shape.pattern = pattern;
  Fixture f(shape);
  Recompute const r = recompute(f.fabric, runs);
  Json out = reconnect(f.fabric, 1, 5, r.medianMicros);
  out["fabric"] = fabricJson(f.gen, f.buildMicros);
  out["recompute"] = r.json;
  return out;
}

}  // namespace

Json runWorkloads(Shape const& shape, Options const& options) {
  Json out = Json::object();
  utsname host{};
  uname(&host);
  out["machine"] = {{"system", std::string(host.sysname) + " " + host.release},
                    {"cpus", std::thread::hardware_concurrency()}};

  Generator const gen(shape);
  auto fabric = std::make_unique<Fabric>();
  auto start = Clock::now();
  gen.build(*fabric);
  out["fabric"] = fabricJson(gen, microsSince(start));
  out["fabric"]["memoryBeforeAgent"] = memory();

  // W1: the agent starts over the fabric that is there.
  {
    std::int64_t const rss = statusBytes("VmRSS");
    Heap const heap = heapNow();
    std::uint64_t const live = Vek::liveObjectsOfAllTypes();
    start = Clock::now();
    if (auto raised = fabric->start(YAML::Mark())) throw std::runtime_error(raised->text);
    double const micros = microsSince(start);
    Heap const after = heapNow();
    double const members = double(gen.memberships());
    Json w = Json::object();
    w["events"] = 1;
    w["ms"] = micros / 1000;
    w["allocations"] = after.allocations - heap.allocations;
    w["rssGrowthBytesPerMembership"] = double(statusBytes("VmRSS") - rss) / members;
    w["heapGrowthBytesPerMembership"] = double(after.bytes - heap.bytes) / members;
    w["liveObjectsPerMembership"] = double(Vek::liveObjectsOfAllTypes() - live) / members;
    w["memory"] = memory();
    out["W1"] = w;
  }

  Recompute const r = recompute(*fabric, options.recomputeRuns);
  out["recompute"] = r.json;
  out["W1"]["recomputeOverStart"] = r.medianMicros / (out["W1"]["ms"].get<double>() * 1000);

  Writer writer(*fabric);
  // W2: one VLAN, new to the switch, added on one server; taken away
  // (untimed) before the next.
  {
    OutputCounter outputs(*fabric);
    Samples samples;
    for (Server const* s : spread(gen, 500)) {
      samples.take(&outputs, [&] { writer.vlanAdded(s->hostname, 4050, Generator::vniOf(4050)); });
      writer.vlanRemoved(s->hostname, 4050);
    }
    out["W2"] = samples.json(r.medianMicros);
  }

  // W3: 1,000 hostnames x 10 VLANs added, then removed; per membership.
  {
    auto const ports = plainSection(*fabric, "portVlanConfig");
    auto const vteps = plainSection(*fabric, "vtepConfig");
    std::uint64_t const live = Vek::liveObjectsOfAllTypes();
    OutputCounter outputs(*fabric);
    auto const servers = spread(gen, 1000);
    Samples added, removed;
    for (Server const* s : servers) {
      added.take(&outputs, [&] {
        for (U32 v = 4080; v < 4090; ++v) writer.vlanAdded(s->hostname, v, Generator::vniOf(v));
      });
    }
    for (Server const* s : servers) {
      removed.take(&outputs, [&] {
        for (U32 v = 4080; v < 4090; ++v) writer.vlanRemoved(s->hostname, v);
      });
    }
    Json w = Json::object();
    w["hostnames"] = servers.size();
    w["added"] = added.json(r.medianMicros, 10);
    w["removed"] = removed.json(r.medianMicros, 10);
    w["note"] = "times per membership (each event is one hostname's 10 VLANs, divided by 10)";
    w["outputsRestored"] = plainSection(*fabric, "portVlanConfig") == ports &&
                           plainSection(*fabric, "vtepConfig") == vteps;
    w["liveObjectsRestored"] = Vek::liveObjectsOfAllTypes() == live;
    out["W3"] = w;
  }

  // W4: a switch reconnecting, its VTEP status arriving again.
  out["W4"] = Json::object();
  out["W4"]["fabricLeaf"] = reconnect(*fabric, shape.leaves, 20, r.medianMicros);
  if (options.denseReconnect) {
    out["W4"]["dense4094"] = denseReconnect(VlanPattern::dense, 4094, options.recomputeRuns);
    out["W4"]["sparse2047"] = denseReconnect(VlanPattern::sparse, 2047, options.recomputeRuns);
  }

  // W6: a single-homed server moves to a spare port of the next leaf with
  // its VLANs, and back.
  {
    OutputCounter outputs(*fabric);
    Samples samples;
    Server const& s = *spread(gen, 1, true).front();
    Leg const home = s.legs.front();
    U32 const away = (home.leaf + 1) % shape.leaves;
    U32 const spare = shape.ports + 1;
    for (int i = 0; i < 50; ++i) {
      bool const out = i % 2 == 0;
      samples.take(&outputs, [&] {
        writer.linkDown(s.mac, home.nic, out ? home.leaf : away, out ? home.port : spare);
        writer.linkUp(s.mac, home.nic, out ? away : home.leaf, out ? spare : home.port);
      });
    }
    out["W6"] = samples.json(r.medianMicros);
  }

  // W5 on a leaf of its own: 40 servers asking 100 VLANs each by a domain
  // whose static map gives the VNIs in ranges of 100; one range replaced
  // (removed, written again with other VNIs): 100 entries change.
  {
    Shape fiveShape;
    fiveShape.name = "one leaf, 4000 VLANs by a static map";
    fiveShape.leaves = 1;
    fiveShape.ports = 40;
    fiveShape.vlans = 100;
    fiveShape.bonded = 0;
    fiveShape.spare = 0;
    fiveShape.pattern = VlanPattern::blocks;
    fiveShape.staticVnis = true;
    Fixture f(fiveShape);
    Recompute const fr = recompute(f.fabric, options.recomputeRuns);
    Writer w5(f.fabric);
    OutputCounter outputs(f.fabric);
    Samples samples;
    for (int i = 0; i < 20; ++i) {
      U32 const vni = i % 2 == 0 ? 300000 + 2001 : Generator::staticVniBase(2001);
      samples.take(&outputs, [&] { w5.staticRangeReplaced(Generator::kDomain, 2001, 2100, vni); });
    }
    Json w = samples.json(fr.medianMicros, 100);
    w["note"] = "times per changed entry (each event changes 100 VTEP map entries)";
    w["fabric"] = fabricJson(f.gen, f.buildMicros);
    w["recompute"] = fr.json;
    out["W5"] = w;
  }

  start = Clock::now();
  fabric.reset();
  out["teardownMs"] = microsSince(start) / 1000;
  out["memory"] = memory();
  return out;
}

}  // namespace vnagent::fabric
