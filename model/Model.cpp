#include "model/Model.h"

#include <algorithm>

namespace vnagent::model {

namespace {

// What one interface of a switch asks for, from all its sources.
struct Port {
  VlanAsks vlan;
  std::set<U32> native;
  std::set<std::string> element;  // the elements behind it
  std::string group;              // the group it is a member of, "" for none
};

void merge(VlanAsks& into, VlanAsks const& from) {
  for (auto const& [id, ask] : from) {
    VlanAsk& mine = into[id];
    mine.mappedVni.insert(ask.mappedVni.begin(), ask.mappedVni.end());
    mine.domain.insert(ask.domain.begin(), ask.domain.end());
  }
}

std::pair<std::string, std::string> splitPair(std::string const& text) {
  auto const bar = text.find('|');
  if (bar == std::string::npos) return {text, ""};
  return {text.substr(0, bar), text.substr(bar + 1)};
}

// The ids a VLAN list holds: cut to 16 bits, as the lists take them, and
// only those a port can carry.
std::set<U32> listIds(VlanAsks const& asks) {
  std::set<U32> ids;
  for (auto const& [id, ask] : asks) {
    U32 const cut = id & 0xFFFFu;
    if (cut >= 1 && cut <= 4094) ids.insert(cut);
  }
  return ids;
}

// A stored list, read as far as it is well formed ("1-3,5"; blanks ignored).
std::set<U32> readList(std::string text) {
  std::erase_if(text, [](char c) { return c == ' ' || c == '\t'; });
  std::set<U32> ids;
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t const end = std::min(text.find(',', at), text.size());
    std::string const item = text.substr(at, end - at);
    auto const dash = item.find('-');
    std::string const lo = item.substr(0, dash);
    std::string const hi = dash == std::string::npos ? lo : item.substr(dash + 1);
    auto digits = [](std::string const& s) {
      return !s.empty() && s.size() <= 9 &&
             std::all_of(s.begin(), s.end(), [](char c) { return c >= '0' && c <= '9'; });
    };
    if (!digits(lo) || !digits(hi) || std::stoul(lo) > std::stoul(hi)) break;
    for (U32 id = U32(std::stoul(lo)); id <= std::min<U32>(U32(std::stoul(hi)), 4094); ++id) {
      if (id >= 1) ids.insert(id);
    }
    at = end + 1;
  }
  return ids;
}

}  // namespace

std::string dashMac(std::string mac) {
  std::replace(mac.begin(), mac.end(), ':', '-');
  return mac;
}

std::string colonMac(std::string mac) {
  std::replace(mac.begin(), mac.end(), '-', ':');
  return mac;
}

U32 staticVni(Inputs const& in, std::string const& domain, U32 vlan) {
  auto const map = in.vlanToVniMap.find(domain);
  if (vlan == 0 || map == in.vlanToVniMap.end()) return 0;
  // Ranges are ordered by lower, then upper bound: the first that holds the
  // VLAN is the lowest.
  for (auto const& [vlans, vnis] : map->second) {
    if (vlan < vlans.min || vlan > vlans.max) continue;
    std::uint64_t const vni = std::uint64_t(vnis.min) + (vlan - vlans.min);
    return vni <= vnis.max ? U32(vni) : 0;
  }
  return 0;
}

Outputs recompute(Inputs const& in) {
  // Ready switches, by the name of their element (colon form) -> dash form.
  std::set<std::string> hostIds;
  for (auto const& [name, host] : in.host) hostIds.insert(dashMac(name));
  std::map<std::string, std::string> ready;
  for (auto const& [id, dirs] : in.switches) {
    if (hostIds.count(id) && dirs.portVlanConfig.synchronised() &&
        dirs.dynVtepConfig.synchronised() && dirs.dynVtepStatus.synchronised()) {
      ready[colonMac(id)] = id;
    }
  }

  // Requests by hostname, all clients merged; then each host's share.
  std::map<std::string, VlanAsks> byHostname;
  for (auto const& [name, client] : in.clients) {
    if (!client.dir.synchronised()) continue;
    for (auto const& [hostname, asks] : client.byHostname) merge(byHostname[hostname], asks);
  }
  std::map<std::string, VlanAsks> hostVlans;
  for (auto const& [hostname, hosts] : in.hostsByHostname) {
    auto const asks = byHostname.find(hostname);
    if (asks == byHostname.end()) continue;
    for (std::string const& host : hosts) {
      if (in.host.count(host)) merge(hostVlans[host], asks->second);
    }
  }

  // The ports of ready switches: what clients ask on them, who is behind them.
  std::map<std::string, std::map<std::string, Port>> ports;
  for (auto const& [name, client] : in.clients) {
    if (!client.dir.synchronised()) continue;
    for (auto const& [key, ask] : client.bySwitchport) {
      auto const [sw, portName] = splitPair(key);
      if (!ready.count(sw)) continue;
      Port& port = ports[sw][portName];
      merge(port.vlan, ask.vlan);
      if (ask.nativeVlan != 0) port.native.insert(ask.nativeVlan);
      port.element.insert(ask.remoteHost.begin(), ask.remoteHost.end());
    }
  }
  // A link connects two ports of hosts in the topology; the sending end
  // takes its group from the topology.
  auto topologyPort = [&](std::string const& key) -> Host const* {
    auto const [host, port] = splitPair(key);
    auto const it = in.host.find(host);
    return it != in.host.end() && it->second.port.count(port) ? &it->second : nullptr;
  };
  for (auto const& [from, toPorts] : in.edge) {
    Host const* const fromHost = topologyPort(from);
    if (!fromHost) continue;
    auto const [a, aPort] = splitPair(from);
    for (auto const& [to, connected] : toPorts) {
      if (!connected || !topologyPort(to)) continue;
      auto const [b, bPort] = splitPair(to);
      if (ready.count(a)) {
        Port& port = ports[a][aPort];
        port.element.insert(b);
        port.group = fromHost->port.at(aPort);
      }
      if (ready.count(b)) ports[b][bPort].element.insert(a);
    }
  }
  // What the servers behind a port ask; a switch behind it passes nothing.
  for (auto& [sw, byName] : ports) {
    for (auto& [portName, port] : byName) {
      for (std::string const& element : port.element) {
        auto const asks = hostVlans.find(element);
        if (!ready.count(element) && asks != hostVlans.end()) merge(port.vlan, asks->second);
      }
    }
  }

  Outputs out;
  for (auto const& [sw, id] : ready) {
    SwitchDirs const& dirs = in.switches.at(id);
    SwitchOutputs& o = out.switches[id];
    std::map<std::string, Port> const& mine = ports[sw];

    // The interfaces the switch is told of: ports that are no member, and
    // groups, which carry their members.
    std::map<std::string, Port> told;
    std::set<std::string> members;
    if (auto const host = in.host.find(sw); host != in.host.end()) {
      for (auto const& [group, memberPorts] : host->second.portGroup) told[group];
    }
    for (auto const& [portName, port] : mine) {
      Port& target = told[port.group.empty() ? portName : port.group];
      if (!port.group.empty()) members.insert(portName);
      merge(target.vlan, port.vlan);
      target.native.insert(port.native.begin(), port.native.end());
    }

    for (auto const& [portName, port] : mine) {
      std::set<U32> const ids = listIds(port.vlan);
      o.vlanList.insert(ids.begin(), ids.end());
    }
    if (auto const own = hostVlans.find(sw); own != hostVlans.end()) {
      std::set<U32> const ids = listIds(own->second);
      o.vlanList.insert(ids.begin(), ids.end());
    }

    VtepMap mapped;
    std::set<std::string> conflicted;
    for (auto const& [name, port] : told) {
      if (std::set<U32> ids = listIds(port.vlan); !ids.empty()) {
        o.portAllowedVlanList[name] = std::move(ids);
      }
      if (port.native.size() == 1) {
        o.portNativeVlan[name] = *port.native.begin();
      } else if (port.native.empty() && dirs.portNativeVlan.count(name)) {
        o.portNativeVlan[name] = dirs.portNativeVlan.at(name);  // never swept
      }
      for (auto const& [vlan, ask] : port.vlan) {
        std::set<U32> vnis = ask.mappedVni;
        for (std::string const& domain : ask.domain) {
          if (U32 const vni = staticVni(in, domain, vlan)) vnis.insert(vni);
        }
        std::string const key = name + "|" + std::to_string(vlan);
        if (vnis.size() == 1) mapped[key] = *vnis.begin();
        if (vnis.size() > 1) conflicted.insert(key);
      }
    }
    // A member's records are never written by its own name, nor swept.
    for (std::string const& member : members) {
      if (auto const it = dirs.portAllowedVlanList.find(member);
          it != dirs.portAllowedVlanList.end()) {
        if (std::set<U32> ids = readList(it->second); !ids.empty()) {
          o.portAllowedVlanList[member] = std::move(ids);
        }
      }
      if (auto const it = dirs.portNativeVlan.find(member); it != dirs.portNativeVlan.end()) {
        o.portNativeVlan[member] = it->second;
      }
    }

    // VTEP configs: those the records held, then one per VTEP the status
    // names. The bulk pass writes each named one and only adds; a conflict
    // deletes its key from the first.
    o.vtepConfig = dirs.vtepConfig;
    for (std::string const& vtep : dirs.vtepStatus) {
      auto const named = [&](auto const& entry) { return entry.first == vtep; };
      if (std::none_of(o.vtepConfig.begin(), o.vtepConfig.end(), named)) {
        o.vtepConfig.emplace_back(vtep, VtepMap());
      }
    }
    for (auto& [vtep, map] : o.vtepConfig) {
      if (std::find(dirs.vtepStatus.begin(), dirs.vtepStatus.end(), vtep) ==
          dirs.vtepStatus.end()) {
        continue;
      }
      for (auto const& [key, vni] : mapped) map[key] = vni;
    }
    if (!dirs.vtepStatus.empty()) {
      for (std::string const& key : conflicted) o.vtepConfig.front().second.erase(key);
    }
  }
  return out;
}

}  // namespace vnagent::model
