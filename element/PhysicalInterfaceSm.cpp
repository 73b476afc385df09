#include "element/PhysicalInterfaceSm.h"

#include "reactive/Referred.h"
#include "reactive/Trace.h"

namespace VirtualNetwork::Agent {

Vek::Ptr<PhysicalInterfaceSm> physicalInterfaceSmFactory(
    Vek::String const& intfName, Vek::Ptr<PhysicalInterface> const& physicalInterface) {
  return PhysicalInterfaceSm::vekCreate(intfName, physicalInterface);
}

void PhysicalInterfaceSm::handleIsSwitchInterface() {
  VEK_ENTRY << intfName();
  Vek::Ptr<PhysicalInterface> const port = physicalInterface();
  if (!port) return;
  Vek::forEachKey(port->networkElementCol(),
                  [&](Vek::Name const& name) { handleNetworkElement(name); });
}

void PhysicalInterfaceSm::handleNetworkElement(Vek::Name name) {
  VEK_ENTRY << name << " on " << intfName();
  Vek::Ptr<PhysicalInterface> const port = physicalInterface();
  if (!port) return;
  Vek::Ptr<NetworkElement const> const element = port->networkElement(name);
  if (!element) {
    // Its reactor's cleanup, which ran first, has withdrawn what it gave.
    VEK_TRACE(2) << "Host deleted from interface " << port->name();
    return;
  }
  VEK_TRACE(2) << "Host added";
  VEK_TRACE(2) << "Vlans required for the host [ " << name << " ] : " << element->vlanCol().size();
  if (VekNetworkElement* const reactor = networkElement(name)) reactor->handleVlans();
}

void PhysicalInterfaceSm::handleConfiguredElement(Vek::Name name) {
  VEK_ENTRY << name << " on " << intfName();
  keepUnion(vekTraceSite_, name, &PhysicalInterface::configuredElement,
            &PhysicalInterface::discoveredElement);
}

void PhysicalInterfaceSm::handleDiscoveredElement(Vek::Name name) {
  VEK_ENTRY << name << " on " << intfName();
  keepUnion(vekTraceSite_, name, &PhysicalInterface::discoveredElement,
            &PhysicalInterface::configuredElement);
}

void PhysicalInterfaceSm::keepUnion(Vek::TraceSite const& site, Vek::Name const& name,
                                    ElementSource own, ElementSource other) {
  VEK_TRACE_SITE_OF(site);
  Vek::Ptr<PhysicalInterface> const port = physicalInterface();
  if (!port) return;
  if (Vek::Ptr<NetworkElement const> const element = ((*port).*own)(name)) {
    port->networkElementIs(element);
    return;
  }
  // Neither source is preferred: the element stays while either has it.
  if (((*port).*other)(name)) return;
  VEK_TRACE(2) << "Removing network elements " << name << " from " << intfName();
  port->networkElementDel(name);
}

void PhysicalInterfaceSm::doCleanup() { VEK_ENTRY << intfName(); }

// --- VekNetworkElement ----------------------------------------------------------------

Vek::Ptr<PhysicalInterface> PhysicalInterfaceSm::VekNetworkElement::port() const {
  PhysicalInterfaceSm* const sm = owner();
  return sm ? sm->physicalInterface() : nullptr;
}

bool PhysicalInterfaceSm::VekNetworkElement::carries() const {
  Vek::Ptr<PhysicalInterface> const port = this->port();
  Vek::Ptr<NetworkElement const> const element = networkElement();
  return port && element && port->isSwitchInterface() && !element->isSwitchElement();
}

void PhysicalInterfaceSm::VekNetworkElement::handleInitialized() {
  if (Vek::Ptr<NetworkElement const> const element = networkElement()) {
    dynVlan_.sync(*this, &element->vlanCol());
  }
}

void PhysicalInterfaceSm::VekNetworkElement::handleVlan(U32 vlan) {
  VEK_TRACE_SITE;
  Vek::Ptr<PhysicalInterface> const port = this->port();
  Vek::Ptr<NetworkElement const> const element = networkElement();
  if (!port || !element) return;
  Vek::String const intfName = owner()->intfName();
  VEK_TRACE(9) << elementName() << ":" << element->hostname() << " " << intfName << " " << vlan;
  if (!port->isSwitchInterface()) {
    VEK_TRACE(2) << "Ignoring vlan on " << elementName() << " since this is not a switch interface.";
    return;
  }
  // A switch element's VLANs never cross: it takes the removal path.
  Vek::follow(
      port->vlanRef(), vlan, elementName(), element->vlan(vlan) && !element->isSwitchElement(),
      [&] { VEK_TRACE(2) << "Adding vlan " << vlan << " to " << intfName; },
      [&] { VEK_TRACE(2) << "Deleting vlan " << vlan << " from " << intfName; });
}

void PhysicalInterfaceSm::VekNetworkElement::handleIsSwitchElement() {
  VEK_TRACE_SITE;
  PhysicalInterfaceSm* const sm = owner();
  Vek::Ptr<NetworkElement const> const element = networkElement();
  if (!sm || !element) return;
  VEK_TRACE(9) << elementName() << ":" << sm->intfName();
  VEK_TRACE(9) << elementName() << (element->isSwitchElement() ? " : True" : " : False");
  handleVlans();
}

void PhysicalInterfaceSm::VekNetworkElement::handleVlans() {
  Vek::Ptr<NetworkElement const> const element = networkElement();
  if (!element) return;
  Vek::forEachKey(element->vlanCol(), [&](U32 vlan) {
    handleVlan(vlan);
    if (VekDynVlan* const reactor = dynVlan(vlan)) reactor->handleInitialized();
  });
}

void PhysicalInterfaceSm::VekNetworkElement::handleCleanup() {
  VEK_ENTRY << elementName();
  Vek::Ptr<PhysicalInterface> const port = this->port();
  Vek::Ptr<NetworkElement const> const element = networkElement();
  if (!port || !element) return;
  Vek::String const intfName = owner()->intfName();
  Vek::forEachKey(element->vlanCol(), [&](U32 vlan) {
    if (!port->vlan(vlan)) return;
    if (VekDynVlan* const reactor = dynVlan(vlan)) reactor->doCleanup();
    Vek::release(port->vlanRef(), vlan, elementName(),
                 [&] { VEK_TRACE(2) << "Deleting VLAN " << vlan << " from " << intfName; });
  });
}

// --- VekDynVlan ---------------------------------------------------------------------------

Vek::Ptr<DynamicVlan> PhysicalInterfaceSm::VekNetworkElement::VekDynVlan::portVlan() const {
  VekNetworkElement* const element = owner();
  Vek::Ptr<PhysicalInterface> const port = element ? element->port() : nullptr;
  return port ? port->vlan(vlanId()) : nullptr;
}

void PhysicalInterfaceSm::VekNetworkElement::VekDynVlan::handleInitialized() {
  VEK_TRACE_SITE;
  VekNetworkElement* const reactor = owner();
  Vek::Ptr<PhysicalInterface> const port = reactor ? reactor->port() : nullptr;
  Vek::Ptr<NetworkElement const> const element = reactor ? reactor->networkElement() : nullptr;
  Vek::Ptr<DynamicVlan const> const own = notifier();
  if (!port || !element || !own) return;
  Vek::Name const name = reactor->elementName();
  VEK_TRACE(9) << name << " : " << element->hostname() << " " << port->name()
               << " VLAN: " << vlanId();
  if (!port->isSwitchInterface()) {
    VEK_TRACE(2) << "Ignoring vni on " << name << " since this is not a switch interface.";
    return;
  }
  if (!element->isSwitchElement()) {
    Vek::Ptr<DynamicVlan> const vlan = Vek::hold(port->vlanRef(), vlanId(), name);
    // Domains before VNIs.
    Vek::forEachKey(own->domainCol(), [&](Client::ClientDomain const& domain) {
      VEK_TRACE(2) << "Adding domain " << domain.name() << " to " << port->name();
      Vek::hold(vlan->domainRef(), domain, name);
    });
    Vek::forEachKey(own->mappedVniCol(), [&](U32 vni) {
      VEK_TRACE(2) << "Adding VNI: " << vni << " mapped to VLAN: " << vlanId()
                   << " on interface: " << port->name();
      Vek::hold(vlan->mappedVniRef(), vni, name);
    });
  }
  // Also for a switch element.
  initialized_.set(true);
}

bool PhysicalInterfaceSm::VekNetworkElement::VekDynVlan::reach(Vek::TraceSite const& site,
                                                               std::string const& what,
                                                               Ends& ends) const {
  VEK_TRACE_SITE_OF(site);
  VekNetworkElement* const reactor = owner();
  ends.port = reactor ? reactor->port() : nullptr;
  Vek::Ptr<NetworkElement const> const element = reactor ? reactor->networkElement() : nullptr;
  if (!ends.port || !element) return false;
  ends.name = reactor->elementName();
  VEK_TRACE(9) << ends.name << " : " << element->hostname() << " " << ends.port->name()
               << " VLAN: " << vlanId() << what;
  if (!ends.port->isSwitchInterface()) {
    // Says "vni" for a domain too, as it always has.
    VEK_TRACE(2) << "Ignoring vni on " << ends.name << " since this is not a switch interface.";
    return false;
  }
  // The switch's end empties its ports' VLANs when it stops being a switch;
  // nothing to carry onto then.
  ends.vlan = portVlan();
  if (!ends.vlan) return false;
  // A switch element's VLAN is never carried.
  ends.own = element->isSwitchElement() ? nullptr : element->vlan(vlanId());
  return true;
}

void PhysicalInterfaceSm::VekNetworkElement::VekDynVlan::handleDynamicVniMapping(U32 vni) {
  VEK_TRACE_SITE;
  Ends ends;
  if (!reach(vekTraceSite_, " VNI: " + std::to_string(vni), ends)) return;
  Vek::String const port = ends.port->name();
  Vek::follow(
      ends.vlan->mappedVniRef(), vni, ends.name, ends.own && ends.own->mappedVni(vni),
      [&] {
        VEK_TRACE(2) << "Adding VNI: " << vni << " mapped to VLAN: " << vlanId()
                     << " on interface: " << port;
      },
      [&] {
        VEK_TRACE(2) << "Removing VNI: " << vni << " from VLAN: " << vlanId() << " on " << port;
      });
}

void PhysicalInterfaceSm::VekNetworkElement::VekDynVlan::handleVlanDomain(
    Client::ClientDomain const& domain) {
  VEK_TRACE_SITE;
  Ends ends;
  if (!reach(vekTraceSite_, "", ends)) return;
  Vek::String const port = ends.port->name();
  Vek::follow(
      ends.vlan->domainRef(), domain, ends.name, ends.own && ends.own->domain(domain),
      [&] { VEK_TRACE(2) << "Adding domain " << domain.name() << " to " << port; },
      [&] { VEK_TRACE(2) << "Deleting domain " << domain.name() << " from " << port; });
}

void PhysicalInterfaceSm::VekNetworkElement::VekDynVlan::doCleanup() {
  VEK_ENTRY << "";
  VekNetworkElement* const reactor = owner();
  Vek::Ptr<PhysicalInterface> const port = reactor ? reactor->port() : nullptr;
  Vek::Ptr<NetworkElement const> const element = reactor ? reactor->networkElement() : nullptr;
  Vek::Ptr<DynamicVlan const> const own = notifier();
  if (!port || !element || !own) return;
  Vek::Name const name = reactor->elementName();
  VEK_TRACE(2) << name << " : " << element->hostname() << " " << port->name() << " VLAN "
               << vlanId();
  Vek::Ptr<DynamicVlan> const vlan = portVlan();
  if (!vlan) return;
  // The port's entries are tested here, each going with its last holder.
  Vek::forEachKey(own->mappedVniCol(),
                  [&](U32 vni) { Vek::release(vlan->mappedVniRef(), vni, name, [] {}); });
  Vek::forEachKey(own->domainCol(), [&](Client::ClientDomain const& domain) {
    Vek::release(vlan->domainRef(), domain, name, [] {});
  });
}

}  // namespace VirtualNetwork::Agent
