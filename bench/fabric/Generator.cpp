#include "bench/fabric/Generator.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "model/Model.h"

namespace vnagent::fabric {

namespace {

std::string mac(unsigned prefix, U32 n) {
  char text[18];
  std::snprintf(text, sizeof text, "%02x:00:00:%02x:%02x:%02x", prefix, (n >> 16) & 0xff,
                (n >> 8) & 0xff, n & 0xff);
  return text;
}

YAML::Node map() { return YAML::Node(YAML::NodeType::Map); }

std::string const kTrue = "true";

}  // namespace

std::optional<Shape> shapeNamed(std::string const& name) {
  Shape shape;
  shape.name = name;
  if (name == "S") {
    shape.leaves = 10;
  } else if (name == "M") {
    shape.leaves = 50;
  } else if (name == "L") {
    shape.leaves = 200;
  } else if (name == "XL") {
    shape.leaves = 500;
    shape.vlans = 100;
  } else {
    return std::nullopt;
  }
  return shape;
}

std::string Generator::leafMac(U32 leaf) { return mac(0x02, leaf + 1); }
std::string Generator::leafId(U32 leaf) { return model::dashMac(leafMac(leaf)); }

bool Generator::isBonded(U32 port) const {
  return port > shape_.ports - shape_.bonded && port <= shape_.ports;
}

std::string Generator::interfaceOf(U32 port) const {
  return isBonded(port) ? bondName(port) : portName(port);
}

Generator::Generator(Shape shape) : shape_(std::move(shape)) {
  if (shape_.bonded > shape_.ports) throw std::invalid_argument("more bonded ports than ports");
  if (shape_.pattern == VlanPattern::scattered && shape_.vlans > 100) {
    // 39 * 100 < 4000: beyond that two of a server's ids could meet.
    throw std::invalid_argument("at most 100 scattered VLANs per server");
  }
  auto vlansOf = [&](U32 n, U32 port) {
    std::vector<U32> vlans;
    for (U32 k = 0; k < shape_.vlans; ++k) {
      switch (shape_.pattern) {
        case VlanPattern::scattered: vlans.push_back(2 + (n * 37 + k * 39) % 4000); break;
        case VlanPattern::dense: vlans.push_back(1 + k); break;
        case VlanPattern::sparse: vlans.push_back(1 + 2 * k); break;
        case VlanPattern::blocks: vlans.push_back(1 + (port - 1) * shape_.vlans + k); break;
      }
    }
    return vlans;
  };
  U32 const single = shape_.ports - shape_.bonded;
  for (U32 first = 0; first < shape_.leaves; first += 2) {
    pairStart_.push_back(servers_.size());
    bool const paired = first + 1 < shape_.leaves;
    for (U32 leaf = first; leaf < first + (paired ? 2 : 1); ++leaf) {
      for (U32 port = 1; port <= (paired ? single : shape_.ports); ++port) {
        U32 const n = U32(servers_.size());
        servers_.push_back({mac(0x04, n + 1), "srv" + std::to_string(n + 1),
                            {Leg{leaf, port, "eth0"}}, vlansOf(n, port)});
      }
    }
    if (!paired) continue;
    for (U32 port = single + 1; port <= shape_.ports; ++port) {
      U32 const n = U32(servers_.size());
      servers_.push_back({mac(0x04, n + 1), "srv" + std::to_string(n + 1),
                          {Leg{first, port, "eth0"}, Leg{first + 1, port, "eth1"}},
                          vlansOf(n, port)});
    }
  }
  pairStart_.push_back(servers_.size());
}

std::uint64_t Generator::memberships() const {
  std::uint64_t n = 0;
  for (Server const& s : servers_) n += s.vlans.size();
  return n;
}

YAML::Node Generator::configPatch() const {
  YAML::Node patch = map();
  patch["config"]["enabled"] = kTrue;
  if (shape_.staticVnis) {
    YAML::Node ranges = map();
    for (U32 first = 1; first <= 4094; first += 100) {
      U32 const last = std::min<U32>(first + 99, 4094);
      U32 const vni = staticVniBase(first);
      ranges[std::to_string(first) + "-" + std::to_string(last)] =
          std::to_string(vni) + "-" + std::to_string(vni + (last - first));
    }
    patch["config"]["vlanToVniMap"][kDomain] = ranges;
  }
  return patch;
}

YAML::Node Generator::pairPatch(U32 pair) const {
  YAML::Node patch = map();
  YAML::Node topology = map();
  YAML::Node hosts = map();
  YAML::Node groups = map();
  YAML::Node edges = map();
  YAML::Node dirs = map();
  U32 const first = pair * 2;
  U32 const last = std::min(first + 2, shape_.leaves);
  for (U32 leaf = first; leaf < last; ++leaf) {
    YAML::Node host = map();
    host["hostname"] = "leaf" + std::to_string(leaf + 1);
    YAML::Node ports = map();
    for (U32 port = 1; port <= shape_.ports + shape_.spare; ++port) {
      YAML::Node p = map();
      if (isBonded(port) && last - first == 2) {
        p["portGroup"] = bondName(port);
        host["portGroup"][bondName(port)]["memberPort"][portName(port)] = kTrue;
      }
      ports[portName(port)] = p;
    }
    host["port"] = ports;
    hosts[leafMac(leaf)] = host;
    groups["leaf" + std::to_string(leaf + 1)]["host"][leafMac(leaf)] = kTrue;
    std::string const id = leafId(leaf);
    for (char const* dir : {"portVlanConfig", "dynVtepConfig", "dynVtepStatus"}) {
      YAML::Node d = map();
      d["entry"] = "1";
      d["entity"] = map();
      dirs[dir][id] = d;
    }
    dirs["dynVtepStatus"][id]["entity"]["vtepStatus"][kVtep] = kTrue;
  }
  YAML::Node requests = map();
  for (std::size_t i = pairStart_[pair]; i < pairStart_[pair + 1]; ++i) {
    Server const& s = servers_[i];
    YAML::Node host = map();
    host["hostname"] = s.hostname;
    for (Leg const& leg : s.legs) {
      host["port"][leg.nic] = map();
      std::string const near = s.mac + "|" + leg.nic;
      std::string const far = leafMac(leg.leaf) + "|" + portName(leg.port);
      edges[near]["toPort"][far] = kTrue;
      edges[far]["toPort"][near] = kTrue;
    }
    hosts[s.mac] = host;
    groups[s.hostname]["host"][s.mac] = kTrue;
    YAML::Node vlans = map();
    for (U32 vlan : s.vlans) {
      YAML::Node ask = map();
      if (shape_.staticVnis) {
        ask["domain"][kDomain] = kTrue;
      } else {
        ask["mappedVni"][std::to_string(vniOf(vlan))] = kTrue;
      }
      vlans[std::to_string(vlan)] = ask;
    }
    requests[s.hostname]["vlan"] = vlans;
  }
  topology["host"] = hosts;
  topology["hostsByHostname"] = groups;
  topology["edge"] = edges;
  patch["topology"] = topology;
  patch["dirs"] = dirs;
  YAML::Node client = map();
  client["entry"] = "1";
  client["entity"]["resourcesForHostname"] = requests;
  patch["clients"][kClient] = client;
  return patch;
}

void Generator::build(Fabric& fabric) const {
  auto apply = [&](YAML::Node const& patch) {
    if (auto raised = fabric.apply(patch)) {
      throw std::runtime_error("the fabric raised while being built: " + raised->text);
    }
  };
  apply(configPatch());
  for (U32 pair = 0; pair + 1 < pairStart_.size(); ++pair) apply(pairPatch(pair));
}

}  // namespace vnagent::fabric
