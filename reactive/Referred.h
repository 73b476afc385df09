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
// removal. `follow` is the two together, for a holder that mirrors whether
// its source has the key; `releaseBySource` is the removal of a holder that
// reads whether an entry goes on its source, not on the entry it changed.
#pragma once

#include "reactive/HashMap.h"
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

// Holds the member `key` for `referrer` when `wanted`, after `added()`;
// otherwise releases it as `release` does, with `last`.
template <class Col, class K, class Added, class Last>
void follow(Col const& col, K const& key, String const& referrer, bool wanted, Added&& added,
            Last&& last) {
  if (wanted) {
    added();
    hold(col, key, referrer);
    return;
  }
  release(col, key, referrer, last);
}

// Takes `referrer` off each member of `target` that the collection `source`
// lists. Whether a member goes is read on its source entry, not on the
// member just changed: while the source entry still has holders, the target
// member stays, even without holders of its own; once the source entry has
// none, `last(key)` runs and the target member goes, whoever else holds it.
template <class Source, class Target, class Last>
void releaseBySource(Source const& source, Target const& target, String const& referrer,
                     Last&& last) {
  forEachKey(source, [&](auto const& key) {
    auto const member = target.find(key);
    if (!member) return;
    member->referrerDel(referrer);
    auto const* const wanted = source.find(key);
    if (wanted && !wanted->referrerCol().empty()) return;
    last(key);
    target.del(key);
  });
}

}  // namespace Vek
