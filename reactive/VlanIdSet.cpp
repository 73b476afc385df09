#include "reactive/VlanIdSet.h"

#include <algorithm>

#include <bit>
#include <cassert>
#include <string>
#include <string_view>


namespace LumoUtils {

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Reads one VLAN list text item by item, so that a malformed item leaves
// the set with the items before it.
class Parser {
 public:
  explicit Parser(std::string_view text) : text_(text) {}

  // Calls add(lo, hi) for every item up to the first malformed one; true if
  // there was none.
  template <class Add>
  bool run(Add&& add) {
    if (next() == end) return true;
    for (;;) {
      U32 lo = 0;
      if (!number(&lo)) return false;
      U32 hi = lo;
      if (next() == '-') {
        ++pos_;
        if (!number(&hi)) return false;
      }
      int const after = next();
      if ((after != end && after != ',') || lo > hi) return false;
      add(lo, hi);
      if (after == end) return true;
      ++pos_;  // the comma
    }
  }

 private:
  static constexpr int end = -1;

  // The next character that is not a blank, left unread; `end` at the end.
  int next() {
    while (pos_ < text_.size() && isBlank(text_[pos_])) ++pos_;
    return pos_ < text_.size() ? static_cast<unsigned char>(text_[pos_]) : end;
  }

  // Reads a number, blanks ignored; false if there is no digit. Every
  // number from 100000 up reads as 100000 instead of overflowing: left out
  // all the same, and a range between two of them is never high to low.
  bool number(U32* value) {
    *value = 0;
    bool digits = false;
    for (; pos_ < text_.size(); ++pos_) {
      char const c = text_[pos_];
      if (isBlank(c)) continue;
      if (!isDigit(c)) break;
      digits = true;
      *value = std::min<U32>(*value * 10 + static_cast<U32>(c - '0'), 100000);
    }
    return digits;
  }

  std::string_view text_;
  std::size_t pos_ = 0;
};

// Writes a VLAN id (at most four digits); plain code, as it runs once per
// item of the text.
char* writeNumber(char* out, U32 value) {
  if (value >= 10) {
    if (value >= 100) {
      if (value >= 1000) *out++ = static_cast<char>('0' + value / 1000);
      *out++ = static_cast<char>('0' + value / 100 % 10);
    }
    *out++ = static_cast<char>('0' + value / 10 % 10);
  }
  *out++ = static_cast<char>('0' + value % 10);
  return out;
}

}  // namespace

Vek::Ptr<VlanIdSet> VlanIdSetIs() { return new VlanIdSet(); }
Vek::Ptr<VlanIdSet> VlanIdSetIs(VlanIdSet const& other) { return new VlanIdSet(other); }

bool computeVlanSet(Vek::Ptr<VlanIdSet> const& set, Vek::String const& text) {
  assert(set);
  VlanIdSet& target = *set;
  // Ids that no port carries (0, 4095 and above) may stand in a stored
  // text: they are read and left out.
  return Parser(text.view()).run([&target](U32 lo, U32 hi) {
    lo = std::max<U32>(lo, VlanIdSet::minVlan);
    hi = std::min<U32>(hi, VlanIdSet::maxVlan);
    if (lo <= hi) target.addRange(lo, hi);
  });
}

U32 VlanIdSet::count() const {
  U32 n = 0;
  for (U64 w : words_) n += static_cast<U32>(std::popcount(w));
  return n;
}

bool VlanIdSet::empty() const {
  for (U64 w : words_) {
    if (w != 0) return false;
  }
  return true;
}

void VlanIdSet::doAdd(U16 id) {
  if (id < minVlan || id > maxVlan) return;
  words_[id / wordBits] |= U64{1} << (id % wordBits);
}

void VlanIdSet::doRemove(U16 id) {
  if (id < minVlan || id > maxVlan) return;
  words_[id / wordBits] &= ~(U64{1} << (id % wordBits));
}

void VlanIdSet::addRange(U32 lo, U32 hi) {
  if (lo == hi) {  // the common item of a sparse list
    words_[lo / wordBits] |= U64{1} << (lo % wordBits);
    return;
  }
  std::size_t const first = lo / wordBits;
  std::size_t const last = hi / wordBits;
  U64 const fromLo = ~U64{0} << (lo % wordBits);
  U64 const toHi = ~U64{0} >> (wordBits - 1 - hi % wordBits);
  if (first == last) {
    words_[first] |= fromLo & toHi;
    return;
  }
  words_[first] |= fromLo;
  for (std::size_t i = first + 1; i < last; ++i) words_[i] = ~U64{0};
  words_[last] |= toHi;
}

Vek::String VlanIdSet::multiRangeString() const {
  // Count the runs first (a member whose lower neighbour is not one starts a
  // run) to size the text once: a run takes at most "dddd-dddd,".
  U32 runs = 0;
  U64 carry = 0;
  for (U64 w : words_) {
    runs += static_cast<U32>(std::popcount(w & ~((w << 1) | carry)));
    carry = w >> (wordBits - 1);
  }
  if (runs == 0) return Vek::String();

  std::string text(runs * 10, '\0');
  char* out = text.data();
  // Scan word by word for the first member, then for the first non-member
  // after it; bit 4095 is never a member, so every run ends inside the words.
  std::size_t i = 0;
  U64 members = words_[0];
  for (;;) {
    while (members == 0) {
      if (++i == wordCount) break;
      members = words_[i];
    }
    if (i == wordCount) break;
    U32 const lo = static_cast<U32>(i * wordBits + std::countr_zero(members));
    U64 gaps = ~words_[i] & (~U64{0} << (lo % wordBits));
    while (gaps == 0) gaps = ~words_[++i];
    U32 const stop = static_cast<U32>(i * wordBits + std::countr_zero(gaps));
    members = words_[i] & (~U64{0} << (stop % wordBits));

    out = writeNumber(out, lo);
    if (stop - lo >= 2) {
      *out++ = '-';
      out = writeNumber(out, stop - 1);
    }
    *out++ = ',';
  }
  // Leave out the last comma.
  return Vek::String(
      std::string_view(text.data(), static_cast<std::size_t>(out - text.data()) - 1));
}

}  // namespace LumoUtils
