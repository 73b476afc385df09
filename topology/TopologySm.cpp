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
      // The edge's reactor stands while the edge does; the reverse edge is
      // optional. Either may have gone in a nested handler: then skip.
      if (VekDirectedEdge* const forward = directedEdge(PortKey(port))) {
        forward->handleToPort(toPort);
      }
      if (VekDirectedEdge* const reverse = directedEdge(toPort)) reverse->handleToPort(port);
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

// --- Edges -------------------------------------------------------------------------

void TopologySm::VekDirectedEdge::handleToPort(PortKey const& toPort) {
  VEK_ENTRY << toPort->name();
  Vek::Ptr<NetworkTopologyAggregatorV3::DirectedEdge const> const edge = notifier();
  TopologySm* const sm = owner();
  if (!edge || !sm) return;
  PortKey const fromPort = edge->fromPort();
  auto const host = fromPort->host();
  auto const toHost = toPort->host();
  // A port that has left its host names no end; its edge goes after it.
  if (!host || !toHost) return;
  VEK_TRACE(3) << host->hostname() << " ( " << host->name() << " ) : " << fromPort->name()
               << " -> " << toHost->hostname() << " ( " << toHost->name()
               << " ) : " << toPort->name();
  // Absent and false read the same; neither undoes anything.
  if (!edge->toPort(toPort)) return;
  VEK_TRACE(3) << "Connected";
  VEK_TRACE(3) << "Host name is " << host->hostname();
  Vek::Ptr<NetworkElementCollection> const elements = sm->networkElementCollection();
  // The host's own referrer: the edge keeps the element up even before the
  // host's own notification has come.
  Vek::Ptr<NetworkElement> const element = elements->networkElementIs(host->name());
  element->referrerIs(host->name(), true);
  // Printed whether or not anything is created: the far end is only found.
  VEK_TRACE(2) << "Creating physical host for " << toHost->hostname();
  Vek::Ptr<NetworkElement> const remoteElement = elements->networkElement(toHost->name());
  if (!remoteElement) {
    // Not a link gone down: the far host's own handleHost runs this again.
    VEK_TRACE(3) << "Disconnected";
    return;
  }
  VEK_TRACE(2) << "This port: " << fromPort->name();
  VEK_TRACE(2) << "Remote port: " << toPort->name();
  VEK_TRACE(2) << "Remote ne: " << remoteElement->name();
  VEK_TRACE(2) << "Local ne: " << element->name();
  // Both ends at once: one direction of a link is enough to connect them.
  Vek::Ptr<PhysicalInterface> const interface = element->physicalInterfaceIs(fromPort->name());
  Vek::Ptr<PhysicalInterface> const remoteInterface =
      remoteElement->physicalInterfaceIs(toPort->name());
  interface->discoveredElementIs(remoteElement);
  interface->discoveredIs(true);
  remoteInterface->discoveredElementIs(element);
  remoteInterface->discoveredIs(true);
  // The group of the local end only; the reverse edge, or the element's
  // port group reactor, gives the remote end its own. A sending port that
  // is no port of its host (a port group) keeps its interface's group.
  auto const port = host->port(fromPort->name());
  if (!port) return;
  auto const group = port->portGroup();
  if (!group) {
    // The interface stays a member of any group it was in; only its own
    // back reference is cleared.
    VEK_TRACE(2) << fromPort->name() << " does not belong to a port group";
    interface->portGroupIs(nullptr);
    return;
  }
  VEK_TRACE(2) << "Port group: " << group->name();
  VEK_TRACE(2) << "This ne: " << element->name();
  VEK_TRACE(2) << "Remote ne: " << remoteElement->name();
  Vek::Ptr<PortGroup> const vnGroup = element->portGroupIs(group->name());
  vnGroup->memberInterfaceIs(interface);
  interface->portGroupIs(vnGroup);
}

void TopologySm::VekTopologyEdge::handleCleanup() {
  VEK_TRACE_SITE;
  PortKey const fromPort = this->fromPort();
  TopologySm* const sm = owner();
  if (!fromPort || !sm) return;
  VEK_TRACE(9) << fromPort->name();
  auto const host = fromPort->host();
  VEK_TRACE(9) << static_cast<Vek::Entity const*>(host.ptr());
  // A port that has left its host names no element to clear.
  if (!host) return;
  Vek::Ptr<NetworkElementCollection> const elements = sm->networkElementCollection();
  Vek::Ptr<NetworkElement> const element =
      elements ? elements->networkElement(host->name()) : nullptr;
  VEK_TRACE(2) << "Switch node: " << static_cast<Vek::Entity const*>(element.ptr());
  if (!element) {
    // The element has gone already, and its interfaces with it.
    VEK_TRACE(3) << "Not reacting to host -> switch edge. " << host->name() << " : "
                 << fromPort->name();
    return;
  }
  VEK_TRACE(3) << "Edge from " << host->hostname() << ":" << fromPort->name() << " deleted";
  // The local end only, deliberately: the reverse edge's cleanup clears the
  // remote end, and without one the remote end stays discovered.
  Vek::Ptr<PhysicalInterface> const interface = element->physicalInterface(fromPort->name());
  if (!interface) return;
  interface->discoveredElementDelAll();
  if (!interface->configuredElementCol().empty()) {
    // A client configured it: it stays, undiscovered.
    interface->discoveredIs(false);
    return;
  }
  // Removal before destruction: the element's machine takes the interface
  // out of the element's VLANs and its group while it is still whole.
  if (Vek::Ptr<PhysicalInterface> const gone = element->physicalInterfaceDel(fromPort->name())) {
    gone->destroy();
  }
}

}  // namespace VirtualNetwork::Agent
