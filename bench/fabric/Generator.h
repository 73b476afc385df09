// Benchmark fabrics: leaf switches with one server per port, each server
// asking for its VLANs by hostname over links the topology has discovered,
// written through the tool's Fabric as the topology service, the switches
// and a client would write them.
//
// The layout. Leaves come in pairs (2k, 2k+1). Ports swp1..swp<ports> face
// servers: the first `ports - bonded` of each leaf hold one single-homed
// server each (eth0); the last `bonded` ports hold, per port number, one
// server bonded to both leaves of the pair (eth0 to the even leaf, eth1 to
// the odd one), each leaf grouping that port alone into port group
// "bond<port>", as an MLAG pair does. Ports swp<ports+1>.. are spare uplinks
// with no link: a server moved there has a free port to go to. Each server
// has its own hostname, and one client ("openstack") asks for every
// server's VLANs by that hostname.
//
//   Generator gen(*shapeNamed("S"));
//   Fabric fabric;
//   gen.build(fabric);          // the fabric is there...
//   fabric.start(YAML::Mark()); // ...and the agent starts over it
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/vnagent/Fabric.h"

namespace vnagent::fabric {

using U32 = std::uint32_t;

// How a server's VLANs are chosen.
enum class VlanPattern {
  scattered,  // `vlans` ids spread over 2..4001, different per server
  dense,      // 1..vlans
  sparse,     // every other id: 1, 3, 5... (`vlans` of them)
  blocks,     // server n of a leaf: its own block of `vlans` ids from 1 on
};

struct Shape {
  std::string name;
  U32 leaves = 0;
  U32 ports = 48;  // server-facing ports per leaf
  U32 vlans = 50;  // per server
  U32 bonded = 8;  // of the ports, those whose servers are bonded to both leaves of a pair
  U32 spare = 2;   // unlinked ports after the server-facing ones
  VlanPattern pattern = VlanPattern::scattered;
  // Each VLAN asked with a domain whose static map gives its VNI (ranges of
  // 100 VLANs), instead of a VNI of its own.
  bool staticVnis = false;
};

// S (10 leaves), M (50), L (200), XL (500 leaves, 100 VLANs per server).
std::optional<Shape> shapeNamed(std::string const& name);

struct Leg {
  U32 leaf = 0;  // 0-based
  U32 port = 0;  // 1-based: swp<port>
  std::string nic;
};

struct Server {
  std::string mac;  // colon form
  std::string hostname;
  std::vector<Leg> legs;
  std::vector<U32> vlans;
};

class Generator {
 public:
  static constexpr char const* kClient = "openstack";
  static constexpr char const* kDomain = "tenant|fabric";
  static constexpr char const* kVtep = "vtep1";

  explicit Generator(Shape shape);

  Shape const& shape() const { return shape_; }
  std::vector<Server> const& servers() const { return servers_; }
  // Host/VLAN memberships: servers times the VLANs each asks for.
  std::uint64_t memberships() const;

  static std::string leafMac(U32 leaf);  // colon form
  static std::string leafId(U32 leaf);   // dash form, the directories' key
  static std::string portName(U32 port) { return "swp" + std::to_string(port); }
  static std::string bondName(U32 port) { return "bond" + std::to_string(port); }
  // The interface of a leaf that a port's VLANs reach: the bond for a bonded port.
  std::string interfaceOf(U32 port) const;
  bool isBonded(U32 port) const;
  // Every VLAN has one VNI across the fabric: no two candidates ever.
  static U32 vniOf(U32 vlan) { return 100000 + vlan; }
  // The static map's VNI range of the 100-VLAN range that starts at `first`.
  static U32 staticVniBase(U32 first) { return 200000 + first; }

  // Writes the whole fabric into `fabric`, one patch per leaf pair (leaves,
  // their servers, links, switch directories, the client's requests), the
  // configuration (enabled, static maps) first.
  void build(Fabric& fabric) const;

  // The patch of one leaf pair (or of the last, single leaf).
  YAML::Node pairPatch(U32 pair) const;
  YAML::Node configPatch() const;

 private:
  Shape shape_;
  std::vector<Server> servers_;
  // Index into servers_ of the first server of each pair, and one past the last.
  std::vector<std::size_t> pairStart_;
};

}  // namespace vnagent::fabric
