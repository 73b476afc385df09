// What an operator asks of a scenario: what each step does to the switches
// (plan), why a VLAN or a VNI is on a port (explain), which conflicts stand
// (conflicts), what the fabric looks like (dot, table).
//
// Everything here reads the records through the model form of Fabric's
// sections, so that it sees what `vnagent show` and the checks see:
//
//   Snapshot before = snapshotOf(fabric);
//   fabric.apply(patch);
//   StepPlan plan = planOf(before, snapshotOf(fabric));
//   for (auto const& [sw, lines] : plan.switches) ...
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/vnagent/Compare.h"

namespace vnagent {

class Fabric;

// The sections an operator command reads, as the fabric stands.
struct Snapshot {
  Json portVlanConfig = Json::object();  // by dash MAC
  Json vtepConfig = Json::object();      // by dash MAC, then VTEP
  Json elements = Json::object();        // by colon MAC
};
Snapshot snapshotOf(Fabric const& fabric);

// One output that no candidate holds alone: a port with two or more native
// VLANs asked for, or a VLAN of a port with two or more VNIs.
struct Conflict {
  enum class Kind { nativeVlan, vni };
  Kind kind = Kind::nativeVlan;
  std::string element;    // colon MAC of the switch
  std::string interface;  // the switch port or port group
  std::optional<unsigned> vlan;  // for a VNI conflict
  // Each candidate (a native VLAN, a VNI) with those who ask for it.
  std::vector<std::pair<unsigned, std::vector<std::string>>> candidates;

  // "native VLAN on 00:00:00:00:01:01 swp2: 5 (ops), 6 (openstack)"
  std::string text() const;
  Json json() const;
  friend bool operator==(Conflict const&, Conflict const&) = default;
};
// Every conflict in force on a switch element, in element and port order.
std::vector<Conflict> conflictsOf(Snapshot const& snapshot);

// A change of one switch output.
struct Change {
  char op;           // '+' written, '-' withdrawn, '~' replaced
  std::string text;  // "Ethernet3 allowed 10-12,20", "vtep1 Ethernet3|20 -> 5020"
  Json json;
};
struct StepPlan {
  // Per dash MAC, in switch order, the switches whose outputs changed.
  std::vector<std::pair<std::string, std::vector<Change>>> switches;
  std::vector<Conflict> opened;
  std::vector<Conflict> healed;
  bool empty() const { return switches.empty() && opened.empty() && healed.empty(); }
};
StepPlan planOf(Snapshot const& before, Snapshot const& after);

// Why each VLAN (or `vlan` alone) is on `port` of the switch `switchId`
// (colon MAC, dash MAC or hostname), and why its VNI is or is not mapped:
// one line per link of the chain of holders, indented by depth. Raises
// std::invalid_argument naming what it cannot find.
std::vector<std::string> explain(Fabric const& fabric, std::string const& switchId,
                                 std::string const& port, std::optional<unsigned> vlan);

// The fabric as Graphviz text: switches and servers, the links between them,
// the VLANs allowed on each switch port, conflicts in red.
std::string dotOf(Snapshot const& snapshot);

// Each switch's outputs as a table a person reads: one line per port with
// its allowed VLANs, native VLAN and VNIs.
std::string tableOf(Snapshot const& snapshot);

// "leaf1 (00-00-00-00-01-01)", or the dash MAC alone for a switch without a hostname.
std::string switchLabel(Snapshot const& snapshot, std::string const& dashMac);

// "10-12,20": the VLANs of a list text, as the switch would print them.
std::string vlanText(std::vector<unsigned> const& vlans);
std::vector<unsigned> vlansOf(std::string const& text);

}  // namespace vnagent
