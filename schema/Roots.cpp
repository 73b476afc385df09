#include "schema/Roots.h"

#include <vector>

namespace VirtualNetwork {

U32 Config::vniForVlan(Client::ClientDomain const& domain, U32 vlan) const {
  if (vlan == 0) return 0;
  VlanToVniMap const* map = vlanToVniMap_.find(domain);
  if (!map) return 0;
  bool found = false;
  Range vlans;
  Range vnis;
  for (auto it = map->mapCol().iterator(); it; ++it) {
    if (!it.key().contains(vlan)) continue;
    // Range orders by min, then max: the lowest wins.
    if (!found || it.key() < vlans) {
      found = true;
      vlans = it.key();
      vnis = it.value();
    }
  }
  if (!found) return 0;
  U64 const vni = U64(vnis.min()) + (vlan - vlans.min());
  return vni <= vnis.max() ? static_cast<U32>(vni) : 0;
}

std::vector<Vek::Ptr<NetworkElement>> NetworkElementCollection::removeAll() {
  std::vector<Vek::Ptr<NetworkElement>> removed;
  removed.reserve(networkElement_.size());
  Vek::forEachKey(networkElement_.map(), [&](Vek::Name const& name) {
    if (Vek::Ptr<NetworkElement> e = networkElementDel(name)) removed.push_back(std::move(e));
  });
  return removed;
}

void NetworkElementCollection::destroy() {
  for (auto const& e : removeAll()) e->destroy();
}

NetworkElementCollection::~NetworkElementCollection() {
  std::vector<Vek::Ptr<Interface>> interfaces;
  for (auto const& e : removeAll()) {
    for (auto it = e->physicalInterfaceCol().iterator(); it; ++it) interfaces.push_back(it.ptr());
    for (auto it = e->portGroupCol().iterator(); it; ++it) interfaces.push_back(it.ptr());
    e->destroy();
  }
  for (auto const& intf : interfaces) intf->destroy();
}

Vek::Ptr<NetworkElementCollection> Status::networkElementCollectionIs(Vek::Name const& name) {
  Vek::Ptr<NetworkElementCollection> present = networkElementCollection_.get();
  if (present && present->name() == name) return present;
  Vek::Ptr<NetworkElementCollection> fresh = NetworkElementCollectionIs(name);
  networkElementCollection_.set(*this, fresh);
  return fresh;
}

Vek::Ptr<NetworkElementCollection> Status::networkElementCollectionDel() {
  Vek::Ptr<NetworkElementCollection> present = networkElementCollection_.get();
  networkElementCollection_.set(*this, nullptr);
  return present;
}

Vek::Ptr<RequestedResourcesCollection> Status::requestedResourcesCollectionIs(
    Vek::Name const& name) {
  Vek::Ptr<RequestedResourcesCollection> present = requestedResourcesCollection_.get();
  if (present && present->name() == name) return present;
  Vek::Ptr<RequestedResourcesCollection> fresh = RequestedResourcesCollectionIs(name);
  requestedResourcesCollection_.set(*this, fresh);
  return fresh;
}

Vek::Ptr<RequestedResourcesCollection> Status::requestedResourcesCollectionDel() {
  Vek::Ptr<RequestedResourcesCollection> present = requestedResourcesCollection_.get();
  requestedResourcesCollection_.set(*this, nullptr);
  return present;
}

}  // namespace VirtualNetwork
