#include "client/ClientRequestedResourcesCollectionSm.h"

#include "reactive/Trace.h"

namespace VirtualNetwork::Agent {

Vek::Ptr<ClientRequestedResourcesCollectionSm> clientRequestedResourcesCollectionSmFactory(
    Vek::String const& client,
    Vek::Ptr<Client::RequestedResourcesCollection const> const& requestedResourcesCollection,
    Vek::Ptr<NetworkElementCollection> const& networkElementCollection,
    Vek::Ptr<RequestedResourcesCollection> const& allResourcesCollection) {
  return ClientRequestedResourcesCollectionSm::vekCreate(
      client, requestedResourcesCollection, networkElementCollection, allResourcesCollection);
}

Vek::Ptr<ClientResourcesForSwitchportSm> clientResourcesForSwitchportSmFactory(
    Vek::String const& client, Client::SwitchInterface const& intf,
    Vek::Ptr<Client::ResourcesForSwitchport const> const& resourcesForSwitchport,
    Vek::Ptr<NetworkElementCollection> const& networkElementCollection) {
  return ClientResourcesForSwitchportSm::vekCreate(client, intf, resourcesForSwitchport,
                                                   networkElementCollection);
}

void ClientRequestedResourcesCollectionSm::handleInitialized() {
  VEK_ENTRY << "";
  // No guard: every step is safe to repeat. Hostnames come first.
  if (Vek::Ptr<ClientRequests const> const requests = requestedResourcesCollection()) {
    Vek::forEachKey(requests->resourcesForHostnameCol(),
                    [&](Vek::Name const& name) { handleResourcesForHostname(name); });
    Vek::forEachKey(
        requests->resourcesForSwitchportCol(),
        [&](Client::SwitchInterface const& intf) { handleResourcesForSwitchport(intf); });
  }
  initialized_.set(true);
}

void ClientRequestedResourcesCollectionSm::handleResourcesForHostname(Vek::Name name) {
  VEK_ENTRY << "name : " << name;
  Vek::Ptr<ClientRequests const> const requests = requestedResourcesCollection();
  auto const entry = requests ? requests->resourcesForHostname(name) : nullptr;
  if (entry) {
    VEK_TRACE(2) << "Adding ResourcesForHostName element " << name;
    resourcesForHostnameSmIs(name, client(), entry, allResourcesCollection());
    return;
  }
  VEK_TRACE(2) << "Deleting ResourcesForHostName element " << name;
  // Released at once: the child's end withdraws its requests, here.
  resourcesForHostnameSmDel(name);
}

void ClientRequestedResourcesCollectionSm::handleResourcesForSwitchport(
    Client::SwitchInterface const& intf) {
  VEK_TRACE_SITE;
  VEK_TRACE(9) << "SwitchInterface : " << intf;
  Vek::Ptr<ClientRequests const> const requests = requestedResourcesCollection();
  auto const entry = requests ? requests->resourcesForSwitchport(intf) : nullptr;
  if (entry) {
    VEK_TRACE(2) << "Adding/Modifying ResourcesForSwitchport " << entry
                 << " networkElementCollection: " << networkElementCollection();
    resourcesForSwitchportSmIs(client(), intf, entry, networkElementCollection());
    return;
  }
  VEK_TRACE(2) << "RSP removed, cleaning up ResourcesForSwitchport for intf " << intf.name();
  // Released at once: the child's end withdraws its requests, here.
  resourcesForSwitchportSmDel(intf);
}

// Hostnames go first, as they came first.
void ClientRequestedResourcesCollectionSm::doCleanup() {
  resourcesForHostnameSmDelAll();
  resourcesForSwitchportSmDelAll();
}

}  // namespace VirtualNetwork::Agent
