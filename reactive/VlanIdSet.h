// A set of VLAN ids and its text form, for the VLAN lists of switch ports.
//
// The records keep a port's VLANs as text. Every change of one VLAN reads
// that text into a fresh set, changes one member and writes the text back,
// on ports that may carry all 4094 VLANs; reading and writing are therefore
// linear (in the text, and in the 4094 possible members) and allocate
// nothing per VLAN.
//
// Text form, as switches print it: ascending, comma-separated, and every run
// of two or more consecutive VLANs written "a-b":
//
//   {1, 2, 3, 5, 7, 8, 9}  ->  "1-3,5,7-9"
//   {7, 8}                 ->  "7-8"
//   {}                     ->  ""  (the null Vek::String)
//
// computeVlanSet reads that form, and a little more: items in any order,
// overlapping items, and blanks (spaces, tabs) anywhere, even between digits,
// since the text is read as if they were not there. It adds to what the set
// holds, so callers pass a fresh set.
//
// Nothing here raises: the agent's only errors are the range errors of the
// value types, and a stored text or a client's VLAN id must not unwind it.
//   - Ids that no port carries (0, 4095 and above) are read and left out,
//     in a text ("0,5,4000-5000" holds 5 and 4000-4094) as in doAdd.
//   - A malformed text is read as far as it can be: the set keeps the items
//     before the first malformed one (not a number or a range of two
//     numbers, a range from high to low, an empty item, a dangling "-"),
//     and computeVlanSet answers false.
//
//   Vek::Ptr<LumoUtils::VlanIdSet> set = LumoUtils::VlanIdSetIs();
//   LumoUtils::computeVlanSet(set, port->vlanList());
//   set->doAdd(vlan);
//   port->vlanListIs(set->multiRangeString());
#pragma once

#include <array>
#include <bit>
#include <cstddef>

#include "reactive/PtrInterface.h"
#include "reactive/String.h"
#include "reactive/Types.h"

namespace LumoUtils {

class VlanIdSet;

Vek::Ptr<VlanIdSet> VlanIdSetIs();
// A new set with the members of `other`: a copy of 512 bytes, whatever the
// members.
Vek::Ptr<VlanIdSet> VlanIdSetIs(VlanIdSet const& other);
// Adds the VLANs of `text` to `set` (not null); false if the text was
// malformed and read only up to the fault (see above).
bool computeVlanSet(Vek::Ptr<VlanIdSet> const& set, Vek::String const& text);

class VlanIdSet : public Vek::PtrInterface {
 public:
  static constexpr U16 minVlan = 1;
  static constexpr U16 maxVlan = 4094;

  // Whether `id` is a member; false for ids outside 1..4094.
  bool vlan(U16 id) const {
    return id < bitCount && ((words_[id / wordBits] >> (id % wordBits)) & 1u) != 0;
  }
  U32 count() const;
  bool empty() const;
  // Whether both hold the same members.
  bool sameMembers(VlanIdSet const& other) const { return words_ == other.words_; }
  // Calls f(vlan) for each member in rising order.
  template <class F>
  void forEach(F&& f) const {
    for (std::size_t i = 0; i < wordCount; ++i) {
      for (U64 w = words_[i]; w != 0; w &= w - 1) {
        f(static_cast<U32>(i * wordBits + static_cast<std::size_t>(std::countr_zero(w))));
      }
    }
  }
  // The text form above.
  Vek::String multiRangeString() const;

  // An id outside 1..4094 can never be carried: adding one changes nothing.
  void doAdd(U16 id);
  // An id outside 1..4094 is never a member, so removing one changes nothing.
  void doRemove(U16 id);

 private:
  friend Vek::Ptr<VlanIdSet> VlanIdSetIs();
  friend Vek::Ptr<VlanIdSet> VlanIdSetIs(VlanIdSet const& other);
// A new set with the members of `other`: a copy of 512 bytes, whatever the
// members.
Vek::Ptr<VlanIdSet> VlanIdSetIs(VlanIdSet const& other);
  friend bool computeVlanSet(Vek::Ptr<VlanIdSet> const& set, Vek::String const& text);

  static constexpr std::size_t wordBits = 64;
  static constexpr std::size_t wordCount = 64;
  // Bit i stands for VLAN i; bits 0 and 4095 stay clear.
  static constexpr std::size_t bitCount = wordBits * wordCount;

  VlanIdSet() = default;
  VlanIdSet(VlanIdSet const& other) : Vek::PtrInterface(), words_(other.words_) {}

  // Adds lo..hi, both in 1..4094, lo <= hi.
  void addRange(U32 lo, U32 hi);

  std::array<U64, wordCount> words_{};
};

}  // namespace LumoUtils
