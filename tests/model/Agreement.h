// The running agent's switch records against the reference model, step by
// step, for the tests that drive a Fabric (the scenario files, the random
// sequences).
//
// The model describes the agent built after its inputs (model/Model.h), so
// the records an earlier life or an earlier node left count as inputs: a
// switch's records are taken as they stood when it last became ready (or
// when the agent started), and those of a switch that is not ready as they
// stood before the step. A step that takes the agent into a state that
// depends on the order of events (the order cases of model/Model.h) suspends
// the comparison until the next start, which builds the agent after its
// inputs again.
//
//   Agreement agreement;
//   agreement.before(fabric);                 // before each step that ran
//   fabric.apply(patch);
//   std::string fault = agreement.after(fabric, restarted, "step 3");
#pragma once

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "model/Convert.h"
#include "tools/vnagent/Fabric.h"

namespace vnagent::agreement {

namespace model = vnagent::model;

// Key order does not matter to a section: compare them as sorted objects.
inline nlohmann::json plain(Json const& value) { return nlohmann::json::parse(value.dump()); }

inline Json sectionOf(Fabric const& fabric, char const* name) {
  auto section = fabric.section(name);
  return section ? *section : Json::object();
}

inline Json memberOr(Json const& object, std::string const& key) {
  return object.contains(key) ? object[key] : Json();
}

// Whether a patch writes what the switch records hold: a second writer of
// the outputs while the agent runs.
inline bool writesRecords(YAML::Node const& patch) {
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
// events (model/Model.h lists them), or "" if it does not.
inline std::string orderDependent(model::Inputs const& before, model::Inputs const& after) {
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

// Whether a client or a switch directory has an entry that is not in
// status 1 (or none) while its entity stays.
inline bool entryOutOfStep(model::Inputs const& in) {
  auto out = [](model::DirEntry const& e) {
    return e.entity == model::EntityKind::typed && e.entry != 1u;
  };
  for (auto const& [name, client] : in.clients) {
    if (out(client.dir)) return true;
  }
  for (auto const& [id, sw] : in.switches) {
    if (out(sw.portVlanConfig) || out(sw.dynVtepConfig) || out(sw.dynVtepStatus)) return true;
  }
  return false;
}

// The native VLANs the clients ask for one switch port ("<colon-mac>|<port>").
inline std::set<model::U32> nativesAsked(model::Inputs const& in, std::string const& port) {
  std::set<model::U32> natives;
  for (auto const& [name, client] : in.clients) {
    auto const ask = client.bySwitchport.find(port);
    if (client.dir.synchronised() && ask != client.bySwitchport.end() && ask->second.nativeVlan) {
      natives.insert(ask->second.nativeVlan);
    }
  }
  return natives;
}

class Agreement {
 public:
  // The records as they stand before a step.
  void before(Fabric const& fabric) {
    beforePorts_ = sectionOf(fabric, "portVlanConfig");
    beforeVteps_ = sectionOf(fabric, "vtepConfig");
  }

  // After a step, while the agent runs (`restarted`: the step built it).
  // "" when the records equal the model's or the comparison is suspended;
  // otherwise both sides, for the report.
  std::string after(Fabric const& fabric, bool restarted, std::string const& where) {
    model::Inputs in = model::inputsFromTree(fabric.inputs());
    if (restarted) {
      // A start builds the agent after its inputs again, except where an
      // entry stands out of status 1 (order case 8): which requests a new
      // agent takes from such a client or switch is not described either.
      suspended_ = entryOutOfStep(in) ? "an entry out of status 1 across a start" : "";
    } else if (suspended_.empty()) {
      suspended_ = orderDependent(previous_, in);
    }
    std::set<std::string> ready;
    for (auto const& [id, sw] : model::recompute(in).switches) ready.insert(id);
    // What the stop left; read only at a start.
    Json const nowPorts = restarted ? sectionOf(fabric, "portVlanConfig") : Json::object();
    Json const nowVteps = restarted ? sectionOf(fabric, "vtepConfig") : Json::object();
    for (auto const& [id, sw] : in.switches) {
      if (restarted && !ready.count(id)) {
        // The agent that went cleaned up after itself, and the new one leaves
        // a switch that is not ready alone: its records are what the stop left.
        leftPorts_[id] = memberOr(nowPorts, id);
        leftVteps_[id] = memberOr(nowVteps, id);
      } else if (restarted || !ready.count(id) || !wasReady_.count(id)) {
        leftPorts_[id] = memberOr(beforePorts_, id);
        leftVteps_[id] = memberOr(beforeVteps_, id);
      }
    }
    // A stored native VLAN the reconciliation left lasts until the port's
    // native VLANs change.
    for (std::string const& id : ready) {
      if (!wasReady_.count(id) || restarted || !leftPorts_[id].is_object()) continue;
      Json& natives = leftPorts_[id]["portNativeVlan"];
      if (!natives.is_object()) continue;
      std::vector<std::string> changed;
      for (auto it = natives.begin(); it != natives.end(); ++it) {
        std::string const key = model::colonMac(id) + "|" + it.key();
        if (nativesAsked(previous_, key) != nativesAsked(in, key)) changed.push_back(it.key());
      }
      for (std::string const& port : changed) natives.erase(port);
    }
    // A switch that was ready and lost a fact keeps what its cleanup left
    // (order case 7).
    for (std::string const& id : wasReady_) {
      if (!restarted && suspended_.empty() && !ready.count(id)) suspended_ = "a ready switch lost a fact";
    }
    wasReady_ = ready;
    previous_ = in;
    if (!suspended_.empty()) return "";
    model::recordsFromSections(in, leftPorts_, leftVteps_);
    model::Outputs const out = model::recompute(in);
    ++compared_;
    for (auto [section, expected] : {std::pair{"portVlanConfig", model::portVlanConfigSection(in, out)},
                                     std::pair{"vtepConfig", model::vtepConfigSection(in, out)}}) {
      Json const agent = sectionOf(fabric, section);
      if (plain(agent) != plain(expected)) {
        return where + ": " + section + "\n  agent: " + agent.dump() + "\n  model: " + expected.dump();
      }
    }
    return "";
  }

  // Why comparisons wait for the next start, or "".
  std::string const& suspended() const { return suspended_; }
  // The model's inputs after the last step compared or suspended.
  model::Inputs const& inputs() const { return previous_; }
  int compared() const { return compared_; }

 private:
  Json beforePorts_ = Json::object();
  Json beforeVteps_ = Json::object();
  std::set<std::string> wasReady_;
  // Per switch: its records as they stood when it last became ready.
  Json leftPorts_ = Json::object();
  Json leftVteps_ = Json::object();
  std::string suspended_;
  model::Inputs previous_;
  int compared_ = 0;
};

}  // namespace vnagent::agreement
