#include "client/ClientResourcesForHostnameSm.h"

#include "reactive/Referred.h"
#include "reactive/Trace.h"

namespace VirtualNetwork::Agent {

Vek::Ptr<ClientResourcesForHostnameSm> clientResourcesForHostnameSmFactory(
    Vek::Name const& name, Vek::String const& client,
    Vek::Ptr<Client::ResourcesForHostname const> const& resourcesForHostname,
    Vek::Ptr<RequestedResourcesCollection> const& allRequestedResourcesCollection) {
  return ClientResourcesForHostnameSm::vekCreate(name, client, resourcesForHostname,
                                                 allRequestedResourcesCollection);
}

Vek::Ptr<ResourcesForHostname> ClientResourcesForHostnameSm::global() const {
  Vek::Ptr<RequestedResourcesCollection> const all = allRequestedResourcesCollection();
  return all ? all->resourcesForHostname(name()) : nullptr;
}

Vek::Ptr<DynamicVlan> ClientResourcesForHostnameSm::globalVlan(U32 vlanId) const {
  Vek::Ptr<ResourcesForHostname> const global = this->global();
  return global ? global->vlan(vlanId) : nullptr;
}

void ClientResourcesForHostnameSm::handleInitialized() {
  VEK_ENTRY << "";
  // The one place that adds the client as referrer of the hostname.
  Vek::hold(allRequestedResourcesCollection()->resourcesForHostnameRef(), name(), client());
  // The reactors have been through handleVlan already; a second pass adds
  // nothing.
  if (Vek::Ptr<ClientRequest const> const request = resourcesForHostname()) {
    Vek::forEachKey(request->vlanCol(), [&](U32 vlanId) { handleVlan(vlanId); });
  }
  initialized_.set(true);
}

void ClientResourcesForHostnameSm::handleVlan(U32 vlanId) {
  VEK_ENTRY << "VLAN : " << vlanId;
  // Both paths make the global entry, so a removal can leave an empty one;
  // the hostname's referrer is not touched here.
  Vek::Ptr<ResourcesForHostname> const global =
      allRequestedResourcesCollection()->resourcesForHostnameIs(name());
  Vek::Ptr<ClientRequest const> const request = resourcesForHostname();
  if (request && request->vlan(vlanId)) {
    VEK_TRACE(2) << "Adding client VLAN " << vlanId << " to global host resources: " << name();
    Vek::hold(global->vlanRef(), vlanId, client());
    return;
  }
  // Referrer first, the reactor's cleanup only with the last holder: the
  // reverse of doCleanup, deliberately (HostResourcesSm cleans up in this
  // order). A VLAN that stays for other clients loses this client's VNIs
  // and domains right after, when the reactor is retired.
  Vek::release(global->vlanRef(), vlanId, client(), [&] {
    VEK_TRACE(2) << "Removing VLAN " << vlanId << " from global host resource " << name();
    if (Vek::Ptr<VekHostVlan> const reactor = hostVlan(vlanId)) reactor->doCleanup();
  });
}

void ClientResourcesForHostnameSm::doCleanup() {
  VEK_ENTRY << "";
  Vek::Ptr<ResourcesForHostname> const global = this->global();
  // `enabled` going false has deleted it and everything of ours under it.
  if (!global) return;
  if (Vek::Ptr<ClientRequest const> const request = resourcesForHostname()) {
    // The client's VLANs only. The reactor first, the referrer second: the
    // reverse of handleVlan, deliberately.
    Vek::forEachKey(request->vlanCol(), [&](U32 vlanId) {
      if (!global->vlan(vlanId)) return;
      VEK_TRACE(2) << "Deleting " << client() << " from vlan " << vlanId << " referrer";
      if (Vek::Ptr<VekHostVlan> const reactor = hostVlan(vlanId)) reactor->doCleanup();
      Vek::release(global->vlanRef(), vlanId, client(), [&] {
        // Names the client, not the hostname, as it always has.
        VEK_TRACE(2) << "Deleting vlan " << vlanId << " in " << client();
      });
    });
  }
  Vek::release(allRequestedResourcesCollection()->resourcesForHostnameRef(), name(), client(),
               [&] { VEK_TRACE(2) << "Deleting ResourcesForHostname " << name(); });
}

// --- VekHostVlan ------------------------------------------------------------------

void ClientResourcesForHostnameSm::VekHostVlan::handleInitialized() {
  VEK_ENTRY << "VLAN: " << vlanId();
  ClientResourcesForHostnameSm* const sm = owner();
  Vek::Ptr<Client::DynamicVlan const> const request = hostVlan();
  if (!sm || !request) return;
  // Through the machine's handler, unlike HostResourcesSm's reactor, which
  // holds the VLAN itself.
  sm->handleVlan(vlanId());
  // Domains before mapped VNIs.
  Vek::forEachKey(request->domainCol(),
                  [&](Client::ClientDomain const& domain) { handleVlanDomain(domain); });
  Vek::forEachKey(request->mappedVniCol(), [&](U32 vni) { handleMappedVni(vni); });
}

void ClientResourcesForHostnameSm::VekHostVlan::handleMappedVni(U32 vni) {
  VEK_ENTRY << "VLAN : " << vlanId();
  U32 const vlanId = this->vlanId();
  ClientResourcesForHostnameSm* const sm = owner();
  Vek::Ptr<Client::DynamicVlan const> const request = hostVlan();
  Vek::Ptr<DynamicVlan> const vlan = sm ? sm->globalVlan(vlanId) : nullptr;
  // `enabled` going false may have deleted the global VLAN.
  if (!request || !vlan) return;
  // Presence is read on this reactor's own VLAN, unlike handleVlanDomain.
  if (request->mappedVni(vni)) {
    VEK_TRACE(2) << "Adding VNI: " << vni << " mapped to VLAN: " << vlanId
                 << " to global resources collection.";
    Vek::hold(vlan->mappedVniRef(), vni, sm->client());
    return;
  }
  Vek::release(vlan->mappedVniRef(), vni, sm->client(), [&] {
    VEK_TRACE(2) << "Deleting VNI: " << vni << " mapped to VLAN: " << vlanId
                 << " from global resources collection.";
  });
}

void ClientResourcesForHostnameSm::VekHostVlan::handleVlanDomain(
    Client::ClientDomain const& domain) {
  VEK_ENTRY << "VLAN: " << vlanId() << " domain: " << domain.name();
  U32 const vlanId = this->vlanId();
  ClientResourcesForHostnameSm* const sm = owner();
  if (!sm) return;
  // Presence is read through the client's hostname entry, not this
  // reactor's VLAN, deliberately; HostResourcesSm reads its own.
  Vek::Ptr<ClientRequest const> const request = sm->resourcesForHostname();
  auto const clientVlan = request ? request->vlan(vlanId) : nullptr;
  Vek::Ptr<DynamicVlan> const vlan = sm->globalVlan(vlanId);
  // Only runs while the client holds the VLAN; without it nothing is done,
  // not even a removal. `enabled` going false may have deleted the global
  // VLAN.
  if (!clientVlan || !vlan) return;
  if (clientVlan->domain(domain)) {
    VEK_TRACE(2) << "Adding domain: " << domain.name() << " to VLAN : " << vlanId
                 << " in global resources";
    Vek::hold(vlan->domainRef(), domain, sm->client());
    return;
  }
  Vek::release(vlan->domainRef(), domain, sm->client(), [&] {
    VEK_TRACE(2) << "Removing domain: " << domain.name() << " from VLAN : " << vlanId;
  });
}

void ClientResourcesForHostnameSm::VekHostVlan::doCleanup() {
  VEK_ENTRY << "VLAN: " << vlanId();
  U32 const vlanId = this->vlanId();
  ClientResourcesForHostnameSm* const sm = owner();
  Vek::Ptr<Client::DynamicVlan const> const request = hostVlan();
  // Found by the machine's name: the client's entry may be gone by now. A
  // repeat finds the VLAN gone, or finds its entries gone or shared.
  Vek::Ptr<DynamicVlan> const vlan = sm ? sm->globalVlan(vlanId) : nullptr;
  if (!request || !vlan) return;
  Vek::String const client = sm->client();
  // Mapped VNIs first, domains second; the VLAN's own referrer is never
  // touched here.
  Vek::forEachKey(request->mappedVniCol(), [&](U32 vni) {
    Vek::release(vlan->mappedVniRef(), vni, client, [&] {
      VEK_TRACE(2) << "Deleting mapped VNI " << vni << " from VLAN " << vlanId
                   << " in global resource";
    });
  });
  Vek::forEachKey(request->domainCol(), [&](Client::ClientDomain const& domain) {
    Vek::release(vlan->domainRef(), domain, client, [&] {
      VEK_TRACE(2) << "Deleting domain '" << domain.name() << "' for VLAN: " << vlanId
                   << " in global resource";
    });
  });
}

}  // namespace VirtualNetwork::Agent
