// The agent's model of the network: what each hostname asks for, the network
// elements (hosts and switches) with their interfaces and port groups, the
// VLANs on each of them, and the operator's static VLAN-to-VNI maps.
//
// The agent's machines read and write these records as a store with
// notifications; the records hold no agent logic. Each change notifies once,
// inside the mutator, with the attribute's id and, for a collection, the
// key (a Vek::String for names, a U32 for VLAN ids and VNIs, the value itself
// for ClientDomain and Range). A lookup never creates; `xIs(key)` on a
// collection of records returns the member, new or old; `xDel(key)` returns
// the removed member or null.
//
// Records that live while somebody holds them keep a `referrer` set (a map
// to bool on NetworkElement and PhysicalInterface). Adding a string twice
// keeps one entry; the holder that empties the set deletes the record, the
// store never does.
//
//   auto element = VirtualNetwork::NetworkElementIs("00:00:00:00:00:01");
//   auto port = element->physicalInterfaceIs("swp1");
//   element->interfaceIs(port);
//   port->vlanIs(100)->referrerIs("web-1");
//   port->nativeVlanIs(5)->referrerIs("openstack");
//   ...
//   element->destroy();   // empty again, notified member by member
#pragma once

#include <string>

#include "reactive/Record.h"
#include "reactive/ValueTypes.h"
#include "schema/Client.h"

namespace VirtualNetwork {

// One VLAN in one place (a hostname's request, an element, an interface);
// each place has its own record of the same VLAN id. 258 is not used by
// this record; `referrer` takes the next id after the given ones.
class DynamicVlan : public Vek::KeyedRecord<DynamicVlan, U32>,
                    public Vek::Referrers<DynamicVlan, 261> {
 public:
  static constexpr char const* vekKeyName = "vlanId";
  using KeyedRecord::KeyedRecord;
  U32 vlanId() const { return fwkKey(); }

  // More than one VNI on a switch interface's VLAN is a conflict.
  VEK_ENTITIES(mappedVni, 259, U32, Client::MappedVni)
  VEK_ENTITIES(domain, 260, Client::ClientDomain, Client::Domain)
};

// The requests of all clients on one hostname, merged; the clients' names
// are its referrers (the next id after `vlan`).
class ResourcesForHostname : public Vek::Record<ResourcesForHostname>,
                             public Vek::Referrers<ResourcesForHostname, 259> {
 public:
  using Record::Record;

  VEK_ENTITIES(vlan, 258, U32, DynamicVlan)
};

// The operator's static map of one client domain: VLAN range -> VNI range
// (the zero Range if absent). Config::vniForVlan reads it. 258 is not used
// by this record.
class VlanToVniMap : public Vek::KeyedRecord<VlanToVniMap, Client::ClientDomain> {
 public:
  static constexpr char const* vekKeyName = "domain";
  using KeyedRecord::KeyedRecord;
  Client::ClientDomain const& clientDomain() const { return fwkKey(); }

  VEK_VALUES(map, 259, Range, Range)
};

class NetworkElement;
class PortGroup;

// What carries VLANs on an element: a physical interface or a port group.
// Never made on its own. 258 is not used by this record.
class Interface : public Vek::Record<Interface> {
 public:
  VEK_VALUE(isSwitchInterface, 259, bool)
  VEK_ENTITIES(vlan, 260, U32, DynamicVlan)
  // Native VLANs asked for, each with its holders as referrers; more than
  // one is a conflict that the switch output resolves.
  VEK_ENTITIES(nativeVlan, 261, U32, Client::UntaggedVlan)

  // Empties the interface through its mutators, in declaration order; each
  // removal notifies. The record stays usable. Removed members are left as
  // they are.
  virtual void destroy();

 protected:
  explicit Interface(Vek::String name) : Record(std::move(name)) {}
};

// A port of an element, by the topology's port name. `discovered` and
// `referrer` are not given by the record's readers: the next ids after the
// given ones.
class PhysicalInterface : public Vek::Record<PhysicalInterface, Interface>,
                          public Vek::ReferrerMap<PhysicalInterface, 391> {
 public:
  static constexpr Vek::AttributeId portGroupId = 386;

  explicit PhysicalInterface(Vek::String name) : Record(std::move(name)) {}
  // Out of line: the members hold records declared further down.
  ~PhysicalInterface() override;

  // The group of this port; null clears it.
  Vek::Ptr<PortGroup> portGroup() const;
  void portGroupIs(Vek::Ptr<PortGroup> const& group);

  // Elements behind this port, each keyed by the element's name: the union
  // of the configured and the discovered ones, the elements that a client
  // names on this port, and those that the topology sees on it.
  VEK_REFERENCES(networkElement, 387, Vek::Name, NetworkElement const)
  VEK_REFERENCES(configuredElement, 388, Vek::Name, NetworkElement const)
  VEK_REFERENCES(discoveredElement, 389, Vek::Name, NetworkElement const)
  // The topology knows this port.
  VEK_VALUE(discovered, 390, bool)

  // Empties the interface part, then this record's own attributes, in
  // declaration order; each change notifies. The record stays usable.
  void destroy() override;

 private:
  Vek::Value<Vek::Ptr<PortGroup>, portGroupId> portGroup_;
};

// A link aggregate of an element: one interface over its member ports.
class PortGroup : public Vek::Record<PortGroup, Interface> {
 public:
  explicit PortGroup(Vek::String name) : Record(std::move(name)) {}

  // Member ports by name.
  VEK_REFERENCES(memberInterface, 386, Vek::String, PhysicalInterface)

  // Empties the interface part, then the members; each change notifies.
  void destroy() override;
};

// A host or a switch, by the colon form of its MAC address. `hostname` is
// not given by the record's readers: it takes 258, the id before the first
// given one; `referrer` takes the next after the last.
class NetworkElement : public Vek::Record<NetworkElement>,
                       public Vek::ReferrerMap<NetworkElement, 265> {
 public:
  using Record::Record;

  // Reported or requested hostname; "" clears it.
  VEK_VALUE(hostname, 258, Vek::String)
  // The requests for this element's hostname; null unlinks.
  VEK_VALUE(resourcesForHostname, 259, Vek::Ptr<ResourcesForHostname>)
  VEK_ENTITIES(vlan, 260, U32, DynamicVlan)
  VEK_VALUE(isSwitchElement, 261, bool)
  VEK_ENTITIES(physicalInterface, 262, Vek::String, PhysicalInterface)
  VEK_ENTITIES(portGroup, 263, Vek::String, PortGroup)
  // What carries VLANs, physical interfaces and port groups alike, by name.
  VEK_REFERENCES(interface, 264, Vek::String, Interface)

  // Empties the element through its mutators, in declaration order: values
  // go back to their defaults and members leave one by one, each change
  // notified. Called after the element has left its collection; the record
  // stays usable and a second call notifies nothing. The interfaces and
  // port groups that leave are not emptied here: whoever removed them, or
  // their own machines, do that.
  void destroy();
};

// Members that need the types above complete.

inline Vek::Ptr<PortGroup> PhysicalInterface::portGroup() const { return portGroup_.get(); }
inline void PhysicalInterface::portGroupIs(Vek::Ptr<PortGroup> const& group) {
  portGroup_.set(*this, group);
}

// Creators for the host process and for tests; the collections make their
// own members. Interface is only ever a PhysicalInterface or a PortGroup.
VEK_RECORD_CREATOR(DynamicVlan, U32)
VEK_RECORD_CREATOR(ResourcesForHostname, Vek::Name)
VEK_RECORD_CREATOR(VlanToVniMap, Client::ClientDomain)
VEK_RECORD_CREATOR(PhysicalInterface, Vek::String)
VEK_RECORD_CREATOR(PortGroup, Vek::String)
VEK_RECORD_CREATOR(NetworkElement, Vek::Name)

}  // namespace VirtualNetwork
