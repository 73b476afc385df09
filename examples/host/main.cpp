// The agent inside a host program, as a controller embeds it: the host owns
// the seven inputs, builds the agent over them, and writes records as its
// clients, its topology service and its switches do. The agent answers on the
// spot, inside each write; there is no loop to run.
//
// Prints the port record the agent wrote for the switch:
//   vlanList 10,20
//   Ethernet1 allowed 10,20 native 10
#include <iostream>

#include "VirtualNetworkAgent.h"

using namespace VirtualNetwork;

int main() {
  char const kSwitch[] = "00:00:00:00:00:01";
  char const kSwitchDash[] = "00-00-00-00-00-01";

  auto config = ConfigIs(Vek::Name("config"));
  auto status = StatusIs(Vek::Name("status"));
  auto topology = NetworkTopologyAggregatorV3::StatusIs(Vek::Name("topology"));
  auto portVlanConfigDir = Vek::DirIs("controllerProxyAgent/v1/portVlanConfigDir");
  auto dynVtepConfigDir = Vek::DirIs("vxlancontroller/version2/input/dynVtepConfig/openstack");
  auto dynVtepStatusDir = Vek::DirIs("vxlan/version2/vtepStatusDir");
  auto clientDir = Vek::DirIs("requestedResourcesColDir");
  config->enabledIs(true);

  auto agent = Agent::virtualNetworkAgentSmFactory(config, status, topology, portVlanConfigDir,
                                                   dynVtepConfigDir, dynVtepStatusDir, clientDir);

  // The switch: a host of the topology and its three directory entries, each
  // entry before its entity as a directory writes them.
  topology->hostIs(Vek::Name(kSwitch));
  auto ports = ControllerProxyAgent::PortVlanConfigV1Is(Vek::Name(kSwitchDash));
  auto mount = [](Vek::Ptr<Vek::Dir> const& dir, Vek::Ptr<Vek::Entity> const& entity) {
    dir->entryStateIs(Vek::DirEntryIs(entity->name(), 1));
    dir->entityPtrIs(entity->name(), entity);
  };
  mount(portVlanConfigDir, ports);
  mount(dynVtepConfigDir, VxlanController::VtepConfigDirV2Is(Vek::Name(kSwitchDash)));
  mount(dynVtepStatusDir, VxlanController::VtepStatusDirV2Is(Vek::Name(kSwitchDash)));

  // A client asks for VLANs 10 and 20 on the switch's Ethernet1, 10 untagged.
  auto requests = Client::RequestedResourcesCollectionIs(Vek::Name("ops"));
  mount(clientDir, requests);
  auto port = requests->resourcesForSwitchportIs(
      Client::SwitchInterface(Vek::String(kSwitch), Vek::String("Ethernet1")));
  port->vlanIs(10);
  port->vlanIs(20);
  port->nativeVlanIs(10);

  std::cout << "vlanList " << ports->vlanList() << "\n";
  for (auto it = ports->portAllowedVlanListCol().iterator(); it; ++it) {
    std::cout << it.key() << " allowed " << it.value();
    if (auto native = ports->portNativeVlanCol().find(it.key())) std::cout << " native " << *native;
    std::cout << "\n";
  }
  // The agent goes before the records it watches.
  agent = nullptr;
  return 0;
}
