// The reference model against the agent: every scenario file of
// tests/scenarios and examples/ runs through the tool's Fabric, and after
// every step while the agent runs, the switch records it shows must equal
// what the model computes from the inputs the patches have built.
//
// The model describes the agent built after its inputs (model/Model.h), so
// the records an earlier life or an earlier node left count as inputs: a
// switch's records are taken as they stood when it last became ready (or
// when the agent started), and those of a switch that is not ready as they
// stood before the step.
//
// What the agent cannot do yet is skipped, file by file, below; empty the
// lists as the issues land, and a disagreement that remains is a fault of
// one side.
#include <algorithm>
#include <cctype>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "model/Convert.h"
#include "tools/vnagent/Fabric.h"
#include "tools/vnagent/Scenario.h"

namespace {

namespace fs = std::filesystem;
namespace model = vnagent::model;
using vnagent::Json;

// Files whose steps reach a state that depends on the order of events (see
// the list in model/Model.h) where the harness does not yet pause its
// comparison by itself.
std::map<std::string, std::string> const kNotYetBuilt = {
    {"vni-deferral.yaml", "a switch that lost its VTEP status keeps its VTEP map (order case 7)"},
    {"road-hostname-orders.yaml", "a switch that lost its VTEP status keeps its port records (order case 7)"},
    {"vni-two-domains.yaml", "with two VTEPs, single changes reach the first one only (order case 13)"},
};

// The VTEP map is compared everywhere.
constexpr bool kVniMappingBuilt = true;

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

// Key order does not matter to a section: compare them as sorted objects.
nlohmann::json plain(Json const& value) { return nlohmann::json::parse(value.dump()); }

Json sectionOf(vnagent::Fabric const& fabric, char const* name) {
  auto section = fabric.section(name);
  return section ? *section : Json::object();
}

Json memberOr(Json const& object, std::string const& key) {
  return object.contains(key) ? object[key] : Json();
}

// Whether a patch writes what the switch records hold: a second writer of
// the outputs while the agent runs.
bool writesRecords(YAML::Node const& patch) {
  YAML::Node const dirs = patch["dirs"];
  if (!dirs) return false;
  for (char const* dir : {"portVlanConfig", "dynVtepConfig"}) {
    if (!dirs[dir]) continue;
    for (auto it = dirs[dir].begin(); it != dirs[dir].end(); ++it) {
      YAML::Node const entity = it->second.IsMap() ? it->second["entity"] : YAML::Node();
      if (entity && entity.IsMap() && entity.size() > 0) return true;
    }
  }
  return false;
}

// Why a step takes the agent into a state that depends on the order of
// events (model/Model.h lists them), or "" if it does not. Comparisons
// resume at the next start, which builds the agent after its inputs again.
std::string orderDependent(model::Inputs const& before, model::Inputs const& after) {
  if (before.enabled && !after.enabled) return "enabled turned false";
  for (auto const& [domain, ranges] : after.vlanToVniMap) {
    auto const old = before.vlanToVniMap.find(domain);
    if (old == before.vlanToVniMap.end()) continue;
    for (auto const& [vlans, vnis] : ranges) {
      auto const was = old->second.find(vlans);
      if (was != old->second.end() && !(was->second == vnis)) return "a static range re-keyed";
    }
  }
  for (auto const& [name, host] : after.host) {
    auto const old = before.host.find(name);
    if (old == before.host.end()) continue;
    for (auto const& [group, members] : host.portGroup) {
      if (!old->second.portGroup.count(group)) return "a port group added to a bound host";
    }
  }
  for (auto const& [from, toPorts] : before.edge) {
    auto const now = after.edge.find(from);
    if (now == after.edge.end()) continue;
    for (auto const& [to, up] : toPorts) {
      auto const still = now->second.find(to);
      if (up && (still == now->second.end() || !still->second)) return "a toPort lost";
    }
  }
  for (auto const& [hostname, hosts] : before.hostsByHostname) {
    if (!after.hostsByHostname.count(hostname)) return "a hostname group removed whole";
  }
  auto kept = [](model::DirEntry const& was, model::DirEntry const& now) {
    return was.synchronised() && !now.synchronised() && now.entity == was.entity;
  };
  for (auto const& [id, sw] : after.switches) {
    auto const old = before.switches.find(id);
    if (old == before.switches.end()) continue;
    if (kept(old->second.portVlanConfig, sw.portVlanConfig) ||
        kept(old->second.dynVtepConfig, sw.dynVtepConfig) ||
        kept(old->second.dynVtepStatus, sw.dynVtepStatus)) {
      return "a switch's entry left status 1";
    }
  }
  // A client that counts, in the agent's eyes: until its entry goes.
  auto holds = [](model::Inputs const& in, std::string const& client, std::string const& port) {
    auto const it = in.clients.find(client);
    return it != in.clients.end() && it->second.dir.entry && it->second.bySwitchport.count(port);
  };
  for (auto const& [name, client] : before.clients) {
    auto const now = after.clients.find(name);
    if (client.dir.synchronised() && now != after.clients.end() && now->second.dir.entry &&
        !now->second.dir.synchronised()) {
      return "a client's entity went while its entry stays";
    }
    if (!client.dir.synchronised()) continue;
    for (auto const& [port, ask] : client.bySwitchport) {
      if (holds(after, name, port)) continue;
      for (auto const& [other, rest] : after.clients) {
        if (other != name && holds(after, other, port)) return "a shared switch port withdrawn";
      }
    }
  }
  return "";
}

// The native VLANs the clients ask for one switch port ("<colon-mac>|<port>").
std::set<model::U32> nativesAsked(model::Inputs const& in, std::string const& port) {
  std::set<model::U32> natives;
  for (auto const& [name, client] : in.clients) {
    auto const ask = client.bySwitchport.find(port);
    if (client.dir.synchronised() && ask != client.bySwitchport.end() && ask->second.nativeVlan) {
      natives.insert(ask->second.nativeVlan);
    }
  }
  return natives;
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
  bool running = false;
  std::set<std::string> wasReady;
  // Per switch: its records as they stood when it last became ready.
  Json leftPorts = Json::object();
  Json leftVteps = Json::object();
  int compared = 0;
  std::string suspended;  // why comparisons wait for the next start
  model::Inputs previous;

  auto const& steps = scenario.steps;
  for (std::size_t i = 0; i < steps.size(); ++i) {
    vnagent::Step const& step = steps[i];
    if (step.isCheck()) continue;
    // A step that ends the process by an assertion is its scenario's business.
    if (i + 1 < steps.size() && steps[i + 1].body.IsMap() && steps[i + 1].body["abort"]) break;
    Json const beforePorts = sectionOf(fabric, "portVlanConfig");
    Json const beforeVteps = sectionOf(fabric, "vtepConfig");
    bool restarted = false;
    try {
      switch (step.kind) {
        case vnagent::Step::Kind::set:
          if (running && writesRecords(step.body)) {
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

    model::Inputs in = model::inputsFromTree(fabric.inputs());
    if (restarted) {
      suspended.clear();
    } else if (suspended.empty()) {
      suspended = orderDependent(previous, in);
      if (!suspended.empty()) {
        RecordProperty("suspended", "step " + std::to_string(step.number) + ": " + suspended);
      }
    }
    std::set<std::string> ready;
    for (auto const& [id, sw] : model::recompute(in).switches) ready.insert(id);
    for (auto const& [id, sw] : in.switches) {
      if (restarted || !ready.count(id) || !wasReady.count(id)) {
        leftPorts[id] = memberOr(beforePorts, id);
        leftVteps[id] = memberOr(beforeVteps, id);
      }
    }
    // A stored native VLAN the reconciliation left lasts until the port's
    // native VLANs change.
    for (std::string const& id : ready) {
      if (!wasReady.count(id) || restarted || !leftPorts[id].is_object()) continue;
      Json& natives = leftPorts[id]["portNativeVlan"];
      if (!natives.is_object()) continue;
      std::vector<std::string> changed;
      for (auto it = natives.begin(); it != natives.end(); ++it) {
        std::string const key = model::colonMac(id) + "|" + it.key();
        if (nativesAsked(previous, key) != nativesAsked(in, key)) changed.push_back(it.key());
      }
      for (std::string const& port : changed) natives.erase(port);
    }
    wasReady = ready;
    previous = in;
    if (!suspended.empty()) continue;
    model::recordsFromSections(in, leftPorts, leftVteps);
    model::Outputs const out = model::recompute(in);

    std::string const where = name + " step " + std::to_string(step.number);
    Json const ports = sectionOf(fabric, "portVlanConfig");
    Json const expectedPorts = model::portVlanConfigSection(in, out);
    ASSERT_EQ(plain(ports), plain(expectedPorts)) << where << ": portVlanConfig\n  agent: "
                                                  << ports.dump() << "\n  model: "
                                                  << expectedPorts.dump();
    bool const modelWritesVteps =
        std::any_of(out.switches.begin(), out.switches.end(),
                    [&](auto const& sw) { return !in.switches.at(sw.first).vtepStatus.empty(); });
    if (kVniMappingBuilt || !modelWritesVteps) {
      Json const vteps = sectionOf(fabric, "vtepConfig");
      Json const expectedVteps = model::vtepConfigSection(in, out);
      ASSERT_EQ(plain(vteps), plain(expectedVteps)) << where << ": vtepConfig\n  agent: "
                                                    << vteps.dump() << "\n  model: "
                                                    << expectedVteps.dump();
    }
    ++compared;
  }
  RecordProperty("comparedSteps", compared);
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
