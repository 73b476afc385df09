// The records shared with the VXLAN controller, one set per switch: the
// VTEP configuration that the agent writes (which VNI each VLAN of each port
// maps to, per VTEP of the switch) and the VTEP status that the controller
// writes and the agent reads (which VTEPs exist on the switch).
//
// Each change notifies once with the attribute's id and the key: a
// Vek::String for VTEP names, the PortVlanPairV2 itself for map entries.
//
//   auto dir = VxlanController::VtepConfigDirV2Is("00-00-00-00-00-01");
//   auto vtep = dir->vtepConfigIs("vtep1");          // the same object each time
//   vtep->vlanToVniMapIs({"swp1", 100}, 10100);
//   status->vtepStatusIs("vtep1");
#pragma once

#include "reactive/AllocTrack.h"
#include "reactive/Attribute.h"
#include "reactive/Entity.h"
#include "reactive/ValueTypes.h"

namespace VxlanController {

// The VLAN-to-VNI map that one VTEP is to use.
class VtepConfigV2 : public Vek::Entity, public Vek::AllocTracked<VtepConfigV2> {
 public:
  // Not given by the record's readers: 258, the first id.
  static constexpr Vek::AttributeId vlanToVniMapId = 258;
  using NotifieeConst = Vek::NotifieeConst;

  explicit VtepConfigV2(Vek::String name) : Entity(std::move(name)) {}

  // The VNI of a port's VLAN; VNI 0 if absent (see vlanToVniMapCol() to
  // tell an absent entry from a mapping to 0).
  Vxlan::Vni vlanToVniMap(PortVlanPairV2 const& pair) const { return vlanToVniMap_.get(pair); }
  Vek::ValueMap<PortVlanPairV2, Vxlan::Vni, vlanToVniMapId> const& vlanToVniMapCol() const {
    return vlanToVniMap_;
  }
  void vlanToVniMapIs(PortVlanPairV2 const& pair, Vxlan::Vni vni) {
    vlanToVniMap_.set(*this, pair, vni);
  }
  void vlanToVniMapDel(PortVlanPairV2 const& pair) { vlanToVniMap_.del(*this, pair); }
  void vlanToVniMapDelAll() { vlanToVniMap_.delAll(*this); }

 private:
  Vek::ValueMap<PortVlanPairV2, Vxlan::Vni, vlanToVniMapId> vlanToVniMap_;
};

// The VTEP configuration of one switch: the child of the dynamic VTEP
// configuration directory, keyed by the switch id.
class VtepConfigDirV2 : public Vek::Entity, public Vek::AllocTracked<VtepConfigDirV2> {
 public:
  // Not given by the record's readers: 258, the first id.
  static constexpr Vek::AttributeId vtepConfigId = 258;
  using NotifieeConst = Vek::NotifieeConst;

  explicit VtepConfigDirV2(Vek::Name switchId) : Entity(std::move(switchId)) {}

  Vek::Ptr<VtepConfigV2> vtepConfig(Vek::String const& name) const {
    return vtepConfig_.find(name);
  }
  Vek::EntityMap<Vek::String, VtepConfigV2, vtepConfigId> const& vtepConfigCol() const {
    return vtepConfig_;
  }
  // The configuration of a VTEP, made on first need.
  Vek::Ptr<VtepConfigV2> vtepConfigIs(Vek::String const& name) {
    return vtepConfig_.is(*this, name);
  }
  Vek::Ptr<VtepConfigV2> vtepConfigDel(Vek::String const& name) {
    return vtepConfig_.del(*this, name);
  }
  void vtepConfigDelAll() { vtepConfig_.delAll(*this); }

 private:
  Vek::EntityMap<Vek::String, VtepConfigV2, vtepConfigId> vtepConfig_;
};

// A VTEP that exists on the switch. Only its presence is read.
class VtepStatusV2 : public Vek::Entity, public Vek::AllocTracked<VtepStatusV2> {
 public:
  using NotifieeConst = Vek::NotifieeConst;

  explicit VtepStatusV2(Vek::String name) : Entity(std::move(name)) {}
};

// The VTEPs of one switch: the child of the VTEP status directory, keyed by
// the switch id.
class VtepStatusDirV2 : public Vek::Entity, public Vek::AllocTracked<VtepStatusDirV2> {
 public:
  static constexpr Vek::AttributeId vtepStatusId = 258;
  using NotifieeConst = Vek::NotifieeConst;

  explicit VtepStatusDirV2(Vek::Name switchId) : Entity(std::move(switchId)) {}

  Vek::Ptr<VtepStatusV2> vtepStatus(Vek::String const& name) const {
    return vtepStatus_.find(name);
  }
  Vek::EntityMap<Vek::String, VtepStatusV2, vtepStatusId> const& vtepStatusCol() const {
    return vtepStatus_;
  }
  Vek::Ptr<VtepStatusV2> vtepStatusIs(Vek::String const& name) {
    return vtepStatus_.is(*this, name);
  }
  Vek::Ptr<VtepStatusV2> vtepStatusDel(Vek::String const& name) {
    return vtepStatus_.del(*this, name);
  }
  void vtepStatusDelAll() { vtepStatus_.delAll(*this); }

 private:
  Vek::EntityMap<Vek::String, VtepStatusV2, vtepStatusId> vtepStatus_;
};

// Creators for the host process and for tests.
inline Vek::Ptr<VtepConfigV2> VtepConfigV2Is(Vek::String name) {
  return new VtepConfigV2(std::move(name));
}
inline Vek::Ptr<VtepConfigDirV2> VtepConfigDirV2Is(Vek::Name switchId) {
  return new VtepConfigDirV2(std::move(switchId));
}
inline Vek::Ptr<VtepStatusV2> VtepStatusV2Is(Vek::String name) {
  return new VtepStatusV2(std::move(name));
}
inline Vek::Ptr<VtepStatusDirV2> VtepStatusDirV2Is(Vek::Name switchId) {
  return new VtepStatusDirV2(std::move(switchId));
}

}  // namespace VxlanController
