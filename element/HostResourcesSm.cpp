#include "element/HostResourcesSm.h"

#include "reactive/Referred.h"
#include "reactive/Trace.h"

namespace VirtualNetwork::Agent {

Vek::Ptr<HostResourcesSm> hostResourcesSmFactory(
    Vek::Name const& hostname, Vek::Ptr<ResourcesForHostname const> const& resourcesForHostname,
    Vek::Ptr<NetworkElement> const& networkElement) {
  return HostResourcesSm::vekCreate(hostname, resourcesForHostname, networkElement);
}

void HostResourcesSm::handleInitialized() {
  VEK_ENTRY << networkElement()->name() << "-" << hostname();
  if (Vek::Ptr<ResourcesForHostname const> const global = resourcesForHostname()) {
    // Through handleVlan and the reactor both, unlike the client machine;
    // each VLAN passes its reactor a second time, which adds nothing.
    Vek::forEachKey(global->vlanCol(), [&](U32 vlanId) {
      handleVlan(vlanId);
      if (Vek::Ptr<VekHostVlan> const reactor = hostVlan(vlanId)) reactor->handleInitialized();
    });
  }
  initialized_.set(true);
}

void HostResourcesSm::handleVlan(U32 vlanId) {
  VEK_ENTRY << networkElement()->name() << "-" << hostname() << " " << vlanId;
  Vek::Ptr<NetworkElement> const element = networkElement();
  Vek::Ptr<ResourcesForHostname const> const global = resourcesForHostname();
  if (global && global->vlan(vlanId)) {
    VEK_TRACE(2) << "Adding VLAN: " << vlanId << " to networkElement: " << hostname();
    Vek::hold(element->vlanRef(), vlanId, hostname());
    return;
  }
  // Another writer of the element's VLANs (a switch's interfaces) may still
  // hold it; then nothing more happens here.
  Vek::release(element->vlanRef(), vlanId, hostname(), [&] {
    VEK_TRACE(2) << "Removing VLAN: " << vlanId << " from networkElement: " << hostname();
    if (Vek::Ptr<VekHostVlan> const reactor = hostVlan(vlanId)) reactor->doCleanup();
  });
}

void HostResourcesSm::doCleanup() {
  VEK_ENTRY << networkElement()->name() << "-" << hostname();
  Vek::Ptr<NetworkElement> const element = networkElement();
  Vek::Ptr<ResourcesForHostname const> const global = resourcesForHostname();
  if (!global) return;
  // Only the VLANs the global entry still holds; those it lost went in
  // handleVlan. Referrer first, the reactor only with the last holder:
  // deliberately the reverse of the client machine's cleanup. No trace.
  Vek::forEachKey(global->vlanCol(), [&](U32 vlanId) {
    Vek::release(element->vlanRef(), vlanId, hostname(), [&] {
      if (Vek::Ptr<VekHostVlan> const reactor = hostVlan(vlanId)) reactor->doCleanup();
    });
  });
}

// --- VekHostVlan ------------------------------------------------------------------

Vek::Ptr<DynamicVlan> HostResourcesSm::VekHostVlan::elementVlan() const {
  HostResourcesSm* const sm = owner();
  Vek::Ptr<NetworkElement> const element = sm ? sm->networkElement() : nullptr;
  return element ? element->vlan(vlanId()) : nullptr;
}

void HostResourcesSm::VekHostVlan::handleInitialized() {
  VEK_ENTRY << "VLAN: " << vlanId();
  HostResourcesSm* const sm = owner();
  Vek::Ptr<DynamicVlan const> const global = hostVlan();
  if (!sm || !global) return;
  // Holds the VLAN itself, with no adding line, unlike the client's
  // reactor, which goes through its machine's handleVlan.
  Vek::hold(sm->networkElement()->vlanRef(), vlanId(), sm->hostname());
  // Domains before mapped VNIs.
  Vek::forEachKey(global->domainCol(),
                  [&](Client::ClientDomain const& domain) { handleVlanDomain(domain); });
  Vek::forEachKey(global->mappedVniCol(), [&](U32 vni) { handleMappedVni(vni); });
}

void HostResourcesSm::VekHostVlan::handleMappedVni(U32 vni) {
  VEK_ENTRY << vlanId() << " -> " << vni;
  Vek::Ptr<DynamicVlan const> const global = hostVlan();
  Vek::Ptr<DynamicVlan> const vlan = elementVlan();
  if (!global || !vlan) return;
  HostResourcesSm* const sm = owner();
  Vek::Ptr<NetworkElement> const element = sm->networkElement();
  if (global->mappedVni(vni)) {
    VEK_TRACE(2) << "Adding " << vni << " to " << element->name();
    Vek::hold(vlan->mappedVniRef(), vni, sm->hostname());
    return;
  }
  Vek::release(vlan->mappedVniRef(), vni, sm->hostname(),
               [&] { VEK_TRACE(2) << "Removing " << vni << " from " << element->name(); });
}

void HostResourcesSm::VekHostVlan::handleVlanDomain(Client::ClientDomain const& domain) {
  VEK_ENTRY << "VLAN: " << vlanId() << " domain: " << domain.name();
  U32 const vlanId = this->vlanId();
  Vek::Ptr<DynamicVlan const> const global = hostVlan();
  Vek::Ptr<DynamicVlan> const vlan = elementVlan();
  if (!global || !vlan) return;
  HostResourcesSm* const sm = owner();
  Vek::Ptr<NetworkElement> const element = sm->networkElement();
  // Presence is read on this reactor's own VLAN, unlike the client machine,
  // which reads the client's hostname entry. The lines name the element's
  // hostname, not the machine's.
  if (global->domain(domain)) {
    VEK_TRACE(2) << "Adding domain " << domain.name() << " for VLAN: " << vlanId
                 << " on networkElement: " << element->hostname();
    Vek::hold(vlan->domainRef(), domain, sm->hostname());
    return;
  }
  Vek::release(vlan->domainRef(), domain, sm->hostname(), [&] {
    VEK_TRACE(2) << "Deleting domain: " << domain.name() << " for VLAN: " << vlanId
                 << " on networkElement: " << element->hostname();
  });
}

void HostResourcesSm::VekHostVlan::doCleanup() {
  VEK_ENTRY << "VLAN " << vlanId();
  Vek::Ptr<DynamicVlan const> const global = hostVlan();
  // Tests the element's entries, unlike the client's reactor: a repeat
  // finds them gone.
  Vek::Ptr<DynamicVlan> const vlan = elementVlan();
  if (!global || !vlan) return;
  Vek::Name const hostname = owner()->hostname();
  // Mapped VNIs first, domains second. Whether an entry goes is read on the
  // global VLAN's entry, deliberately: while clients still want it, the
  // element's entry stays without holders until its VLAN goes.
  Vek::releaseBySource(global->mappedVniCol(), vlan->mappedVniRef(), hostname, [&](U32 vni) {
    VEK_TRACE(2) << "Deleting " << vni << " from networkElement " << hostname;
  });
  Vek::releaseBySource(global->domainCol(), vlan->domainRef(), hostname,
                  [&](Client::ClientDomain const& domain) {
                    VEK_TRACE(2) << "Deleting " << domain.name() << " from networkElement "
                                 << hostname;
                  });
}

}  // namespace VirtualNetwork::Agent
