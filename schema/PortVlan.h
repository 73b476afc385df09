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

#include "reactive/Record.h"
#include "reactive/ValueTypes.h"

namespace ControllerProxyAgent {

// None of the ids is given by the record's readers: 258 on, in declaration
// order.
class PortVlanConfigV1 : public Vek::Record<PortVlanConfigV1> {
 public:
  using Record::Record;

  // The VLANs of the switch, as a range text.
  VEK_VALUE(vlanList, 258, VlanListV1)
  // Allowed VLANs of a port; the empty list if the port has no entry (and
  // asking makes none).
  VEK_VALUES(portAllowedVlanList, 259, Vek::String, VlanListV1)
  // Native VLAN of a port; none (0) if the port has no entry.
  VEK_VALUES(portNativeVlan, 260, Vek::String, Bridging::VlanIdOrNone)
};

// Creator for the host process and for tests.
VEK_RECORD_CREATOR(PortVlanConfigV1, Vek::Name)

}  // namespace ControllerProxyAgent
