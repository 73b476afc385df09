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

#include "reactive/Record.h"
#include "reactive/ValueTypes.h"

namespace VxlanController {

// The VLAN-to-VNI map that one VTEP is to use. The id is not given by the
// record's readers: 258, the first id.
class VtepConfigV2 : public Vek::Record<VtepConfigV2> {
 public:
  using Record::Record;

  // The VNI of a port's VLAN; VNI 0 if absent (see vlanToVniMapCol() to
  // tell an absent entry from a mapping to 0).
  VEK_VALUES(vlanToVniMap, 258, PortVlanPairV2, Vxlan::Vni)
};

// The VTEP configuration of one switch: the child of the dynamic VTEP
// configuration directory, keyed by the switch id. `vtepConfigIs(name)`
// makes the configuration of a VTEP on first need.
class VtepConfigDirV2 : public Vek::Record<VtepConfigDirV2> {
 public:
  using Record::Record;

  VEK_ENTITIES(vtepConfig, 258, Vek::String, VtepConfigV2)
};

// A VTEP that exists on the switch. Only its presence is read.
class VtepStatusV2 : public Vek::Record<VtepStatusV2> {
 public:
  using Record::Record;
};

// The VTEPs of one switch: the child of the VTEP status directory, keyed by
// the switch id.
class VtepStatusDirV2 : public Vek::Record<VtepStatusDirV2> {
 public:
  using Record::Record;

  VEK_ENTITIES(vtepStatus, 258, Vek::String, VtepStatusV2)
};

// Creators for the host process and for tests.
VEK_RECORD_CREATOR(VtepConfigV2, Vek::String)
VEK_RECORD_CREATOR(VtepConfigDirV2, Vek::Name)
VEK_RECORD_CREATOR(VtepStatusV2, Vek::String)
VEK_RECORD_CREATOR(VtepStatusDirV2, Vek::Name)

}  // namespace VxlanController
