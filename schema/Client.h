// What one client of the controller asks for: the records under the client
// directory, one RequestedResourcesCollection per client.
//
// The client writes these records and the agent reads them, with one
// exception: the three small records MappedVni, Domain and UntaggedVlan are
// also the agent's own members of VirtualNetwork::DynamicVlan and
// VirtualNetwork::Interface, where the agent writes their referrer sets. A
// referrer set only counts holders; nothing here deletes a record whose set
// became empty, the holder that empties it does.
//
// Every change notifies once with the attribute's id and, for a collection,
// the key: a Vek::String for names, a U32 for VLAN ids and VNIs, the value
// itself for ClientDomain and SwitchInterface.
//
//   auto rrc = VirtualNetwork::Client::RequestedResourcesCollectionIs("openstack");
//   auto vlan = rrc->resourcesForHostnameIs("web-1")->vlanIs(100);
//   vlan->mappedVniIs(10100);
//   vlan->domainIs({"tenant", "net"});
//   auto port = rrc->resourcesForSwitchportIs({"00:00:00:00:00:01", "swp1"});
//   port->nativeVlanIs(5);
//   port->remoteHostIs("web-1", true);
#pragma once

#include <string>

#include "reactive/AllocTrack.h"
#include "reactive/Attribute.h"
#include "reactive/Entity.h"
#include "reactive/ValueTypes.h"

namespace VirtualNetwork::Client {

// A VNI that somebody maps to a VLAN; keyed by the VNI.
class MappedVni : public Vek::Entity, public Vek::AllocTracked<MappedVni> {
 public:
  static constexpr Vek::AttributeId referrerId = 258;
  using NotifieeConst = Vek::NotifieeConst;

  explicit MappedVni(U32 vni) : vni_(vni) {}

  U32 vni() const { return vni_; }
  U32 fwkKey() const { return vni_; }
  Vek::Name name() const override { return Vek::Name(std::to_string(vni_)); }

  bool referrer(Vek::String const& r) const { return referrer_.contains(r); }
  Vek::ValueSet<Vek::String, referrerId> const& referrerCol() const { return referrer_; }
  void referrerIs(Vek::String const& r) { referrer_.set(*this, r); }
  void referrerDel(Vek::String const& r) { referrer_.del(*this, r); }
  void referrerDelAll() { referrer_.delAll(*this); }

 private:
  U32 const vni_;
  Vek::ValueSet<Vek::String, referrerId> referrer_;
};

// A client domain of a VLAN; keyed by the domain.
class Domain : public Vek::Entity, public Vek::AllocTracked<Domain> {
 public:
  static constexpr Vek::AttributeId referrerId = 258;
  using NotifieeConst = Vek::NotifieeConst;

  explicit Domain(ClientDomain domain) : domain_(std::move(domain)) {}

  ClientDomain const& clientDomain() const { return domain_; }
  ClientDomain fwkKey() const { return domain_; }
  Vek::Name name() const override { return domain_.name(); }

  bool referrer(Vek::String const& r) const { return referrer_.contains(r); }
  Vek::ValueSet<Vek::String, referrerId> const& referrerCol() const { return referrer_; }
  void referrerIs(Vek::String const& r) { referrer_.set(*this, r); }
  void referrerDel(Vek::String const& r) { referrer_.del(*this, r); }
  void referrerDelAll() { referrer_.delAll(*this); }

 private:
  ClientDomain const domain_;
  Vek::ValueSet<Vek::String, referrerId> referrer_;
};

// A native (untagged) VLAN; keyed by the VLAN id.
class UntaggedVlan : public Vek::Entity, public Vek::AllocTracked<UntaggedVlan> {
 public:
  static constexpr Vek::AttributeId referrerId = 258;
  using NotifieeConst = Vek::NotifieeConst;

  explicit UntaggedVlan(U32 vlanId) : vlanId_(vlanId) {}

  U32 vlanId() const { return vlanId_; }
  U32 fwkKey() const { return vlanId_; }
  Vek::Name name() const override { return Vek::Name(std::to_string(vlanId_)); }

  bool referrer(Vek::String const& r) const { return referrer_.contains(r); }
  Vek::ValueSet<Vek::String, referrerId> const& referrerCol() const { return referrer_; }
  void referrerIs(Vek::String const& r) { referrer_.set(*this, r); }
  void referrerDel(Vek::String const& r) { referrer_.del(*this, r); }
  void referrerDelAll() { referrer_.delAll(*this); }

 private:
  U32 const vlanId_;
  Vek::ValueSet<Vek::String, referrerId> referrer_;
};

// A VLAN that the client wants, with the VNIs and domains it gives it.
class DynamicVlan : public Vek::Entity, public Vek::AllocTracked<DynamicVlan> {
 public:
  // 258 is not used by this record.
  static constexpr Vek::AttributeId mappedVniId = 259;
  static constexpr Vek::AttributeId domainId = 260;
  using NotifieeConst = Vek::NotifieeConst;

  explicit DynamicVlan(U32 vlanId) : vlanId_(vlanId) {}

  U32 vlanId() const { return vlanId_; }
  U32 fwkKey() const { return vlanId_; }
  Vek::Name name() const override { return Vek::Name(std::to_string(vlanId_)); }

  Vek::Ptr<MappedVni> mappedVni(U32 vni) const { return mappedVni_.find(vni); }
  Vek::EntityMap<U32, MappedVni, mappedVniId> const& mappedVniCol() const { return mappedVni_; }
  Vek::Ptr<MappedVni> mappedVniIs(U32 vni) { return mappedVni_.is(*this, vni); }
  Vek::Ptr<MappedVni> mappedVniDel(U32 vni) { return mappedVni_.del(*this, vni); }
  void mappedVniDelAll() { mappedVni_.delAll(*this); }

  Vek::Ptr<Domain> domain(ClientDomain const& d) const { return domain_.find(d); }
  Vek::EntityMap<ClientDomain, Domain, domainId> const& domainCol() const { return domain_; }
  Vek::Ptr<Domain> domainIs(ClientDomain const& d) { return domain_.is(*this, d); }
  Vek::Ptr<Domain> domainDel(ClientDomain const& d) { return domain_.del(*this, d); }
  void domainDelAll() { domain_.delAll(*this); }

 private:
  U32 const vlanId_;
  Vek::EntityMap<U32, MappedVni, mappedVniId> mappedVni_;
  Vek::EntityMap<ClientDomain, Domain, domainId> domain_;
};

// What the client asks on one hostname. An empty `vlan` is a valid request
// of nothing.
class ResourcesForHostname : public Vek::Entity, public Vek::AllocTracked<ResourcesForHostname> {
 public:
  static constexpr Vek::AttributeId vlanId = 258;
  using NotifieeConst = Vek::NotifieeConst;

  explicit ResourcesForHostname(Vek::Name hostname) : Entity(std::move(hostname)) {}

  Vek::Ptr<DynamicVlan> vlan(U32 id) const { return vlan_.find(id); }
  Vek::EntityMap<U32, DynamicVlan, vlanId> const& vlanCol() const { return vlan_; }
  Vek::Ptr<DynamicVlan> vlanIs(U32 id) { return vlan_.is(*this, id); }
  Vek::Ptr<DynamicVlan> vlanDel(U32 id) { return vlan_.del(*this, id); }
  void vlanDelAll() { vlan_.delAll(*this); }

 private:
  Vek::EntityMap<U32, DynamicVlan, vlanId> vlan_;
};

// What the client asks on one switch port: tagged VLANs, at most one native
// VLAN, and the hosts it places behind the port.
class ResourcesForSwitchport : public Vek::Entity,
                               public Vek::AllocTracked<ResourcesForSwitchport> {
 public:
  // 258 and 261 are not used by this record.
  static constexpr Vek::AttributeId nativeVlanId = 259;
  static constexpr Vek::AttributeId vlanId = 260;
  static constexpr Vek::AttributeId remoteHostId = 262;
  using NotifieeConst = Vek::NotifieeConst;

  explicit ResourcesForSwitchport(SwitchInterface intf) : intf_(std::move(intf)) {}

  SwitchInterface const& switchInterface() const { return intf_; }
  SwitchInterface fwkKey() const { return intf_; }
  Vek::Name name() const override { return intf_.name(); }

  // The native VLAN, or null for none; readers also treat the VLAN id 0 as none.
  Vek::Ptr<UntaggedVlan> nativeVlan() const { return nativeVlan_.get(); }
  // Sets the native VLAN by id and returns it: 0 clears it, and the id it
  // already has changes nothing (the same record stays).
  Vek::Ptr<UntaggedVlan> nativeVlanIs(U32 vlan);
  // Sets the native VLAN to a record made elsewhere; null clears it.
  void nativeVlanIs(Vek::Ptr<UntaggedVlan> const& vlan) { nativeVlan_.set(*this, vlan); }

  Vek::Ptr<DynamicVlan> vlan(U32 id) const { return vlan_.find(id); }
  Vek::EntityMap<U32, DynamicVlan, vlanId> const& vlanCol() const { return vlan_; }
  Vek::Ptr<DynamicVlan> vlanIs(U32 id) { return vlan_.is(*this, id); }
  Vek::Ptr<DynamicVlan> vlanDel(U32 id) { return vlan_.del(*this, id); }
  void vlanDelAll() { vlan_.delAll(*this); }

  // A host counts as behind the port only while its value is true; false
  // and absent read the same.
  bool remoteHost(Vek::String const& host) const { return remoteHost_.get(host); }
  Vek::ValueMap<Vek::String, bool, remoteHostId> const& remoteHostCol() const {
    return remoteHost_;
  }
  void remoteHostIs(Vek::String const& host, bool present) {
    remoteHost_.set(*this, host, present);
  }
  void remoteHostDel(Vek::String const& host) { remoteHost_.del(*this, host); }
  void remoteHostDelAll() { remoteHost_.delAll(*this); }

 private:
  SwitchInterface const intf_;
  Vek::Value<Vek::Ptr<UntaggedVlan>, nativeVlanId> nativeVlan_;
  Vek::EntityMap<U32, DynamicVlan, vlanId> vlan_;
  Vek::ValueMap<Vek::String, bool, remoteHostId> remoteHost_;
};

// The root of one client's requests: the child of the client directory.
class RequestedResourcesCollection : public Vek::Entity,
                                     public Vek::AllocTracked<RequestedResourcesCollection> {
 public:
  static constexpr Vek::AttributeId resourcesForHostnameId = 258;
  static constexpr Vek::AttributeId resourcesForSwitchportId = 259;
  using NotifieeConst = Vek::NotifieeConst;

  explicit RequestedResourcesCollection(Vek::Name client) : Entity(std::move(client)) {}

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

  Vek::Ptr<ResourcesForSwitchport> resourcesForSwitchport(SwitchInterface const& intf) const {
    return resourcesForSwitchport_.find(intf);
  }
  Vek::EntityMap<SwitchInterface, ResourcesForSwitchport, resourcesForSwitchportId> const&
  resourcesForSwitchportCol() const {
    return resourcesForSwitchport_;
  }
  Vek::Ptr<ResourcesForSwitchport> resourcesForSwitchportIs(SwitchInterface const& intf) {
    return resourcesForSwitchport_.is(*this, intf);
  }
  Vek::Ptr<ResourcesForSwitchport> resourcesForSwitchportDel(SwitchInterface const& intf) {
    return resourcesForSwitchport_.del(*this, intf);
  }
  void resourcesForSwitchportDelAll() { resourcesForSwitchport_.delAll(*this); }

 private:
  Vek::EntityMap<Vek::Name, ResourcesForHostname, resourcesForHostnameId> resourcesForHostname_;
  Vek::EntityMap<SwitchInterface, ResourcesForSwitchport, resourcesForSwitchportId>
      resourcesForSwitchport_;
};

// Creators for the host process; the collections make their own members.
inline Vek::Ptr<MappedVni> MappedVniIs(U32 vni) { return new MappedVni(vni); }
inline Vek::Ptr<Domain> DomainIs(ClientDomain domain) { return new Domain(std::move(domain)); }
inline Vek::Ptr<UntaggedVlan> UntaggedVlanIs(U32 vlanId) { return new UntaggedVlan(vlanId); }
inline Vek::Ptr<DynamicVlan> DynamicVlanIs(U32 vlanId) { return new DynamicVlan(vlanId); }
inline Vek::Ptr<ResourcesForHostname> ResourcesForHostnameIs(Vek::Name hostname) {
  return new ResourcesForHostname(std::move(hostname));
}
inline Vek::Ptr<ResourcesForSwitchport> ResourcesForSwitchportIs(SwitchInterface intf) {
  return new ResourcesForSwitchport(std::move(intf));
}
inline Vek::Ptr<RequestedResourcesCollection> RequestedResourcesCollectionIs(Vek::Name client) {
  return new RequestedResourcesCollection(std::move(client));
}

}  // namespace VirtualNetwork::Client
