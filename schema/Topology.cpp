#include "schema/Topology.h"

namespace NetworkTopologyAggregatorV3 {

Vek::Ptr<Host const> PortBase::host() const { return dynamic_cast<Host const*>(parent()); }

Port::~Port() = default;

void Port::handleParent(Vek::Entity* parent) {
  if (!parent) portGroupIs(nullptr);
}

void PortGroup::handleParent(Vek::Entity* parent) {
  if (!parent) memberPortDelAll();
}

}  // namespace NetworkTopologyAggregatorV3
