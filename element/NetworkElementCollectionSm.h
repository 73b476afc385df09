// The whole element collection: one NetworkElementSm per element, the link
// of elements to client requests by hostname, and the end of elements that
// nobody holds any more.
//
// An element lives while it has a referrer or an interface. It is deleted on
// the change that takes the last of both away; one that is created and
// never held stays until its first change.
#pragma once

#include "element/NetworkElementSm.h"
#include "reactive/Accessors.h"
#include "reactive/StateMachine.h"
#include "schema/Roots.h"

namespace VirtualNetwork::Agent {

class NetworkElementCollectionSm : public Vek::StateMachine<NetworkElementCollectionSm> {
 public:
  class VekNetworkElementCollection;
  class VekRequestedResourcesCollection;
  class VekNetworkElement;

  using TopologyStatus = NetworkTopologyAggregatorV3::Status;

  NetworkElementCollectionSm(
      Vek::Ptr<NetworkElementCollection> const& networkElementCollection,
      Vek::Ptr<RequestedResourcesCollection> const& requestedResourcesCollection,
      Vek::Ptr<TopologyStatus const> const& topologyStatus)
      : networkElementCollection_(networkElementCollection),
        requestedResourcesCollection_(requestedResourcesCollection),
        topologyStatus_(topologyStatus) {}

  VEK_SM_REACTOR(networkElementCollection, VekNetworkElementCollection, NetworkElementCollection)
  VEK_SM_REACTOR(requestedResourcesCollection, VekRequestedResourcesCollection,
                 RequestedResourcesCollection)
  VEK_SM_PARAM(topologyStatus, Vek::Ptr<TopologyStatus const>)
  VEK_SM_MACHINES(networkElementSm, Vek::Name, NetworkElementSm)
  VEK_SM_REACTORS(networkElement, Vek::Name, VekNetworkElement)
  VEK_SM_ATTR(initialized, bool)

  // Handlers.
  void handleNetworkElement(Vek::Name name);
  void handleResourcesForHostname(Vek::Name hostname);
  void handleInitialized();

  static auto vekParams() {
    using C = NetworkElementCollectionSm;
    return std::tuple{&C::networkElementCollection_, &C::requestedResourcesCollection_,
                      &C::topologyStatus_};
  }
  static auto vekMembers();
};

// The handler first, then the upkeep: the element's machine exists before
// the reactor that may delete the element.
class NetworkElementCollectionSm::VekNetworkElementCollection
    : public Vek::Reactor<VekNetworkElementCollection, NetworkElementCollection,
                          NetworkElementCollectionSm> {
 public:
  using Reactor::Reactor;
  using vekReactions = Vek::Reactions<Vek::OnKey<NetworkElementCollection::networkElementId,
                                                 &NetworkElementCollectionSm::handleNetworkElement>,
                                      Vek::OnNested<NetworkElementCollection::networkElementId,
                                                    &NetworkElementCollectionSm::networkElement_,
                                                    &NetworkElementCollection::networkElementCol>>;
};

class NetworkElementCollectionSm::VekRequestedResourcesCollection
    : public Vek::Reactor<VekRequestedResourcesCollection, RequestedResourcesCollection,
                          NetworkElementCollectionSm> {
 public:
  using Reactor::Reactor;
  using vekReactions =
      Vek::Reactions<Vek::OnKey<RequestedResourcesCollection::resourcesForHostnameId,
                                &NetworkElementCollectionSm::handleResourcesForHostname>>;
};

// Deletes its element when the last referrer and the last interface are
// gone; its cleanup ends the element's machine.
class NetworkElementCollectionSm::VekNetworkElement
    : public Vek::Reactor<VekNetworkElement, NetworkElement const, NetworkElementCollectionSm> {
 public:
  using Reactor::Reactor;
  void deleteIfNotNecessary();
  void handleCleanup();
  using vekReactions = Vek::Reactions<
      Vek::OnKey<NetworkElement::interfaceId, &VekNetworkElement::deleteIfNotNecessary>,
      Vek::OnKey<NetworkElement::referrerId, &VekNetworkElement::deleteIfNotNecessary>>;
};

inline auto NetworkElementCollectionSm::vekMembers() {
  using C = NetworkElementCollectionSm;
  return Vek::members(&C::networkElementCollection_, &C::requestedResourcesCollection_,
                      &C::topologyStatus_, &C::networkElementSm_,
                      Vek::handler<"handleNetworkElement", &C::handleNetworkElement, "name">(),
                      Vek::idGap<1>(),
                      Vek::handler<"handleResourcesForHostname", &C::handleResourcesForHostname,
                                   "hostname">(),
                      Vek::idGap<1>(),
                      Vek::mirror(&C::networkElement_, &C::networkElementCollection,
                                  &NetworkElementCollection::networkElementCol),
                      Vek::idGap<1>(),
                      Vek::handler<"handleInitialized", &C::handleInitialized>(), &C::initialized_);
}

}  // namespace VirtualNetwork::Agent
