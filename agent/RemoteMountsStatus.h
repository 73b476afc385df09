// What the agent knows of one switch's four preconditions.
//
// A switch is served only when the topology knows it and its three
// per-switch directories are mounted and synchronised. The facts arrive in
// any order and may go again; `ready` is their AND. Each flag mutator keeps
// the invariant before it notifies: `ready` is notified first, so whatever
// reacts to `ready` has finished before the flag's own notification goes
// out.
//
// Keyed by the switch's MAC in dash form (the switchId), like the switch
// directories; the switch's node and element use the colon form.
#pragma once

#include "reactive/AllocTrack.h"
#include "reactive/Entity.h"
#include "reactive/TypeNode.h"

namespace VirtualNetwork::Agent {

class RemoteMountsStatus : public Vek::Entity, public Vek::AllocTracked<RemoteMountsStatus> {
 public:
  static constexpr Vek::AttributeId switchIdId = 258;
  static constexpr Vek::AttributeId topologyId = 259;
  static constexpr Vek::AttributeId portVlanConfigId = 260;
  static constexpr Vek::AttributeId dynVtepConfigId = 261;
  static constexpr Vek::AttributeId dynVtepStatusId = 262;
  static constexpr Vek::AttributeId readyId = 263;
  using NotifieeConst = Vek::NotifieeConst;
  static constexpr char const* vekKeyName = "switchId";

  explicit RemoteMountsStatus(Vek::String switchId) : Entity(Vek::Name(switchId)) {}

  Vek::String switchId() const { return name(); }
  Vek::String fwkKey() const { return name(); }

  bool topology() const { return topology_; }
  bool portVlanConfig() const { return portVlanConfig_; }
  bool dynVtepConfig() const { return dynVtepConfig_; }
  bool dynVtepStatus() const { return dynVtepStatus_; }
  bool ready() const { return ready_; }

  void topologyIs(bool value) { flagIs(topology_, value, topologyId); }
  void portVlanConfigIs(bool value) { flagIs(portVlanConfig_, value, portVlanConfigId); }
  void dynVtepConfigIs(bool value) { flagIs(dynVtepConfig_, value, dynVtepConfigId); }
  void dynVtepStatusIs(bool value) { flagIs(dynVtepStatus_, value, dynVtepStatusId); }
  void readyIs(bool value);

  // The description: the entity's own entries, then switchId and the five
  // flags; the door writes the four facts through their mutators and
  // leaves `ready` to them.
  static Vek::TypeNode const& _vekType();
  Vek::TypeNode const* fwkType() const override { return &_vekType(); }

 private:
  void flagIs(bool& flag, bool value, Vek::AttributeId id);

  bool topology_ = false;
  bool portVlanConfig_ = false;
  bool dynVtepConfig_ = false;
  bool dynVtepStatus_ = false;
  bool ready_ = false;
};

}  // namespace VirtualNetwork::Agent
