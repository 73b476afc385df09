// One element's derived state: its interface view, its port groups and, on
// a switch, the element-level VLANs.
//
//   - `interface` of the element is the common view of its physical
//     interfaces and its port groups, each with `isSwitchInterface` in step
//     with the element's `isSwitchElement`;
//   - the topology host's port groups are carried onto the element, with
//     their member ports;
//   - on a switch element, `vlan` is the union of its physical interfaces'
//     VLANs, each entry held by the names of the interfaces that carry it.
// An element that is no switch keeps its interfaces and port groups but has
// no element-level VLANs.
//
// Made and removed by NetworkElementCollectionSm, one per element.
#pragma once

#include "element/HostResourcesSm.h"
#include "element/PhysicalInterfaceSm.h"
#include "element/PortGroupSm.h"
#include "reactive/Accessors.h"
#include "reactive/StateMachine.h"
#include "schema/Resources.h"
#include "schema/Topology.h"

namespace VirtualNetwork::Agent {

class NetworkElementSm : public Vek::StateMachine<NetworkElementSm> {
 public:
  class VekNetworkElement;
  class VekTopologyHost;
  class VekPhysicalInterface;
  class VekPortGroup;

  using Host = NetworkTopologyAggregatorV3::Host;

  NetworkElementSm(Vek::Name name, Vek::Ptr<NetworkElement> const& networkElement)
      : name_(std::move(name)), networkElement_(networkElement) {}

  VEK_SM_PARAM(name, Vek::Name)
  VEK_SM_REACTOR(networkElement, VekNetworkElement, NetworkElement)
  // Gives the element its host: re-points or builds the reactor, then runs
  // handleTopologyHost(). The same host again does nothing.
  VEK_SM_REACTOR_GET(topologyHost, VekTopologyHost, Host const)
  void topologyHostIs(Vek::Ptr<Host const> const& host);
  // Takes the host away: the reactor turns zombie, handleTopologyHost()
  // runs without a host, and the reactor goes. Returns the old host.
  Vek::Ptr<Host const> topologyHostDel();
  // One per physical interface, on a switch element only.
  VEK_SM_MACHINES(physicalInterfaceSm, Vek::String, PhysicalInterfaceSm)
  // One per port group of the element, switch or not.
  VEK_SM_MACHINES(portGroupSm, Vek::String, PortGroupSm)
  // Carries the element's requested hostname resources while it has some.
  VEK_SM_MACHINE(hostResourcesSm, HostResourcesSm)
  VEK_SM_REACTORS(physicalInterface, Vek::String, VekPhysicalInterface)
  VEK_SM_REACTORS(portGroup, Vek::Name, VekPortGroup)
  VEK_SM_ATTR(initialized, bool)

  // Handlers.
  void handleTopologyHost();
  void handleIsSwitchElement();
  void handleResourcesForHostname();
  void handleInterface(Vek::String name);
  void handlePhysicalInterface(Vek::String name);
  void handleNePortGroup(Vek::String name);
  void handleTopologyPortGroup(Vek::Name name);
  void handleTopologyPortGroup();
  void handleInitialized();
  void doCleanup();

  // Construction runs the host's port groups (none yet) before the
  // physical interface reactors are built.
  void vekBeforeMirrors() { handleTopologyPortGroup(); }

  static auto vekParams() {
    return std::tuple{&NetworkElementSm::name_, &NetworkElementSm::networkElement_};
  }
  static auto vekMembers();
};

class NetworkElementSm::VekNetworkElement
    : public Vek::Reactor<VekNetworkElement, NetworkElement, NetworkElementSm> {
 public:
  using Reactor::Reactor;
  // Listed in the order of a replay: the switch flag, the resources, then
  // the physical interfaces (upkeep before the handler, on purpose).
  using vekReactions = Vek::Reactions<
      Vek::OnValue<NetworkElement::isSwitchElementId, &NetworkElementSm::handleIsSwitchElement>,
      Vek::OnValue<NetworkElement::resourcesForHostnameId,
                   &NetworkElementSm::handleResourcesForHostname>,
      Vek::OnNested<NetworkElement::physicalInterfaceId, &NetworkElementSm::physicalInterface_,
                    &NetworkElement::physicalInterfaceCol>,
      Vek::OnKey<NetworkElement::physicalInterfaceId, &NetworkElementSm::handlePhysicalInterface>,
      Vek::OnKey<NetworkElement::portGroupId, &NetworkElementSm::handleNePortGroup>,
      Vek::OnKey<NetworkElement::interfaceId, &NetworkElementSm::handleInterface>>;
};

// The handler runs before the upkeep here, unlike on the element's physical
// interfaces; a re-pointing only brings the reactors in line.
class NetworkElementSm::VekTopologyHost
    : public Vek::Reactor<VekTopologyHost, Host const, NetworkElementSm> {
 public:
  using Reactor::Reactor;
  using vekReactions = Vek::Reactions<
      Vek::OnKey<Host::portGroupId, static_cast<void (NetworkElementSm::*)(Vek::Name)>(
                                        &NetworkElementSm::handleTopologyPortGroup)>,
      Vek::OnNested<Host::portGroupId, &NetworkElementSm::portGroup_, &Host::portGroupCol>>;
};

// Carries one physical interface's VLANs into the element's union.
class NetworkElementSm::VekPhysicalInterface
    : public Vek::Reactor<VekPhysicalInterface, PhysicalInterface, NetworkElementSm> {
 public:
  using Reactor::Reactor;
  Vek::Ptr<PhysicalInterface> physicalInterface() const { return notifier(); }
  void handleVlan(U32 vlan);
  void handleCleanup();
  using vekReactions =
      Vek::Reactions<Vek::OnKey<Interface::vlanId, &VekPhysicalInterface::handleVlan>>;
};

// Carries one topology port group's membership onto the element.
class NetworkElementSm::VekPortGroup
    : public Vek::Reactor<VekPortGroup, NetworkTopologyAggregatorV3::PortGroup const,
                          NetworkElementSm> {
 public:
  using Reactor::Reactor;
  Vek::Ptr<NetworkTopologyAggregatorV3::PortGroup const> portGroup() const { return notifier(); }
  void handleMemberPort(Vek::Name name);
  void handleMemberPort();
  // The one reactor whose building replays: the members present at once.
  void handleInitialized() { handleMemberPort(); }
  using vekReactions = Vek::Reactions<
      Vek::OnKey<NetworkTopologyAggregatorV3::PortGroup::memberPortId,
                 static_cast<void (VekPortGroup::*)(Vek::Name)>(&VekPortGroup::handleMemberPort)>>;
};

inline auto NetworkElementSm::vekMembers() {
  using N = NetworkElementSm;
  return Vek::members(&N::name_, &N::networkElement_, &N::topologyHost_, &N::physicalInterfaceSm_, &N::portGroupSm_,
                      &N::hostResourcesSm_,
                      Vek::handler<"handleTopologyHost", &N::handleTopologyHost>(),
                      Vek::handler<"handleIsSwitchElement", &N::handleIsSwitchElement>(),
                      Vek::handler<"handleResourcesForHostname", &N::handleResourcesForHostname>(),
                      Vek::mirror(&N::physicalInterface_, &N::networkElement,
                                  &NetworkElement::physicalInterfaceCol),
                      Vek::handler<"handleInterface", &N::handleInterface, "name">(),
                      Vek::idGap<2>(),
                      Vek::handler<"handlePhysicalInterface", &N::handlePhysicalInterface, "name">(),
                      Vek::idGap<1>(),
                      Vek::handler<"handleNePortGroup", &N::handleNePortGroup, "name">(),
                      Vek::idGap<1>(),
                      Vek::handler<"handleTopologyPortGroup",
                                   static_cast<void (N::*)(Vek::Name)>(&N::handleTopologyPortGroup),
                                   "name">(),
                      Vek::idGap<1>(),
                      Vek::mirror(&N::portGroup_, &N::topologyHost, &Host::portGroupCol),
                      Vek::handler<"handleInitialized", &N::handleInitialized>(), &N::initialized_,
                      Vek::handler<"doCleanup", &N::doCleanup>());
}

}  // namespace VirtualNetwork::Agent
