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

#include "reactive/Record.h"

namespace NetworkTopologyAggregatorV3 {

class Host;
class PortGroup;

// A port or a port group of a host. Never made on its own.
class PortBase : public Vek::Record<PortBase> {
 public:
  // The host that holds this port now; null once the port has left it.
  virtual Vek::Ptr<Host const> host() const;

 protected:
  using Record::Record;
};

// A port of a host.
class Port : public Vek::Record<Port, PortBase> {
 public:
  // Not given by the record's readers: 386, the first id of this level.
  static constexpr Vek::AttributeId portGroupId = 386;

  explicit Port(Vek::Name name) : Record(std::move(name)) {}
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
class PortGroup : public Vek::Record<PortGroup, PortBase> {
 public:
  explicit PortGroup(Vek::Name name) : Record(std::move(name)) {}

  // Member ports by name.
  VEK_REFERENCES(memberPort, 386, Vek::Name, Port)

  // Leaving the host empties the members.
  void handleParent(Vek::Entity* parent) override;
};

inline Vek::Ptr<PortGroup> Port::portGroup() const { return portGroup_.get(); }
inline void Port::portGroupIs(Vek::Ptr<PortGroup> const& group) { portGroup_.set(*this, group); }

// A host or a switch, by the colon form of its MAC address. `hostname` and
// `port` are not given by the record's readers: they take 258 and 259 in
// declaration order; 260 to 264 stay unused.
class Host : public Vek::Record<Host> {
 public:
  using Record::Record;

  // The reported hostname, a different string from the name.
  VEK_VALUE(hostname, 258, Vek::String)
  VEK_ENTITIES(port, 259, Vek::Name, Port)
  VEK_ENTITIES(portGroup, 265, Vek::Name, PortGroup)
};

// The hosts that report one hostname, by host name. 258 is not used by this
// record.
class HostsByHostname : public Vek::Record<HostsByHostname> {
 public:
  using Record::Record;

  VEK_REFERENCES(host, 259, Vek::Name, Host const)
};

// The links seen from one sending port. Its name is the port's name. 258 is
// not used by this record.
class DirectedEdge : public Vek::KeyedRecord<DirectedEdge, Vek::Ptr<PortBase const>> {
 public:
  static constexpr char const* vekKeyName = "fromPort";
  using KeyedRecord::KeyedRecord;
  Vek::Ptr<PortBase const> const& fromPort() const { return fwkKey(); }

  // A remote port is connected only while its value is true; false and
  // absent read the same.
  VEK_VALUES(toPort, 259, Vek::Ptr<PortBase const>, bool)
};

// Creators for the host process and for tests; the collections make their
// own members. A port made here has no host until a host holds it.
VEK_RECORD_CREATOR(Host, Vek::Name)
VEK_RECORD_CREATOR(Port, Vek::Name)
VEK_RECORD_CREATOR(PortGroup, Vek::Name)
VEK_RECORD_CREATOR(HostsByHostname, Vek::Name)
VEK_RECORD_CREATOR(DirectedEdge, Vek::Ptr<PortBase const>)

}  // namespace NetworkTopologyAggregatorV3
