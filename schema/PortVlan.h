// The port VLAN configuration of one switch, shared with the controller
// proxy: the switch-wide VLAN list, and per port the allowed VLANs and the
// native VLAN. The agent writes it whole; nothing but the agent reads it back.
//
// Each change notifies once with the attribute's id and, for the per-port
// maps, the port name as a Vek::String.
//
//   auto config = ControllerProxyAgent::PortVlanConfigV1Is("00-00-00-00-00-01");
//   config->vlanListIs(Vek::String("5,100-101"));
//   config->portAllowedVlanListIs("swp1", Vek::String("100-101"));
//   config->portNativeVlanIs("swp1", 5);
#pragma once

#include "reactive/AllocTrack.h"
#include "reactive/Attribute.h"
#include "reactive/Entity.h"
#include "reactive/ValueTypes.h"

namespace ControllerProxyAgent {

class PortVlanConfigV1 : public Vek::Entity, public Vek::AllocTracked<PortVlanConfigV1> {
 public:
  // None of the ids is given by the record's readers: 258 on, in
  // declaration order.
  static constexpr Vek::AttributeId vlanListId = 258;
  static constexpr Vek::AttributeId portAllowedVlanListId = 259;
  static constexpr Vek::AttributeId portNativeVlanId = 260;
  using NotifieeConst = Vek::NotifieeConst;

  explicit PortVlanConfigV1(Vek::Name switchId) : Entity(std::move(switchId)) {}

  // The VLANs of the switch, as a range text.
  VlanListV1 vlanList() const { return vlanList_.get(); }
  void vlanListIs(VlanListV1 const& v) { vlanList_.set(*this, v); }

  // Allowed VLANs of a port; the empty list if the port has no entry (and
  // asking makes none).
  VlanListV1 portAllowedVlanList(Vek::String const& port) const {
    return portAllowedVlanList_.get(port);
  }
  Vek::ValueMap<Vek::String, VlanListV1, portAllowedVlanListId> const& portAllowedVlanListCol()
      const {
    return portAllowedVlanList_;
  }
  void portAllowedVlanListIs(Vek::String const& port, VlanListV1 const& v) {
    portAllowedVlanList_.set(*this, port, v);
  }
  void portAllowedVlanListDel(Vek::String const& port) { portAllowedVlanList_.del(*this, port); }
  void portAllowedVlanListDelAll() { portAllowedVlanList_.delAll(*this); }

  // Native VLAN of a port; none (0) if the port has no entry.
  Bridging::VlanIdOrNone portNativeVlan(Vek::String const& port) const {
    return portNativeVlan_.get(port);
  }
  Vek::ValueMap<Vek::String, Bridging::VlanIdOrNone, portNativeVlanId> const& portNativeVlanCol()
      const {
    return portNativeVlan_;
  }
  void portNativeVlanIs(Vek::String const& port, Bridging::VlanIdOrNone v) {
    portNativeVlan_.set(*this, port, v);
  }
  void portNativeVlanDel(Vek::String const& port) { portNativeVlan_.del(*this, port); }
  void portNativeVlanDelAll() { portNativeVlan_.delAll(*this); }

 private:
  Vek::Value<VlanListV1, vlanListId> vlanList_;
  Vek::ValueMap<Vek::String, VlanListV1, portAllowedVlanListId> portAllowedVlanList_;
  Vek::ValueMap<Vek::String, Bridging::VlanIdOrNone, portNativeVlanId> portNativeVlan_;
};

// Creator for the host process and for tests.
inline Vek::Ptr<PortVlanConfigV1> PortVlanConfigV1Is(Vek::Name switchId) {
  return new PortVlanConfigV1(std::move(switchId));
}

}  // namespace ControllerProxyAgent
