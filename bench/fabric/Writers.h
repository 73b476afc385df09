// The events of the workloads, written straight into a Fabric's records as
// the services write them (a client field by field, the topology service
// edge by edge, a switch its directories), without the scenario patches:
// what is timed is the agent's work and the record writes, nothing of YAML.
//
// OutputCounter hears every change of the switches' output records (the
// port VLAN records, the VTEP configuration directories and their VTEP
// maps), so that a workload reports outputs written per event.
//
//   Writer w(fabric);
//   OutputCounter outputs(fabric);
//   w.vlanAdded("srv1", 4050, 104050);
//   outputs.count();  // the allowed list, the switch's list, the VTEP map
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bench/fabric/Generator.h"

namespace vnagent::fabric {

class OutputCounter {
 public:
  // Listens to the output records that exist now: start the agent first.
  explicit OutputCounter(Fabric const& fabric);
  ~OutputCounter();
  OutputCounter(OutputCounter const&) = delete;
  OutputCounter& operator=(OutputCounter const&) = delete;

  std::uint64_t count() const { return count_; }

 private:
  class Ear;
  std::vector<Vek::Ptr<Ear>> ears_;
  std::uint64_t count_ = 0;
};

class Writer {
 public:
  explicit Writer(Fabric& fabric) : f_(fabric) {}

  // The client asks for one more VLAN of a hostname, with its VNI (0: none)
  // or its domain: the VLAN first, then what it maps to.
  void vlanAdded(std::string const& hostname, U32 vlan, U32 vni, std::string const& domain = "");
  void vlanRemoved(std::string const& hostname, U32 vlan);

  // Both directions of the link between a server's NIC and a leaf's port.
  void linkUp(std::string const& serverMac, std::string const& nic, U32 leaf, U32 port);
  void linkDown(std::string const& serverMac, std::string const& nic, U32 leaf, U32 port);

  // The switch's VTEP status entity leaves its directory (the switch stops
  // being ready), and comes back with its VTEP: the last fact arriving again.
  void vtepStatusLost(U32 leaf);
  void vtepStatusBack(U32 leaf);

  // A range of a domain's static map replaced: the old range removed, then
  // the same VLANs written with other VNIs.
  void staticRangeReplaced(std::string const& domain, U32 firstVlan, U32 lastVlan, U32 firstVni);

 private:
  Vek::Ptr<VirtualNetwork::Client::ResourcesForHostname> request(std::string const& hostname) const;
  Vek::Ptr<NetworkTopologyAggregatorV3::PortBase const> port(std::string const& host,
                                                            std::string const& name) const;

  Fabric& f_;
};

}  // namespace vnagent::fabric
