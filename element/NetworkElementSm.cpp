#include "element/NetworkElementSm.h"

#include "reactive/Trace.h"

namespace VirtualNetwork::Agent {

// --- Generated members --------------------------------------------------------

void NetworkElementSm::topologyHostIs(Vek::Ptr<Host const> const& host) {
  if (host == topologyHost()) return;
  if (!host) {
    topologyHostDel();
    return;
  }
  topologyHost_.is(*this, host);
  handleTopologyHost();
}

Vek::Ptr<NetworkElementSm::Host const> NetworkElementSm::topologyHostDel() {
  Vek::Ptr<VekTopologyHost> reactor = topologyHost_.take();
  if (!reactor) return nullptr;
  reactor->vekDoZombieReactors(true);
  // Finds no host: the element keeps its port groups.
  handleTopologyHost();
  reactor->ownerIs(nullptr);
  reactor->hasNotificationActiveIs(false);
  return reactor->notifier();
}

// --- Handlers -------------------------------------------------------------------

void NetworkElementSm::handleInitialized() {
  VEK_ENTRY << name();
  handleIsSwitchElement();
  initialized_.set(true);
}

void NetworkElementSm::handleIsSwitchElement() {
  VEK_TRACE_SITE;
  Vek::Ptr<NetworkElement> const element = networkElement();
  if (!element) return;
  bool const isSwitch = element->isSwitchElement();
  VEK_TRACE(9) << element->name() << (isSwitch ? " : True" : " : False");
  if (!isSwitch) {
    // Only the VLANs go: children and isSwitchInterface stay as they are.
    Vek::forEachKey(element->interfaceCol(), [&](Vek::String const& name) {
      if (Vek::Ptr<Interface> const interface = element->interface(name)) interface->vlanDelAll();
    });
    element->vlanDelAll();
    return;
  }
  VEK_TRACE(2) << "NE Physical Interfaces: " << element->physicalInterfaceCol().size();
  VEK_TRACE(2) << "NE Port Groups: " << element->portGroupCol().size();
  VEK_TRACE(2) << "NE Interfaces: " << element->interfaceCol().size();
  Vek::forEachKey(element->physicalInterfaceCol(),
                  [&](Vek::String const& name) { handlePhysicalInterface(name); });
  Vek::forEachKey(element->portGroupCol(),
                  [&](Vek::String const& name) { handleNePortGroup(name); });
  Vek::forEachKey(element->interfaceCol(), [&](Vek::String const& name) { handleInterface(name); });
}

void NetworkElementSm::handleTopologyHost() {
  VEK_ENTRY << name();
  handleTopologyPortGroup();
}

void NetworkElementSm::handleResourcesForHostname() {
  VEK_TRACE_SITE;
  Vek::Ptr<NetworkElement> const element = networkElement();
  if (!element) return;
  VEK_TRACE(9) << element->hostname();
  Vek::Ptr<ResourcesForHostname const> const resources = element->resourcesForHostname();
  if (resources) {
    // Other resources in place of the present ones replace the machine
    // without its doCleanup: the old hostname stays on the element's VLANs.
    hostResourcesSmIs(resources->name(), resources, element);
    return;
  }
  // The child's end does not withdraw its VLANs; its owner does, here.
  if (HostResourcesSm* const sm = hostResourcesSm()) sm->doCleanup();
  hostResourcesSmDel();
}

void NetworkElementSm::handleInterface(Vek::String name) {
  VEK_ENTRY << name;
  Vek::Ptr<NetworkElement> const element = networkElement();
  if (!element) return;
  // A removed interface needs no work.
  if (Vek::Ptr<Interface> const interface = element->interface(name)) {
    interface->isSwitchInterfaceIs(element->isSwitchElement());
  }
}

void NetworkElementSm::handlePhysicalInterface(Vek::String name) {
  VEK_ENTRY << name;
  Vek::Ptr<NetworkElement> const element = networkElement();
  if (!element) return;
  Vek::Ptr<PhysicalInterface> const interface = element->physicalInterface(name);
  if (!interface) {
    // Deliberately unlike handleNePortGroup: the child goes without a
    // cleanup, before the interface entry.
    VEK_TRACE(2) << "Deleted " << name << " from " << element->name();
    // The interface's PhysicalInterfaceSm is deleted here once it exists.
    element->interfaceDel(name);
    return;
  }
  element->interfaceIs(interface);
  // An interface that comes after its group was seen joins the group now.
  if (Vek::Ptr<Host const> const host = topologyHost()) {
    if (auto const port = host->port(Vek::Name(name))) {
      if (auto const group = port->portGroup()) {
        if (Vek::Ptr<VekPortGroup> const reactor = portGroup(group->name())) {
          reactor->handleMemberPort(Vek::Name(name));
        }
      }
    }
  }
  if (!element->isSwitchElement()) return;
  // The interface's PhysicalInterfaceSm is made and brought up to date with
  // its configured and discovered elements here once it exists.
  Vek::forEachKey(interface->vlanCol(), [&](U32 vlan) {
    if (Vek::Ptr<VekPhysicalInterface> const reactor = physicalInterface(name)) {
      reactor->handleVlan(vlan);
    }
  });
}

void NetworkElementSm::handleNePortGroup(Vek::String name) {
  VEK_ENTRY << name;
  Vek::Ptr<NetworkElement> const element = networkElement();
  if (!element) return;
  if (Vek::Ptr<PortGroup> const group = element->portGroup(name)) {
    element->interfaceIs(group);
    // The group's PortGroupSm is made here once it exists.
    return;
  }
  // Deliberately unlike handlePhysicalInterface: the child is cleaned first,
  // the interface entry goes second, the child last.
  VEK_TRACE(2) << "Deleting " << name << " from " << element->name();
  element->interfaceDel(name);
}

void NetworkElementSm::handleTopologyPortGroup(Vek::Name name) {
  VEK_TRACE_SITE;
  Vek::Ptr<NetworkElement> const element = networkElement();
  if (!element) return;
  VEK_TRACE(9) << element->name() << " " << name;
  Vek::Ptr<Host const> const host = topologyHost();
  if (host && host->portGroup(name)) {
    element->portGroupIs(name);
    return;
  }
  VEK_TRACE(2) << element->name() << " deleting port group " << name;
  if (element->portGroup(name)) {
    Vek::Ptr<PortGroup> const gone = element->portGroupDel(name);
    gone->destroy();
  }
}

void NetworkElementSm::handleTopologyPortGroup() {
  VEK_ENTRY << name();
  Vek::Ptr<Host const> const host = topologyHost();
  if (!host) return;
  Vek::forEachKey(host->portGroupCol(),
                  [&](Vek::Name const& group) { handleTopologyPortGroup(group); });
}

void NetworkElementSm::doCleanup() {
  VEK_ENTRY << name();
  Vek::Ptr<NetworkElement> const element = networkElement();
  if (!element) return;
  element->vlanDelAll();
  element->destroy();
}

// --- VekPhysicalInterface ----------------------------------------------------------

void NetworkElementSm::VekPhysicalInterface::handleVlan(U32 vlan) {
  VEK_TRACE_SITE;
  NetworkElementSm* const sm = owner();
  Vek::Ptr<PhysicalInterface> const interface = notifier();
  if (!sm || !interface) return;
  VEK_TRACE(9) << sm->name() << " : " << interface->name() << " : " << vlan;
  Vek::Ptr<NetworkElement> const element = sm->networkElement();
  if (!element) return;
  if (!element->isSwitchElement()) {
    VEK_TRACE(2) << "Ignoring " << vlan << " on non-switch element";
    return;
  }
  // The interface's name holds the element's entry; only the VLAN id and
  // the referrer travel, domains and VNIs stay on the interface.
  Vek::String const referrer = interface->name();
  if (interface->vlan(vlan)) {
    VEK_TRACE(2) << "Adding VLAN " << vlan << " to " << element->name();
    element->vlanIs(vlan)->referrerIs(referrer);
    return;
  }
  if (Vek::Ptr<DynamicVlan> const entry = element->vlan(vlan)) {
    entry->referrerDel(referrer);
    if (entry->referrerCol().empty()) {
      VEK_TRACE(2) << "Deleting " << vlan << " from " << element->name();
      element->vlanDel(vlan);
    }
  }
}

void NetworkElementSm::VekPhysicalInterface::handleCleanup() {
  VEK_TRACE_SITE;
  Vek::Ptr<PhysicalInterface> const interface = notifier();
  if (!interface) return;
  VEK_TRACE(9) << interface->name();
  Vek::String const referrer = interface->name();
  NetworkElementSm* const sm = owner();
  Vek::Ptr<NetworkElement> const element = sm ? sm->networkElement() : nullptr;
  if (element) {
    Vek::forEachKey(interface->vlanCol(), [&](U32 vlan) {
      Vek::Ptr<DynamicVlan> const entry = element->vlan(vlan);
      if (!entry) return;  // a non-switch element has none
      entry->referrerDel(referrer);
      if (entry->referrerCol().empty()) {
        VEK_TRACE(2) << "Deleting " << vlan << " from " << element->name();
        element->vlanDel(vlan);
      }
    });
  }
  interface->networkElementDelAll();
  interface->vlanDelAll();
  if (Vek::Ptr<PortGroup> const group = interface->portGroup()) {
    VEK_TRACE(2) << "Deleting " << interface->name() << " from port group " << group->name();
    group->memberInterfaceDel(interface->name());
    interface->portGroupIs(nullptr);
  }
}

// --- VekPortGroup -------------------------------------------------------------------

void NetworkElementSm::VekPortGroup::handleMemberPort(Vek::Name name) {
  VEK_TRACE_SITE;
  Vek::Ptr<NetworkTopologyAggregatorV3::PortGroup const> const group = notifier();
  NetworkElementSm* const sm = owner();
  if (!group || !sm) return;
  VEK_TRACE(9) << group->name() << " : " << name;
  Vek::Ptr<NetworkElement> const element = sm->networkElement();
  if (!element) return;
  Vek::Ptr<PortGroup> const vnGroup = element->portGroupIs(group->name());
  if (group->memberPort(name)) {
    // A member port has its interface even before any link on it is seen.
    Vek::Ptr<PhysicalInterface> const interface = element->physicalInterfaceIs(name);
    vnGroup->memberInterfaceIs(interface);
    interface->portGroupIs(vnGroup);
    return;
  }
  vnGroup->memberInterfaceDel(name);
  if (Vek::Ptr<PhysicalInterface> const interface = element->physicalInterface(name)) {
    interface->portGroupIs(nullptr);
  }
}

void NetworkElementSm::VekPortGroup::handleMemberPort() {
  VEK_TRACE_SITE;
  Vek::Ptr<NetworkTopologyAggregatorV3::PortGroup const> const group = notifier();
  if (!group) return;
  VEK_TRACE(9) << group->name();
  Vek::forEachKey(group->memberPortCol(), [&](Vek::Name const& port) { handleMemberPort(port); });
}

}  // namespace VirtualNetwork::Agent
