// Holding and letting go of members of a collection of referred records.
//
// A record such as a VLAN's mapped VNI lives while somebody refers to it
// (Referrers, Attribute.h): each holder adds a string of its own choosing
// and takes it away when done, and the holder that empties the set removes
// the record; the store never does. These are the two halves every holder
// writes, named once, over a collection given by its record's `xRef()`:
//
//   Vek::hold(vlan->mappedVniRef(), vni, client);        // made if absent
//   Vek::release(vlan->mappedVniRef(), vni, client, [&] {
//     VEK_TRACE(2) << "Deleting VNI " << vni;            // the last holder only,
//   });                                                  // before the removal
//
// Both notify through the collection's and the member's own mutators, so
// handlers run inside them; the member is held across `last` and the
// removal.
#pragma once

#include "reactive/String.h"

namespace Vek {

// The member `key`, made if absent, held by `referrer`. Returns it.
template <class Col, class K>
auto hold(Col const& col, K const& key, String const& referrer) {
  auto const member = col.is(key);
  member->referrerIs(referrer);
  return member;
}

// Takes `referrer` off the member `key`, if there is one. When that leaves
// the member without holders, runs `last()` and removes it. Returns whether
// the member went.
template <class Col, class K, class Last>
bool release(Col const& col, K const& key, String const& referrer, Last&& last) {
  auto const member = col.find(key);
  if (!member) return false;
  member->referrerDel(referrer);
  if (!member->referrerCol().empty()) return false;
  last();
  col.del(key);
  return true;
}

}  // namespace Vek
