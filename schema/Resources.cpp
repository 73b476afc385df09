#include "schema/Resources.h"

namespace VirtualNetwork {

void Interface::destroy() {
  isSwitchInterfaceIs(false);
  vlanDelAll();
  nativeVlanDelAll();
}

PhysicalInterface::~PhysicalInterface() = default;

void PhysicalInterface::destroy() {
  Interface::destroy();
  portGroupIs(nullptr);
  networkElementDelAll();
  configuredElementDelAll();
  discoveredElementDelAll();
  discoveredIs(false);
  referrerDelAll();
}

void PortGroup::destroy() {
  Interface::destroy();
  memberInterfaceDelAll();
}

void NetworkElement::destroy() {
  hostnameIs(Vek::String());
  resourcesForHostnameIs(nullptr);
  vlanDelAll();
  isSwitchElementIs(false);
  physicalInterfaceDelAll();
  portGroupDelAll();
  interfaceDelAll();
  referrerDelAll();
}

}  // namespace VirtualNetwork
