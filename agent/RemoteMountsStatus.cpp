#include "agent/RemoteMountsStatus.h"

namespace VirtualNetwork::Agent {

void RemoteMountsStatus::flagIs(bool& flag, bool value, Vek::AttributeId id) {
  if (flag == value) return;
  flag = value;
  // `ready` first: the switch node exists or is gone before anyone hears
  // of the flag itself.
  readyIs(topology_ && portVlanConfig_ && dynVtepConfig_ && dynVtepStatus_);
  vekNotify(id);
}

void RemoteMountsStatus::readyIs(bool value) {
  if (ready_ == value) return;
  ready_ = value;
  vekNotify(readyId);
}

}  // namespace VirtualNetwork::Agent
