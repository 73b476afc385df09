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

#include "reactive/AllocTrack.h"
#include "reactive/Attribute.h"
#include "reactive/Entity.h"
#include "reactive/ValueTypes.h"
#include "schema/Resources.h"
#include "schema/Topology.h"

namespace VirtualNetwork {

// The agent's configuration, written by the operator: on or off, and the
// static VLAN-to-VNI maps of each client domain.
class Config : public Vek::Entity, public Vek::AllocTracked<Config> {
 public:
  // 258 is not used by this record.
  static constexpr Vek::AttributeId enabledId = 259;
  static constexpr Vek::AttributeId vlanToVniMapId = 260;
  using NotifieeConst = Vek::NotifieeConst;

  explicit Config(Vek::Name name) : Entity(std::move(name)) {}

  bool enabled() const { return enabled_.get(); }
  void enabledIs(bool v) { enabled_.set(*this, v); }

  Vek::Ptr<VlanToVniMap> vlanToVniMap(Client::ClientDomain const& domain) const {
    return vlanToVniMap_.find(domain);
  }
  Vek::EntityMap<Client::ClientDomain, VlanToVniMap, vlanToVniMapId> const& vlanToVniMapCol()
      const {
    return vlanToVniMap_;
  }
  Vek::Ptr<VlanToVniMap> vlanToVniMapIs(Client::ClientDomain const& domain) {
    return vlanToVniMap_.is(*this, domain);
  }
  Vek::Ptr<VlanToVniMap> vlanToVniMapDel(Client::ClientDomain const& domain) {
    return vlanToVniMap_.del(*this, domain);
  }
  void vlanToVniMapDelAll() { vlanToVniMap_.delAll(*this); }

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

 private:
  Vek::Value<bool, enabledId> enabled_;
  Vek::EntityMap<Client::ClientDomain, VlanToVniMap, vlanToVniMapId> vlanToVniMap_;
};

// The global requests of all clients, merged by hostname.
class RequestedResourcesCollection : public Vek::Entity,
                                     public Vek::AllocTracked<RequestedResourcesCollection> {
 public:
  static constexpr Vek::AttributeId resourcesForHostnameId = 258;
  using NotifieeConst = Vek::NotifieeConst;
  using Notifiee = Vek::NotifieeConst;

  explicit RequestedResourcesCollection(Vek::Name name) : Entity(std::move(name)) {}

  Vek::Ptr<ResourcesForHostname> resourcesForHostname(Vek::Name const& hostname) const {
    return resourcesForHostname_.find(hostname);
  }
  Vek::EntityMap<Vek::Name, ResourcesForHostname, resourcesForHostnameId> const&
  resourcesForHostnameCol() const {
    return resourcesForHostname_;
  }
  Vek::Ptr<ResourcesForHostname> resourcesForHostnameIs(Vek::Name const& hostname) {
    return resourcesForHostname_.is(*this, hostname);
  }
  Vek::Ptr<ResourcesForHostname> resourcesForHostnameDel(Vek::Name const& hostname) {
    return resourcesForHostname_.del(*this, hostname);
  }
  void resourcesForHostnameDelAll() { resourcesForHostname_.delAll(*this); }

 private:
  Vek::EntityMap<Vek::Name, ResourcesForHostname, resourcesForHostnameId> resourcesForHostname_;
};

// All network elements, switches and hosts, by the colon form of the MAC.
class NetworkElementCollection : public Vek::Entity,
                                 public Vek::AllocTracked<NetworkElementCollection> {
 public:
  static constexpr Vek::AttributeId networkElementId = 258;
  using NotifieeConst = Vek::NotifieeConst;
  using Notifiee = Vek::NotifieeConst;

  explicit NetworkElementCollection(Vek::Name name) : Entity(std::move(name)) {}
  // Takes the remaining elements apart, their interfaces and port groups
  // included: elements refer to each other through their interfaces, and a
  // port group and its members refer to each other, so dropping the
  // collection alone would leave them keeping each other alive.
  ~NetworkElementCollection() override;

  Vek::Ptr<NetworkElement> networkElement(Vek::Name const& name) const {
    return networkElement_.find(name);
  }
  Vek::EntityMap<Vek::Name, NetworkElement, networkElementId> const& networkElementCol() const {
    return networkElement_;
  }
  Vek::Ptr<NetworkElement> networkElementIs(Vek::Name const& name) {
    return networkElement_.is(*this, name);
  }
  Vek::Ptr<NetworkElement> networkElementDel(Vek::Name const& name) {
    return networkElement_.del(*this, name);
  }
  void networkElementDelAll() { networkElement_.delAll(*this); }

  // Removes every element, each removal notified, then calls destroy() on
  // each removed element. The collection stays usable: networkElementIs
  // works at once. The elements' interfaces and port groups are left as
  // they are, for the machines that still watch them.
  void destroy();

 private:
  // Removes every element, each removal notified; returns them in order.
  std::vector<Vek::Ptr<NetworkElement>> removeAll();

  Vek::EntityMap<Vek::Name, NetworkElement, networkElementId> networkElement_;
};

// The root of the agent's output, handed over by the host process.
class Status : public Vek::Entity, public Vek::AllocTracked<Status> {
 public:
  // Not given by the record's readers: 258 on, in declaration order.
  static constexpr Vek::AttributeId networkElementCollectionId = 258;
  static constexpr Vek::AttributeId requestedResourcesCollectionId = 259;
  using NotifieeConst = Vek::NotifieeConst;

  explicit Status(Vek::Name name) : Entity(std::move(name)) {}

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
inline Vek::Ptr<Config> ConfigIs(Vek::Name name) { return new Config(std::move(name)); }
inline Vek::Ptr<RequestedResourcesCollection> RequestedResourcesCollectionIs(Vek::Name name) {
  return new RequestedResourcesCollection(std::move(name));
}
inline Vek::Ptr<NetworkElementCollection> NetworkElementCollectionIs(Vek::Name name) {
  return new NetworkElementCollection(std::move(name));
}
inline Vek::Ptr<Status> StatusIs(Vek::Name name) { return new Status(std::move(name)); }

}  // namespace VirtualNetwork

namespace NetworkTopologyAggregatorV3 {

// The topology service's root: hosts, edges by sending port, and the hosts
// of each hostname.
class Status : public Vek::Entity, public Vek::AllocTracked<Status> {
 public:
  static constexpr Vek::AttributeId hostId = 258;
  static constexpr Vek::AttributeId edgeId = 259;
  static constexpr Vek::AttributeId hostsByHostnameId = 260;
  using NotifieeConst = Vek::NotifieeConst;
  using EdgeMap = Vek::EntityMap<Vek::Ptr<PortBase const>, DirectedEdge, edgeId>;

  explicit Status(Vek::Name name) : Entity(std::move(name)) {}

  Vek::Ptr<Host> host(Vek::Name const& name) const { return host_.find(name); }
  Vek::EntityMap<Vek::Name, Host, hostId> const& hostCol() const { return host_; }
  Vek::Ptr<Host> hostIs(Vek::Name const& name) { return host_.is(*this, name); }
  Vek::Ptr<Host> hostDel(Vek::Name const& name) { return host_.del(*this, name); }
  void hostDelAll() { host_.delAll(*this); }

  // The edge of a sending port, or null: found by the port object, not by
  // its name.
  Vek::Ptr<DirectedEdge> edge(Vek::Ptr<PortBase const> const& fromPort) const {
    return edge_.find(fromPort);
  }
  EdgeMap const& edgeCol() const { return edge_; }
  Vek::Ptr<DirectedEdge> edgeIs(Vek::Ptr<PortBase const> const& fromPort) {
    return edge_.is(*this, fromPort);
  }
  Vek::Ptr<DirectedEdge> edgeDel(Vek::Ptr<PortBase const> const& fromPort) {
    return edge_.del(*this, fromPort);
  }
  void edgeDelAll() { edge_.delAll(*this); }

  Vek::Ptr<HostsByHostname> hostsByHostname(Vek::Name const& hostname) const {
    return hostsByHostname_.find(hostname);
  }
  Vek::EntityMap<Vek::Name, HostsByHostname, hostsByHostnameId> const& hostsByHostnameCol() const {
    return hostsByHostname_;
  }
  Vek::Ptr<HostsByHostname> hostsByHostnameIs(Vek::Name const& hostname) {
    return hostsByHostname_.is(*this, hostname);
  }
  Vek::Ptr<HostsByHostname> hostsByHostnameDel(Vek::Name const& hostname) {
    return hostsByHostname_.del(*this, hostname);
  }
  void hostsByHostnameDelAll() { hostsByHostname_.delAll(*this); }

 private:
  Vek::EntityMap<Vek::Name, Host, hostId> host_;
  EdgeMap edge_;
  Vek::EntityMap<Vek::Name, HostsByHostname, hostsByHostnameId> hostsByHostname_;
};

inline Vek::Ptr<Status> StatusIs(Vek::Name name) { return new Status(std::move(name)); }

}  // namespace NetworkTopologyAggregatorV3
