#include "schema/Client.h"

namespace VirtualNetwork::Client {

Vek::Ptr<UntaggedVlan> ResourcesForSwitchport::nativeVlanIs(U32 vlan) {
  if (vlan == 0) {
    nativeVlan_.set(*this, nullptr);
    return nullptr;
  }
  // Keep the record of an unchanged id: a holder's referrers stay on it.
  if (Vek::Ptr<UntaggedVlan> const present = nativeVlan_.get();
      present && present->vlanId() == vlan) {
    return present;
  }
  Vek::Ptr<UntaggedVlan> fresh(new UntaggedVlan(vlan));
  nativeVlan_.set(*this, fresh);
  return fresh;
}

}  // namespace VirtualNetwork::Client
