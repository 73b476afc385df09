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
// Made by the agent root when the switch's four preconditions hold, and
// deleted when one goes; the port record then stays as it is until the
// next life sweeps it.
#pragma once

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

  Vek::Name switchId() const { return switchId_.get(); }
  Vek::Ptr<PortVlanConfig> portVlanConfig() const { return portVlanConfig_.get(); }
  Vek::Ptr<VtepConfigDir> vtepConfigDir() const { return vtepConfigDir_.get(); }
  Vek::Ptr<VtepStatusDir const> vtepStatusDir() const { return vtepStatusDir_.get(); }
  Vek::Ptr<NetworkElementCollection> networkElementCollection() const {
    return networkElementCollection_.get();
  }
  Vek::Ptr<Config const> config() const { return config_.get(); }

  Vek::Ptr<NetworkElement> switchElement() const { return switchElement_.get(); }
  // The same element again does nothing. Otherwise the reactors of all its
  // interfaces and physical interfaces are made first, and then the full
  // resynchronisation runs.
  void switchElementIs(Vek::Ptr<NetworkElement> const& element);

  VekInterface* interface(Vek::String const& intfName) const;
  void interfaceIs(Vek::Ptr<Interface> const& interface);
  void interfaceDel(Vek::String const& intfName);
  void interfaceDelAll();
  VekPhysicalInterface* physicalInterface(Vek::String const& intfName) const;
  void physicalInterfaceIs(Vek::Ptr<PhysicalInterface const> const& interface);
  void physicalInterfaceDel(Vek::String const& intfName);
  void physicalInterfaceDelAll();
  VekVlanToVniMap* vlanToVniMap(Client::ClientDomain const& domain) const;
  void vlanToVniMapIs(Vek::Ptr<VlanToVniMap const> const& map);
  void vlanToVniMapDel(Client::ClientDomain const& domain);
  void vlanToVniMapDelAll();

  // True only for a physical interface of the switch element that is in a
  // port group; false while no switch element is set.
  bool isMemberInterface(Vek::String intfName) const;

  // Handlers.
  void handleSwitchElement();
  void handleInterface(Vek::String intfName);
  void handleVlan(U32 vlan);
  void handleNetworkElement(Vek::Name name);
  void handleVtepConfig(Vek::String name);
  void handleNativeVlanConflict(Vek::String intfName, U32 vlan);
  void doCleanup();
  void handleInitialized();

  static auto vekParams() {
    using S = SwitchNodeSm;
    return std::tuple{&S::switchId_,      &S::portVlanConfig_,           &S::vtepConfigDir_,
                      &S::vtepStatusDir_, &S::networkElementCollection_, &S::config_};
  }
  static auto vekMembers();

 private:
  Vek::Param<"switchId", Vek::Name> switchId_;
  Vek::Param<"portVlanConfig", Vek::Ptr<PortVlanConfig>> portVlanConfig_;
  Vek::Param<"vtepConfigDir", Vek::Ptr<VtepConfigDir>> vtepConfigDir_;
  Vek::ReactorSlot<"vtepStatusDir", VekVtepStatusDir, VtepStatusDir const> vtepStatusDir_;
  Vek::ReactorSlot<"networkElementCollection", VekNetworkElementCollection,
                   NetworkElementCollection>
      networkElementCollection_;
  Vek::ReactorSlot<"config", VekConfig, Config const> config_;
  Vek::ReactorSlot<"switchElement", VekSwitchElement, NetworkElement> switchElement_;
  Vek::ReactorMap<"interface", Vek::String, VekInterface> interface_;
  Vek::ReactorMap<"physicalInterface", Vek::String, VekPhysicalInterface> physicalInterface_;
  Vek::ReactorMap<"vlanToVniMap", Client::ClientDomain, VekVlanToVniMap> vlanToVniMap_;
  // Declared and never written: it stays false.
  Vek::Attr<"initialized", bool> initialized_;
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

// Keeps one reactor per static map of the configuration.
class SwitchNodeSm::VekConfig : public Vek::Reactor<VekConfig, Config const, SwitchNodeSm> {
 public:
  using Reactor::Reactor;
  using vekReactions =
      Vek::Reactions<Vek::OnNested<Config::vlanToVniMapId, &SwitchNodeSm::vlanToVniMap_,
                                   &Config::vlanToVniMapCol>>;
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

  VekDynVlan* dynVlan(U32 vlan) const;
  void dynVlanIs(Vek::Ptr<DynamicVlan const> const& vlan);
  void dynVlanDel(U32 vlan);

  void handleVlan(U32 vlan);
  void handleNativeVlan(U32 vlan);
  // Building the reactor builds one VNI reactor per VLAN of the interface,
  // and writes nothing: the switch node provisions the port right after.
  void handleInitialized();

  static auto vekMembers() { return Vek::members(&VekInterface::dynVlan_); }

 private:
  Vek::ReactorMap<"dynVlan", U32, VekDynVlan> dynVlan_;

 public:
  // The allowed list first, the VNI reactors after: a new VLAN is on the
  // port before its VNI is mapped, a removed one leaves it before.
  using vekReactions =
      Vek::Reactions<Vek::OnKey<Interface::vlanId, &VekInterface::handleVlan>,
                     Vek::OnNested<Interface::vlanId, &VekInterface::dynVlan_, &Interface::vlanCol>,
                     Vek::OnKey<Interface::nativeVlanId, &VekInterface::handleNativeVlan>>;
};

// One VLAN of one interface, for its VNI mapping.
class SwitchNodeSm::VekInterface::VekDynVlan
    : public Vek::Reactor<VekDynVlan, DynamicVlan const, VekInterface> {
 public:
  using Reactor::Reactor;
  // The mapping of the VLAN's VNIs onto the VTEP comes with the VNI mapping.
  using vekReactions = Vek::Reactions<>;
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

// One static VLAN-to-VNI map of the configuration.
class SwitchNodeSm::VekVlanToVniMap
    : public Vek::Reactor<VekVlanToVniMap, VlanToVniMap const, SwitchNodeSm> {
 public:
  using Reactor::Reactor;
  // Its ranges are followed onto the switch with the static maps.
  using vekReactions = Vek::Reactions<>;
};

inline auto SwitchNodeSm::vekMembers() {
  using S = SwitchNodeSm;
  return Vek::members(
      &S::switchId_, &S::portVlanConfig_, &S::vtepConfigDir_, &S::vtepStatusDir_,
      &S::networkElementCollection_, &S::config_,
      Vek::handler<"handleSwitchElement", &S::handleSwitchElement>(), &S::switchElement_,
      Vek::handler<"isMemberInterface", &S::isMemberInterface>(), &S::interface_,
      &S::physicalInterface_, Vek::handler<"handleInterface", &S::handleInterface>(),
      Vek::handler<"handleVlan", &S::handleVlan>(),
      Vek::handler<"handleNetworkElement", &S::handleNetworkElement>(),
      Vek::handler<"handleVtepConfig", &S::handleVtepConfig>(),
      Vek::mirror(&S::vlanToVniMap_,
                  [](S const& s) { return s.config() ? &s.config()->vlanToVniMapCol() : nullptr; }),
      Vek::handler<"handleNativeVlanConflict", &S::handleNativeVlanConflict>(),
      Vek::handler<"doCleanup", &S::doCleanup>(),
      Vek::handler<"handleInitialized", &S::handleInitialized>(), &S::initialized_);
}

}  // namespace VirtualNetwork::Agent
