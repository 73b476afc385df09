#include "tools/vnagent/Fabric.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "tools/vnagent/Library.h"
#include "tools/vnagent/Shape.h"

namespace vnagent {

namespace Client = VirtualNetwork::Client;
namespace Topo = NetworkTopologyAggregatorV3;
using Vek::Name;
using Vek::Ptr;
using Vek::String;

namespace {

// Adds a member that the tool has made and filled to its parent's
// collection, with the collection's one notification. The records make their
// members by key (`xIs(key)`) and offer a host process no mutator that adds a
// ready member, so this goes through the collection itself, whose `add` is
// that mutator.
template <class Map, class T>
void adopt(Vek::Entity const& parent, Map const& collection, Ptr<T> const& member) {
  const_cast<Map&>(collection).add(parent, member);
}

bool truth(YAML::Node const& node) {
  std::string const& s = node.Scalar();
  return !s.empty() && (s[0] == 't' || s[0] == 'T');
}

U32 number(YAML::Node const& node) { return *parseU32(node.Scalar()); }

VirtualNetwork::Range range(std::string const& text) {
  U32Range const r = *parseRange(text);
  return VirtualNetwork::Range(r.min, r.max);
}

Client::ClientDomain domain(std::string const& text) {
  TextPair const p = *splitPair(text);
  return Client::ClientDomain(String(p.first), String(p.second));
}

// The text of an entity pointer in the model: its name, or "" for null.
std::string nameOf(Vek::Entity const* e) { return e ? e->name().stdString() : std::string(); }

// --- The model form of the outputs ------------------------------------------

// A mapping whose keys are sorted for the reader (numbers numerically).
class SortedObject {
 public:
  void add(std::string key, Json value) { entries_.emplace_back(std::move(key), std::move(value)); }
  Json json() {
    std::stable_sort(entries_.begin(), entries_.end(),
                     [](auto const& a, auto const& b) { return keyLess(a.first, b.first); });
    Json out = Json::object();
    for (auto& [k, v] : entries_) out[k] = std::move(v);
    return out;
  }

 private:
  std::vector<std::pair<std::string, Json>> entries_;
};

Json sortedList(std::vector<std::string> names) {
  std::sort(names.begin(), names.end(), keyLess);
  Json out = Json::array();
  for (auto& n : names) out.push_back(std::move(n));
  return out;
}

template <class Col>
Json keysOf(Col const& col) {
  std::vector<std::string> names;
  for (auto it = col.iterator(); it; ++it) names.push_back(String(it.key()).stdString());
  return sortedList(std::move(names));
}

// Referrers kept as a map to bool: a key whose value is false does not count,
// and is shown as "<key> (false)" so that it does not pass for a holder.
template <class Col>
Json boolReferrers(Col const& col) {
  std::vector<std::string> names;
  for (auto it = col.iterator(); it; ++it) {
    names.push_back(it.key().stdString() + (it.value() ? "" : " (false)"));
  }
  return sortedList(std::move(names));
}

// Leaves out a field whose value is empty, false or null.
void field(Json& record, char const* name, Json value) {
  bool const empty = value.is_null() || (value.is_boolean() && !value.get<bool>()) ||
                     (value.is_string() && value.get<std::string>().empty()) ||
                     ((value.is_array() || value.is_object()) && value.empty());
  if (!empty) record[name] = std::move(value);
}

template <class Col>
Json referredMembers(Col const& col) {
  SortedObject out;
  for (auto it = col.iterator(); it; ++it)
    out.add(it.ptr()->name().stdString(), keysOf(it->referrerCol()));
  return out.json();
}

Json vlanModel(VirtualNetwork::DynamicVlan const& vlan) {
  Json record = Json::object();
  field(record, "referrer", keysOf(vlan.referrerCol()));
  field(record, "mappedVni", referredMembers(vlan.mappedVniCol()));
  field(record, "domain", referredMembers(vlan.domainCol()));
  return record;
}

template <class Col>
Json vlansModel(Col const& col) {
  SortedObject out;
  for (auto it = col.iterator(); it; ++it) out.add(std::to_string(it.key()), vlanModel(*it.ptr()));
  return out.json();
}

void interfaceModel(Json& record, VirtualNetwork::Interface const& intf) {
  field(record, "vlan", vlansModel(intf.vlanCol()));
  field(record, "nativeVlan", referredMembers(intf.nativeVlanCol()));
}

Json elementModel(VirtualNetwork::NetworkElement const& element) {
  Json record = Json::object();
  field(record, "hostname", element.hostname().stdString());
  field(record, "isSwitchElement", element.isSwitchElement());
  field(record, "referrer", boolReferrers(element.referrerCol()));
  auto const rfh = element.resourcesForHostname();
  field(record, "resourcesForHostname", rfh ? Json(rfh->name().stdString()) : Json());
  field(record, "vlan", vlansModel(element.vlanCol()));

  SortedObject ports;
  for (auto it = element.physicalInterfaceCol().iterator(); it; ++it) {
    VirtualNetwork::PhysicalInterface const& port = *it.ptr();
    Json p = Json::object();
    field(p, "discovered", port.discovered());
    field(p, "isSwitchInterface", port.isSwitchInterface());
    field(p, "portGroup", nameOf(port.portGroup().ptr()));
    field(p, "referrer", boolReferrers(port.referrerCol()));
    field(p, "networkElement", keysOf(port.networkElementCol()));
    field(p, "configuredElement", keysOf(port.configuredElementCol()));
    field(p, "discoveredElement", keysOf(port.discoveredElementCol()));
    interfaceModel(p, port);
    ports.add(it.key().stdString(), std::move(p));
  }
  field(record, "physicalInterface", ports.json());

  SortedObject groups;
  for (auto it = element.portGroupCol().iterator(); it; ++it) {
    VirtualNetwork::PortGroup const& group = *it.ptr();
    Json g = Json::object();
    field(g, "isSwitchInterface", group.isSwitchInterface());
    field(g, "memberInterface", keysOf(group.memberInterfaceCol()));
    interfaceModel(g, group);
    groups.add(it.key().stdString(), std::move(g));
  }
  field(record, "portGroup", groups.json());
  field(record, "interface", keysOf(element.interfaceCol()));
  return record;
}

// A patch as JSON: mappings and lists as they are, scalars as their texts.
Json treeOf(YAML::Node const& node) {
  if (node.IsMap()) {
    Json out = Json::object();
    for (auto it = node.begin(); it != node.end(); ++it) out[it->first.Scalar()] = treeOf(it->second);
    return out;
  }
  if (node.IsSequence()) {
    Json out = Json::array();
    for (auto it = node.begin(); it != node.end(); ++it) out.push_back(treeOf(*it));
    return out;
  }
  if (node.IsScalar()) return node.Scalar();
  return nullptr;
}

}  // namespace

// --- Applying a patch -------------------------------------------------------

class Fabric::Patch {
 public:
  explicit Patch(Fabric& fabric) : f_(fabric) {}

  YAML::Mark const& mark() const { return mark_; }

  void root(YAML::Node const& patch) {
    for (auto it = patch.begin(); it != patch.end(); ++it) {
      std::string const key = it->first.Scalar();
      YAML::Node const value = it->second;
      if (key == "config") {
        config(value);
      } else if (key == "topology") {
        topology(value);
      } else if (key == "dirs") {
        dirs(value);
      } else if (key == "clients") {
        each(value, [&](std::string const& name, YAML::Node const& child) {
          dirChild<Client::RequestedResourcesCollection>(*f_.clientDir_, name, child);
        });
      } else if (key == "status") {
        status(value);
      }
    }
  }

 private:
  // Calls f(key, value) for each entry of a mapping, in document order, with
  // the mark set to the entry (the key's place for a null value).
  template <class F>
  void each(YAML::Node const& map, F&& f) {
    for (auto it = map.begin(); it != map.end(); ++it) {
      mark_ = it->second.IsNull() ? it->first.Mark() : it->second.Mark();
      f(it->first.Scalar(), it->second);
    }
  }

  void noteSwitchName(std::string const& name) {
    f_.switchNames_.insert(VirtualNetwork::Agent::getColonMacString(String(name)).stdString());
  }

  [[noreturn]] void fault(std::string const& message) const { throw PatchFault{mark_, message}; }

  // --- config ---

  void config(YAML::Node const& node) {
    VirtualNetwork::Config& config = *f_.config_;
    each(node, [&](std::string const& key, YAML::Node const& value) {
      if (key == "enabled") {
        config.enabledIs(!value.IsNull() && truth(value));
      } else if (key == "vlanToVniMap") {
        each(value, [&](std::string const& text, YAML::Node const& map) {
          Client::ClientDomain const d = domain(text);
          if (map.IsNull()) {
            config.vlanToVniMapDel(d);
          } else if (auto existing = config.vlanToVniMap(d)) {
            vlanToVniMap(*existing, map);
          } else {
            auto fresh = VirtualNetwork::VlanToVniMapIs(d);
            vlanToVniMap(*fresh, map);
            mark_ = map.Mark();
            adopt(config, config.vlanToVniMapCol(), fresh);
          }
        });
      }
    });
  }

  void vlanToVniMap(VirtualNetwork::VlanToVniMap& map, YAML::Node const& node) {
    each(node, [&](std::string const& vlans, YAML::Node const& vnis) {
      if (vnis.IsNull()) {
        map.mapDel(range(vlans));
      } else {
        map.mapIs(range(vlans), range(vnis.Scalar()));
      }
    });
  }

  // --- topology ---

  void topology(YAML::Node const& node) {
    Topo::Status& topology = *f_.topology_;
    each(node, [&](std::string const& key, YAML::Node const& value) {
      if (key == "host") {
        each(value, [&](std::string const& name, YAML::Node const& h) {
          noteSwitchName(name);
          if (h.IsNull()) {
            topology.hostDel(Name(name));
          } else if (auto existing = topology.host(Name(name))) {
            host(*existing, h);
          } else {
            auto fresh = Topo::HostIs(Name(name));
            host(*fresh, h);
            mark_ = h.Mark();
            adopt(topology, topology.hostCol(), fresh);
          }
        });
      } else if (key == "edge") {
        each(value, [&](std::string const& from, YAML::Node const& e) { edge(from, e); });
      } else if (key == "hostsByHostname") {
        each(value, [&](std::string const& hostname, YAML::Node const& h) {
          if (h.IsNull()) {
            topology.hostsByHostnameDel(Name(hostname));
          } else if (auto existing = topology.hostsByHostname(Name(hostname))) {
            hostsByHostname(*existing, h);
          } else {
            auto fresh = Topo::HostsByHostnameIs(Name(hostname));
            hostsByHostname(*fresh, h);
            mark_ = h.Mark();
            adopt(topology, topology.hostsByHostnameCol(), fresh);
          }
        });
      }
    });
  }

  // The port of `host` called `name`, made and added to the host if it has
  // none (as a port named by a group comes with it).
  Ptr<Topo::Port> portOf(Topo::Host& host, std::string const& name) {
    if (auto port = host.port(Name(name))) return port;
    auto fresh = Topo::PortIs(Name(name));
    adopt(host, host.portCol(), fresh);
    remember(host, *fresh);
    return fresh;
  }

  Ptr<Topo::PortGroup> groupOf(Topo::Host& host, std::string const& name) {
    if (auto group = host.portGroup(Name(name))) return group;
    auto fresh = Topo::PortGroupIs(Name(name));
    adopt(host, host.portGroupCol(), fresh);
    remember(host, *fresh);
    return fresh;
  }

  void remember(Topo::Host const& host, Topo::PortBase const& port) {
    f_.ports_[host.name().stdString() + "|" + port.name().stdString()] =
        Ptr<Topo::PortBase const>(&port);
  }

  void host(Topo::Host& host, YAML::Node const& node) {
    each(node, [&](std::string const& key, YAML::Node const& value) {
      if (key == "hostname") {
        host.hostnameIs(value.IsNull() ? String() : String(value.Scalar()));
      } else if (key == "port") {
        each(value, [&](std::string const& name, YAML::Node const& p) {
          if (p.IsNull()) {
            host.portDel(Name(name));
            return;
          }
          Ptr<Topo::Port> port = host.port(Name(name));
          bool const fresh = !port;
          if (fresh) port = Topo::PortIs(Name(name));
          each(p, [&](std::string const&, YAML::Node const& group) {
            port->portGroupIs(group.IsNull() ? nullptr : groupOf(host, group.Scalar()));
          });
          if (fresh) {
            mark_ = p.Mark();
            adopt(host, host.portCol(), port);
            remember(host, *port);
          }
        });
      } else if (key == "portGroup") {
        each(value, [&](std::string const& name, YAML::Node const& g) {
          if (g.IsNull()) {
            host.portGroupDel(Name(name));
            return;
          }
          Ptr<Topo::PortGroup> group = host.portGroup(Name(name));
          bool const fresh = !group;
          if (fresh) group = Topo::PortGroupIs(Name(name));
          each(g, [&](std::string const&, YAML::Node const& members) {
            each(members, [&](std::string const& port, YAML::Node const& present) {
              if (present.IsNull()) {
                group->memberPortDel(Name(port));
              } else {
                group->memberPortIs(portOf(host, port));
              }
            });
          });
          if (fresh) {
            mark_ = g.Mark();
            adopt(host, host.portGroupCol(), group);
            remember(host, *group);
          }
        });
      }
    });
  }

  // The port or port group "<host>|<port>" as it stands now, or null.
  Ptr<Topo::PortBase const> currentPort(std::string const& text) const {
    TextPair const p = *splitPair(text);
    auto host = f_.topology_->host(Name(p.first));
    if (!host) return nullptr;
    if (auto port = host->port(Name(p.second))) return port;
    if (auto group = host->portGroup(Name(p.second))) return group;
    return nullptr;
  }

  // The port that "<host>|<port>" names now, or that it named when the patch
  // last wrote it: a port that has left its host can still be unlinked.
  Ptr<Topo::PortBase const> knownPort(std::string const& text) const {
    if (auto port = currentPort(text)) return port;
    auto it = f_.ports_.find(text);
    return it == f_.ports_.end() ? nullptr : it->second;
  }

  Ptr<Topo::PortBase const> requirePort(std::string const& text) {
    auto port = currentPort(text);
    if (!port) {
      TextPair const p = *splitPair(text);
      fault(f_.topology_->host(Name(p.first))
                ? "host '" + p.first + "' has no port or port group '" + p.second + "'"
                : "no host '" + p.first + "' in the topology for port '" + text + "'");
    }
    return port;
  }

  void edge(std::string const& from, YAML::Node const& node) {
    Topo::Status& topology = *f_.topology_;
    if (node.IsNull()) {
      auto port = knownPort(from);
      if (port && topology.edge(port)) topology.edgeDel(port);
      return;
    }
    // An edge that exists is written in place, also when its port has left
    // its host since; a new one needs the port as it stands now.
    auto port = knownPort(from);
    Ptr<Topo::DirectedEdge> edge = port ? topology.edge(port) : nullptr;
    if (!edge) edge = topology.edgeIs(requirePort(from));
    each(node, [&](std::string const&, YAML::Node const& toPorts) {
      each(toPorts, [&](std::string const& to, YAML::Node const& connected) {
        if (connected.IsNull()) {
          // The entry may be keyed by a port that has left its host since.
          auto known = knownPort(to);
          if (known && edge->toPortCol().contains(known)) edge->toPortDel(known);
        } else {
          edge->toPortIs(requirePort(to), truth(connected));
        }
      });
    });
  }

  void hostsByHostname(Topo::HostsByHostname& record, YAML::Node const& node) {
    each(node, [&](std::string const&, YAML::Node const& hosts) {
      each(hosts, [&](std::string const& name, YAML::Node const& present) {
        if (present.IsNull()) {
          record.hostDel(Name(name));
          return;
        }
        auto host = f_.topology_->host(Name(name));
        if (!host) fault("no host '" + name + "' in the topology");
        record.hostIs(host);
      });
    });
  }

  // --- directories ---

  void dirs(YAML::Node const& node) {
    each(node, [&](std::string const& key, YAML::Node const& value) {
      each(value, [&](std::string const& name, YAML::Node const& child) {
        noteSwitchName(name);
        if (key == "portVlanConfig") {
          dirChild<ControllerProxyAgent::PortVlanConfigV1>(*f_.portVlanConfigDir_, name, child);
        } else if (key == "dynVtepConfig") {
          dirChild<VxlanController::VtepConfigDirV2>(*f_.dynVtepConfigDir_, name, child);
        } else if (key == "dynVtepStatus") {
          dirChild<VxlanController::VtepStatusDirV2>(*f_.dynVtepStatusDir_, name, child);
        }
      });
    });
  }

  static Ptr<Vek::Entity> foreignEntity(std::string const& type, Name const& name) {
    if (type == "ControllerProxyAgent::PortVlanConfigV1") {
      return ControllerProxyAgent::PortVlanConfigV1Is(name);
    }
    if (type == "VxlanController::VtepConfigDirV2") return VxlanController::VtepConfigDirV2Is(name);
    if (type == "VxlanController::VtepStatusDirV2") return VxlanController::VtepStatusDirV2Is(name);
    if (type == "VirtualNetwork::Client::RequestedResourcesCollection") {
      return Client::RequestedResourcesCollectionIs(name);
    }
    return Ptr<Vek::Entity>(new Vek::Entity(name));
  }

  // A directory child: `null` removes the entity, then the entry; otherwise
  // `entry` and `entity` in the order written.
  template <class T>
  void dirChild(Vek::Dir& dir, std::string const& key, YAML::Node const& node) {
    Name const name(key);
    if (node.IsNull()) {
      if (dir.entityPtr(name)) dir.entityPtrDel(name);
      if (dir.entryState(name)) dir.entryStateDel(name);
      return;
    }
    each(node, [&](std::string const& part, YAML::Node const& value) {
      if (part == "entry") {
        if (value.IsNull()) {
          dir.entryStateDel(name);
        } else if (auto entry = dir.entryState(name)) {
          entry->statusIs(number(value));
        } else {
          dir.entryStateIs(Vek::DirEntryIs(name, number(value)));
        }
      } else if (value.IsNull()) {
        dir.entityPtrDel(name);
      } else if (value.IsScalar()) {
        dir.entityPtrIs(name, foreignEntity(value.Scalar(), name));
      } else if (auto existing = Vek::ptrCast<T>(dir.entityPtr(name))) {
        fill(*existing, value);
      } else {
        Ptr<T> fresh(new T(name));
        fill(*fresh, value);
        mark_ = value.Mark();
        dir.entityPtrIs(name, fresh);
      }
    });
  }

  void fill(ControllerProxyAgent::PortVlanConfigV1& config, YAML::Node const& node) {
    each(node, [&](std::string const& key, YAML::Node const& value) {
      if (key == "vlanList") {
        config.vlanListIs(value.IsNull() ? String() : String(value.Scalar()));
      } else if (key == "portAllowedVlanList") {
        each(value, [&](std::string const& port, YAML::Node const& list) {
          if (list.IsNull()) {
            config.portAllowedVlanListDel(String(port));
          } else {
            config.portAllowedVlanListIs(String(port), String(list.Scalar()));
          }
        });
      } else if (key == "portNativeVlan") {
        each(value, [&](std::string const& port, YAML::Node const& vlan) {
          if (vlan.IsNull()) {
            config.portNativeVlanDel(String(port));
          } else {
            config.portNativeVlanIs(String(port), Bridging::VlanIdOrNone(number(vlan)));
          }
        });
      }
    });
  }

  void fill(VxlanController::VtepConfigDirV2& dir, YAML::Node const& node) {
    each(node, [&](std::string const&, YAML::Node const& vteps) {
      each(vteps, [&](std::string const& name, YAML::Node const& v) {
        if (v.IsNull()) {
          dir.vtepConfigDel(String(name));
        } else if (auto existing = dir.vtepConfig(String(name))) {
          vtepMap(*existing, v);
        } else {
          auto fresh = VxlanController::VtepConfigV2Is(String(name));
          vtepMap(*fresh, v);
          mark_ = v.Mark();
          adopt(dir, dir.vtepConfigCol(), fresh);
        }
      });
    });
  }

  void vtepMap(VxlanController::VtepConfigV2& vtep, YAML::Node const& node) {
    each(node, [&](std::string const&, YAML::Node const& map) {
      each(map, [&](std::string const& key, YAML::Node const& vni) {
        PortVlan const pv = *parsePortVlan(key);
        VxlanController::PortVlanPairV2 const pair(String(pv.port),
                                                   Bridging::VlanIdOrNone(pv.vlan));
        if (vni.IsNull()) {
          vtep.vlanToVniMapDel(pair);
        } else {
          vtep.vlanToVniMapIs(pair, Vxlan::Vni(number(vni)));
        }
      });
    });
  }

  void fill(VxlanController::VtepStatusDirV2& dir, YAML::Node const& node) {
    each(node, [&](std::string const&, YAML::Node const& vteps) {
      each(vteps, [&](std::string const& name, YAML::Node const& present) {
        if (present.IsNull()) {
          dir.vtepStatusDel(String(name));
        } else {
          dir.vtepStatusIs(String(name));
        }
      });
    });
  }

  // --- clients ---

  void fill(Client::RequestedResourcesCollection& rrc, YAML::Node const& node) {
    each(node, [&](std::string const& key, YAML::Node const& value) {
      if (key == "resourcesForHostname") {
        each(value, [&](std::string const& hostname, YAML::Node const& h) {
          Name const name(hostname);
          if (h.IsNull()) {
            rrc.resourcesForHostnameDel(name);
          } else if (auto existing = rrc.resourcesForHostname(name)) {
            vlans(*existing, h);
          } else {
            auto fresh = Client::ResourcesForHostnameIs(name);
            vlans(*fresh, h);
            mark_ = h.Mark();
            adopt(rrc, rrc.resourcesForHostnameCol(), fresh);
          }
        });
      } else if (key == "resourcesForSwitchport") {
        each(value, [&](std::string const& text, YAML::Node const& s) {
          TextPair const p = *splitPair(text);
          Client::SwitchInterface const intf(String(p.first), String(p.second));
          if (s.IsNull()) {
            rrc.resourcesForSwitchportDel(intf);
          } else if (auto existing = rrc.resourcesForSwitchport(intf)) {
            switchport(*existing, s);
          } else {
            auto fresh = Client::ResourcesForSwitchportIs(intf);
            switchport(*fresh, s);
            mark_ = s.Mark();
            adopt(rrc, rrc.resourcesForSwitchportCol(), fresh);
          }
        });
      }
    });
  }

  // The `vlan` field of a hostname or switch port request.
  template <class Owner>
  void vlanField(Owner& owner, YAML::Node const& node) {
    each(node, [&](std::string const& id, YAML::Node const& v) {
      U32 const vlan = *parseU32(id);
      if (v.IsNull()) {
        owner.vlanDel(vlan);
      } else if (auto existing = owner.vlan(vlan)) {
        dynamicVlan(*existing, v);
      } else {
        auto fresh = Client::DynamicVlanIs(vlan);
        dynamicVlan(*fresh, v);
        mark_ = v.Mark();
        adopt(owner, owner.vlanCol(), fresh);
      }
    });
  }

  void vlans(Client::ResourcesForHostname& rfh, YAML::Node const& node) {
    each(node, [&](std::string const&, YAML::Node const& value) { vlanField(rfh, value); });
  }

  void dynamicVlan(Client::DynamicVlan& vlan, YAML::Node const& node) {
    each(node, [&](std::string const& key, YAML::Node const& value) {
      each(value, [&](std::string const& member, YAML::Node const& present) {
        if (key == "mappedVni") {
          U32 const vni = *parseU32(member);
          if (present.IsNull()) {
            vlan.mappedVniDel(vni);
          } else {
            vlan.mappedVniIs(vni);
          }
        } else if (present.IsNull()) {
          vlan.domainDel(domain(member));
        } else {
          vlan.domainIs(domain(member));
        }
      });
    });
  }

  void switchport(Client::ResourcesForSwitchport& port, YAML::Node const& node) {
    each(node, [&](std::string const& key, YAML::Node const& value) {
      if (key == "nativeVlan") {
        if (value.IsNull()) {
          port.nativeVlanIs(Ptr<Client::UntaggedVlan>());
        } else {
          port.nativeVlanIs(number(value));
        }
      } else if (key == "vlan") {
        vlanField(port, value);
      } else if (key == "remoteHost") {
        each(value, [&](std::string const& host, YAML::Node const& present) {
          if (present.IsNull()) {
            port.remoteHostDel(String(host));
          } else {
            port.remoteHostIs(String(host), truth(present));
          }
        });
      }
    });
  }

  // --- leftovers in the output root ---

  void status(YAML::Node const& node) {
    VirtualNetwork::Status& status = *f_.status_;
    each(node, [&](std::string const& key, YAML::Node const& value) {
      each(value, [&](std::string const& name, YAML::Node const& entry) {
        if (key == "networkElementCollection") {
          auto collection = status.networkElementCollection();
          if (entry.IsNull()) {
            if (collection) collection->networkElementDel(Name(name));
            return;
          }
          if (!collection) collection = status.networkElementCollectionIs(Name());
          collection->networkElementIs(Name(name));
        } else {
          auto collection = status.requestedResourcesCollection();
          if (entry.IsNull()) {
            if (collection) collection->resourcesForHostnameDel(Name(name));
            return;
          }
          if (!collection) collection = status.requestedResourcesCollectionIs(Name());
          collection->resourcesForHostnameIs(Name(name));
        }
      });
    });
  }

  Fabric& f_;
  YAML::Mark mark_;
};

// --- Fabric -------------------------------------------------------------------

Fabric::Fabric()
    : config_(VirtualNetwork::ConfigIs(Name("config"))),
      status_(VirtualNetwork::StatusIs(Name("status"))),
      topology_(Topo::StatusIs(Name("topology"))),
      portVlanConfigDir_(Vek::DirIs(Name("controllerProxyAgent/v1/portVlanConfigDir"))),
      dynVtepConfigDir_(Vek::DirIs(Name("vxlancontroller/version2/input/dynVtepConfig/openstack"))),
      dynVtepStatusDir_(Vek::DirIs(Name("vxlan/version2/vtepStatusDir"))),
      clientDir_(Vek::DirIs(Name("requestedResourcesColDir"))) {}

Fabric::~Fabric() {
  // The agent goes first, while everything it watches is still there. An
  // exception of its destructor has nowhere to go here.
  try {
    agent_ = nullptr;
  } catch (...) {
  }
}

std::optional<Raised> Fabric::apply(YAML::Node const& patch) {
  Patch p(*this);
  std::optional<Raised> raised;
  try {
    p.root(patch);
  } catch (std::exception const& e) {
    raised = Raised{e.what(), p.mark()};
    inputsExact_ = false;
  } catch (PatchFault const&) {
    inputsExact_ = false;
    throw;
  }
  inputs_.merge_patch(treeOf(patch));
  return raised;
}

std::optional<Raised> Fabric::start(YAML::Mark const& mark) {
  try {
    agent_ = VirtualNetwork::Agent::virtualNetworkAgentSmFactory(
        config_, status_, topology_, portVlanConfigDir_, dynVtepConfigDir_, dynVtepStatusDir_,
        clientDir_);
  } catch (std::exception const& e) {
    return Raised{e.what(), mark};
  }
  return std::nullopt;
}

std::optional<Raised> Fabric::stop(YAML::Mark const& mark) {
  try {
    agent_ = nullptr;
  } catch (std::exception const& e) {
    return Raised{e.what(), mark};
  }
  return std::nullopt;
}

Json portVlanConfigModel(ControllerProxyAgent::PortVlanConfigV1 const& config) {
  Json record = Json::object();
  field(record, "vlanList", config.vlanList().value().stdString());
  SortedObject allowed;
  for (auto p = config.portAllowedVlanListCol().iterator(); p; ++p) {
    allowed.add(p.key().stdString(), p.value().value().stdString());
  }
  field(record, "portAllowedVlanList", allowed.json());
  SortedObject native;
  for (auto p = config.portNativeVlanCol().iterator(); p; ++p) {
    native.add(p.key().stdString(), p.value().value());
  }
  field(record, "portNativeVlan", native.json());
  return record;
}

Json vtepConfigModel(VxlanController::VtepConfigDirV2 const& dir) {
  SortedObject vteps;
  for (auto v = dir.vtepConfigCol().iterator(); v; ++v) {
    SortedObject map;
    for (auto m = v->vlanToVniMapCol().iterator(); m; ++m) {
      map.add(m.key().port().stdString() + "|" + std::to_string(m.key().vlan().value()),
              m.value().value());
    }
    vteps.add(v.key().stdString(), map.json());
  }
  return vteps.json();
}

std::optional<Json> Fabric::section(std::string const& name, std::string* why) const {
  if (name == "portVlanConfig") {
    SortedObject out;
    for (auto it = portVlanConfigDir_->entityPtrCol().iterator(); it; ++it) {
      auto config = Vek::ptrCast<ControllerProxyAgent::PortVlanConfigV1>(it.value());
      if (!config) continue;
      out.add(it.key().stdString(), portVlanConfigModel(*config));
    }
    return out.json();
  }
  if (name == "vtepConfig") {
    SortedObject out;
    for (auto it = dynVtepConfigDir_->entityPtrCol().iterator(); it; ++it) {
      auto dir = Vek::ptrCast<VxlanController::VtepConfigDirV2>(it.value());
      if (!dir) continue;
      out.add(it.key().stdString(), vtepConfigModel(*dir));
    }
    return out.json();
  }
  if (name == "elements") {
    SortedObject out;
    if (auto collection = status_->networkElementCollection()) {
      for (auto it = collection->networkElementCol().iterator(); it; ++it) {
        out.add(it.key().stdString(), elementModel(*it.ptr()));
      }
    }
    return out.json();
  }
  if (name == "requests") {
    SortedObject out;
    if (auto collection = status_->requestedResourcesCollection()) {
      for (auto it = collection->resourcesForHostnameCol().iterator(); it; ++it) {
        Json record = Json::object();
        field(record, "referrer", keysOf(it->referrerCol()));
        field(record, "vlan", vlansModel(it->vlanCol()));
        out.add(it.key().stdString(), std::move(record));
      }
    }
    return out.json();
  }
  if (name == "switchNodes") {
    if (!agent_) return Json::array();
    auto names = library::switchNodes(*agent_, switchNames_);
    if (!names) {
      if (why) *why = library::kSwitchNodesMissing;
      return std::nullopt;
    }
    return sortedList(std::move(*names));
  }
  if (why) *why = "no such section";
  return std::nullopt;
}

}  // namespace vnagent
