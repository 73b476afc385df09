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
#include <type_traits>

#include "reactive/Record.h"
#include "reactive/ValueTypes.h"

namespace VirtualNetwork::Client {

// A small record held by referrers and keyed by a value: a VNI, a VLAN id,
// a domain.
template <class Self, class Key>
class ReferredRecord : public Vek::KeyedRecord<Self, Key>, public Vek::Referrers<Self, 258> {
 public:
  using Vek::KeyedRecord<Self, Key>::KeyedRecord;
};

// A VNI that somebody maps to a VLAN; keyed by the VNI.
class MappedVni : public ReferredRecord<MappedVni, U32> {
 public:
  using ReferredRecord::ReferredRecord;
  U32 vni() const { return fwkKey(); }
};

// A client domain of a VLAN; keyed by the domain.
class Domain : public ReferredRecord<Domain, ClientDomain> {
 public:
  using ReferredRecord::ReferredRecord;
  ClientDomain clientDomain() const { return fwkKey(); }
};

// A native (untagged) VLAN; keyed by the VLAN id.
class UntaggedVlan : public ReferredRecord<UntaggedVlan, U32> {
 public:
  using ReferredRecord::ReferredRecord;
  U32 vlanId() const { return fwkKey(); }
};

// A VLAN that the client wants, with the VNIs and domains it gives it.
// 258 is not used by this record.
class DynamicVlan : public Vek::KeyedRecord<DynamicVlan, U32> {
 public:
  static constexpr char const* vekKeyName = "vlanId";
  using KeyedRecord::KeyedRecord;
  U32 vlanId() const { return fwkKey(); }

  VEK_ENTITIES(mappedVni, 259, U32, MappedVni)
  VEK_ENTITIES(domain, 260, ClientDomain, Domain)
};

// What the client asks on one hostname. An empty `vlan` is a valid request
// of nothing.
class ResourcesForHostname : public Vek::Record<ResourcesForHostname> {
 public:
  using Record::Record;

  VEK_ENTITIES(vlan, 258, U32, DynamicVlan)
};

// What the client asks on one switch port: tagged VLANs, at most one native
// VLAN, and the hosts it places behind the port. 258 and 261 are not used by
// this record.
class ResourcesForSwitchport : public Vek::KeyedRecord<ResourcesForSwitchport, SwitchInterface> {
 public:
  using KeyedRecord::KeyedRecord;
  SwitchInterface const& switchInterface() const { return fwkKey(); }

  // The native VLAN, or null for none; readers also treat the VLAN id 0 as
  // none. nativeVlanIs(ptr) sets a record made elsewhere; null clears it.
  VEK_VALUE(nativeVlan, 259, Vek::Ptr<UntaggedVlan>)
  // Sets the native VLAN by id and returns it: 0 clears it, and the id it
  // already has changes nothing (the same record stays).
  Vek::Ptr<UntaggedVlan> nativeVlanIs(U32 vlan);

  VEK_ENTITIES(vlan, 260, U32, DynamicVlan)
  // A host counts as behind the port only while its value is true; false
  // and absent read the same.
  VEK_VALUES(remoteHost, 262, Vek::String, bool)
};

// The root of one client's requests: the child of the client directory.
class RequestedResourcesCollection : public Vek::Record<RequestedResourcesCollection> {
 public:
  using Record::Record;

  VEK_ENTITIES(resourcesForHostname, 258, Vek::Name, ResourcesForHostname)
  VEK_ENTITIES(resourcesForSwitchport, 259, SwitchInterface, ResourcesForSwitchport)
};

// Creators for the host process; the collections make their own members.
VEK_RECORD_CREATOR(MappedVni, U32)
VEK_RECORD_CREATOR(Domain, ClientDomain)
VEK_RECORD_CREATOR(UntaggedVlan, U32)
VEK_RECORD_CREATOR(DynamicVlan, U32)
VEK_RECORD_CREATOR(ResourcesForHostname, Vek::Name)
VEK_RECORD_CREATOR(ResourcesForSwitchport, SwitchInterface)
VEK_RECORD_CREATOR(RequestedResourcesCollection, Vek::Name)

}  // namespace VirtualNetwork::Client
