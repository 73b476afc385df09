// The per-client root of request combining.
//
// Keeps exactly one child per entry of the client's request collection: a
// hostname child per `resourcesForHostname` entry and a switch port child
// per `resourcesForSwitchport` entry. The entry is there, so its child
// exists; the entry is gone, so its child goes, and the child's end
// withdraws the client's requests. Hostnames come first, in and out.
#pragma once

#include "client/ClientResourcesForHostnameSm.h"
#include "client/ClientResourcesForSwitchportSm.h"
#include "reactive/Accessors.h"
#include "reactive/StateMachine.h"
#include "schema/Client.h"
#include "schema/Roots.h"

namespace VirtualNetwork::Agent {

class ClientRequestedResourcesCollectionSm
    : public Vek::StateMachine<ClientRequestedResourcesCollectionSm> {
 public:
  class VekRequestedResourcesCollection;

  using ClientRequests = Client::RequestedResourcesCollection;

  ClientRequestedResourcesCollectionSm(
      Vek::String client, Vek::Ptr<ClientRequests const> const& requestedResourcesCollection,
      Vek::Ptr<NetworkElementCollection> const& networkElementCollection,
      Vek::Ptr<RequestedResourcesCollection> const& allResourcesCollection)
      : client_(std::move(client)),
        requestedResourcesCollection_(requestedResourcesCollection),
        networkElementCollection_(networkElementCollection),
        allResourcesCollection_(allResourcesCollection) {}

  VEK_SM_PARAM(client, Vek::String)
  VEK_SM_REACTOR(requestedResourcesCollection, VekRequestedResourcesCollection,
                 ClientRequests const)
  VEK_SM_PARAM(networkElementCollection, Vek::Ptr<NetworkElementCollection>)
  VEK_SM_PARAM(allResourcesCollection, Vek::Ptr<RequestedResourcesCollection>)
  // A hostname child is keyed by its hostname, its first constructor
  // parameter; a switch port child by its port, its second.
  VEK_SM_MACHINES(resourcesForHostnameSm, Vek::Name, ClientResourcesForHostnameSm)
  VEK_SM_MACHINES(resourcesForSwitchportSm, Client::SwitchInterface, ClientResourcesForSwitchportSm,
                  1)
  VEK_SM_ATTR(initialized, bool)

  // Handlers.
  void handleResourcesForHostname(Vek::Name name);
  void handleResourcesForSwitchport(Client::SwitchInterface const& intf);
  void handleInitialized();
  void doCleanup();

  // The client's requests are withdrawn first when the combiner goes.
  void vekBeforeTeardown() { doCleanup(); }

  static auto vekParams() {
    using C = ClientRequestedResourcesCollectionSm;
    return std::tuple{&C::client_, &C::requestedResourcesCollection_, &C::networkElementCollection_,
                      &C::allResourcesCollection_};
  }
  static auto vekMembers();
};

// Hears which entries come and go; a new collection is not walked.
class ClientRequestedResourcesCollectionSm::VekRequestedResourcesCollection
    : public Vek::Reactor<VekRequestedResourcesCollection, ClientRequests const,
                          ClientRequestedResourcesCollectionSm> {
 public:
  using Reactor::Reactor;
  using vekReactions = Vek::Reactions<
      Vek::OnKey<ClientRequests::resourcesForSwitchportId,
                 &ClientRequestedResourcesCollectionSm::handleResourcesForSwitchport>,
      Vek::OnKey<ClientRequests::resourcesForHostnameId,
                 &ClientRequestedResourcesCollectionSm::handleResourcesForHostname>>;
};

inline auto ClientRequestedResourcesCollectionSm::vekMembers() {
  using C = ClientRequestedResourcesCollectionSm;
  return Vek::members(
      &C::client_, &C::requestedResourcesCollection_, &C::networkElementCollection_,
      &C::allResourcesCollection_, &C::resourcesForHostnameSm_, &C::resourcesForSwitchportSm_,
      Vek::handler<"handleResourcesForHostname", &C::handleResourcesForHostname, "name">(),
      Vek::idGap<1>(),
      Vek::handler<"handleResourcesForSwitchport", &C::handleResourcesForSwitchport, "intf">(),
      Vek::idGap<1>(),
      Vek::handler<"handleInitialized", &C::handleInitialized>(), &C::initialized_,
      Vek::handler<"doCleanup", &C::doCleanup>());
}

Vek::Ptr<ClientRequestedResourcesCollectionSm> clientRequestedResourcesCollectionSmFactory(
    Vek::String const& client,
    Vek::Ptr<Client::RequestedResourcesCollection const> const& requestedResourcesCollection,
    Vek::Ptr<NetworkElementCollection> const& networkElementCollection,
    Vek::Ptr<RequestedResourcesCollection> const& allResourcesCollection);

Vek::Ptr<ClientResourcesForSwitchportSm> clientResourcesForSwitchportSmFactory(
    Vek::String const& client, Client::SwitchInterface const& intf,
    Vek::Ptr<Client::ResourcesForSwitchport const> const& resourcesForSwitchport,
    Vek::Ptr<NetworkElementCollection> const& networkElementCollection);

}  // namespace VirtualNetwork::Agent
