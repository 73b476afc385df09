// What the topology service reports: hosts and switches with their ports and
// port groups, the hosts of each hostname, and the directed edges between
// ports. The agent only reads these records; the host process writes them
// with the mutators below, and the root is NetworkTopologyAggregatorV3::Status
// (schema/Roots.h).
//
// A port or port group belongs to the host whose `port` or `portGroup`
// collection holds it, and `host()` answers that host. A port that leaves its
// host also leaves its group, and a group that leaves its host loses its
// members (both notified): a port and its group refer to each other, and
// without this they would keep each other alive after their host is gone.
//
// Edges are keyed by the sending port itself, not by a name: two hosts may
// have ports of the same name.
//
//   auto host = status->hostIs("00:00:00:00:00:0a");
//   host->hostnameIs("web-1");
//   auto eth0 = host->portIs("eth0");
//   auto bond = host->portGroupIs("bond0");
//   eth0->portGroupIs(bond);
//   bond->memberPortIs(eth0);
//   status->edgeIs(eth0)->toPortIs(switchPort, true);
#pragma once

#include "reactive/AllocTrack.h"
#include "reactive/Attribute.h"
#include "reactive/Entity.h"

namespace NetworkTopologyAggregatorV3 {

class Host;
class PortGroup;

// A port or a port group of a host. Never made on its own.
class PortBase : public Vek::Entity, public Vek::AllocTracked<PortBase> {
 public:
  using NotifieeConst = Vek::NotifieeConst;

  // The host that holds this port now; null once the port has left it.
  virtual Vek::Ptr<Host const> host() const;

 protected:
  explicit PortBase(Vek::Name name) : Entity(std::move(name)) {}
};

// A port of a host.
class Port : public PortBase, public Vek::AllocTracked<Port> {
 public:
  // Not given by the record's readers: 386, the first id of this level.
  static constexpr Vek::AttributeId portGroupId = 386;
  using NotifieeConst = Vek::NotifieeConst;
  using Vek::AllocTracked<Port>::vekAllocTrackTypeInfo_;

  explicit Port(Vek::Name name) : PortBase(std::move(name)) {}
  // Out of line: the members hold records declared further down.
  ~Port() override;

  // Its aggregate, or null; null clears it.
  Vek::Ptr<PortGroup> portGroup() const;
  void portGroupIs(Vek::Ptr<PortGroup> const& group);

  // Leaving the host clears the group.
  void handleParent(Vek::Entity* parent) override;

 private:
  Vek::Value<Vek::Ptr<PortGroup>, portGroupId> portGroup_;
};

// A link aggregate of a host.
class PortGroup : public PortBase, public Vek::AllocTracked<PortGroup> {
 public:
  static constexpr Vek::AttributeId memberPortId = 386;
  using NotifieeConst = Vek::NotifieeConst;
  using MemberMap = Vek::ValueMap<Vek::Name, Vek::Ptr<Port>, memberPortId>;
  using Vek::AllocTracked<PortGroup>::vekAllocTrackTypeInfo_;

  explicit PortGroup(Vek::Name name) : PortBase(std::move(name)) {}

  // Member ports by name; `memberPortIs(port)` takes a non-null port.
  Vek::Ptr<Port> memberPort(Vek::Name const& name) const { return memberPort_.get(name); }
  MemberMap const& memberPortCol() const { return memberPort_; }
  void memberPortIs(Vek::Ptr<Port> const& port) { memberPort_.set(*this, port->name(), port); }
  void memberPortDel(Vek::Name const& name) { memberPort_.del(*this, name); }
  void memberPortDelAll() { memberPort_.delAll(*this); }

  // Leaving the host empties the members.
  void handleParent(Vek::Entity* parent) override;

 private:
  MemberMap memberPort_;
};

inline Vek::Ptr<PortGroup> Port::portGroup() const { return portGroup_.get(); }
inline void Port::portGroupIs(Vek::Ptr<PortGroup> const& group) { portGroup_.set(*this, group); }

// A host or a switch, by the colon form of its MAC address.
class Host : public Vek::Entity, public Vek::AllocTracked<Host> {
 public:
  // `hostname` and `port` are not given by the record's readers: they take
  // 258 and 259 in declaration order; 260 to 264 stay unused.
  static constexpr Vek::AttributeId hostnameId = 258;
  static constexpr Vek::AttributeId portId = 259;
  static constexpr Vek::AttributeId portGroupId = 265;
  using NotifieeConst = Vek::NotifieeConst;

  explicit Host(Vek::Name name) : Entity(std::move(name)) {}

  // The reported hostname, a different string from the name.
  Vek::String hostname() const { return hostname_.get(); }
  void hostnameIs(Vek::String const& v) { hostname_.set(*this, v); }

  Vek::Ptr<Port> port(Vek::Name const& name) const { return port_.find(name); }
  Vek::EntityMap<Vek::Name, Port, portId> const& portCol() const { return port_; }
  Vek::Ptr<Port> portIs(Vek::Name const& name) { return port_.is(*this, name); }
  Vek::Ptr<Port> portDel(Vek::Name const& name) { return port_.del(*this, name); }
  void portDelAll() { port_.delAll(*this); }

  Vek::Ptr<PortGroup> portGroup(Vek::Name const& name) const { return portGroup_.find(name); }
  Vek::EntityMap<Vek::Name, PortGroup, portGroupId> const& portGroupCol() const {
    return portGroup_;
  }
  Vek::Ptr<PortGroup> portGroupIs(Vek::Name const& name) { return portGroup_.is(*this, name); }
  Vek::Ptr<PortGroup> portGroupDel(Vek::Name const& name) { return portGroup_.del(*this, name); }
  void portGroupDelAll() { portGroup_.delAll(*this); }

 private:
  Vek::Value<Vek::String, hostnameId> hostname_;
  Vek::EntityMap<Vek::Name, Port, portId> port_;
  Vek::EntityMap<Vek::Name, PortGroup, portGroupId> portGroup_;
};

// The hosts that report one hostname, by host name.
class HostsByHostname : public Vek::Entity, public Vek::AllocTracked<HostsByHostname> {
 public:
  // 258 is not used by this record.
  static constexpr Vek::AttributeId hostId = 259;
  using NotifieeConst = Vek::NotifieeConst;

  explicit HostsByHostname(Vek::Name hostname) : Entity(std::move(hostname)) {}

  // `hostIs(host)` takes a non-null host and keys it by its name.
  Vek::Ptr<Host const> host(Vek::Name const& name) const { return host_.get(name); }
  Vek::ValueMap<Vek::Name, Vek::Ptr<Host const>, hostId> const& hostCol() const { return host_; }
  void hostIs(Vek::Ptr<Host const> const& host) { host_.set(*this, host->name(), host); }
  void hostDel(Vek::Name const& name) { host_.del(*this, name); }
  void hostDelAll() { host_.delAll(*this); }

 private:
  Vek::ValueMap<Vek::Name, Vek::Ptr<Host const>, hostId> host_;
};

// The links seen from one sending port. Its name is the port's name.
class DirectedEdge : public Vek::Entity, public Vek::AllocTracked<DirectedEdge> {
 public:
  // 258 is not used by this record.
  static constexpr Vek::AttributeId toPortId = 259;
  using NotifieeConst = Vek::NotifieeConst;

  explicit DirectedEdge(Vek::Ptr<PortBase const> fromPort) : fromPort_(std::move(fromPort)) {}

  Vek::Ptr<PortBase const> const& fromPort() const { return fromPort_; }
  // By value, like every key: a reactor without a notifier answers an empty one.
  Vek::Ptr<PortBase const> fwkKey() const { return fromPort_; }
  Vek::Name name() const override { return fromPort_ ? fromPort_->name() : Vek::Name(); }

  // A remote port is connected only while its value is true; false and
  // absent read the same.
  bool toPort(Vek::Ptr<PortBase const> const& port) const { return toPort_.get(port); }
  Vek::ValueMap<Vek::Ptr<PortBase const>, bool, toPortId> const& toPortCol() const {
    return toPort_;
  }
  void toPortIs(Vek::Ptr<PortBase const> const& port, bool connected) {
    toPort_.set(*this, port, connected);
  }
  void toPortDel(Vek::Ptr<PortBase const> const& port) { toPort_.del(*this, port); }
  void toPortDelAll() { toPort_.delAll(*this); }

 private:
  Vek::Ptr<PortBase const> const fromPort_;
  Vek::ValueMap<Vek::Ptr<PortBase const>, bool, toPortId> toPort_;
};

// Creators for the host process and for tests; the collections make their
// own members. A port made here has no host until a host holds it.
inline Vek::Ptr<Host> HostIs(Vek::Name name) { return new Host(std::move(name)); }
inline Vek::Ptr<Port> PortIs(Vek::Name name) { return new Port(std::move(name)); }
inline Vek::Ptr<PortGroup> PortGroupIs(Vek::Name name) { return new PortGroup(std::move(name)); }
inline Vek::Ptr<HostsByHostname> HostsByHostnameIs(Vek::Name hostname) {
  return new HostsByHostname(std::move(hostname));
}
inline Vek::Ptr<DirectedEdge> DirectedEdgeIs(Vek::Ptr<PortBase const> fromPort) {
  return new DirectedEdge(std::move(fromPort));
}

}  // namespace NetworkTopologyAggregatorV3
