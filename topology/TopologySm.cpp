#include "topology/TopologySm.h"

#include "reactive/Assert.h"
#include "reactive/Trace.h"

namespace VirtualNetwork::Agent {

void TopologySm::handleInitialized() {
  VEK_ENTRY << "";
  // Also reachable through the generic interface after initialisation.
  if (initialized()) {
    VEK_TRACE(1) << "TopologySM already initialized";
    return;
  }
  // Elements left from an earlier life get their machines before the hosts
  // are walked.
  networkElementCollectionSmIs(networkElementCollection(), requestedResourcesCollection(),
                               topologyStatus());
  if (Vek::Ptr<TopologyStatus const> const topology = topologyStatus()) {
    // Hosts before hostnames: the hostname side writes into their elements.
    Vek::forEachKey(topology->hostCol(), [&](Vek::Name const& name) { handleHost(name); });
    Vek::forEachKey(topology->hostsByHostnameCol(),
                    [&](Vek::Name const& hostname) { handleHostsByHostname(hostname); });
  }
  initialized_.set(true);
}

void TopologySm::handleHost(Vek::Name name) {
  VEK_ENTRY << name;
  Vek::Ptr<TopologyStatus const> const topology = topologyStatus();
  Vek::Ptr<NetworkElementCollection> const elements = networkElementCollection();
  NetworkElementCollectionSm* const collectionSm = networkElementCollectionSm();
  if (!topology || !elements || !collectionSm) return;
  auto const host = topology->host(name);
  if (!host) {
    // Only the topology's hold goes; hostname and resources stay until the
    // hostname side or the element's end takes them.
    if (Vek::Ptr<NetworkElementSm> const neSm = collectionSm->networkElementSm(name)) {
      neSm->topologyHostDel();
    }
    if (Vek::Ptr<NetworkElement> const element = elements->networkElement(name)) {
      element->referrerDel(name);
    }
    return;
  }
  Vek::Ptr<NetworkElement> const element = elements->networkElementIs(name);
  element->referrerIs(name, true);
  element->hostnameIs(host->hostname());
  // Making the element has reached the collection's machine synchronously.
  Vek::Ptr<NetworkElementSm> const neSm = collectionSm->networkElementSm(name);
  VEK_ASSERT(neSm);
  neSm->topologyHostIs(topology->host(name));
  VEK_TRACE(2) << name << " has " << host->portCol().size() << " physical port(s)";
  // A link comes up whatever the order of arrival: the far host's own
  // arrival walks its ports and runs both directions again.
  Vek::forEachKey(host->portCol(), [&](Vek::Name const& portName) {
    auto const port = host->port(portName);
    if (!port) return;
    auto const edge = topology->edge(PortKey(port));
    if (!edge) {
      VEK_TRACE(3) << "Edge from " << port->name() << " does not exist";
      return;
    }
    Vek::forEachKey(edge->toPortCol(), [&](PortKey const& toPort) {
      VEK_TRACE(2) << "To port: " << toPort->name();
      // Both directions of the link are brought up here once the edge
      // reactors handle their links.
    });
  });
}

void TopologySm::handleHostsByHostname(Vek::Name hostname) {
  VEK_ENTRY << hostname;
  Vek::Ptr<TopologyStatus const> const topology = topologyStatus();
  auto const group = topology ? topology->hostsByHostname(hostname) : nullptr;
  if (!group) return;
  Vek::Ptr<RequestedResourcesCollection> const requests = requestedResourcesCollection();
  Vek::Ptr<ResourcesForHostname> const resources =
      requests ? requests->resourcesForHostname(hostname) : nullptr;
  // Without resources nothing is written, not even the hostname; the other
  // path, VekHostsByHostname::handleHost, writes it. Both stay so.
  if (!resources) return;
  Vek::Ptr<NetworkElementCollection> const elements = networkElementCollection();
  Vek::forEachKey(group->hostCol(), [&](Vek::Name const& name) {
    // The topology lists a host before it groups it, so its element exists;
    // a missing one is skipped rather than trusted.
    if (Vek::Ptr<NetworkElement> const element = elements->networkElement(name)) {
      element->hostnameIs(hostname);
      element->resourcesForHostnameIs(resources);
    }
  });
}

void TopologySm::VekHostsByHostname::handleHost(Vek::Name name) {
  VEK_TRACE_SITE;
  Vek::Name const hostname = this->hostname();
  VEK_TRACE(9) << name << " " << hostname;
  Vek::Ptr<NetworkTopologyAggregatorV3::HostsByHostname const> const group = notifier();
  TopologySm* const sm = owner();
  if (!group || !sm) return;
  Vek::Ptr<NetworkElementCollection> const elements = sm->networkElementCollection();
  if (!elements) return;
  Vek::Ptr<NetworkElement> const element = elements->networkElement(name);
  if (group->host(name)) {
    if (!element) return;  // the topology lists a host before it groups it
    element->hostnameIs(hostname);
    Vek::Ptr<RequestedResourcesCollection> const requests = sm->requestedResourcesCollection();
    if (auto const resources = requests ? requests->resourcesForHostname(hostname) : nullptr) {
      element->resourcesForHostnameIs(resources);
    }
    return;
  }
  if (!element) return;
  element->hostnameIs(Vek::String());
  element->resourcesForHostnameIs(nullptr);
}

}  // namespace VirtualNetwork::Agent
