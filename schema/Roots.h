// The roots of the agent's input and output trees: the configuration, the
// output root with its two collections, and the topology service's root.
// The host process makes them and hands them to the agent's factory.
//
// Each change notifies once with the attribute's id and, for a collection,
// the key (a Vek::String for names, the port pointer itself for edges).
//
//   auto config = VirtualNetwork::ConfigIs("config");
//   config->vlanToVniMapIs({"tenant", "net"})->mapIs({100, 199}, {10100, 10199});
//   config->enabledIs(true);
//   assert(config->vniForVlan({"tenant", "net"}, 150) == 10150);
//
//   auto status = VirtualNetwork::StatusIs("status");
//   auto elements = status->networkElementCollectionIs("");
//   elements->networkElementIs("00:00:00:00:00:01");
//   elements->destroy();    // empty again, same object
#pragma once

#include <vector>

#include "reactive/Record.h"
#include "reactive/ValueTypes.h"
#include "schema/Resources.h"
#include "schema/Topology.h"

namespace VirtualNetwork {

// The agent's configuration, written by the operator: on or off, and the
// static VLAN-to-VNI maps of each client domain. 258 is not used by this
// record.
class Config : public Vek::Record<Config> {
 public:
  using Record::Record;

  VEK_VALUE(enabled, 259, bool)
  VEK_ENTITIES(vlanToVniMap, 260, Client::ClientDomain, VlanToVniMap)

  // The VNI that the domain's static map gives `vlan`, or 0.
  //
  // Among the map's VLAN ranges that hold `vlan`, the one with the lowest
  // `min` wins, and of those the one with the lowest `max`, so overlapping
  // ranges give the same answer whatever order they were written in. The
  // VNI is the VNI range's `min` plus the VLAN's offset in the VLAN range.
  // The answer is 0 when `vlan` is 0 (no VLAN), when the domain has no map,
  // when no range holds `vlan`, and when the VNI would lie above the VNI
  // range's `max` (the winning range is not given up for another one then).
  // Nothing checks the VNI against the 24 bits of a Vxlan::Vni: the caller
  // that makes one refuses it.
  U32 vniForVlan(Client::ClientDomain const& domain, U32 vlan) const;
};

// The global requests of all clients, merged by hostname.
class RequestedResourcesCollection : public Vek::Record<RequestedResourcesCollection> {
 public:
  using Record::Record;

  VEK_ENTITIES(resourcesForHostname, 258, Vek::Name, ResourcesForHostname)
};

// All network elements, switches and hosts, by the colon form of the MAC.
class NetworkElementCollection : public Vek::Record<NetworkElementCollection> {
 public:
  using Record::Record;
  // Takes the remaining elements apart, their interfaces and port groups
  // included: elements refer to each other through their interfaces, and a
  // port group and its members refer to each other, so dropping the
  // collection alone would leave them keeping each other alive.
  ~NetworkElementCollection() override;

  VEK_ENTITIES(networkElement, 258, Vek::Name, NetworkElement)

  // Removes every element, each removal notified, then calls destroy() on
  // each removed element. The collection stays usable: networkElementIs
  // works at once. The elements' interfaces and port groups are left as
  // they are, for the machines that still watch them.
  void destroy();

 private:
  // Removes every element, each removal notified; returns them in order.
  std::vector<Vek::Ptr<NetworkElement>> removeAll();
};

// The root of the agent's output, handed over by the host process.
class Status : public Vek::Record<Status> {
 public:
  // Not given by the record's readers: 258 on, in declaration order.
  static constexpr Vek::AttributeId networkElementCollectionId = 258;
  static constexpr Vek::AttributeId requestedResourcesCollectionId = 259;

  using Record::Record;

  Vek::Ptr<NetworkElementCollection> networkElementCollection() const {
    return networkElementCollection_.get();
  }
  // The collection of this name: the present one if it has this name,
  // otherwise a new one in its place (notified).
  Vek::Ptr<NetworkElementCollection> networkElementCollectionIs(Vek::Name const& name);
  // Takes the collection out and returns it, or null.
  Vek::Ptr<NetworkElementCollection> networkElementCollectionDel();

  Vek::Ptr<RequestedResourcesCollection> requestedResourcesCollection() const {
    return requestedResourcesCollection_.get();
  }
  // As networkElementCollectionIs.
  Vek::Ptr<RequestedResourcesCollection> requestedResourcesCollectionIs(Vek::Name const& name);
  Vek::Ptr<RequestedResourcesCollection> requestedResourcesCollectionDel();

 private:
  Vek::Value<Vek::Ptr<NetworkElementCollection>, networkElementCollectionId>
      networkElementCollection_;
  Vek::Value<Vek::Ptr<RequestedResourcesCollection>, requestedResourcesCollectionId>
      requestedResourcesCollection_;
};

// Creators for the host process and for tests.
VEK_RECORD_CREATOR(Config, Vek::Name)
VEK_RECORD_CREATOR(RequestedResourcesCollection, Vek::Name)
VEK_RECORD_CREATOR(NetworkElementCollection, Vek::Name)
VEK_RECORD_CREATOR(Status, Vek::Name)

}  // namespace VirtualNetwork

namespace NetworkTopologyAggregatorV3 {

// The topology service's root: hosts, edges by sending port (found by the
// port object, not by its name), and the hosts of each hostname.
class Status : public Vek::Record<Status> {
 public:
  using Record::Record;

  VEK_ENTITIES(host, 258, Vek::Name, Host)
  VEK_ENTITIES(edge, 259, Vek::Ptr<PortBase const>, DirectedEdge)
  VEK_ENTITIES(hostsByHostname, 260, Vek::Name, HostsByHostname)
};

VEK_RECORD_CREATOR(Status, Vek::Name)

}  // namespace NetworkTopologyAggregatorV3
