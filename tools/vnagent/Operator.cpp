#include "tools/vnagent/Operator.h"

#include <algorithm>
#include <functional>
#include <set>
#include <sstream>
#include <stdexcept>

#include "tools/vnagent/Fabric.h"

namespace vnagent {

namespace {

Json const kNull;
Json const kEmpty = Json::object();

// The member `key` of an object, or an empty object: the model form leaves
// empty fields out.
Json const& at(Json const& node, std::string const& key) {
  if (!node.is_object()) return kEmpty;
  auto it = node.find(key);
  return it == node.end() ? kEmpty : *it;
}

std::vector<std::string> names(Json const& list) {
  std::vector<std::string> out;
  if (list.is_array()) {
    for (Json const& name : list) out.push_back(name.get<std::string>());
  }
  return out;
}

std::string joined(std::vector<std::string> const& items, char const* separator = ", ") {
  std::string out;
  for (std::string const& item : items) {
    if (!out.empty()) out += separator;
    out += item;
  }
  return out;
}

std::string dashOf(std::string mac) {
  std::replace(mac.begin(), mac.end(), ':', '-');
  return mac;
}
std::string colonOf(std::string mac) {
  std::replace(mac.begin(), mac.end(), '-', ':');
  return mac;
}

// The interfaces of an element, ports first, each with its kind.
template <class F>
void forEachInterface(Json const& element, F&& f) {
  for (auto const& [name, intf] : at(element, "physicalInterface").items()) f("port", name, intf);
  for (auto const& [name, intf] : at(element, "portGroup").items()) f("port group", name, intf);
}

std::vector<unsigned> sortedKeys(Json const& object) {
  std::vector<unsigned> out;
  for (auto const& [key, value] : object.items()) out.push_back(std::stoul(key));
  std::sort(out.begin(), out.end());
  return out;
}

std::vector<unsigned> minus(std::vector<unsigned> const& a, std::vector<unsigned> const& b) {
  std::vector<unsigned> out;
  std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(out));
  return out;
}

// Keys of two objects, those of `after` in its order, then those only `before` had.
std::vector<std::string> unionKeys(Json const& before, Json const& after) {
  std::vector<std::string> out;
  for (auto const& [key, value] : after.items()) out.push_back(key);
  for (auto const& [key, value] : before.items()) {
    if (!after.contains(key)) out.push_back(key);
  }
  return out;
}

std::string identity(Conflict const& c) {
  return std::to_string(int(c.kind)) + "/" + c.element + "/" + c.interface + "/" +
         (c.vlan ? std::to_string(*c.vlan) : std::string());
}

}  // namespace

std::vector<unsigned> vlansOf(std::string const& text) {
  Vek::Ptr<LumoUtils::VlanIdSet> const set = LumoUtils::VlanIdSetIs();
  LumoUtils::computeVlanSet(set, Vek::String(text));
  std::vector<unsigned> out;
  set->forEach([&](U32 vlan) { out.push_back(vlan); });
  return out;
}

std::string vlanText(std::vector<unsigned> const& vlans) {
  Vek::Ptr<LumoUtils::VlanIdSet> const set = LumoUtils::VlanIdSetIs();
  for (unsigned vlan : vlans) set->doAdd(static_cast<U16>(vlan));
  return set->multiRangeString().stdString();
}

Snapshot snapshotOf(Fabric const& fabric) {
  Snapshot out;
  auto take = [&](char const* name, Json& into) {
    if (auto section = fabric.section(name)) into = *section;
  };
  take("portVlanConfig", out.portVlanConfig);
  take("vtepConfig", out.vtepConfig);
  take("elements", out.elements);
  return out;
}

// --- conflicts ----------------------------------------------------------------------

std::string Conflict::text() const {
  std::vector<std::string> items;
  for (auto const& [candidate, holders] : candidates) {
    items.push_back(std::to_string(candidate) + " (" + joined(holders) + ")");
  }
  std::string const what = kind == Kind::nativeVlan
                               ? "native VLAN on " + element + " " + interface
                               : "VNI of VLAN " + std::to_string(*vlan) + " on " + element + " " +
                                     interface;
  return what + ": " + joined(items);
}

Json Conflict::json() const {
  Json out = {{"kind", kind == Kind::nativeVlan ? "nativeVlan" : "vni"},
              {"switch", element},
              {"interface", interface}};
  if (vlan) out["vlan"] = *vlan;
  out["candidates"] = Json::array();
  for (auto const& [candidate, holders] : candidates) {
    out["candidates"].push_back({{"value", candidate}, {"holders", holders}});
  }
  return out;
}

std::vector<Conflict> conflictsOf(Snapshot const& snapshot) {
  std::vector<Conflict> out;
  auto candidatesOf = [](Json const& byValue) {
    std::vector<std::pair<unsigned, std::vector<std::string>>> list;
    for (unsigned value : sortedKeys(byValue)) {
      list.emplace_back(value, names(byValue[std::to_string(value)]));
    }
    return list;
  };
  for (auto const& [key, element] : snapshot.elements.items()) {
    std::string const& mac = key;  // a plain name: lambdas below capture it
    if (!at(element, "isSwitchElement").is_boolean() || !element["isSwitchElement"]) continue;
    forEachInterface(element, [&](char const*, std::string const& name, Json const& intf) {
      // Two or more candidates: the switch gets none of them.
      Json const& native = at(intf, "nativeVlan");
      if (native.size() >= 2) {
        out.push_back({Conflict::Kind::nativeVlan, mac, name, std::nullopt, candidatesOf(native)});
      }
      for (auto const& [vlan, entry] : at(intf, "vlan").items()) {
        Json const& vnis = at(entry, "mappedVni");
        if (vnis.size() >= 2) {
          out.push_back(
              {Conflict::Kind::vni, mac, name, unsigned(std::stoul(vlan)), candidatesOf(vnis)});
        }
      }
    });
  }
  return out;
}

// --- plan ---------------------------------------------------------------------------

StepPlan planOf(Snapshot const& before, Snapshot const& after) {
  StepPlan plan;
  auto change = [](std::vector<Change>& into, char op, std::string text, Json json) {
    json["op"] = std::string(1, op);
    into.push_back({op, std::move(text), std::move(json)});
  };
  // The VLANs that one list gained and lost, as two changes.
  auto listChanges = [&](std::vector<Change>& into, std::string const& label, Json const& b,
                         Json const& a, Json base) {
    std::vector<unsigned> const was = b.is_string() ? vlansOf(b) : std::vector<unsigned>();
    std::vector<unsigned> const is = a.is_string() ? vlansOf(a) : std::vector<unsigned>();
    std::vector<unsigned> const added = minus(is, was), removed = minus(was, is);
    if (!added.empty()) {
      base["vlans"] = vlanText(added);
      change(into, '+', label + " " + vlanText(added), base);
    }
    if (!removed.empty()) {
      base["vlans"] = vlanText(removed);
      change(into, '-', label + " " + vlanText(removed), base);
    }
  };
  for (std::string const& sw :
       unionKeys(before.portVlanConfig, after.portVlanConfig.is_object() ? after.portVlanConfig
                                                                         : kEmpty)) {
    Json const& b = at(before.portVlanConfig, sw);
    Json const& a = at(after.portVlanConfig, sw);
    std::vector<Change> changes;
    listChanges(changes, "vlan", at(b, "vlanList").is_string() ? b["vlanList"] : kNull,
                at(a, "vlanList").is_string() ? a["vlanList"] : kNull, {{"output", "vlanList"}});
    Json const &bAllowed = at(b, "portAllowedVlanList"), &aAllowed = at(a, "portAllowedVlanList");
    Json const &bNative = at(b, "portNativeVlan"), &aNative = at(a, "portNativeVlan");
    std::vector<std::string> ports = unionKeys(bAllowed, aAllowed);
    for (std::string const& port : unionKeys(bNative, aNative)) {
      if (std::find(ports.begin(), ports.end(), port) == ports.end()) ports.push_back(port);
    }
    for (std::string const& port : ports) {
      listChanges(changes, port + " allowed", bAllowed.contains(port) ? bAllowed[port] : kNull,
                  aAllowed.contains(port) ? aAllowed[port] : kNull,
                  {{"output", "allowed"}, {"port", port}});
      bool const had = bNative.contains(port), has = aNative.contains(port);
      Json base = {{"output", "native"}, {"port", port}};
      if (has && (!had || bNative[port] != aNative[port])) {
        base["vlan"] = aNative[port];
        std::string text = port + " native " + aNative[port].dump();
        if (had) {
          base["was"] = bNative[port];
          text += " (was " + bNative[port].dump() + ")";
        }
        change(changes, had ? '~' : '+', text, base);
      } else if (had && !has) {
        base["vlan"] = bNative[port];
        change(changes, '-', port + " native " + bNative[port].dump() + " withdrawn", base);
      }
    }
    Json const &bVteps = at(before.vtepConfig, sw), &aVteps = at(after.vtepConfig, sw);
    for (std::string const& vtep : unionKeys(bVteps, aVteps)) {
      Json const &bMap = at(bVteps, vtep), &aMap = at(aVteps, vtep);
      for (std::string const& key : unionKeys(bMap, aMap)) {
        Json base = {{"output", "vni"}, {"vtep", vtep}, {"key", key}};
        std::string const text = vtep + " " + key + " -> ";
        if (!aMap.contains(key)) {
          base["vni"] = bMap[key];
          change(changes, '-', text + bMap[key].dump(), base);
        } else if (!bMap.contains(key) || bMap[key] != aMap[key]) {
          base["vni"] = aMap[key];
          if (bMap.contains(key)) base["was"] = bMap[key];
          change(changes, bMap.contains(key) ? '~' : '+',
                 text + aMap[key].dump() +
                     (bMap.contains(key) ? " (was " + bMap[key].dump() + ")" : std::string()),
                 base);
        }
      }
    }
    if (!changes.empty()) plan.switches.emplace_back(sw, std::move(changes));
  }
  std::vector<Conflict> const was = conflictsOf(before), is = conflictsOf(after);
  auto in = [](std::vector<Conflict> const& list, Conflict const& c) {
    return std::any_of(list.begin(), list.end(),
                       [&](Conflict const& o) { return identity(o) == identity(c); });
  };
  for (Conflict const& c : is) {
    if (!in(was, c)) plan.opened.push_back(c);
  }
  for (Conflict const& c : was) {
    if (!in(is, c)) plan.healed.push_back(c);
  }
  return plan;
}

// --- explain ------------------------------------------------------------------------

namespace {

// Follows holders from a switch port back to the inputs. A holder's name is
// looked up, in this order, as another interface of the same switch (a port
// group's member), an element (a server behind a link), a hostname of the
// global requests, a client, and for a VNI a static map's domain.
class Explainer {
 public:
  Explainer(Fabric const& fabric, Snapshot snapshot)
      : fabric_(fabric), snapshot_(std::move(snapshot)) {
    if (auto requests = fabric.section("requests")) requests_ = *requests;
  }

  std::string switchMac(std::string const& id) const {
    Json const& elements = snapshot_.elements;
    for (std::string const& mac : {id, colonOf(id)}) {
      if (elements.contains(mac)) return mac;
    }
    for (auto const& [mac, element] : elements.items()) {
      if (at(element, "hostname") == Json(id)) return mac;
    }
    throw std::invalid_argument("no switch " + id);
  }

  std::vector<std::string> lines(std::string const& id, std::string const& port,
                                 std::optional<unsigned> onlyVlan) {
    mac_ = switchMac(id);
    Json const& element = snapshot_.elements[mac_];
    Json const* intf = nullptr;
    forEachInterface(element, [&](char const*, std::string const& name, Json const& i) {
      if (name == port && !intf) intf = &i;
    });
    if (!intf) throw std::invalid_argument("no port " + port + " on " + id);
    Json const& ports = at(snapshot_.portVlanConfig, dashOf(mac_));
    Json const& allowedText = at(at(ports, "portAllowedVlanList"), port);
    std::vector<unsigned> const allowed =
        allowedText.is_string() ? vlansOf(allowedText) : std::vector<unsigned>();
    std::vector<unsigned> vlans = sortedKeys(at(*intf, "vlan"));
    for (unsigned v : allowed) vlans.push_back(v);
    for (unsigned v : sortedKeys(at(*intf, "nativeVlan"))) vlans.push_back(v);
    std::sort(vlans.begin(), vlans.end());
    vlans.erase(std::unique(vlans.begin(), vlans.end()), vlans.end());
    if (onlyVlan) vlans = {*onlyVlan};

    std::string const where = mac_ + " " + port;
    for (unsigned vlan : vlans) {
      std::string const v = std::to_string(vlan);
      bool const written = std::binary_search(allowed.begin(), allowed.end(), vlan);
      Json const& entry = at(at(*intf, "vlan"), v);
      out_.push_back("VLAN " + v + " on " + where + ": " +
                     (written ? "allowed" : "not allowed") +
                     (at(*intf, "vlan").contains(v) ? "" : ", asked by nobody"));
      if (at(*intf, "vlan").contains(v)) {
        follow(names(at(entry, "referrer")), 1, [&](Json const& node) {
          return at(at(at(node, "vlan"), v), "referrer");
        });
      }
      explainNative(*intf, ports, port, vlan);
      explainVni(entry, port, vlan);
    }
    return out_;
  }

 private:
  using Select = std::function<Json const&(Json const& node)>;

  void line(int depth, std::string const& text) {
    out_.push_back(std::string(std::size_t(depth) * 2, ' ') + text);
  }

  // One line per holder, then its own holders below it.
  void follow(std::vector<std::string> const& holders, int depth, Select const& select,
              std::optional<std::pair<unsigned, unsigned>> vni = std::nullopt) {
    if (depth > 8) return;
    Json const& element = snapshot_.elements[mac_];
    for (std::string const& holder : holders) {
      if (auto const* intf = interfaceOf(element, holder)) {
        line(depth, "held by member " + holder + " of the group");
        follow(names(select(*intf)), depth + 1, select, vni);
      } else if (snapshot_.elements.contains(holder) && holder != mac_) {
        Json const& far = snapshot_.elements[holder];
        std::string const hostname =
            at(far, "hostname").is_string() ? " (" + far["hostname"].get<std::string>() + ")" : "";
        line(depth, "held by element " + holder + hostname);
        follow(names(select(far)), depth + 1, select, vni);
      } else if (requests_.contains(holder)) {
        line(depth, "held by hostname " + holder);
        follow(names(select(requests_[holder])), depth + 1, select, vni);
      } else if (fabric_.clientDir()->entityPtr(Vek::Name(holder))) {
        line(depth, "asked by client " + holder);
      } else if (auto domain = staticDomain(holder, vni)) {
        line(depth, "from the static map of domain " + *domain);
      } else {
        line(depth, "held by " + holder);
      }
    }
  }

  static Json const* interfaceOf(Json const& element, std::string const& name) {
    Json const* found = nullptr;
    forEachInterface(element, [&](char const*, std::string const& n, Json const& i) {
      if (n == name && !found) found = &i;
    });
    return found;
  }

  // The domain (named by its first text) whose static map gives `vni` to the VLAN.
  std::optional<std::string> staticDomain(std::string const& first,
                                          std::optional<std::pair<unsigned, unsigned>> vni) {
    if (!vni) return std::nullopt;
    auto const& config = fabric_.config();
    for (auto it = config->vlanToVniMapCol().iterator(); it; ++it) {
      VirtualNetwork::Client::ClientDomain const& domain = it.key();
      if (domain.first().stdString() == first &&
          config->vniForVlan(domain, vni->first) == vni->second) {
        return domain.name().stdString();
      }
    }
    return std::nullopt;
  }

  void explainNative(Json const& intf, Json const& ports, std::string const& port, unsigned vlan) {
    std::string const v = std::to_string(vlan);
    Json const& natives = at(intf, "nativeVlan");
    if (!natives.contains(v)) return;
    Json const& written = at(at(ports, "portNativeVlan"), port);
    if (natives.size() >= 2) {
      line(1, "native VLAN " + v + ": withdrawn, " + std::to_string(natives.size()) +
                  " native VLANs are asked for (" + joined([&] {
                    std::vector<std::string> all;
                    for (unsigned n : sortedKeys(natives)) all.push_back(std::to_string(n));
                    return all;
                  }()) +
                  ")");
    } else {
      line(1, std::string("native VLAN ") + v +
                  (written == Json(vlan) ? ": written" : ": asked for, not written"));
    }
    follow(names(natives[v]), 2, [&](Json const& node) -> Json const& {
      return at(at(node, "nativeVlan"), v);
    });
  }

  void explainVni(Json const& entry, std::string const& port, unsigned vlan) {
    std::string const v = std::to_string(vlan);
    Json const& vnis = at(entry, "mappedVni");
    if (vnis.empty()) {
      if (!entry.empty()) line(1, "no VNI asked for");
      return;
    }
    std::string const key = port + "|" + v;
    std::optional<std::string> mappedOn;
    for (auto const& [vtep, map] : at(snapshot_.vtepConfig, dashOf(mac_)).items()) {
      if (map.contains(key)) mappedOn = vtep + " maps it to " + map[key].dump();
    }
    if (vnis.size() >= 2) {
      line(1, "VNI: not mapped, " + std::to_string(vnis.size()) + " VNIs are asked for");
    } else {
      line(1, "VNI " + vnis.begin().key() + ": " +
                  (mappedOn ? *mappedOn : std::string("not mapped: the switch has no VTEP map yet")));
    }
    for (unsigned vni : sortedKeys(vnis)) {
      std::string const n = std::to_string(vni);
      line(2, "VNI " + n);
      follow(names(vnis[n]), 3,
             [&](Json const& node) -> Json const& {
               return at(at(at(at(node, "vlan"), v), "mappedVni"), n);
             },
             std::pair{vlan, vni});
    }
  }

  Fabric const& fabric_;
  Snapshot snapshot_;
  Json requests_ = Json::object();
  std::string mac_;
  std::vector<std::string> out_;
};

}  // namespace

std::vector<std::string> explain(Fabric const& fabric, std::string const& switchId,
                                 std::string const& port, std::optional<unsigned> vlan) {
  return Explainer(fabric, snapshotOf(fabric)).lines(switchId, port, vlan);
}

// --- pictures -----------------------------------------------------------------------

namespace {

std::string quoted(std::string const& text) {
  std::string out = "\"";
  for (char c : text) {
    if (c == '\n') {
      out += "\\n";
      continue;
    }
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + "\"";
}

std::string nameOf(std::string const& mac, Json const& element) {
  return at(element, "hostname").is_string() ? element["hostname"].get<std::string>() : mac;
}

bool isSwitch(Json const& element) {
  return at(element, "isSwitchElement").is_boolean() && element["isSwitchElement"].get<bool>();
}

}  // namespace

std::string dotOf(Snapshot const& snapshot) {
  std::set<std::string> conflicted;
  for (Conflict const& c : conflictsOf(snapshot)) conflicted.insert(c.element + "/" + c.interface);
  std::ostringstream out;
  out << "graph fabric {\n"
      << "  graph [rankdir=TB, fontname=\"Helvetica\"];\n"
      << "  node [fontname=\"Helvetica\"];\n  edge [fontname=\"Helvetica\", fontsize=10];\n";
  for (auto const& [mac, element] : snapshot.elements.items()) {
    bool const sw = isSwitch(element);
    out << "  " << quoted(mac) << " [label=" << quoted(nameOf(mac, element) + "\n" + mac)
        << (sw ? ", shape=box, style=filled, fillcolor=\"#dbe8f7\"" : ", shape=ellipse") << "];\n";
  }
  // One line per link, drawn once from the switch's side (or the first side seen).
  std::set<std::string> drawn;
  for (auto const& [mac, element] : snapshot.elements.items()) {
    Json const& allowed = at(at(snapshot.portVlanConfig, dashOf(mac)), "portAllowedVlanList");
    for (auto const& [port, intf] : at(element, "physicalInterface").items()) {
      std::string label = port;
      if (at(intf, "portGroup").is_string()) label += " (" + intf["portGroup"].get<std::string>() + ")";
      if (allowed.contains(port)) label += "\nVLANs " + allowed[port].get<std::string>();
      std::string const group =
          at(intf, "portGroup").is_string() ? intf["portGroup"].get<std::string>() : "";
      if (!group.empty() && allowed.contains(group)) {
        label += "\nVLANs " + allowed[group].get<std::string>();
      }
      bool const red = conflicted.count(mac + "/" + port) || conflicted.count(mac + "/" + group);
      for (std::string const& far : names(at(intf, "discoveredElement"))) {
        std::string const link = std::min(mac, far) + "|" + std::max(mac, far) + "|" + port;
        if (!snapshot.elements.contains(far) || drawn.count(link)) continue;
        // The far end draws nothing more for this pair when the switch side has drawn it.
        if (!isSwitch(element) && isSwitch(snapshot.elements[far])) continue;
        drawn.insert(link);
        out << "  " << quoted(mac) << " -- " << quoted(far) << " [taillabel=" << quoted(label)
            << (red ? ", color=red, fontcolor=red" : "") << "];\n";
      }
      // A port with VLANs and no link seen: a stub, so the VLANs show.
      if (names(at(intf, "discoveredElement")).empty() && allowed.contains(port)) {
        std::string const stub = mac + "/" + port;
        out << "  " << quoted(stub) << " [label=" << quoted(port) << ", shape=plaintext];\n"
            << "  " << quoted(mac) << " -- " << quoted(stub) << " [label="
            << quoted("VLANs " + allowed[port].get<std::string>())
            << (red ? ", color=red, fontcolor=red" : ", style=dashed") << "];\n";
      }
    }
  }
  out << "}\n";
  return out.str();
}

std::string switchLabel(Snapshot const& snapshot, std::string const& dashMac) {
  Json const& element = at(snapshot.elements, colonOf(dashMac));
  return at(element, "hostname").is_string()
             ? element["hostname"].get<std::string>() + " (" + dashMac + ")"
             : dashMac;
}

std::string tableOf(Snapshot const& snapshot) {
  std::ostringstream out;
  for (auto const& [dash, ports] : snapshot.portVlanConfig.items()) {
    std::string const mac = colonOf(dash);
    Json const& element = at(snapshot.elements, mac);
    out << nameOf(mac, element) << " (" << mac << ")  VLANs: "
        << (at(ports, "vlanList").is_string() ? ports["vlanList"].get<std::string>() : "none")
        << "\n";
    std::map<std::string, std::string> vnis;
    for (auto const& [vtep, map] : at(snapshot.vtepConfig, dash).items()) {
      for (auto const& [key, vni] : map.items()) {
        std::string const port = key.substr(0, key.find('|'));
        std::string& text = vnis[port];
        text += (text.empty() ? "" : ",") + key.substr(key.find('|') + 1) + ":" + vni.dump();
      }
    }
    Json const &allowed = at(ports, "portAllowedVlanList"), &native = at(ports, "portNativeVlan");
    std::vector<std::string> names = unionKeys(kEmpty, allowed);
    for (auto const& [port, value] : native.items()) {
      if (!allowed.contains(port)) names.push_back(port);
    }
    if (names.empty()) {
      out << "  (no port carries a VLAN)\n";
      continue;
    }
    std::size_t width = 4;
    for (std::string const& port : names) width = std::max(width, port.size());
    auto row = [&](std::string const& a, std::string const& b, std::string const& c,
                   std::string const& d) {
      out << "  " << a << std::string(width - a.size() + 2, ' ') << b
          << std::string(b.size() < 20 ? 20 - b.size() : 1, ' ') << c
          << std::string(c.size() < 8 ? 8 - c.size() : 1, ' ') << d << "\n";
    };
    row("port", "allowed", "native", "VLAN:VNI");
    for (std::string const& port : names) {
      row(port, allowed.contains(port) ? allowed[port].get<std::string>() : "-",
          native.contains(port) ? native[port].dump() : "-", vnis.count(port) ? vnis[port] : "-");
    }
  }
  return out.str();
}

}  // namespace vnagent
