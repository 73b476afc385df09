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

namespace {

// The collection of `name` in a slot of the output root: the present one if
// it has this name, otherwise a new one in its place (notified).
template <class T, Vek::AttributeId Id>
Vek::Ptr<T> namedIs(Status const& owner, Vek::Value<Vek::Ptr<T>, Id>& slot, Vek::Name const& name) {
  Vek::Ptr<T> present = slot.get();
  if (present && present->name() == name) return present;
  Vek::Ptr<T> fresh(new T(name));
  slot.set(owner, fresh);
  return fresh;
}

template <class T, Vek::AttributeId Id>
Vek::Ptr<T> namedDel(Status const& owner, Vek::Value<Vek::Ptr<T>, Id>& slot) {
  Vek::Ptr<T> present = slot.get();
  slot.set(owner, nullptr);
  return present;
}

}  // namespace

Vek::Ptr<NetworkElementCollection> Status::networkElementCollectionIs(Vek::Name const& name) {
  return namedIs(*this, networkElementCollection_, name);
}
Vek::Ptr<NetworkElementCollection> Status::networkElementCollectionDel() {
  return namedDel(*this, networkElementCollection_);
}
Vek::Ptr<RequestedResourcesCollection> Status::requestedResourcesCollectionIs(
    Vek::Name const& name) {
  return namedIs(*this, requestedResourcesCollection_, name);
}
Vek::Ptr<RequestedResourcesCollection> Status::requestedResourcesCollectionDel() {
  return namedDel(*this, requestedResourcesCollection_);
}

}  // namespace VirtualNetwork
