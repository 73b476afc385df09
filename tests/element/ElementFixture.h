// The agent fixture with short ways to the element side: the element of a
// host, its machine, and a topology that a host process fills in. Every
// test ends with no machine, reactor or interface record left behind.
#pragma once

#include <algorithm>
#include <string>
#include <typeinfo>
#include <vector>

#include "tests/agent/AgentFixture.h"

namespace VirtualNetwork::Agent::Testing {

class ElementFixture : public AgentFixture {
 public:
  using Host = NetworkTopologyAggregatorV3::Host;

  void TearDown() override {
    AgentFixture::TearDown();
    expectNoneAlive<TopologySm, TopologySm::VekHostsByHostname, NetworkElementCollectionSm,
                    NetworkElementCollectionSm::VekNetworkElement, NetworkElementSm,
                    NetworkElementSm::VekTopologyHost, NetworkElementSm::VekPhysicalInterface,
                    NetworkElementSm::VekPortGroup, HostResourcesSm,
                    HostResourcesSm::VekResourcesForHostname, HostResourcesSm::VekHostVlan,
                    TopologySm::VekDirectedEdge, TopologySm::VekTopologyEdge, PhysicalInterface,
                    PortGroup,
                    NetworkTopologyAggregatorV3::PortGroup, NetworkTopologyAggregatorV3::Port>();
  }

  template <class... T>
  static void expectNoneAlive() {
    ([] { EXPECT_EQ(Vek::liveObjects<T>(), 0u) << typeid(T).name(); }(), ...);
  }

  Vek::Ptr<Host> host(std::string const& mac) const { return topology->host(Vek::Name(mac)); }
  // A host as the topology service reports it, hostname first: the agent
  // does not watch a host's own attributes once it is listed.
  Vek::Ptr<Host> hostIs(std::string const& mac, std::string const& hostname = "") {
    Vek::Ptr<Host> h = topology->hostIs(Vek::Name(mac));
    h->hostnameIs(Vek::String(hostname));
    return h;
  }
  // A topology port group with its member ports, both sides written.
  static Vek::Ptr<NetworkTopologyAggregatorV3::PortGroup> bond(
      Vek::Ptr<Host> const& h, std::string const& group, std::vector<std::string> const& ports) {
    auto g = h->portGroupIs(Vek::Name(group));
    for (auto const& name : ports) {
      auto port = h->portIs(Vek::Name(name));
      port->portGroupIs(g);
      g->memberPortIs(port);
    }
    return g;
  }

  Vek::Ptr<NetworkElementCollection> elements() const { return status->networkElementCollection(); }
  Vek::Ptr<NetworkElement> element(std::string const& mac) const {
    return elements()->networkElement(Vek::Name(mac));
  }
  NetworkElementSm* elementSm(std::string const& mac) const {
    return agent->topologySm()->networkElementCollectionSm()->networkElementSm(Vek::Name(mac));
  }
  // The names in the element's interface view, sorted.
  std::vector<std::string> interfaceNames(std::string const& mac) const {
    std::vector<std::string> out;
    Vek::forEachKey(element(mac)->interfaceCol(),
                    [&](Vek::String const& name) { out.push_back(name.stdString()); });
    std::sort(out.begin(), out.end());
    return out;
  }
};

}  // namespace VirtualNetwork::Agent::Testing
