// One port of a switch element: what the hosts behind it want, on the port.
//
// The elements that hang on a port are the union of those a client names
// on it (`configuredElement`) and those the topology sees on it
// (`discoveredElement`); this machine keeps `networkElement` as that union.
// Each host element's VLANs, with their domains and mapped VNIs, are copied
// onto the port, held by the element's name at every level, so that a
// VLAN leaves the port only with the last element that wants it. Copies
// are made only on a switch interface and only from elements that are no
// switches: VLANs cross a link from host to switch, never from switch to
// switch. The switch output reads the port from there.
//
// Made by NetworkElementSm for each physical interface of a switch
// element; its owner then runs handleConfiguredElement and
// handleDiscoveredElement for the elements already on the port.
#pragma once

#include <string>

#include "client/HostVlanReactor.h"
#include "reactive/Accessors.h"
#include "reactive/StateMachine.h"
#include "reactive/Trace.h"
#include "schema/Resources.h"

namespace VirtualNetwork::Agent {

class PhysicalInterfaceSm : public Vek::StateMachine<PhysicalInterfaceSm> {
 public:
  class VekPhysicalInterface;
  class VekNetworkElement;

  PhysicalInterfaceSm(Vek::String intfName, Vek::Ptr<PhysicalInterface> const& physicalInterface)
      : intfName_(std::move(intfName)), physicalInterface_(physicalInterface) {}

  VEK_SM_PARAM(intfName, Vek::String)
  VEK_SM_REACTOR(physicalInterface, VekPhysicalInterface, PhysicalInterface)
  VEK_SM_REACTORS(networkElement, Vek::Name, VekNetworkElement)

  // Handlers.
  // Re-evaluates every element on the port.
  void handleIsSwitchInterface();
  // An element joined or left the port; one that left has been withdrawn
  // by its reactor's cleanup already.
  void handleNetworkElement(Vek::Name name);
  // Keep `networkElement` the union of the two sources.
  void handleConfiguredElement(Vek::Name name);
  void handleDiscoveredElement(Vek::Name name);
  // Its entry line only.
  void doCleanup();

  static auto vekParams() {
    return std::tuple{&PhysicalInterfaceSm::intfName_, &PhysicalInterfaceSm::physicalInterface_};
  }
  static auto vekMembers();

 private:
  // One of the port's two element sources, configured or discovered.
  using ElementSource =
      Vek::Ptr<NetworkElement const> (PhysicalInterface::*)(Vek::Name const&) const;
  // The union's step for one source: `own` is the source whose entry
  // changed, `other` the one that may still keep the element.
  void keepUnion(Vek::TraceSite const& site, Vek::Name const& name, ElementSource own,
                 ElementSource other);
};

// Listed in the order of a replay: the flag, then the elements (the
// upkeep before the handler).
class PhysicalInterfaceSm::VekPhysicalInterface
    : public Vek::Reactor<VekPhysicalInterface, PhysicalInterface, PhysicalInterfaceSm> {
 public:
  using Reactor::Reactor;
  using vekReactions = Vek::Reactions<
      Vek::OnValue<PhysicalInterface::isSwitchInterfaceId,
                   &PhysicalInterfaceSm::handleIsSwitchInterface>,
      Vek::OnNested<PhysicalInterface::networkElementId, &PhysicalInterfaceSm::networkElement_,
                    &PhysicalInterface::networkElementCol>,
      Vek::OnKey<PhysicalInterface::networkElementId, &PhysicalInterfaceSm::handleNetworkElement>,
      Vek::OnKey<PhysicalInterface::configuredElementId,
                 &PhysicalInterfaceSm::handleConfiguredElement>,
      Vek::OnKey<PhysicalInterface::discoveredElementId,
                 &PhysicalInterfaceSm::handleDiscoveredElement>>;
};

// One element on the port: its VLANs onto the port, held by its name.
class PhysicalInterfaceSm::VekNetworkElement
    : public Vek::Reactor<VekNetworkElement, NetworkElement const, PhysicalInterfaceSm> {
 public:
  class VekDynVlan;

  using Reactor::Reactor;
  Vek::Ptr<NetworkElement const> networkElement() const { return notifier(); }
  Vek::Name elementName() const { return fwkKey(); }
  // The port, or null.
  Vek::Ptr<PhysicalInterface> port() const;
  // Whether the element's VLANs may be carried now: a switch interface
  // and an element that is no switch.
  bool carries() const;

  VEK_SM_REACTORS(dynVlan, U32, VekDynVlan)

  // Building makes one VLAN reactor per VLAN of the element, each of which
  // copies its VLAN at once.
  void handleInitialized();
  void handleVlan(U32 vlan);
  // Re-evaluates all VLANs of the element, with their domains and VNIs.
  void handleIsSwitchElement();
  // handleVlan, then the VLAN reactor's copy, for every VLAN.
  void handleVlans();
  // Withdraws all that the element gave; runs when the reactor turns
  // zombie, before its VLAN reactors do.
  void handleCleanup();

  static auto vekMembers() { return Vek::members(&VekNetworkElement::dynVlan_); }

  // A new VLAN is on the port before its reactor copies its VNIs; a
  // removed one has left before its reactor withdraws them.
  using vekReactions = Vek::Reactions<
      Vek::OnValue<NetworkElement::isSwitchElementId, &VekNetworkElement::handleIsSwitchElement>,
      Vek::OnKey<NetworkElement::vlanId, &VekNetworkElement::handleVlan>,
      Vek::OnNested<NetworkElement::vlanId, &VekNetworkElement::dynVlan_,
                    &NetworkElement::vlanCol>>;
};

// One VLAN of an element: its domains and VNIs onto the port's VLAN.
class PhysicalInterfaceSm::VekNetworkElement::VekDynVlan
    : public HostVlanReactor<VekDynVlan, DynamicVlan, VekNetworkElement> {
 public:
  using HostVlanReactor::HostVlanReactor;

  // Set once the VLAN has been evaluated on a switch interface; a mark
  // for whoever inspects the reactor, read by no handler.
  VEK_SM_ATTR(initialized, bool)

  // Copies the VLAN with its domains and VNIs; run at birth and by the
  // re-evaluations.
  void handleInitialized();
  void handleDynamicVniMapping(U32 vni);
  void handleVlanDomain(Client::ClientDomain const& domain);
  // Withdraws the element's VNIs and domains from the port's VLAN, not the
  // VLAN itself; safe to repeat.
  void doCleanup();

  static auto vekMembers() { return Vek::members(&VekDynVlan::initialized_); }

 private:
  // The port's record of this VLAN, or null.
  Vek::Ptr<DynamicVlan> portVlan() const;
  // What a domain or VNI change reads: the port, the element's name, the
  // port's record of the VLAN, and the element's (null when it lacks it or
  // is a switch).
  struct Ends {
    Vek::Ptr<PhysicalInterface> port;
    Vek::Name name;
    Vek::Ptr<DynamicVlan> vlan;
    Vek::Ptr<DynamicVlan const> own;
  };
  // Writes the handler's entry line (`what` ending it) and fills `ends`;
  // false, after the refusal line off a switch interface, when there is
  // nothing to carry onto.
  bool reach(Vek::TraceSite const& site, std::string const& what, Ends& ends) const;
};

inline auto PhysicalInterfaceSm::vekMembers() {
  using P = PhysicalInterfaceSm;
  return Vek::members(
      &P::intfName_, &P::physicalInterface_,
      Vek::handler<"handleIsSwitchInterface", &P::handleIsSwitchInterface>(),
      Vek::mirror(&P::networkElement_, &P::physicalInterface, &PhysicalInterface::networkElementCol),
      Vek::handler<"handleNetworkElement", &P::handleNetworkElement, "name">(), Vek::idGap<2>(),
      Vek::handler<"handleConfiguredElement", &P::handleConfiguredElement, "name">(),
      Vek::idGap<1>(),
      Vek::handler<"handleDiscoveredElement", &P::handleDiscoveredElement, "name">(),
      Vek::idGap<1>(),
      Vek::handler<"doCleanup", &P::doCleanup>());
}

Vek::Ptr<PhysicalInterfaceSm> physicalInterfaceSmFactory(
    Vek::String const& intfName, Vek::Ptr<PhysicalInterface> const& physicalInterface);

}  // namespace VirtualNetwork::Agent
