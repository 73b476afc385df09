#include "model/Convert.h"

#include <charconv>

namespace vnagent::model {

namespace {

std::string text(Tree const& value) {
  if (value.is_string()) return value.get<std::string>();
  if (value.is_null()) return "";
  return value.dump();
}

std::optional<U32> number(std::string const& s) {
  std::uint64_t n = 0;
  auto const [end, error] = std::from_chars(s.data(), s.data() + s.size(), n);
  if (error != std::errc() || end != s.data() + s.size() || n > 0xFFFFFFFFu) return std::nullopt;
  return U32(n);
}

std::optional<U32> number(Tree const& value) {
  if (value.is_number_unsigned()) return value.get<U32>();
  return number(text(value));
}

// As the patches read a flag: true, or a text that starts with t.
bool truth(Tree const& value) {
  if (value.is_boolean()) return value.get<bool>();
  std::string const s = text(value);
  return !s.empty() && (s[0] == 't' || s[0] == 'T');
}

// Calls f(key, value) for each member of an object; nothing for anything else.
template <class F>
void each(Tree const& object, char const* field, F&& f) {
  Tree const* node = &object;
  if (field) {
    if (!object.is_object() || !object.contains(field)) return;
    node = &object.at(field);
  }
  if (!node->is_object()) return;
  for (auto const& [key, value] : node->items()) f(key, value);
}

std::optional<Range> range(std::string const& s) {
  auto const dash = s.find('-');
  auto const lo = number(s.substr(0, dash));
  auto const hi = dash == std::string::npos ? lo : number(s.substr(dash + 1));
  if (!lo || !hi) return std::nullopt;
  return Range{*lo, *hi};
}

// "<port>|<vlan>" with the VLAN written without leading zeros.
std::string portVlanKey(std::string const& key) {
  auto const bar = key.rfind('|');
  if (bar == std::string::npos) return key;
  auto const vlan = number(key.substr(bar + 1));
  return vlan ? key.substr(0, bar + 1) + std::to_string(*vlan) : key;
}

DirEntry dirEntry(Tree const& node, char const* typeName) {
  DirEntry out;
  if (!node.is_object()) return out;
  if (node.contains("entry") && !node["entry"].is_null()) out.entry = number(node["entry"]);
  if (node.contains("entity") && !node["entity"].is_null()) {
    Tree const& entity = node["entity"];
    bool const typed = entity.is_object() || text(entity) == typeName;
    out.entity = typed ? EntityKind::typed : EntityKind::other;
  }
  return out;
}

Tree const& entityOf(Tree const& node) {
  static Tree const none = Tree::object();
  if (!node.is_object() || !node.contains("entity") || !node["entity"].is_object()) return none;
  return node["entity"];
}

VlanAsks vlanAsks(Tree const& vlans) {
  VlanAsks out;
  each(vlans, nullptr, [&](std::string const& id, Tree const& ask) {
    auto const vlan = number(id);
    if (!vlan) return;
    VlanAsk& mine = out[*vlan];
    each(ask, "mappedVni", [&](std::string const& vni, Tree const&) {
      if (auto const n = number(vni)) mine.mappedVni.insert(*n);
    });
    each(ask, "domain", [&](std::string const& domain, Tree const&) { mine.domain.insert(domain); });
  });
  return out;
}

Tree vtepMapJson(VtepMap const& map) {
  Tree out = Tree::object();
  for (auto const& [key, vni] : map) out[key] = vni;
  return out;
}

}  // namespace

std::string vlanListText(std::set<U32> const& ids) {
  std::string out;
  for (auto it = ids.begin(); it != ids.end();) {
    U32 const first = *it;
    U32 last = first;
    while (++it != ids.end() && *it == last + 1) last = *it;
    if (!out.empty()) out += ',';
    out += std::to_string(first);
    if (last != first) out += "-" + std::to_string(last);
  }
  return out;
}

Inputs inputsFromTree(Tree const& tree) {
  Inputs in;
  Tree const empty = Tree::object();
  Tree const& config = tree.contains("config") ? tree["config"] : empty;
  in.enabled = config.contains("enabled") && truth(config["enabled"]);
  each(config, "vlanToVniMap", [&](std::string const& domain, Tree const& map) {
    auto& ranges = in.vlanToVniMap[domain];
    each(map, nullptr, [&](std::string const& vlans, Tree const& vnis) {
      auto const from = range(vlans);
      auto const to = range(text(vnis));
      if (from && to) ranges[*from] = *to;
    });
  });

  Tree const& topology = tree.contains("topology") ? tree["topology"] : empty;
  each(topology, "host", [&](std::string const& name, Tree const& node) {
    Host& host = in.host[name];
    if (node.contains("hostname")) host.hostname = text(node["hostname"]);
    // Ports and groups named by one another exist with them.
    each(node, "port", [&](std::string const& port, Tree const& p) {
      std::string const group = p.contains("portGroup") ? text(p["portGroup"]) : "";
      host.port[port] = group;
      if (!group.empty()) host.portGroup[group];
    });
    each(node, "portGroup", [&](std::string const& group, Tree const& g) {
      auto& members = host.portGroup[group];
      each(g, "memberPort", [&](std::string const& port, Tree const&) {
        members.insert(port);
        host.port.try_emplace(port, "");
      });
    });
  });
  each(topology, "edge", [&](std::string const& from, Tree const& node) {
    auto& toPorts = in.edge[from];
    each(node, "toPort", [&](std::string const& to, Tree const& up) { toPorts[to] = truth(up); });
  });
  each(topology, "hostsByHostname", [&](std::string const& hostname, Tree const& node) {
    auto& hosts = in.hostsByHostname[hostname];
    each(node, "host", [&](std::string const& host, Tree const&) { hosts.insert(host); });
  });

  Tree const& dirs = tree.contains("dirs") ? tree["dirs"] : empty;
  each(dirs, "portVlanConfig", [&](std::string const& id, Tree const& node) {
    SwitchDirs& sw = in.switches[id];
    sw.portVlanConfig = dirEntry(node, "ControllerProxyAgent::PortVlanConfigV1");
    Tree const& entity = entityOf(node);
    if (entity.contains("vlanList")) sw.vlanList = text(entity["vlanList"]);
    each(entity, "portAllowedVlanList", [&](std::string const& port, Tree const& list) {
      sw.portAllowedVlanList[port] = text(list);
    });
    each(entity, "portNativeVlan", [&](std::string const& port, Tree const& vlan) {
      if (auto const n = number(vlan)) sw.portNativeVlan[port] = *n;
    });
  });
  each(dirs, "dynVtepConfig", [&](std::string const& id, Tree const& node) {
    SwitchDirs& sw = in.switches[id];
    sw.dynVtepConfig = dirEntry(node, "VxlanController::VtepConfigDirV2");
    each(entityOf(node), "vtepConfig", [&](std::string const& vtep, Tree const& config) {
      VtepMap map;
      each(config, "vlanToVniMap", [&](std::string const& key, Tree const& vni) {
        if (auto const n = number(vni)) map[portVlanKey(key)] = *n;
      });
      sw.vtepConfig.emplace_back(vtep, std::move(map));
    });
  });
  each(dirs, "dynVtepStatus", [&](std::string const& id, Tree const& node) {
    SwitchDirs& sw = in.switches[id];
    sw.dynVtepStatus = dirEntry(node, "VxlanController::VtepStatusDirV2");
    each(entityOf(node), "vtepStatus", [&](std::string const& vtep, Tree const&) {
      sw.vtepStatus.push_back(vtep);
    });
  });

  each(tree, "clients", [&](std::string const& name, Tree const& node) {
    Client& client = in.clients[name];
    client.dir = dirEntry(node, "VirtualNetwork::Client::RequestedResourcesCollection");
    Tree const& entity = entityOf(node);
    each(entity, "resourcesForHostname", [&](std::string const& hostname, Tree const& h) {
      Tree const& vlans = h.is_object() && h.contains("vlan") ? h["vlan"] : empty;
      client.byHostname[hostname] = vlanAsks(vlans);
    });
    each(entity, "resourcesForSwitchport", [&](std::string const& key, Tree const& s) {
      SwitchportAsk& ask = client.bySwitchport[key];
      if (s.contains("nativeVlan") && !s["nativeVlan"].is_null()) {
        ask.nativeVlan = number(s["nativeVlan"]).value_or(0);
      }
      if (s.contains("vlan")) ask.vlan = vlanAsks(s["vlan"]);
      each(s, "remoteHost", [&](std::string const& host, Tree const& present) {
        if (truth(present)) ask.remoteHost.insert(host);
      });
    });
  });
  return in;
}

void recordsFromSections(Inputs& in, Tree const& portVlanConfig, Tree const& vtepConfig) {
  Tree const empty = Tree::object();
  for (auto& entry : in.switches) {
    std::string const& id = entry.first;
    auto& sw = entry.second;
    Tree const& record = portVlanConfig.contains(id) ? portVlanConfig[id] : empty;
    sw.vlanList = record.contains("vlanList") ? text(record["vlanList"]) : "";
    sw.portAllowedVlanList.clear();
    each(record, "portAllowedVlanList", [&](std::string const& port, Tree const& list) {
      sw.portAllowedVlanList[port] = text(list);
    });
    sw.portNativeVlan.clear();
    each(record, "portNativeVlan", [&](std::string const& port, Tree const& vlan) {
      if (auto const n = number(vlan)) sw.portNativeVlan[port] = *n;
    });
    sw.vtepConfig.clear();
    each(vtepConfig, id.c_str(), [&](std::string const& vtep, Tree const& map) {
      VtepMap copy;
      each(map, nullptr, [&](std::string const& key, Tree const& vni) {
        if (auto const n = number(vni)) copy[key] = *n;
      });
      sw.vtepConfig.emplace_back(vtep, std::move(copy));
    });
  }
}

Tree portVlanConfigSection(Inputs const& in, Outputs const& out) {
  Tree section = Tree::object();
  for (auto const& [id, sw] : in.switches) {
    if (sw.portVlanConfig.entity != EntityKind::typed) continue;
    Tree record = Tree::object();
    Tree allowed = Tree::object();
    Tree native = Tree::object();
    if (auto const o = out.switches.find(id); o != out.switches.end()) {
      if (!o->second.vlanList.empty()) record["vlanList"] = vlanListText(o->second.vlanList);
      for (auto const& [port, ids] : o->second.portAllowedVlanList) {
        allowed[port] = vlanListText(ids);
      }
      for (auto const& [port, vlan] : o->second.portNativeVlan) native[port] = vlan;
    } else {
      if (!sw.vlanList.empty()) record["vlanList"] = sw.vlanList;
      for (auto const& [port, list] : sw.portAllowedVlanList) allowed[port] = list;
      for (auto const& [port, vlan] : sw.portNativeVlan) native[port] = vlan;
    }
    if (!allowed.empty()) record["portAllowedVlanList"] = std::move(allowed);
    if (!native.empty()) record["portNativeVlan"] = std::move(native);
    section[id] = std::move(record);
  }
  return section;
}

Tree vtepConfigSection(Inputs const& in, Outputs const& out) {
  Tree section = Tree::object();
  for (auto const& [id, sw] : in.switches) {
    if (sw.dynVtepConfig.entity != EntityKind::typed) continue;
    auto const o = out.switches.find(id);
    auto const& vteps = o != out.switches.end() ? o->second.vtepConfig : sw.vtepConfig;
    Tree record = Tree::object();
    for (auto const& [vtep, map] : vteps) record[vtep] = vtepMapJson(map);
    section[id] = std::move(record);
  }
  return section;
}

}  // namespace vnagent::model
