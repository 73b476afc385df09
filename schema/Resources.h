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

#include "reactive/AllocTrack.h"
#include "reactive/Attribute.h"
#include "reactive/Entity.h"
#include "reactive/ValueTypes.h"
#include "schema/Client.h"

namespace VirtualNetwork {

// One VLAN in one place (a hostname's request, an element, an interface);
// each place has its own record of the same VLAN id.
class DynamicVlan : public Vek::Entity, public Vek::AllocTracked<DynamicVlan> {
 public:
  // 258 is not used by this record; `referrer` takes the next id after the
  // given ones.
  static constexpr Vek::AttributeId mappedVniId = 259;
  static constexpr Vek::AttributeId domainId = 260;
  static constexpr Vek::AttributeId referrerId = 261;
  using NotifieeConst = Vek::NotifieeConst;

  explicit DynamicVlan(U32 vlanId) : vlanId_(vlanId) {}

  U32 vlanId() const { return vlanId_; }
  U32 fwkKey() const { return vlanId_; }
  Vek::Name name() const override { return Vek::Name(std::to_string(vlanId_)); }

  // More than one VNI on a switch interface's VLAN is a conflict.
  Vek::Ptr<Client::MappedVni> mappedVni(U32 vni) const { return mappedVni_.find(vni); }
  Vek::EntityMap<U32, Client::MappedVni, mappedVniId> const& mappedVniCol() const {
    return mappedVni_;
  }
  Vek::Ptr<Client::MappedVni> mappedVniIs(U32 vni) { return mappedVni_.is(*this, vni); }
  Vek::Ptr<Client::MappedVni> mappedVniDel(U32 vni) { return mappedVni_.del(*this, vni); }
  void mappedVniDelAll() { mappedVni_.delAll(*this); }

  Vek::Ptr<Client::Domain> domain(Client::ClientDomain const& d) const { return domain_.find(d); }
  Vek::EntityMap<Client::ClientDomain, Client::Domain, domainId> const& domainCol() const {
    return domain_;
  }
  Vek::Ptr<Client::Domain> domainIs(Client::ClientDomain const& d) { return domain_.is(*this, d); }
  Vek::Ptr<Client::Domain> domainDel(Client::ClientDomain const& d) {
    return domain_.del(*this, d);
  }
  void domainDelAll() { domain_.delAll(*this); }

  bool referrer(Vek::String const& r) const { return referrer_.contains(r); }
  Vek::ValueSet<Vek::String, referrerId> const& referrerCol() const { return referrer_; }
  void referrerIs(Vek::String const& r) { referrer_.set(*this, r); }
  void referrerDel(Vek::String const& r) { referrer_.del(*this, r); }
  void referrerDelAll() { referrer_.delAll(*this); }

 private:
  U32 const vlanId_;
  Vek::EntityMap<U32, Client::MappedVni, mappedVniId> mappedVni_;
  Vek::EntityMap<Client::ClientDomain, Client::Domain, domainId> domain_;
  Vek::ValueSet<Vek::String, referrerId> referrer_;
};

// The requests of all clients on one hostname, merged; the clients' names
// are its referrers.
class ResourcesForHostname : public Vek::Entity, public Vek::AllocTracked<ResourcesForHostname> {
 public:
  static constexpr Vek::AttributeId vlanId = 258;
  // Not given by the record's readers: the next id after `vlan`.
  static constexpr Vek::AttributeId referrerId = 259;
  using NotifieeConst = Vek::NotifieeConst;

  explicit ResourcesForHostname(Vek::Name hostname) : Entity(std::move(hostname)) {}

  Vek::Ptr<DynamicVlan> vlan(U32 id) const { return vlan_.find(id); }
  Vek::EntityMap<U32, DynamicVlan, vlanId> const& vlanCol() const { return vlan_; }
  Vek::Ptr<DynamicVlan> vlanIs(U32 id) { return vlan_.is(*this, id); }
  Vek::Ptr<DynamicVlan> vlanDel(U32 id) { return vlan_.del(*this, id); }
  void vlanDelAll() { vlan_.delAll(*this); }

  bool referrer(Vek::String const& r) const { return referrer_.contains(r); }
  Vek::ValueSet<Vek::String, referrerId> const& referrerCol() const { return referrer_; }
  void referrerIs(Vek::String const& r) { referrer_.set(*this, r); }
  void referrerDel(Vek::String const& r) { referrer_.del(*this, r); }
  void referrerDelAll() { referrer_.delAll(*this); }

 private:
  Vek::EntityMap<U32, DynamicVlan, vlanId> vlan_;
  Vek::ValueSet<Vek::String, referrerId> referrer_;
};

// The operator's static map of one client domain: VLAN range -> VNI range.
// Config::vniForVlan reads it.
class VlanToVniMap : public Vek::Entity, public Vek::AllocTracked<VlanToVniMap> {
 public:
  // 258 is not used by this record.
  static constexpr Vek::AttributeId mapId = 259;
  using NotifieeConst = Vek::NotifieeConst;

  explicit VlanToVniMap(Client::ClientDomain domain) : domain_(std::move(domain)) {}

  Client::ClientDomain const& clientDomain() const { return domain_; }
  Client::ClientDomain fwkKey() const { return domain_; }
  Vek::Name name() const override { return domain_.name(); }

  // The VNI range of a VLAN range; the zero Range if absent.
  Range map(Range const& vlans) const { return map_.get(vlans); }
  Vek::ValueMap<Range, Range, mapId> const& mapCol() const { return map_; }
  void mapIs(Range const& vlans, Range const& vnis) { map_.set(*this, vlans, vnis); }
  void mapDel(Range const& vlans) { map_.del(*this, vlans); }
  void mapDelAll() { map_.delAll(*this); }

 private:
  Client::ClientDomain const domain_;
  Vek::ValueMap<Range, Range, mapId> map_;
};

class NetworkElement;
class PortGroup;

// What carries VLANs on an element: a physical interface or a port group.
// Never made on its own.
class Interface : public Vek::Entity, public Vek::AllocTracked<Interface> {
 public:
  // 258 is not used by this record.
  static constexpr Vek::AttributeId isSwitchInterfaceId = 259;
  static constexpr Vek::AttributeId vlanId = 260;
  static constexpr Vek::AttributeId nativeVlanId = 261;
  using NotifieeConst = Vek::NotifieeConst;
  using Notifiee = Vek::NotifieeConst;

  bool isSwitchInterface() const { return isSwitchInterface_.get(); }
  void isSwitchInterfaceIs(bool v) { isSwitchInterface_.set(*this, v); }

  Vek::Ptr<DynamicVlan> vlan(U32 id) const { return vlan_.find(id); }
  Vek::EntityMap<U32, DynamicVlan, vlanId> const& vlanCol() const { return vlan_; }
  Vek::Ptr<DynamicVlan> vlanIs(U32 id) { return vlan_.is(*this, id); }
  Vek::Ptr<DynamicVlan> vlanDel(U32 id) { return vlan_.del(*this, id); }
  void vlanDelAll() { vlan_.delAll(*this); }

  // Native VLANs asked for, each with its holders as referrers; more than
  // one is a conflict that the switch output resolves.
  Vek::Ptr<Client::UntaggedVlan> nativeVlan(U32 id) const { return nativeVlan_.find(id); }
  Vek::EntityMap<U32, Client::UntaggedVlan, nativeVlanId> const& nativeVlanCol() const {
    return nativeVlan_;
  }
  Vek::Ptr<Client::UntaggedVlan> nativeVlanIs(U32 id) { return nativeVlan_.is(*this, id); }
  Vek::Ptr<Client::UntaggedVlan> nativeVlanDel(U32 id) { return nativeVlan_.del(*this, id); }
  void nativeVlanDelAll() { nativeVlan_.delAll(*this); }

  // Empties the interface through its mutators, in declaration order; each
  // removal notifies. The record stays usable. Removed members are left as
  // they are.
  virtual void destroy();

 protected:
  explicit Interface(Vek::String name) : Entity(std::move(name)) {}

 private:
  Vek::Value<bool, isSwitchInterfaceId> isSwitchInterface_;
  Vek::EntityMap<U32, DynamicVlan, vlanId> vlan_;
  Vek::EntityMap<U32, Client::UntaggedVlan, nativeVlanId> nativeVlan_;
};

// A port of an element, by the topology's port name.
class PhysicalInterface : public Interface, public Vek::AllocTracked<PhysicalInterface> {
 public:
  static constexpr Vek::AttributeId portGroupId = 386;
  static constexpr Vek::AttributeId networkElementId = 387;
  static constexpr Vek::AttributeId configuredElementId = 388;
  static constexpr Vek::AttributeId discoveredElementId = 389;
  // Not given by the record's readers: the next ids after the given ones.
  static constexpr Vek::AttributeId discoveredId = 390;
  static constexpr Vek::AttributeId referrerId = 391;
  using NotifieeConst = Vek::NotifieeConst;
  using Notifiee = Vek::NotifieeConst;
  template <Vek::AttributeId Id>
  using ElementMap = Vek::ValueMap<Vek::Name, Vek::Ptr<NetworkElement const>, Id>;
  using Vek::AllocTracked<PhysicalInterface>::vekAllocTrackTypeInfo_;

  explicit PhysicalInterface(Vek::String name) : Interface(std::move(name)) {}
  // Out of line: the members hold records declared further down.
  ~PhysicalInterface() override;

  // The group of this port; null clears it.
  Vek::Ptr<PortGroup> portGroup() const;
  void portGroupIs(Vek::Ptr<PortGroup> const& group);

  // Elements behind this port: the union of the configured and the
  // discovered ones. Each is keyed by the element's name; `xIs(element)`
  // takes a non-null element.
  Vek::Ptr<NetworkElement const> networkElement(Vek::Name const& name) const {
    return networkElement_.get(name);
  }
  ElementMap<networkElementId> const& networkElementCol() const { return networkElement_; }
  void networkElementIs(Vek::Ptr<NetworkElement const> const& element);
  void networkElementDel(Vek::Name const& name) { networkElement_.del(*this, name); }
  void networkElementDelAll() { networkElement_.delAll(*this); }

  // Elements that a client names on this port.
  Vek::Ptr<NetworkElement const> configuredElement(Vek::Name const& name) const {
    return configuredElement_.get(name);
  }
  ElementMap<configuredElementId> const& configuredElementCol() const { return configuredElement_; }
  void configuredElementIs(Vek::Ptr<NetworkElement const> const& element);
  void configuredElementDel(Vek::Name const& name) { configuredElement_.del(*this, name); }
  void configuredElementDelAll() { configuredElement_.delAll(*this); }

  // Elements that the topology sees on this port.
  Vek::Ptr<NetworkElement const> discoveredElement(Vek::Name const& name) const {
    return discoveredElement_.get(name);
  }
  ElementMap<discoveredElementId> const& discoveredElementCol() const { return discoveredElement_; }
  void discoveredElementIs(Vek::Ptr<NetworkElement const> const& element);
  void discoveredElementDel(Vek::Name const& name) { discoveredElement_.del(*this, name); }
  void discoveredElementDelAll() { discoveredElement_.delAll(*this); }

  // The topology knows this port.
  bool discovered() const { return discovered_.get(); }
  void discoveredIs(bool v) { discovered_.set(*this, v); }

  // Clients that hold this port.
  bool referrer(Vek::String const& r) const { return referrer_.get(r); }
  Vek::ValueMap<Vek::String, bool, referrerId> const& referrerCol() const { return referrer_; }
  void referrerIs(Vek::String const& r, bool v) { referrer_.set(*this, r, v); }
  void referrerDel(Vek::String const& r) { referrer_.del(*this, r); }
  void referrerDelAll() { referrer_.delAll(*this); }

  // Empties the interface part, then this record's own attributes, in
  // declaration order; each change notifies. The record stays usable.
  void destroy() override;

 private:
  Vek::Value<Vek::Ptr<PortGroup>, portGroupId> portGroup_;
  ElementMap<networkElementId> networkElement_;
  ElementMap<configuredElementId> configuredElement_;
  ElementMap<discoveredElementId> discoveredElement_;
  Vek::Value<bool, discoveredId> discovered_;
  Vek::ValueMap<Vek::String, bool, referrerId> referrer_;
};

// A link aggregate of an element: one interface over its member ports.
class PortGroup : public Interface, public Vek::AllocTracked<PortGroup> {
 public:
  static constexpr Vek::AttributeId memberInterfaceId = 386;
  using NotifieeConst = Vek::NotifieeConst;
  using Notifiee = Vek::NotifieeConst;
  using MemberMap = Vek::ValueMap<Vek::String, Vek::Ptr<PhysicalInterface>, memberInterfaceId>;
  using Vek::AllocTracked<PortGroup>::vekAllocTrackTypeInfo_;

  explicit PortGroup(Vek::String name) : Interface(std::move(name)) {}

  // Member ports by name; `memberInterfaceIs(port)` takes a non-null port.
  Vek::Ptr<PhysicalInterface> memberInterface(Vek::String const& name) const {
    return memberInterface_.get(name);
  }
  MemberMap const& memberInterfaceCol() const { return memberInterface_; }
  void memberInterfaceIs(Vek::Ptr<PhysicalInterface> const& port);
  void memberInterfaceDel(Vek::String const& name) { memberInterface_.del(*this, name); }
  void memberInterfaceDelAll() { memberInterface_.delAll(*this); }

  // Empties the interface part, then the members; each change notifies.
  void destroy() override;

 private:
  MemberMap memberInterface_;
};

// A host or a switch, by the colon form of its MAC address.
class NetworkElement : public Vek::Entity, public Vek::AllocTracked<NetworkElement> {
 public:
  // `hostname` is not given by the record's readers: it takes 258, the id
  // before the first given one.
  static constexpr Vek::AttributeId hostnameId = 258;
  static constexpr Vek::AttributeId resourcesForHostnameId = 259;
  static constexpr Vek::AttributeId vlanId = 260;
  static constexpr Vek::AttributeId isSwitchElementId = 261;
  static constexpr Vek::AttributeId physicalInterfaceId = 262;
  static constexpr Vek::AttributeId portGroupId = 263;
  static constexpr Vek::AttributeId interfaceId = 264;
  static constexpr Vek::AttributeId referrerId = 265;
  using NotifieeConst = Vek::NotifieeConst;
  using Notifiee = Vek::NotifieeConst;

  explicit NetworkElement(Vek::Name name) : Entity(std::move(name)) {}

  // Reported or requested hostname; "" clears it.
  Vek::String hostname() const { return hostname_.get(); }
  void hostnameIs(Vek::String const& v) { hostname_.set(*this, v); }

  // The requests for this element's hostname; null unlinks.
  Vek::Ptr<ResourcesForHostname> resourcesForHostname() const {
    return resourcesForHostname_.get();
  }
  void resourcesForHostnameIs(Vek::Ptr<ResourcesForHostname> const& v) {
    resourcesForHostname_.set(*this, v);
  }

  Vek::Ptr<DynamicVlan> vlan(U32 id) const { return vlan_.find(id); }
  Vek::EntityMap<U32, DynamicVlan, vlanId> const& vlanCol() const { return vlan_; }
  Vek::Ptr<DynamicVlan> vlanIs(U32 id) { return vlan_.is(*this, id); }
  Vek::Ptr<DynamicVlan> vlanDel(U32 id) { return vlan_.del(*this, id); }
  void vlanDelAll() { vlan_.delAll(*this); }

  bool isSwitchElement() const { return isSwitchElement_.get(); }
  void isSwitchElementIs(bool v) { isSwitchElement_.set(*this, v); }

  Vek::Ptr<PhysicalInterface> physicalInterface(Vek::String const& name) const {
    return physicalInterface_.find(name);
  }
  Vek::EntityMap<Vek::String, PhysicalInterface, physicalInterfaceId> const& physicalInterfaceCol()
      const {
    return physicalInterface_;
  }
  Vek::Ptr<PhysicalInterface> physicalInterfaceIs(Vek::String const& name) {
    return physicalInterface_.is(*this, name);
  }
  Vek::Ptr<PhysicalInterface> physicalInterfaceDel(Vek::String const& name) {
    return physicalInterface_.del(*this, name);
  }
  void physicalInterfaceDelAll() { physicalInterface_.delAll(*this); }

  Vek::Ptr<PortGroup> portGroup(Vek::String const& name) const { return portGroup_.find(name); }
  Vek::EntityMap<Vek::String, PortGroup, portGroupId> const& portGroupCol() const {
    return portGroup_;
  }
  Vek::Ptr<PortGroup> portGroupIs(Vek::String const& name) { return portGroup_.is(*this, name); }
  Vek::Ptr<PortGroup> portGroupDel(Vek::String const& name) { return portGroup_.del(*this, name); }
  void portGroupDelAll() { portGroup_.delAll(*this); }

  // What carries VLANs, physical interfaces and port groups alike, by name;
  // `interfaceIs(intf)` takes a non-null interface and keys it by its name.
  Vek::Ptr<Interface> interface(Vek::String const& name) const { return interface_.get(name); }
  Vek::ValueMap<Vek::String, Vek::Ptr<Interface>, interfaceId> const& interfaceCol() const {
    return interface_;
  }
  void interfaceIs(Vek::Ptr<Interface> const& intf) {
    interface_.set(*this, Vek::String(intf->name()), intf);
  }
  void interfaceDel(Vek::String const& name) { interface_.del(*this, name); }
  void interfaceDelAll() { interface_.delAll(*this); }

  // Who holds the element.
  bool referrer(Vek::String const& r) const { return referrer_.get(r); }
  Vek::ValueMap<Vek::String, bool, referrerId> const& referrerCol() const { return referrer_; }
  void referrerIs(Vek::String const& r, bool v) { referrer_.set(*this, r, v); }
  void referrerDel(Vek::String const& r) { referrer_.del(*this, r); }
  void referrerDelAll() { referrer_.delAll(*this); }

  // Empties the element through its mutators, in declaration order: values
  // go back to their defaults and members leave one by one, each change
  // notified. Called after the element has left its collection; the record
  // stays usable and a second call notifies nothing. The interfaces and
  // port groups that leave are not emptied here: whoever removed them, or
  // their own machines, do that.
  void destroy();

 private:
  Vek::Value<Vek::String, hostnameId> hostname_;
  Vek::Value<Vek::Ptr<ResourcesForHostname>, resourcesForHostnameId> resourcesForHostname_;
  Vek::EntityMap<U32, DynamicVlan, vlanId> vlan_;
  Vek::Value<bool, isSwitchElementId> isSwitchElement_;
  Vek::EntityMap<Vek::String, PhysicalInterface, physicalInterfaceId> physicalInterface_;
  Vek::EntityMap<Vek::String, PortGroup, portGroupId> portGroup_;
  Vek::ValueMap<Vek::String, Vek::Ptr<Interface>, interfaceId> interface_;
  Vek::ValueMap<Vek::String, bool, referrerId> referrer_;
};

// Members that need the types above complete.

inline Vek::Ptr<PortGroup> PhysicalInterface::portGroup() const { return portGroup_.get(); }
inline void PhysicalInterface::portGroupIs(Vek::Ptr<PortGroup> const& group) {
  portGroup_.set(*this, group);
}
inline void PhysicalInterface::networkElementIs(Vek::Ptr<NetworkElement const> const& element) {
  networkElement_.set(*this, element->name(), element);
}
inline void PhysicalInterface::configuredElementIs(Vek::Ptr<NetworkElement const> const& element) {
  configuredElement_.set(*this, element->name(), element);
}
inline void PhysicalInterface::discoveredElementIs(Vek::Ptr<NetworkElement const> const& element) {
  discoveredElement_.set(*this, element->name(), element);
}
inline void PortGroup::memberInterfaceIs(Vek::Ptr<PhysicalInterface> const& port) {
  memberInterface_.set(*this, port->name(), port);
}

// Creators for the host process and for tests; the collections make their
// own members. Interface is only ever a PhysicalInterface or a PortGroup.
inline Vek::Ptr<DynamicVlan> DynamicVlanIs(U32 vlanId) { return new DynamicVlan(vlanId); }
inline Vek::Ptr<ResourcesForHostname> ResourcesForHostnameIs(Vek::Name hostname) {
  return new ResourcesForHostname(std::move(hostname));
}
inline Vek::Ptr<VlanToVniMap> VlanToVniMapIs(Client::ClientDomain domain) {
  return new VlanToVniMap(std::move(domain));
}
inline Vek::Ptr<PhysicalInterface> PhysicalInterfaceIs(Vek::String name) {
  return new PhysicalInterface(std::move(name));
}
inline Vek::Ptr<PortGroup> PortGroupIs(Vek::String name) { return new PortGroup(std::move(name)); }
inline Vek::Ptr<NetworkElement> NetworkElementIs(Vek::Name name) {
  return new NetworkElement(std::move(name));
}

}  // namespace VirtualNetwork
