// Turns what the topology service reports into the agent's element model.
//
// Every host of the topology status is an element under the host's own key
// (a colon MAC, as it stands), held by that key as referrer and carrying the
// host's reported hostname; where a client asked for resources under that
// hostname, the element is linked to them. When the host leaves, the
// element loses the referrer and NetworkElementCollectionSm decides whether
// it goes.
//
// Made once by the agent root; owns the NetworkElementCollectionSm.
#pragma once

#include "element/NetworkElementCollectionSm.h"
#include "reactive/Accessors.h"
#include "reactive/StateMachine.h"
#include "schema/Roots.h"
#include "schema/Topology.h"

namespace VirtualNetwork::Agent {

class TopologySm : public Vek::StateMachine<TopologySm> {
 public:
  class VekTopologyStatus;
  class VekHostsByHostname;
  class VekDirectedEdge;
  class VekTopologyEdge;

  using TopologyStatus = NetworkTopologyAggregatorV3::Status;
  using PortKey = Vek::Ptr<NetworkTopologyAggregatorV3::PortBase const>;

  TopologySm(Vek::Ptr<NetworkElementCollection> const& networkElementCollection,
             Vek::Ptr<RequestedResourcesCollection> const& requestedResourcesCollection,
             Vek::Ptr<TopologyStatus const> const& topologyStatus)
      : networkElementCollection_(networkElementCollection),
        requestedResourcesCollection_(requestedResourcesCollection),
        topologyStatus_(topologyStatus) {}

  VEK_SM_PARAM(networkElementCollection, Vek::Ptr<NetworkElementCollection>)
  VEK_SM_PARAM(requestedResourcesCollection, Vek::Ptr<RequestedResourcesCollection>)
  VEK_SM_REACTOR(topologyStatus, VekTopologyStatus, TopologyStatus const)
  VEK_SM_MACHINE(networkElementCollectionSm, NetworkElementCollectionSm)
  VEK_SM_REACTORS(hostsByHostname, Vek::Name, VekHostsByHostname)
  VEK_SM_REACTORS(directedEdge, PortKey, VekDirectedEdge)
  VEK_SM_REACTORS(topologyEdge, PortKey, VekTopologyEdge)
  VEK_SM_ATTR(initialized, bool)

  // Handlers.
  void handleHost(Vek::Name name);
  void handleHostsByHostname(Vek::Name hostname);
  void handleInitialized();

  static auto vekParams() {
    return std::tuple{&TopologySm::networkElementCollection_,
                      &TopologySm::requestedResourcesCollection_, &TopologySm::topologyStatus_};
  }
  static auto vekMembers();
};

// Hosts go to handleHost; hostname groups to their handler first and their
// upkeep second; edges to the two edge collections, directedEdge first. A
// re-pointing brings the three collections in line and runs no handler.
class TopologySm::VekTopologyStatus
    : public Vek::Reactor<VekTopologyStatus, TopologyStatus const, TopologySm> {
 public:
  using Reactor::Reactor;
  using vekReactions = Vek::Reactions<
      Vek::OnKey<TopologyStatus::hostId, &TopologySm::handleHost>,
      Vek::OnKey<TopologyStatus::hostsByHostnameId, &TopologySm::handleHostsByHostname>,
      Vek::OnNested<TopologyStatus::hostsByHostnameId, &TopologySm::hostsByHostname_,
                    &TopologyStatus::hostsByHostnameCol>,
      Vek::OnNested<TopologyStatus::edgeId, &TopologySm::directedEdge_, &TopologyStatus::edgeCol>,
      Vek::OnNested<TopologyStatus::edgeId, &TopologySm::topologyEdge_, &TopologyStatus::edgeCol>>;
};

class TopologySm::VekHostsByHostname
    : public Vek::Reactor<VekHostsByHostname, NetworkTopologyAggregatorV3::HostsByHostname const,
                          TopologySm> {
 public:
  using Reactor::Reactor;
  Vek::Ptr<NetworkTopologyAggregatorV3::HostsByHostname const> hostsByHostname() const {
    return notifier();
  }
  // The group's own name, which is the hostname; empty without a notifier.
  Vek::Name hostname() const { return fwkKey(); }
  void handleHost(Vek::Name name);
  using vekReactions =
      Vek::Reactions<Vek::OnKey<NetworkTopologyAggregatorV3::HostsByHostname::hostId,
                                &VekHostsByHostname::handleHost>>;
};

// The two reactors on each directed edge, keyed by its sending port. The
// first turns each connected remote port into a physical interface at both
// ends; the second undoes the local end when the edge goes. A remote port
// that is lost or turns false undoes nothing: only the whole edge does.
class TopologySm::VekDirectedEdge
    : public Vek::Reactor<VekDirectedEdge, NetworkTopologyAggregatorV3::DirectedEdge const,
                          TopologySm> {
 public:
  using Reactor::Reactor;
  Vek::Ptr<NetworkTopologyAggregatorV3::DirectedEdge const> directedEdge() const {
    return notifier();
  }
  // Connects the edge's sending port to `toPort`, if the edge holds it as
  // true: both interfaces, each discovered and pointing at the element at
  // the other end, and the local port's group. Safe to repeat; handleHost
  // runs it again when a far host arrives.
  void handleToPort(PortKey const& toPort);
  using vekReactions =
      Vek::Reactions<Vek::OnKey<NetworkTopologyAggregatorV3::DirectedEdge::toPortId,
                                &VekDirectedEdge::handleToPort>>;
};

class TopologySm::VekTopologyEdge
    : public Vek::Reactor<VekTopologyEdge, NetworkTopologyAggregatorV3::DirectedEdge const,
                          TopologySm> {
 public:
  using Reactor::Reactor;
  PortKey fromPort() const { return fwkKey(); }
  // Runs when the reactor retires, with its edge: clears the local end.
  void handleCleanup();
  using vekReactions = Vek::Reactions<>;
};

inline auto TopologySm::vekMembers() {
  using T = TopologySm;
  return Vek::members(
      &T::networkElementCollection_, &T::requestedResourcesCollection_, &T::topologyStatus_,
      &T::networkElementCollectionSm_, Vek::handler<"handleHost", &T::handleHost, "name">(),
      Vek::idGap<1>(), Vek::handler<"handleHostsByHostname", &T::handleHostsByHostname, "hostname">(),
      Vek::idGap<1>(),
      Vek::mirror(&T::hostsByHostname_, &T::topologyStatus, &TopologyStatus::hostsByHostnameCol),
      Vek::mirror(&T::directedEdge_, &T::topologyStatus, &TopologyStatus::edgeCol),
      Vek::mirror(&T::topologyEdge_, &T::topologyStatus, &TopologyStatus::edgeCol),
      Vek::idGap<1>(),
      Vek::handler<"handleInitialized", &T::handleInitialized>(), &T::initialized_);
}

}  // namespace VirtualNetwork::Agent
