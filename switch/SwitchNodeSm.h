// The output side of the agent, one per ready switch.
//
// Watches the switch's element (its interfaces and VLANs, kept by the
// element side) and keeps the switch's port VLAN record in step with it:
//   - `vlanList`: the switch-wide VLANs, the element's `vlan`;
//   - `portAllowedVlanList[port]`: the VLANs of each interface that is no
//     port-group member, no entry when there are none;
//   - `portNativeVlan[port]`: the one native VLAN of such an interface, no
//     entry when it has none or more than one (a conflict, reported at
//     level 0 until one candidate is left).
// The records themselves are the memory: setting the switch element
// reconciles them from what they hold (a restart or reconnect needs nothing
// else), and every later change reads the stored text, changes one VLAN and
// writes it back.
//
// It also keeps the VTEP's VLAN-to-VNI map (SwitchNodeSmVni.cpp): the VNIs
// wanted for a VLAN of a port, a client's dynamic ones and the operator's
// static ones alike, are counted by referrers on the VLAN's `mappedVni`;
// exactly one is mapped, two or more are a conflict that withdraws the
// mapping (level 0) until one is left, none removes it.
//
// Made by the agent root when the switch's four preconditions hold, and
// deleted when one goes; the port record then stays as it is until the
// next life sweeps it, while the VTEP mappings go one by one with the VNI
// reactors.
#pragma once

#include "reactive/Accessors.h"
#include "reactive/StateMachine.h"
#include "schema/PortVlan.h"
#include "schema/Resources.h"
#include "schema/Roots.h"
#include "schema/Vtep.h"

namespace VirtualNetwork::Agent {

class SwitchNodeSm : public Vek::StateMachine<SwitchNodeSm> {
 public:
  class VekVtepStatusDir;
  class VekNetworkElementCollection;
  class VekConfig;
  class VekSwitchElement;
  class VekInterface;
  class VekPhysicalInterface;
  class VekVlanToVniMap;

  using PortVlanConfig = ControllerProxyAgent::PortVlanConfigV1;
  using VtepConfigDir = VxlanController::VtepConfigDirV2;
  using VtepStatusDir = VxlanController::VtepStatusDirV2;

  SwitchNodeSm(Vek::Name switchId, Vek::Ptr<PortVlanConfig> const& portVlanConfig,
               Vek::Ptr<VtepConfigDir> const& vtepConfigDir,
               Vek::Ptr<VtepStatusDir const> const& vtepStatusDir,
               Vek::Ptr<NetworkElementCollection> const& networkElementCollection,
               Vek::Ptr<Config const> const& config)
      : switchId_(std::move(switchId)),
        portVlanConfig_(portVlanConfig),
        vtepConfigDir_(vtepConfigDir),
        vtepStatusDir_(vtepStatusDir),
        networkElementCollection_(networkElementCollection),
        config_(config) {}

  VEK_SM_PARAM(switchId, Vek::Name)
  VEK_SM_PARAM(portVlanConfig, Vek::Ptr<PortVlanConfig>)
  VEK_SM_PARAM(vtepConfigDir, Vek::Ptr<VtepConfigDir>)
  VEK_SM_REACTOR(vtepStatusDir, VekVtepStatusDir, VtepStatusDir const)
  VEK_SM_REACTOR(networkElementCollection, VekNetworkElementCollection, NetworkElementCollection)
  VEK_SM_REACTOR(config, VekConfig, Config const)
  // The same element again does nothing. Otherwise the reactors of all its
  // interfaces and physical interfaces are made first, and then the full
  // resynchronisation runs.
  VEK_SM_REACTOR_GET(switchElement, VekSwitchElement, NetworkElement)
  void switchElementIs(Vek::Ptr<NetworkElement> const& element);
  VEK_SM_REACTORS(interface, Vek::String, VekInterface)
  VEK_SM_REACTORS(physicalInterface, Vek::String, VekPhysicalInterface)
  VEK_SM_REACTORS(vlanToVniMap, Client::ClientDomain, VekVlanToVniMap)
  // Declared and never written: it stays false.
  VEK_SM_ATTR(initialized, bool)

  // True only for a physical interface of the switch element that is in a
  // port group; false while no switch element is set.
  bool isMemberInterface(Vek::String intfName) const;
  // The VTEP configuration that single mappings work on: the first of the
  // switch's (one VTEP per switch is assumed), or null while there is none.
  Vek::Ptr<VxlanController::VtepConfigV2> firstVtepConfig() const;

  // Handlers.
  void handleSwitchElement();
  void handleInterface(Vek::String intfName);
  void handleVlan(U32 vlan);
  void handleNetworkElement(Vek::Name name);
  // The bulk writer of the VTEP map: makes the VTEP's configuration while
  // its status is there, then adds and refreshes every mapping; it deletes
  // none.
  void handleVtepConfig(Vek::String name);
  void handleStaticVniMapForDomain(Client::ClientDomain domain);
  void handleVniMapConflict(Vek::String intfName, U32 vlan);
  void handleNativeVlanConflict(Vek::String intfName, U32 vlan);
  void doCleanup();
  void handleInitialized();

  static auto vekParams() {
    using S = SwitchNodeSm;
    return std::tuple{&S::switchId_,      &S::portVlanConfig_,           &S::vtepConfigDir_,
                      &S::vtepStatusDir_, &S::networkElementCollection_, &S::config_};
  }
  static auto vekMembers();
};

class SwitchNodeSm::VekVtepStatusDir
    : public Vek::Reactor<VekVtepStatusDir, VtepStatusDir const, SwitchNodeSm> {
 public:
  using Reactor::Reactor;
  using vekReactions =
      Vek::Reactions<Vek::OnKey<VtepStatusDir::vtepStatusId, &SwitchNodeSm::handleVtepConfig>>;
};

class SwitchNodeSm::VekNetworkElementCollection
    : public Vek::Reactor<VekNetworkElementCollection, NetworkElementCollection, SwitchNodeSm> {
 public:
  using Reactor::Reactor;
  using vekReactions = Vek::Reactions<
      Vek::OnKey<NetworkElementCollection::networkElementId, &SwitchNodeSm::handleNetworkElement>>;
};

// Keeps one reactor per static map of the configuration, made or deleted
// before the domain's map is followed onto the switch.
class SwitchNodeSm::VekConfig : public Vek::Reactor<VekConfig, Config const, SwitchNodeSm> {
 public:
  using Reactor::Reactor;
  using vekReactions = Vek::Reactions<
      Vek::OnNested<Config::vlanToVniMapId, &SwitchNodeSm::vlanToVniMap_, &Config::vlanToVniMapCol>,
      Vek::OnKey<Config::vlanToVniMapId, &SwitchNodeSm::handleStaticVniMapForDomain>>;
};

// Interfaces: the reactor first, then the port's records. Physical
// interfaces: the reactor only. VLANs: the switch-wide list.
class SwitchNodeSm::VekSwitchElement
    : public Vek::Reactor<VekSwitchElement, NetworkElement, SwitchNodeSm> {
 public:
  using Reactor::Reactor;
  using vekReactions = Vek::Reactions<
      Vek::OnNested<NetworkElement::interfaceId, &SwitchNodeSm::interface_,
                    &NetworkElement::interfaceCol>,
      Vek::OnKey<NetworkElement::interfaceId, &SwitchNodeSm::handleInterface>,
      Vek::OnNested<NetworkElement::physicalInterfaceId, &SwitchNodeSm::physicalInterface_,
                    &NetworkElement::physicalInterfaceCol>,
      Vek::OnKey<NetworkElement::vlanId, &SwitchNodeSm::handleVlan>>;
};

// Writes one port's allowed VLANs and native VLAN.
class SwitchNodeSm::VekInterface : public Vek::Reactor<VekInterface, Interface, SwitchNodeSm> {
 public:
  class VekDynVlan;

  using Reactor::Reactor;
  Vek::Ptr<Interface> interface() const { return notifier(); }
  Vek::String intfName() const { return fwkKey(); }

  VEK_SM_REACTORS(dynVlan, U32, VekDynVlan)

  void handleVlan(U32 vlan);
  void handleNativeVlan(U32 vlan);
  // Building the reactor builds one VNI reactor per VLAN of the interface,
  // and writes nothing: the switch node provisions the port right after.
  void handleInitialized();

  static auto vekMembers() { return Vek::members(&VekInterface::dynVlan_); }

  // The allowed list first, the VNI reactors after: a new VLAN is on the
  // port before its VNI is mapped, a removed one leaves it before.
  using vekReactions =
      Vek::Reactions<Vek::OnKey<Interface::vlanId, &VekInterface::handleVlan>,
                     Vek::OnNested<Interface::vlanId, &VekInterface::dynVlan_, &Interface::vlanCol>,
                     Vek::OnKey<Interface::nativeVlanId, &VekInterface::handleNativeVlan>>;
};

// One VLAN of one interface: its VNIs onto the VTEP's map, and the static
// VNIs of its domains into its `mappedVni`. Reads the VLAN through the
// reactor and changes it through the interface.
class SwitchNodeSm::VekInterface::VekDynVlan
    : public Vek::Reactor<VekDynVlan, DynamicVlan const, VekInterface> {
 public:
  using Reactor::Reactor;
  U32 vlanId() const { return fwkKey(); }
  Vek::String intfName() const;

  // Declared and never written: it stays false.
  VEK_SM_ATTR(initialized, bool)

  // Turns the static maps of the VLAN's domains into VNI entries. VNIs the
  // VLAN already has are not replayed: they reach the VTEP with the next
  // bulk pass.
  void handleInitialized();
  // The static side: adds the domain's VNI with the domain's first string
  // as referrer, or takes that referrer from every VNI of the VLAN.
  void handleVlanDomain(Client::ClientDomain domain);
  // The one writer of single mappings.
  void handleInterfaceVniMapping(U32 vni);
  // Deletes the VLAN's mapping, also on a port-group member.
  void doCleanup();

  static auto vekMembers() { return Vek::members(&VekDynVlan::initialized_); }

  using vekReactions =
      Vek::Reactions<Vek::OnKey<DynamicVlan::mappedVniId, &VekDynVlan::handleInterfaceVniMapping>,
                     Vek::OnKey<DynamicVlan::domainId, &VekDynVlan::handleVlanDomain>>;

 private:
  SwitchNodeSm* node() const;
  // The interface's own record of this VLAN, writable; null once it went.
  Vek::Ptr<DynamicVlan> vlan() const;
};

// Port-group membership of one physical interface.
class SwitchNodeSm::VekPhysicalInterface
    : public Vek::Reactor<VekPhysicalInterface, PhysicalInterface const, SwitchNodeSm> {
 public:
  using Reactor::Reactor;
  Vek::String intfName() const { return fwkKey(); }
  void handlePortGroup();
  using vekReactions = Vek::Reactions<
      Vek::OnValue<PhysicalInterface::portGroupId, &VekPhysicalInterface::handlePortGroup>>;
};

// One static VLAN-to-VNI map of the configuration: a change of a range is
// followed onto the VLANs of the switch that lie in it.
class SwitchNodeSm::VekVlanToVniMap
    : public Vek::Reactor<VekVlanToVniMap, VlanToVniMap const, SwitchNodeSm> {
 public:
  using Reactor::Reactor;
  Client::ClientDomain domainName() const { return fwkKey(); }
  void handleStaticVniMapForVlanRange(Range vlanRange);
  using vekReactions = Vek::Reactions<
      Vek::OnKey<VlanToVniMap::mapId, &VekVlanToVniMap::handleStaticVniMapForVlanRange>>;
};

inline auto SwitchNodeSm::vekMembers() {
  using S = SwitchNodeSm;
  return Vek::members(
      &S::switchId_, &S::portVlanConfig_, &S::vtepConfigDir_, &S::vtepStatusDir_,
      &S::networkElementCollection_, &S::config_,
      Vek::handler<"handleSwitchElement", &S::handleSwitchElement>(), &S::switchElement_,
      Vek::handler<"isMemberInterface", &S::isMemberInterface, "intfName">(), &S::interface_,
      &S::physicalInterface_, Vek::handler<"handleInterface", &S::handleInterface, "intfName">(),
      Vek::idGap<1>(), Vek::handler<"handleVlan", &S::handleVlan, "vlan">(), Vek::idGap<1>(),
      Vek::handler<"handleNetworkElement", &S::handleNetworkElement, "name">(), Vek::idGap<1>(),
      Vek::handler<"handleVtepConfig", &S::handleVtepConfig, "name">(), Vek::idGap<1>(),
      Vek::mirror(&S::vlanToVniMap_, &S::config, &Config::vlanToVniMapCol),
      Vek::handler<"handleStaticVniMapForDomain", &S::handleStaticVniMapForDomain, "domain">(),
      Vek::idGap<1>(),
      Vek::handler<"handleVniMapConflict", &S::handleVniMapConflict, "intfName", "vlan">(),
      Vek::handler<"handleNativeVlanConflict", &S::handleNativeVlanConflict, "intfName",
                   "vlan">(),
      Vek::handler<"doCleanup", &S::doCleanup>(),
      Vek::handler<"handleInitialized", &S::handleInitialized>(), &S::initialized_);
}

}  // namespace VirtualNetwork::Agent
