// The reference model: every switch's outputs computed directly from the
// inputs, with no history. It is the full recompute that an operator would
// otherwise script, the oracle of the randomized tests, and the baseline of
// the benchmarks.
//
// What it describes. The state that an agent reaches when it is built after
// the inputs it is given (the inputs written first, then the agent started,
// nothing changing after), for an agent that has every machine of the road:
// client requests by switch port and by hostname, topology hosts, links and
// port groups, host resources, physical interfaces, port groups, the switch
// node, port VLANs, VNI mapping, static maps and the two conflict rules.
//
//   Inputs in = inputsFromTree(tree);          // Convert.h
//   Outputs out = recompute(in);
//   Json pv = portVlanConfigSection(in, out);  // as Fabric::section shows it
//
// The rules, in the words an operator would use:
//   - A switch is served while it is ready: a topology host whose key in dash
//     form names it, and a typed entity with an entry of status 1 in each of
//     its three directories.
//   - A client counts while its directory holds an entity of the right type
//     and an entry of status 1.
//   - A port of a switch carries the VLANs of the clients' requests for that
//     port, and the VLANs requested for the hostname of every server behind
//     it (named by a client as a remote host, or linked to it by the
//     topology). A switch behind a port passes nothing on.
//   - A server has the requests of the hostname group that lists it.
//   - A port group carries the union of its members; the switch is told the
//     group under its own name and never its members under theirs.
//   - A port's native VLAN is written while exactly one is asked for.
//   - A VLAN's VNIs are those requested with it and, for each of its
//     domains, what the domain's static map gives; exactly one is mapped, two
//     or more are a conflict and nothing is mapped.
//   - The switch-wide VLAN list is the union of its ports' VLANs and the
//     VLANs requested for the switch's own hostname.
//
// Where the agent's steady state depends on the order of events, by design,
// the model does not follow it. A comparison with a running agent must avoid
// (or expect) these cases:
//   1. A static range re-keyed to another VNI range: the agent keeps the old
//      VNI beside the new one, in conflict, until the range is removed.
//   2. Losing a single toPort of a link, or its value turning false, undoes
//      nothing; only the whole edge leaving does. A one-way link is connected
//      only if the far host's element exists when the near host is handled
//      (earlier in the topology's host order, or earlier in time).
//   3. A port group the host already had when its element was bound joins
//      its members only through links; one added later joins them from its
//      memberPort at once. The model follows the links (build-after). A port
//      whose topology portGroup and its group's memberPort disagree is not
//      described.
//   4. A port group's native VLAN follows the first member that brought it;
//      the model takes the union of its members' native VLANs. Likewise a
//      member leaving removes a group VNI or domain by its own entry.
//   5. A port leaving its group gets its port records back at once, its VTEP
//      mappings only at the next mapping change or bulk pass.
//   6. Leftovers in the switch directories: the reconciliation at connect
//      rewrites the VLAN lists and the allowed lists of every port that is
//      an interface and is not a member, and sweeps ports that are no
//      interface; it leaves a stored native VLAN of an interface that asks
//      for none, the records of member ports, and the VTEP map's entries
//      (the bulk pass only adds). The model keeps exactly those. A leftover
//      list that holds no id from 1 to 4094 is not rewritten when nothing
//      else is written over it; the model does not describe that.
//   7. A switch that was ready and lost a fact keeps its port records and
//      its element stays marked a switch; the model serves only ready
//      switches and shows a switch that is not ready as its inputs left it.
//   8. A ready switch whose entry leaves status 1 (or vanishes while the
//      entity stays) stays ready; a client whose entity vanishes, or whose
//      entry leaves status 1, keeps its requests until its entry goes.
//   9. `enabled` going false empties the elements and the requests while
//      the machines stay; the model ignores `enabled` (the agent built after
//      the inputs is the same either way).
//  10. A hostname group removed as a whole leaves its hosts linked to the
//      requests; a host in two hostname groups with requests is not
//      described (the model takes the union).
//  11. Domains on a switch port are counted by the domain's name: the first
//      of two clients to remove one removes it for both, and one a client
//      drops with its VLAN stays while the VLAN does. Two domains with the
//      same first string share one static referrer.
//  12. A VLAN id above 65535 is cut to 16 bits on its way into a list, on
//      removal too; VLAN ids outside 1..4094 are left out of lists. A native
//      VLAN above 4094, a VLAN above 4094 or a VNI above 16777215 on the
//      way to the VTEP raise, and the model does not describe that step.
//  13. With two or more VTEPs, single changes go to the first VTEP config
//      only; the model writes every mapping to every VTEP the status names.
//  14. A link from or to a port group, a link whose port or host has left
//      the topology, and a host that left the topology while its links or
//      hostname group stay, are not described.
//  15. A client that withdraws its request for a switch port no remote host
//      holds takes the port away with every other client's VLANs on it;
//      they come back only with those clients' next change.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vnagent::model {

using U32 = std::uint32_t;

// ---------------------------------------------------------------- inputs ---

struct Range {
  U32 min = 0;
  U32 max = 0;
  friend auto operator<=>(Range const&, Range const&) = default;
};

// What is asked for one VLAN: its VNIs and its domains ("<first>|<second>").
struct VlanAsk {
  std::set<U32> mappedVni;
  std::set<std::string> domain;
};
using VlanAsks = std::map<U32, VlanAsk>;

struct SwitchportAsk {
  U32 nativeVlan = 0;  // 0: none
  VlanAsks vlan;
  std::set<std::string> remoteHost;  // those whose value is true
};

// What a directory holds under one key.
enum class EntityKind { none, typed, other };
struct DirEntry {
  std::optional<U32> entry;  // the entry's status, if there is an entry
  EntityKind entity = EntityKind::none;
  bool synchronised() const { return entity == EntityKind::typed && entry == 1u; }
};

struct Client {
  DirEntry dir;
  std::map<std::string, VlanAsks> byHostname;
  // "<colon-mac>|<port>" -> request
  std::map<std::string, SwitchportAsk> bySwitchport;
};

struct Host {
  std::string hostname;
  std::map<std::string, std::string> port;                // port -> its group, "" for none
  std::map<std::string, std::set<std::string>> portGroup;  // group -> member ports
};

// A VTEP's map, keyed "<port>|<vlan>".
using VtepMap = std::map<std::string, U32>;

// One switch's three directories, and what their entities held when the
// agent was built (the records of an earlier life).
struct SwitchDirs {
  DirEntry portVlanConfig, dynVtepConfig, dynVtepStatus;
  std::string vlanList;
  std::map<std::string, std::string> portAllowedVlanList;
  std::map<std::string, U32> portNativeVlan;
  std::vector<std::pair<std::string, VtepMap>> vtepConfig;  // in their order
  std::vector<std::string> vtepStatus;
};

struct Inputs {
  bool enabled = false;
  // "<first>|<second>" -> VLAN range -> VNI range
  std::map<std::string, std::map<Range, Range>> vlanToVniMap;
  std::map<std::string, Host> host;  // by colon MAC
  // "<host>|<port>" -> "<host>|<port>" -> connected
  std::map<std::string, std::map<std::string, bool>> edge;
  std::map<std::string, std::set<std::string>> hostsByHostname;
  std::map<std::string, SwitchDirs> switches;  // by dash MAC
  std::map<std::string, Client> clients;
};

// --------------------------------------------------------------- outputs ---

struct SwitchOutputs {
  std::set<U32> vlanList;
  std::map<std::string, std::set<U32>> portAllowedVlanList;  // no empty sets
  std::map<std::string, U32> portNativeVlan;
  std::vector<std::pair<std::string, VtepMap>> vtepConfig;
};

// Ready switches only, by dash MAC.
struct Outputs {
  std::map<std::string, SwitchOutputs> switches;
};

Outputs recompute(Inputs const& in);

// The static VNI of a VLAN in a domain, 0 if none: the lowest range that
// holds the VLAN (by its lower, then its upper bound), at the same offset in
// its VNI range, and 0 past that range's end.
U32 staticVni(Inputs const& in, std::string const& domain, U32 vlan);

// "aa:bb" <-> "aa-bb", as the switch directories and the topology key a switch.
std::string dashMac(std::string mac);
std::string colonMac(std::string mac);

}  // namespace vnagent::model
