#include "switch/SwitchNodeSm.h"

#include "reactive/Trace.h"
#include "reactive/VlanIdSet.h"

namespace VirtualNetwork::Agent {

namespace {

// The members of a stored list, as a set to change: a copy of the list's
// members, read from its text only if nobody had read them before.
Vek::Ptr<LumoUtils::VlanIdSet> vlanSetOf(ControllerProxyAgent::VlanListV1 const& list) {
  return LumoUtils::VlanIdSetIs(list.members());
}

}  // namespace

// --- Generated members --------------------------------------------------------

void SwitchNodeSm::switchElementIs(Vek::Ptr<NetworkElement> const& element) {
  if (element == switchElement()) return;
  switchElement_.is(*this, element);
  if (element) {
    // A new reactor replays nothing: bring the interface reactors up first.
    interface_.sync(*this, &element->interfaceCol());
    physicalInterface_.sync(*this, &element->physicalInterfaceCol());
  }
  handleSwitchElement();
}

// --- Handlers -------------------------------------------------------------------

void SwitchNodeSm::handleInitialized() { VEK_ENTRY << switchId(); }

// The node's end: the agent root deletes it right after. The VTEP mappings
// go one by one with the reactors; the port record stays for the next life.
void SwitchNodeSm::doCleanup() { VEK_ENTRY << switchId(); }

bool SwitchNodeSm::isMemberInterface(Vek::String intfName) const {
  VEK_TRACE_SITE;
  Vek::Ptr<NetworkElement> const element = switchElement();
  Vek::Ptr<PhysicalInterface> const interface =
      element ? element->physicalInterface(intfName) : nullptr;
  bool const member = interface && interface->portGroup();
  VEK_TRACE(9) << member;
  return member;
}

void SwitchNodeSm::handleSwitchElement() {
  VEK_ENTRY << switchId();
  Vek::Ptr<NetworkElement> const element = switchElement();
  Vek::Ptr<PortVlanConfig> const ports = portVlanConfig();
  if (!element || !ports) return;
  // The only writer of the flag, and it never writes false.
  element->isSwitchElementIs(true);
  // What the port record holds is the record of the last life: sweep what
  // the element no longer has, before anything is provisioned.
  Vek::forEachKey(ports->portAllowedVlanListCol(), [&](Vek::String const& port) {
    if (!element->interface(port)) ports->portAllowedVlanListDel(port);
  });
  Vek::forEachKey(ports->portNativeVlanCol(), [&](Vek::String const& port) {
    if (!element->interface(port)) ports->portNativeVlanDel(port);
  });
  Vek::forEachKey(element->interfaceCol(), [&](Vek::String const& intfName) {
    VEK_TRACE(2) << switchId() << " Interface: " << intfName;
    handleInterface(intfName);
  });
  // A copy: handleVlan writes the list while the walk goes on.
  vlanSetOf(ports->vlanList())->forEach([&](U32 vlan) { handleVlan(vlan); });
  Vek::forEachKey(element->vlanCol(), [&](U32 vlan) {
    VEK_TRACE(2) << switchId() << " Vlan: " << vlan;
    handleVlan(vlan);
  });
  if (Vek::Ptr<VtepStatusDir const> const status = vtepStatusDir()) {
    Vek::forEachKey(status->vtepStatusCol(),
                    [&](Vek::String const& name) { handleVtepConfig(name); });
  }
}

void SwitchNodeSm::handleInterface(Vek::String intfName) {
  VEK_ENTRY << switchId() << " " << intfName;
  // A member port is carried by its group's interface, never by its name.
  if (isMemberInterface(intfName)) return;
  Vek::Ptr<NetworkElement> const element = switchElement();
  Vek::Ptr<PortVlanConfig> const ports = portVlanConfig();
  if (!element || !ports) return;
  Vek::Ptr<Interface> const interface = element->interface(intfName);
  if (!interface) {
    ports->portAllowedVlanListDel(intfName);
    ports->portNativeVlanDel(intfName);
    return;
  }
  // Another path may have taken the reactor away meanwhile.
  Vek::Ptr<VekInterface> const reactor = this->interface(intfName);
  if (!reactor) return;
  // Drops what the port holds and the interface no longer has; a copy, as
  // the walk writes the list.
  vlanSetOf(ports->portAllowedVlanList(intfName))->forEach([&](U32 vlan) {
    reactor->handleVlan(vlan);
  });
  Vek::forEachKey(interface->vlanCol(), [&](U32 vlan) {
    VEK_TRACE(2) << "VLAN: " << vlan << " found in interface " << interface->name();
    reactor->handleVlan(vlan);
  });
  Vek::forEachKey(interface->nativeVlanCol(), [&](U32 vlan) {
    VEK_TRACE(2) << "Native VLAN: " << vlan << " found in interface " << interface->name();
    reactor->handleNativeVlan(vlan);
  });
}

void SwitchNodeSm::handleVlan(U32 vlan) {
  VEK_ENTRY << switchId() << " " << vlan;
  Vek::Ptr<NetworkElement> const element = switchElement();
  Vek::Ptr<PortVlanConfig> const ports = portVlanConfig();
  if (!element || !ports) return;
  ControllerProxyAgent::VlanListV1 const before = ports->vlanList();
  Vek::Ptr<LumoUtils::VlanIdSet> const set = vlanSetOf(before);
  if (element->vlan(vlan)) {
    VEK_TRACE(2) << "Adding VLAN: " << vlan << " to vlan set " << before;
    set->doAdd(static_cast<U16>(vlan));
  } else {
    VEK_TRACE(2) << "Removing VLAN: " << vlan << " from vlan set " << before;
    set->doRemove(static_cast<U16>(vlan));
  }
  // Written every time, also empty and also unchanged.
  ports->vlanListIs(ControllerProxyAgent::VlanListV1(set));
}

void SwitchNodeSm::handleNetworkElement(Vek::Name name) {
  VEK_ENTRY << switchId() << " " << name;
  Vek::Ptr<NetworkElementCollection> const elements = networkElementCollection();
  Vek::Ptr<NetworkElement> const element = elements ? elements->networkElement(name) : nullptr;
  // An element that leaves does not clear the switch element: the node
  // stays on it until the node itself goes.
  if (!element || element->name() != switchId()) return;
  VEK_TRACE(2) << switchId() << "Setting " << name << " to " << switchId();
  switchElementIs(element);
}

// --- VekInterface -------------------------------------------------------------------

void SwitchNodeSm::VekInterface::handleInitialized() {
  if (Vek::Ptr<Interface> const watched = interface()) dynVlan_.sync(*this, &watched->vlanCol());
}

void SwitchNodeSm::VekInterface::handleVlan(U32 vlan) {
  VEK_ENTRY << "VLAN : " << vlan;
  SwitchNodeSm* const sm = owner();
  Vek::Ptr<Interface> const watched = interface();
  if (!sm || !watched) return;
  Vek::String const name = intfName();
  if (sm->isMemberInterface(name)) return;
  VEK_TRACE(9) << sm->switchId() << " " << name << " " << vlan;
  Vek::Ptr<PortVlanConfig> const ports = sm->portVlanConfig();
  if (!ports) return;
  // The port's own record is the working state: read, change one, write.
  Vek::Ptr<LumoUtils::VlanIdSet> const set = vlanSetOf(ports->portAllowedVlanList(name));
  if (watched->vlan(vlan)) {
    VEK_TRACE(3) << "Adding VLAN: " << vlan << " on switch: " << sm->switchId()
                 << " interface: " << name;
    set->doAdd(static_cast<U16>(vlan));
  } else {
    VEK_TRACE(3) << "Removing VLAN: " << vlan << " from switch: " << sm->switchId()
                 << " interface: " << name;
    set->doRemove(static_cast<U16>(vlan));
  }
  ControllerProxyAgent::VlanListV1 const list(set);
  VEK_TRACE(3) << "Dynvlan allowedvlan configuration: " << list;
  if (list.empty()) {
    // Never an empty entry: the entry goes.
    VEK_TRACE(2) << "Deleting allowedVlans from " << name;
    ports->portAllowedVlanListDel(name);
    return;
  }
  VEK_TRACE(2) << "Adding allowed vlans " << list << " on switch: " << sm->switchId()
               << " interface: " << name;
  ports->portAllowedVlanListIs(name, list);
}

void SwitchNodeSm::VekInterface::handleNativeVlan(U32 vlan) {
  VEK_TRACE_SITE;
  SwitchNodeSm* const sm = owner();
  Vek::Ptr<Interface> const watched = interface();
  if (!sm || !watched) return;
  Vek::String const name = intfName();
  VEK_TRACE(9) << sm->switchId() << " " << name << " VLAN " << vlan;
  if (sm->isMemberInterface(name)) return;
  Vek::Ptr<PortVlanConfig> const ports = sm->portVlanConfig();
  if (!ports) return;
  U32 const count = watched->nativeVlanCol().size();
  if (count >= 2) {
    sm->handleNativeVlanConflict(name, vlan);
    return;
  }
  if (count == 0) {
    VEK_TRACE(2) << "Removing native VLAN: " << vlan << " from portVlanConfig on " << name;
    ports->portNativeVlanDel(name);
    return;
  }
  // The one entry left, whatever VLAN was notified: so a conflict heals
  // when its second candidate goes.
  U32 const native = watched->nativeVlanCol().iterator().key();
  VEK_TRACE(2) << "Adding native VLAN: " << native << " to interface: " << name;
  Bridging::VlanIdOrNone const value(native);  // above 4094 raises before the write
  ports->portNativeVlanIs(name, value);
}

// --- VekPhysicalInterface -----------------------------------------------------------

void SwitchNodeSm::VekPhysicalInterface::handlePortGroup() {
  VEK_TRACE_SITE;
  Vek::String const name = intfName();
  VEK_TRACE(9) << "Interface: " << name;
  SwitchNodeSm* const sm = owner();
  Vek::Ptr<PhysicalInterface const> const watched = notifier();
  if (!sm || !watched) return;
  if (!watched->portGroup()) {
    VEK_TRACE(3) << name << " no longer a member interface. Reprovisioning.";
    sm->handleInterface(name);
    return;
  }
  VEK_TRACE(3) << "Cleaning up member interface " << name;
  if (Vek::Ptr<PortVlanConfig> const ports = sm->portVlanConfig()) {
    ports->portAllowedVlanListDel(name);
    ports->portNativeVlanDel(name);
  }
  Vek::Ptr<VxlanController::VtepConfigV2> const vtep = sm->firstVtepConfig();
  if (!vtep) return;
  Vek::forEachKey(vtep->vlanToVniMapCol(), [&](VxlanController::PortVlanPairV2 const& key) {
    if (key.port() == name) vtep->vlanToVniMapDel(key);
  });
}

}  // namespace VirtualNetwork::Agent
