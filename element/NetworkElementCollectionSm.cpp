#include "element/NetworkElementCollectionSm.h"

#include "reactive/Trace.h"

namespace VirtualNetwork::Agent {

// Not guarded against a second run.
void NetworkElementCollectionSm::handleInitialized() {
  VEK_ENTRY << "";
  if (Vek::Ptr<NetworkElementCollection> const elements = networkElementCollection()) {
    Vek::forEachKey(elements->networkElementCol(),
                    [&](Vek::Name const& name) { handleNetworkElement(name); });
  }
  if (Vek::Ptr<RequestedResourcesCollection> const requests = requestedResourcesCollection()) {
    Vek::forEachKey(requests->resourcesForHostnameCol(),
                    [&](Vek::Name const& hostname) { handleResourcesForHostname(hostname); });
  }
  initialized_.set(true);
}

void NetworkElementCollectionSm::handleNetworkElement(Vek::Name name) {
  VEK_ENTRY << name;
  Vek::Ptr<NetworkElementCollection> const elements = networkElementCollection();
  if (!elements) return;
  // A removed element is handled by the upkeep, through handleCleanup.
  Vek::Ptr<NetworkElement> const element = elements->networkElement(name);
  if (!element) return;
  Vek::Ptr<NetworkElementSm> const sm = networkElementSmIs(name, element);
  Vek::Ptr<TopologyStatus const> const topology = topologyStatus();
  auto const host = topology ? topology->host(name) : nullptr;
  if (!host) return;
  sm->topologyHostIs(host);
  // Also when nothing changed: on first binding the port groups are walked
  // twice, and that is harmless.
  sm->handleTopologyHost();
}

void NetworkElementCollectionSm::handleResourcesForHostname(Vek::Name hostname) {
  VEK_ENTRY << hostname;
  Vek::Ptr<RequestedResourcesCollection> const requests = requestedResourcesCollection();
  Vek::Ptr<ResourcesForHostname> const resources =
      requests ? requests->resourcesForHostname(hostname) : nullptr;
  Vek::Ptr<TopologyStatus const> const topology = topologyStatus();
  auto const group = topology ? topology->hostsByHostname(hostname) : nullptr;
  // Without a hostname group the request waits for the topology to find it.
  if (!group) return;
  Vek::Ptr<NetworkElementCollection> const elements = networkElementCollection();
  if (!elements) return;
  Vek::forEachKey(group->hostCol(), [&](Vek::Name const& name) {
    // Only the link is written here; the hostname is the topology's.
    if (Vek::Ptr<NetworkElement> const element = elements->networkElement(name)) {
      element->resourcesForHostnameIs(resources);
    }
  });
}

void NetworkElementCollectionSm::VekNetworkElement::deleteIfNotNecessary() {
  VEK_TRACE_SITE;
  Vek::Ptr<NetworkElement const> const element = notifier();
  if (!element) return;
  VEK_TRACE(9) << element->name();
  if (!element->referrerCol().empty()) return;
  if (!element->interfaceCol().empty()) return;
  NetworkElementCollectionSm* const sm = owner();
  Vek::Ptr<NetworkElementCollection> const elements = sm ? sm->networkElementCollection() : nullptr;
  if (!elements) return;
  VEK_TRACE(2) << "Deleting " << element->name();
  // The removal reaches this very reactor's cleanup before it returns, so
  // the element is destroyed twice: there, and here.
  Vek::Ptr<Vek::PtrInterface> const hold(this);
  if (Vek::Ptr<NetworkElement> const gone = elements->networkElementDel(element->name())) {
    gone->destroy();
  }
}

void NetworkElementCollectionSm::VekNetworkElement::handleCleanup() {
  VEK_TRACE_SITE;
  Vek::Ptr<NetworkElement const> const element = notifier();
  if (!element) return;
  VEK_TRACE(9) << element->name();
  NetworkElementCollectionSm* const sm = owner();
  if (!sm) return;
  // Another path may have ended the element's machine already.
  if (Vek::Ptr<NetworkElementSm> const elementSm = sm->networkElementSm(element->name())) {
    elementSm->doCleanup();
  }
  sm->networkElementSmDel(element->name());
}

}  // namespace VirtualNetwork::Agent
