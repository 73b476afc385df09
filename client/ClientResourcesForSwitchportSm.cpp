#include "client/ClientResourcesForSwitchportSm.h"

#include "reactive/Trace.h"

namespace VirtualNetwork::Agent {

Vek::Ptr<NetworkElement> ClientResourcesForSwitchportSm::element() const {
  Vek::Ptr<NetworkElementCollection> const elements = networkElementCollection();
  return elements ? elements->networkElement(intf().switchId()) : nullptr;
}

Vek::Ptr<PhysicalInterface> ClientResourcesForSwitchportSm::port() const {
  Vek::Ptr<NetworkElement> const element = this->element();
  return element ? element->physicalInterface(intf().intfName()) : nullptr;
}

void ClientResourcesForSwitchportSm::handleInitialized() {
  VEK_ENTRY << "";
  // No referrer on the element or the port here: only a remote host gives
  // them this client's hold.
  Vek::Ptr<NetworkElement> const element =
      networkElementCollection()->networkElementIs(intf().switchId());
  element->physicalInterfaceIs(intf().intfName());
  if (Vek::Ptr<ClientRequest const> const request = resourcesForSwitchport()) {
    // Each VLAN passes through its reactor a second time here.
    Vek::forEachKey(request->vlanCol(), [&](U32 vlanId) {
      handleVlan(vlanId);
      if (Vek::Ptr<VekHostVlan> const reactor = hostVlan(vlanId)) reactor->handleInitialized();
    });
  }
  handleNativeVlan();
  if (Vek::Ptr<ClientRequest const> const request = resourcesForSwitchport()) {
    Vek::forEachKey(request->remoteHostCol(),
                    [&](Vek::String const& host) { handleRemoteHost(host); });
  }
  initialized_.set(true);
}

void ClientResourcesForSwitchportSm::handleVlan(U32 vlanId) {
  VEK_ENTRY << "VLAN : " << vlanId;
  // Both paths make the element and the port: a removal can leave them empty.
  Vek::Ptr<NetworkElement> const element =
      networkElementCollection()->networkElementIs(intf().switchId());
  Vek::Ptr<PhysicalInterface> const port = element->physicalInterfaceIs(intf().intfName());
  Vek::Ptr<ClientRequest const> const request = resourcesForSwitchport();
  if (request && request->vlan(vlanId)) {
    VEK_TRACE(2) << "Adding VLAN: " << vlanId << " to interface: " << port->name();
    port->vlanIs(vlanId)->referrerIs(client());
    return;
  }
  Vek::Ptr<DynamicVlan> const vlan = port->vlan(vlanId);
  if (!vlan) return;
  vlan->referrerDel(client());
  if (!vlan->referrerCol().empty()) return;
  // The VLAN goes whole, with its domains and VNIs; the reactor's cleanup
  // follows with its removal.
  VEK_TRACE(2) << "Removing VLAN: " << vlanId << " from interface: " << port->name();
  port->vlanDel(vlanId);
}

void ClientResourcesForSwitchportSm::handleNativeVlan() {
  VEK_ENTRY << "switchId: " << intf().switchId() << " Interface: " << intf().intfName();
  Vek::Ptr<ClientRequest const> const request = resourcesForSwitchport();
  auto const native = request ? request->nativeVlan() : nullptr;
  U32 const wanted = native ? native->vlanId() : 0;
  // Another client's cleanup may have taken the port.
  Vek::Ptr<PhysicalInterface> const port = this->port();
  if (!port) return;
  // A full withdrawal, then the add: an unchanged choice that only this
  // client holds is deleted and made again.
  Vek::forEachKey(port->nativeVlanCol(), [&](U32 nativeId) {
    Vek::Ptr<Client::UntaggedVlan> const entry = port->nativeVlan(nativeId);
    if (!entry) return;
    entry->referrerDel(client());
    if (!entry->referrerCol().empty()) return;
    VEK_TRACE(2) << "Removing native VLAN: " << nativeId
                 << " from interface: " << intf().intfName();
    port->nativeVlanDel(nativeId);
  });
  if (wanted == 0) return;
  VEK_TRACE(2) << "Adding native vlan " << wanted << " to " << intf().intfName();
  port->nativeVlanIs(wanted)->referrerIs(client());
}

void ClientResourcesForSwitchportSm::handleRemoteHost(Vek::String host) {
  VEK_ENTRY << "host : " << host;
  Vek::Ptr<NetworkElementCollection> const elements = networkElementCollection();
  Vek::Ptr<ClientRequest const> const request = resourcesForSwitchport();
  if (request && request->remoteHost(host)) {
    Vek::Ptr<NetworkElement> const element = elements->networkElementIs(intf().switchId());
    element->referrerIs(client(), true);
    Vek::Ptr<PhysicalInterface> const port = element->physicalInterfaceIs(intf().intfName());
    port->referrerIs(client(), true);
    Vek::Ptr<NetworkElement> const hostElement = elements->networkElementIs(Vek::Name(host));
    hostElement->hostnameIs(host);
    hostElement->referrerIs(client(), true);
    port->configuredElementIs(hostElement);
    return;
  }
  // The removal takes no referrer from the element or the port: those stay
  // until the machine's cleanup.
  Vek::Ptr<NetworkElement> const element = elements->networkElement(intf().switchId());
  if (!element) return;
  Vek::Ptr<PhysicalInterface> const port = element->physicalInterface(intf().intfName());
  if (!port) return;
  // A host that was never true may have no element; the element collection
  // may also have deleted it already.
  if (Vek::Ptr<NetworkElement> const hostElement = elements->networkElement(Vek::Name(host))) {
    hostElement->referrerDel(client());
    // The referrers alone decide, interfaces do not save it here.
    if (hostElement->referrerCol().empty()) {
      if (Vek::Ptr<NetworkElement> const gone = elements->networkElementDel(Vek::Name(host))) {
        gone->destroy();
      }
    }
  }
  port->configuredElementDel(Vek::Name(host));
}

void ClientResourcesForSwitchportSm::doCleanup() {
  VEK_ENTRY << "";
  Vek::Ptr<NetworkElementCollection> const elements = networkElementCollection();
  Vek::Ptr<NetworkElement> const element = this->element();
  if (!elements || !element) return;
  Vek::String const intfName = intf().intfName();
  if (Vek::Ptr<PhysicalInterface> const port = element->physicalInterface(intfName)) {
    port->referrerDel(client());
    if (port->referrerCol().empty() && !port->discovered()) {
      // The interface goes whole, with every client's VLANs on it. One the
      // topology has discovered is never deleted here.
      VEK_TRACE(2) << "Deleting physicalInterface " << intfName;
      if (Vek::Ptr<PhysicalInterface> const gone = element->physicalInterfaceDel(intfName)) {
        gone->destroy();
      }
    } else {
      // All VLANs of the interface, not just this client's: another
      // client's VLAN has no reactor here and only loses this referrer.
      Vek::forEachKey(port->vlanCol(), [&](U32 vlanId) {
        if (Vek::Ptr<VekHostVlan> const reactor = hostVlan(vlanId)) reactor->doCleanup();
        Vek::Ptr<DynamicVlan> const vlan = port->vlan(vlanId);
        if (!vlan) return;
        vlan->referrerDel(client());
        if (!vlan->referrerCol().empty()) return;
        VEK_TRACE(2) << "Deleting VLAN: " << vlanId << " on " << intfName;
        port->vlanDel(vlanId);
      });
      Vek::forEachKey(port->nativeVlanCol(), [&](U32 nativeId) {
        Vek::Ptr<Client::UntaggedVlan> const entry = port->nativeVlan(nativeId);
        if (!entry) return;
        entry->referrerDel(client());
        if (!entry->referrerCol().empty()) return;
        VEK_TRACE(2) << "Deleting native VLAN: " << nativeId << " on " << intfName;
        port->nativeVlanDel(nativeId);
      });
    }
  }
  element->referrerDel(client());
  // The referrers alone decide: interfaces left on the element do not save it.
  if (!element->referrerCol().empty()) return;
  VEK_TRACE(2) << "Deleting network element " << intf().switchId();
  if (elements->networkElement(intf().switchId())) {
    if (Vek::Ptr<NetworkElement> const gone = elements->networkElementDel(intf().switchId())) {
      gone->destroy();
    }
  }
}

// --- VekHostVlan ------------------------------------------------------------------

void ClientResourcesForSwitchportSm::VekHostVlan::handleInitialized() {
  VEK_TRACE_SITE;
  U32 const vlanId = this->vlanId();
  VEK_TRACE(9) << "VLAN: " << vlanId;
  ClientResourcesForSwitchportSm* const sm = owner();
  Vek::Ptr<Client::DynamicVlan const> const vlan = hostVlan();
  if (!sm || !vlan) return;
  sm->handleVlan(vlanId);
  Vek::forEachKey(vlan->domainCol(),
                  [&](Client::ClientDomain const& domain) { handleVlanDomain(domain); });
  Vek::forEachKey(vlan->mappedVniCol(), [&](U32 vni) { handleMappedVni(vni); });
}

void ClientResourcesForSwitchportSm::VekHostVlan::handleMappedVni(U32 vni) {
  VEK_TRACE_SITE;
  U32 const vlanId = this->vlanId();
  VEK_TRACE(9) << "VLAN : " << vlanId << " VNI: " << vni;
  ClientResourcesForSwitchportSm* const sm = owner();
  Vek::Ptr<Client::DynamicVlan const> const request = hostVlan();
  Vek::Ptr<PhysicalInterface> const port = sm ? sm->port() : nullptr;
  Vek::Ptr<DynamicVlan> const vlan = port ? port->vlan(vlanId) : nullptr;
  // Another client's cleanup may have taken the port's VLAN.
  if (!request || !vlan) return;
  if (request->mappedVni(vni)) {
    VEK_TRACE(2) << "Adding VLAN : " << vlanId << " VNI : " << vni << " to " << port->name();
    vlan->mappedVniIs(vni)->referrerIs(sm->client());
    return;
  }
  Vek::Ptr<Client::MappedVni> const entry = vlan->mappedVni(vni);
  if (!entry) return;
  entry->referrerDel(sm->client());
  if (!entry->referrerCol().empty()) return;
  VEK_TRACE(2) << "Removing existing VNI " << vni;
  vlan->mappedVniDel(vni);
}

void ClientResourcesForSwitchportSm::VekHostVlan::handleVlanDomain(
    Client::ClientDomain const& domain) {
  VEK_TRACE_SITE;
  U32 const vlanId = this->vlanId();
  // The one handler of the client side whose entry trace is at level 2.
  VEK_TRACE(2) << "VLAN: " << vlanId << " domain: " << domain;
  ClientResourcesForSwitchportSm* const sm = owner();
  if (!sm) return;
  Vek::Ptr<PhysicalInterface> const port = sm->port();
  Vek::Ptr<DynamicVlan> const vlan = port ? port->vlan(vlanId) : nullptr;
  if (!vlan) return;
  Vek::Ptr<ClientRequest const> const request = sm->resourcesForSwitchport();
  auto const clientVlan = request ? request->vlan(vlanId) : nullptr;
  // Held by the domain's own name, deliberately: clients that share a
  // domain on a VLAN share its referrer.
  Vek::String const referrer = domain.name();
  if (clientVlan && clientVlan->domain(domain)) {
    VEK_TRACE(2) << "Adding domain: " << domain.name() << " for VLAN: " << vlanId << " on "
                 << port->name();
    vlan->domainIs(domain)->referrerIs(referrer);
    return;
  }
  Vek::Ptr<Client::Domain> const entry = vlan->domain(domain);
  if (!entry) return;
  entry->referrerDel(referrer);
  if (!entry->referrerCol().empty()) return;
  VEK_TRACE(2) << "Deleting domain: " << domain.name() << " for VLAN: " << vlanId << " on "
               << port->name();
  vlan->domainDel(domain);
}

void ClientResourcesForSwitchportSm::VekHostVlan::doCleanup() {
  VEK_TRACE_SITE;
  U32 const vlanId = this->vlanId();
  VEK_TRACE(9) << "VLAN: " << vlanId;
  ClientResourcesForSwitchportSm* const sm = owner();
  Vek::Ptr<Client::DynamicVlan const> const request = hostVlan();
  if (!sm || !request) return;
  Vek::Ptr<PhysicalInterface> const port = sm->port();
  if (!port) return;
  Vek::Ptr<DynamicVlan> const vlan = port->vlan(vlanId);
  if (!vlan) return;
  Vek::String const client = sm->client();
  // Domains first, then VNIs. The domain entries are held by the domain's
  // name, so this client's name is usually not there and the domain stays
  // until its VLAN goes: deliberate.
  Vek::forEachKey(request->domainCol(), [&](Client::ClientDomain const& domain) {
    Vek::Ptr<Client::Domain> const entry = vlan->domain(domain);
    if (!entry) return;  // a repeated cleanup finds it gone
    entry->referrerDel(client);
    if (!entry->referrerCol().empty()) return;
    VEK_TRACE(2) << "Deleting '" << domain.name() << "' from VLAN " << vlanId;
    vlan->domainDel(domain);
  });
  Vek::forEachKey(request->mappedVniCol(), [&](U32 vni) {
    Vek::Ptr<Client::MappedVni> const entry = vlan->mappedVni(vni);
    if (!entry) return;
    entry->referrerDel(client);
    if (!entry->referrerCol().empty()) return;
    VEK_TRACE(2) << "Deleting " << vni << " <-> " << vlanId << " map from interface "
                 << port->name();
    vlan->mappedVniDel(vni);
  });
}

}  // namespace VirtualNetwork::Agent
