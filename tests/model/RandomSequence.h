// The small fabric of the random sequences, their generator, and the run of
// one sequence with its checks after every step (RandomSequenceTest.cpp
// tells what they are). The generator draws its choices from any source of
// numbers: a seeded engine for the test, the fuzzer's bytes for
// fuzz/EventStreamFuzz.cpp.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "model/Agreement.h"
#include "reactive/AllocTrack.h"

namespace vnagent::sequence {

using vnagent::Fabric;
using vnagent::Json;
using vnagent::agreement::plain;
using vnagent::agreement::sectionOf;
namespace model = vnagent::model;

struct Step {
  enum class Kind { set, start, stop, restart } kind = Kind::set;
  Json patch;
};

// What a sequence broke: where, why, and the section a scenario's `expect`
// would name with the value it should hold.
struct Failure {
  std::size_t step = 0;
  std::string kind;  // what a shrunk sequence must still break
  std::string what;
  std::string section;
  Json expected;
};

// --- The fabric -----------------------------------------------------------------

inline std::string switchMac(int i) { return "00:00:00:00:01:0" + std::to_string(i); }
inline std::string serverMac(int i) { return "00:00:00:00:0a:0" + std::to_string(i); }
inline bool isSwitch(std::string const& mac) { return mac[13] == '1'; }
inline std::string hostnameOf(std::string const& mac) { return (isSwitch(mac) ? "leaf" : "web-") + mac.substr(16); }

struct Link {
  std::string a, b;  // "<colon-mac>|<port>"
};
inline std::vector<Link> const kLinks = {
    {switchMac(1) + "|swp1", serverMac(1) + "|eth0"}, {switchMac(1) + "|swp2", serverMac(2) + "|eth0"},
    {switchMac(2) + "|swp1", serverMac(2) + "|eth1"}, {switchMac(2) + "|swp3", serverMac(3) + "|eth0"},
    {switchMac(2) + "|swp4", serverMac(3) + "|eth1"}, {switchMac(3) + "|swp1", serverMac(1) + "|eth1"},
    {switchMac(1) + "|swp4", switchMac(3) + "|swp4"},
};
inline char const* const kDirs[] = {"portVlanConfig", "dynVtepConfig", "dynVtepStatus"};

inline bool has(Json const& tree, std::vector<std::string> const& path) {
  Json const* node = &tree;
  for (std::string const& key : path) {
    if (!node->is_object() || !node->contains(key)) return false;
    node = &(*node)[key];
  }
  return !node->is_null();
}

// --- The generator --------------------------------------------------------------

class Generator {
 public:
  explicit Generator(unsigned long seed) : rng_{[engine = std::mt19937_64(seed)]() mutable {
                                              return static_cast<std::uint32_t>(engine());
                                            }} {}
  // Choices from `next`: the fuzzer's bytes, say.
  explicit Generator(std::function<std::uint32_t()> next) : rng_{std::move(next)} {}

  // The first `warmup` steps build part of the fabric; the agent starts after them.
  Step next(Json const& in, bool running, int warmup = 8) {
    if (calls_++ == warmup) return {Step::Kind::start, {}};
    for (;;) {
      Json patch;
      switch (pick({12, 10, 6, 10, 24, 14, 6, 6})) {
        case 0: patch = host(in); break;
        case 1: patch = link(in); break;
        case 2: patch = hostnameGroup(in); break;
        case 3: patch = switchFact(in); break;
        case 4: patch = ask(in); break;
        case 5: patch = withdraw(in); break;
        case 6: patch = config(in); break;
        default:
          if (calls_ <= warmup) continue;
          if (!running) return {Step::Kind::start, {}};
          return {chance(4) ? Step::Kind::stop : Step::Kind::restart, {}};
      }
      if (!patch.is_null()) return {Step::Kind::set, patch};
    }
  }

 private:
  std::size_t pick(std::vector<int> const& weights) {
    return std::discrete_distribution<std::size_t>(weights.begin(), weights.end())(rng_);
  }
  // A remainder, not a distribution: rejection sampling never ends on a
  // source that has run dry (the fuzzer's bytes give zeros then).
  int below(int n) { return static_cast<int>(rng_() % static_cast<std::uint32_t>(n)); }
  bool chance(int n) { return below(n) == 0; }  // one in n
  template <class T>
  T const& oneOf(std::vector<T> const& items) { return items[below(int(items.size()))]; }
  std::string anyHost() { return below(2) ? switchMac(1 + below(3)) : serverMac(1 + below(3)); }

  // A host appears with its ports (and leaf2 perhaps with po1), or leaves as
  // the topology service would take it away: its links and its hostname
  // group's entry first.
  Json host(Json const& in) {
    std::string const mac = anyHost();
    Json patch;
    Json& topo = patch["topology"];
    if (!has(in, {"topology", "host", mac})) {
      Json& h = topo["host"][mac];
      h["hostname"] = hostnameOf(mac);
      for (std::string port : isSwitch(mac) ? std::vector<std::string>{"swp1", "swp2", "swp3", "swp4"}
                                            : std::vector<std::string>{"eth0", "eth1"}) {
        h["port"][port] = Json::object();
      }
      if (mac == switchMac(2) && below(2)) {
        h["port"]["swp3"]["portGroup"] = h["port"]["swp4"]["portGroup"] = "po1";
        h["portGroup"]["po1"]["memberPort"] = {{"swp3", true}, {"swp4", true}};
      }
      return patch;
    }
    for (Link const& l : kLinks) {
      if (l.a.starts_with(mac) || l.b.starts_with(mac)) {
        for (std::string const& end : {l.a, l.b}) {
          if (has(in, {"topology", "edge", end})) topo["edge"][end] = nullptr;
        }
      }
    }
    if (has(in, {"topology", "hostsByHostname", hostnameOf(mac), "host", mac})) {
      topo["hostsByHostname"][hostnameOf(mac)]["host"][mac] = nullptr;
    }
    topo["host"][mac] = nullptr;
    return patch;
  }

  // Both directions of a link, in one patch.
  Json link(Json const& in) {
    Link const& l = oneOf(kLinks);
    auto hostOf = [](std::string const& end) { return end.substr(0, end.find('|')); };
    if (!has(in, {"topology", "host", hostOf(l.a)}) || !has(in, {"topology", "host", hostOf(l.b)})) {
      return nullptr;
    }
    Json patch;
    bool const up = !has(in, {"topology", "edge", l.a});
    Json& edge = patch["topology"]["edge"];
    edge[l.a] = up ? Json{{"toPort", {{l.b, true}}}} : Json();
    edge[l.b] = up ? Json{{"toPort", {{l.a, true}}}} : Json();
    return patch;
  }

  Json hostnameGroup(Json const& in) {
    std::string const mac = anyHost();
    if (!has(in, {"topology", "host", mac})) return nullptr;
    bool const listed = has(in, {"topology", "hostsByHostname", hostnameOf(mac), "host", mac});
    Json patch;
    patch["topology"]["hostsByHostname"][hostnameOf(mac)]["host"][mac] =
        listed ? Json() : Json(true);
    return patch;
  }

  // One of the three directory facts of a switch, given or taken away in
  // one of the ways a directory can lose it; the fourth, the topology host,
  // comes and goes with `host`.
  Json switchFact(Json const& in) {
    std::string const dash = model::dashMac(switchMac(1 + below(3)));
    std::string const dir = kDirs[below(3)];
    Json patch;
    Json& child = patch["dirs"][dir][dash];
    bool const present = has(in, {"dirs", dir, dash, "entry"}) && has(in, {"dirs", dir, dash, "entity"}) &&
                         in["dirs"][dir][dash]["entry"] == "1";
    if (!present) {
      child["entry"] = 1;
      child["entity"] = dir == std::string("dynVtepStatus") ? Json{{"vtepStatus", {{"vtep1", true}}}}
                                                             : Json::object();
      return patch;
    }
    switch (below(4)) {
      case 0: child = nullptr; break;
      case 1: child["entry"] = nullptr; break;
      case 2: child["entity"] = nullptr; break;
      default: child["entry"] = 2; break;
    }
    return patch;
  }

  Json vlanAsk() {
    Json ask = Json::object();
    if (chance(2)) ask["mappedVni"][oneOf<std::string>({"100", "200", "1001"})] = true;
    if (chance(2)) ask["domain"][oneOf<std::string>({"t|n", "u|m"})] = true;
    return ask;
  }

  // A client asks for a VLAN on a switch port or for a hostname.
  Json ask(Json const& in) {
    std::string const client = "c" + std::to_string(1 + below(3));
    // A new entity under an entry that stayed is refused (the client's
    // machine outlives its entity): the directory takes the entry away first.
    if (has(in, {"clients", client, "entry"}) && !has(in, {"clients", client, "entity"})) {
      return Json{{"clients", {{client, nullptr}}}};
    }
    std::string const vlan = oneOf<std::string>({"10", "11", "20"});
    Json patch;
    Json& c = patch["clients"][client];
    c["entry"] = 1;
    if (below(2)) {
      std::string const port = switchMac(1 + below(3)) + "|swp" + std::to_string(1 + below(4));
      Json& sp = c["entity"]["resourcesForSwitchport"][port];
      if (chance(3)) sp["nativeVlan"] = 5 + below(2);
      if (!chance(4)) sp["vlan"][vlan] = vlanAsk();
      if (chance(3)) sp["remoteHost"][hostnameOf(serverMac(1 + below(3)))] = true;
    } else {
      c["entity"]["resourcesForHostname"][hostnameOf(anyHost())]["vlan"][vlan] = vlanAsk();
    }
    return patch;
  }

  // A client takes back one thing it asked for, or goes in one of the ways
  // a client can go.
  Json withdraw(Json const& in) {
    std::string const client = "c" + std::to_string(1 + below(3));
    if (!has(in, {"clients", client})) return nullptr;
    Json patch;
    Json& c = patch["clients"][client];
    switch (below(8)) {
      case 0: c = nullptr; return patch;
      case 1: c["entity"] = nullptr; return patch;
      case 2: c["entry"] = 2; return patch;
      default: break;
    }
    for (char const* kind : {"resourcesForSwitchport", "resourcesForHostname"}) {
      if (!has(in, {"clients", client, "entity", kind})) continue;
      std::vector<std::string> keys;
      for (auto const& [key, value] : in["clients"][client]["entity"][kind].items()) keys.push_back(key);
      if (keys.empty() || chance(2)) continue;
      std::string const key = oneOf(keys);
      Json const& held = in["clients"][client]["entity"][kind][key];
      Json& out = c["entity"][kind][key];
      if (chance(3) || !held.contains("vlan") || held["vlan"].empty()) {
        out = nullptr;
      } else if (chance(3) && held.contains("nativeVlan")) {
        out["nativeVlan"] = nullptr;
      } else if (chance(3) && held.contains("remoteHost")) {
        // A null map field deletes nothing in a patch: each host by its key.
        for (auto const& [host, on] : held["remoteHost"].items()) out["remoteHost"][host] = nullptr;
      } else {
        out["vlan"][held["vlan"].begin().key()] = nullptr;
      }
      return patch;
    }
    return nullptr;
  }

  Json config(Json const& in) {
    Json patch;
    Json& config = patch["config"];
    switch (below(4)) {
      case 0: config["enabled"] = !has(in, {"config", "enabled"}) || in["config"]["enabled"] != "true"; break;
      case 1: config["vlanToVniMap"]["t|n"]["10-11"] = oneOf<std::string>({"1000-1001", "3000-3001"}); break;
      case 2: config["vlanToVniMap"]["u|m"]["20-20"] = "2000-2000"; break;
      default: config["vlanToVniMap"][oneOf<std::string>({"t|n", "u|m"})] = nullptr; break;
    }
    return patch;
  }

  // A uniform random bit generator over any source of numbers.
  struct Source {
    using result_type = std::uint32_t;
    static constexpr result_type min() { return 0; }
    static constexpr result_type max() { return 0xffffffffu; }
    result_type operator()() { return next(); }
    std::function<result_type()> next;
  };
  Source rng_;
  int calls_ = 0;
};

// --- The checks -----------------------------------------------------------------

// The global requests that the inputs imply: per hostname (and per VLAN, VNI
// and domain of it) the clients that ask for it.
inline Json impliedRequests(model::Inputs const& in) {
  // `enabled` plays no part: an agent built disabled holds the requests too.
  Json out = Json::object();
  for (auto const& [name, client] : in.clients) {
    if (!client.dir.synchronised()) continue;
    for (auto const& [hostname, vlans] : client.byHostname) {
      out[hostname]["referrer"].push_back(name);
      for (auto const& [id, ask] : vlans) {
        Json& vlan = out[hostname]["vlan"][std::to_string(id)];
        vlan["referrer"].push_back(name);
        for (model::U32 vni : ask.mappedVni) vlan["mappedVni"][std::to_string(vni)].push_back(name);
        for (std::string const& domain : ask.domain) vlan["domain"][domain].push_back(name);
      }
    }
  }
  return out;
}

// The input tree with the records each switch holds now as its directories'
// contents: what a fresh agent would find.
inline Json freshInputs(Fabric const& fabric) {
  Json tree = fabric.inputs();
  Json const ports = sectionOf(fabric, "portVlanConfig");
  Json const vteps = sectionOf(fabric, "vtepConfig");
  for (auto const& [dash, record] : ports.items()) {
    if (has(tree, {"dirs", "portVlanConfig", dash, "entity"})) tree["dirs"]["portVlanConfig"][dash]["entity"] = record;
  }
  for (auto const& [dash, record] : vteps.items()) {
    if (!has(tree, {"dirs", "dynVtepConfig", dash, "entity"})) continue;
    Json entity = Json::object();
    for (auto const& [vtep, map] : record.items()) entity["vtepConfig"][vtep]["vlanToVniMap"] = map;
    tree["dirs"]["dynVtepConfig"][dash]["entity"] = entity;
  }
  return tree;
}

inline YAML::Node yaml(Json const& patch) { return YAML::Load(patch.dump()); }

// Whether an element section holds a referrer or a VLAN anywhere.
inline bool holdsAnything(Json const& node) {
  if (!node.is_object()) return false;
  for (auto const& [key, value] : node.items()) {
    bool const held = key == "referrer" || key == "vlan" || key == "nativeVlan" || key == "memberInterface";
    if ((held && !value.empty()) || holdsAnything(value)) return true;
  }
  return false;
}

// Removes every input: the clients' remote hosts first (a client that goes
// leaves its remote hosts' elements held, by design), then the clients, then the topology's links, groups and
// hosts, then the directories and the configuration.
inline std::vector<Json> removeAll(Json const& in) {
  Json hosts;
  if (in.contains("clients")) {
    for (auto const& [name, client] : in["clients"].items()) {
      if (!has(client, {"entity", "resourcesForSwitchport"})) continue;
      for (auto const& [port, ask] : client["entity"]["resourcesForSwitchport"].items()) {
        if (!has(ask, {"remoteHost"})) continue;
        for (auto const& [host, held] : ask["remoteHost"].items()) {
          hosts["clients"][name]["entity"]["resourcesForSwitchport"][port]["remoteHost"][host] = nullptr;
        }
      }
    }
  }
  Json patch;
  auto drop = [&](std::vector<std::string> const& path) {
    if (!has(in, path)) return;
    Json const* node = &in;
    for (std::string const& key : path) node = &(*node)[key];
    Json* out = &patch;
    for (std::string const& key : path) out = &(*out)[key];
    for (auto const& [key, value] : node->items()) (*out)[key] = nullptr;
  };
  drop({"clients"});
  drop({"topology", "edge"});
  drop({"topology", "hostsByHostname"});
  drop({"topology", "host"});
  for (char const* dir : kDirs) drop({"dirs", dir});
  drop({"config", "vlanToVniMap"});
  return hosts.is_null() ? std::vector<Json>{patch} : std::vector<Json>{hosts, patch};
}

// Runs `steps` (generating `extra` more with `gen` as it goes), then removes
// every input. The first failure, or nullopt; nullopt too for a sequence
// that names what does not exist (a shrunk one may).
inline std::optional<Failure> run(std::vector<Step>& steps, Generator* gen = nullptr, int extra = 0) {
  std::uint64_t const live = Vek::liveObjectsOfAllTypes();
  auto fail = [&](std::size_t i, std::string kind, std::string what, std::string section = "",
                  Json expected = {}) {
    return Failure{i, std::move(kind), std::move(what), std::move(section), std::move(expected)};
  };
  std::optional<Failure> failure;
  {
    Fabric fabric;
    vnagent::agreement::Agreement agreement;
    std::size_t const total = steps.size() + std::size_t(extra);
    for (std::size_t i = 0; !failure && i < total; ++i) {
      if (i == steps.size()) steps.push_back(gen->next(fabric.inputs(), fabric.running()));
      Step const& step = steps[i];
      agreement.before(fabric);
      std::set<std::string> const readyBefore = [&] {
        std::set<std::string> ids;
        for (auto const& [id, sw] : model::recompute(agreement.inputs()).switches) ids.insert(id);
        return ids;
      }();
      std::optional<vnagent::Raised> raised;
      try {
        switch (step.kind) {
          case Step::Kind::set: raised = fabric.apply(yaml(step.patch)); break;
          case Step::Kind::stop: raised = fabric.stop({}); break;
          case Step::Kind::restart:
          case Step::Kind::start:
            raised = fabric.stop({});
            if (!raised) raised = fabric.start({});
            break;
        }
      } catch (vnagent::PatchFault const&) {
        return std::nullopt;
      }
      if (raised) return fail(i, "raised", "raised: " + raised->text, "error", raised->text);
      if (!fabric.running()) continue;
      bool const restarted = step.kind != Step::Kind::set;
      std::string const where = "step " + std::to_string(i + 1);
      if (std::string const fault = agreement.after(fabric, restarted, where); !fault.empty()) {
        return fail(i, fault.substr(fault.find(':'), fault.find('\n') - fault.find(':')), fault);
      }
      if (!agreement.suspended().empty()) continue;
      Json const implied = impliedRequests(agreement.inputs());
      if (plain(sectionOf(fabric, "requests")) != plain(implied)) {
        failure = fail(i, "requests", where + ": requests\n  agent: " + sectionOf(fabric, "requests").dump() +
                              "\n  implied: " + implied.dump(), "requests", implied);
        break;
      }
      // A fresh agent after the same inputs, where one was just built or a
      // switch came back.
      std::set<std::string> back;
      for (auto const& [id, sw] : model::recompute(agreement.inputs()).switches) {
        if (!readyBefore.count(id)) back.insert(id);
      }
      if (!restarted && back.empty()) continue;
      Fabric fresh;
      if (fresh.apply(yaml(freshInputs(fabric))) || fresh.start({})) {
        return fail(i, "fresh", where + ": a fresh agent raised");
      }
      std::vector<char const*> sections = {"portVlanConfig", "vtepConfig"};
      if (restarted) sections.push_back("elements");
      for (char const* section : sections) {
        Json mine = plain(sectionOf(fabric, section));
        Json theirs = plain(sectionOf(fresh, section));
        if (!restarted) {
          Json m, t;
          for (std::string const& id : back) m[id] = mine[id], t[id] = theirs[id];
          mine = m, theirs = t;
        }
        if (mine != theirs) {
          failure = fail(i, std::string("fresh ") + section, where + ": " + section + " differs from a fresh agent's\n  agent: " +
                                mine.dump() + "\n  fresh: " + theirs.dump(), section, theirs);
          break;
        }
      }
    }
    if (failure) return failure;
    std::size_t const last = steps.size();
    for (Json const& patch : removeAll(fabric.inputs())) {
      if (fabric.apply(yaml(patch))) return fail(last, "end", "removing every input raised");
    }
    // An element may stay as an empty shell (a port group of a host that left
    // without links keeps its interface), and a remote host's element (named
    // by its hostname) keeps the referrer of a client that went: both by
    // design. Nothing else may hold anything.
    Json elements = sectionOf(fabric, "elements");
    Json const all = elements;
    // A port group's native VLAN may outlive its last referrer (order case 4;
    // tests/model/findings/port-group-native-vlan-left-empty.yaml).
    for (auto& [name, element] : elements.items()) {
      if (!element.contains("portGroup")) continue;
      for (auto& [group, record] : element["portGroup"].items()) record.erase("nativeVlan");
    }
    for (auto const& [name, element] : all.items()) {
      bool remote = name.find(':') == std::string::npos;
      for (auto const& [field, value] : element.items()) remote = remote && (field == "hostname" || field == "referrer");
      if (remote) elements.erase(name);
    }
    for (char const* section : {"portVlanConfig", "vtepConfig", "elements", "requests"}) {
      if (section == std::string("elements") ? holdsAnything(elements)
                                             : !sectionOf(fabric, section).empty()) {
        return fail(last, std::string("end ") + section, std::string("every input removed, yet ") + section + " holds " +
                              sectionOf(fabric, section).dump(), section, Json::object());
      }
    }
  }
  if (Vek::liveObjectsOfAllTypes() != live) {
    return Failure{steps.size(), "live", "live objects after the fabric went: " +
                                     std::to_string(Vek::liveObjectsOfAllTypes() - live), "", {}};
  }
  return std::nullopt;
}


}  // namespace vnagent::sequence
