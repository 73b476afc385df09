// The VLAN list text reader against a plain reading of the same text, and
// the printer against the reader: whatever the bytes, computeVlanSet keeps
// exactly the items before the first malformed one, and the printed form of
// a set reads back as the same set.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>

#include "reactive/ValueTypes.h"
#include "reactive/VlanIdSet.h"

namespace {

// The text form read the slow way: blanks dropped, split at commas, each
// item "n" or "a-b" with a <= b; the first item that is not stops the
// reading. Ids outside 1..4094 are read and left out; every number from
// 100000 up counts as 100000.
bool plainReading(std::string text, std::set<unsigned>* out) {
  std::erase_if(text, [](char c) { return c == ' ' || c == '\t'; });
  if (text.empty()) return true;
  auto readNumber = [](std::string const& s, std::size_t* pos, unsigned long* value) {
    std::size_t const start = *pos;
    *value = 0;
    while (*pos < s.size() && s[*pos] >= '0' && s[*pos] <= '9') {
      *value = std::min(*value * 10 + static_cast<unsigned>(s[*pos] - '0'), 100000ul);
      ++*pos;
    }
    return *pos > start;
  };
  std::size_t begin = 0;
  for (;;) {
    std::size_t const comma = text.find(',', begin);
    std::string const item =
        text.substr(begin, comma == std::string::npos ? std::string::npos : comma - begin);
    std::size_t pos = 0;
    unsigned long lo = 0;
    if (!readNumber(item, &pos, &lo)) return false;
    unsigned long hi = lo;
    if (pos < item.size() && item[pos] == '-') {
      ++pos;
      if (!readNumber(item, &pos, &hi)) return false;
    }
    if (pos != item.size() || lo > hi) return false;
    for (unsigned long v = std::max(lo, 1ul); v <= std::min(hi, 4094ul); ++v) {
      out->insert(static_cast<unsigned>(v));
    }
    if (comma == std::string::npos) return true;
    begin = comma + 1;
  }
}

std::set<unsigned> membersOf(LumoUtils::VlanIdSet const& set) {
  std::set<unsigned> out;
  set.forEach([&](unsigned vlan) { out.insert(vlan); });
  return out;
}

void check(bool ok) {
  if (!ok) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const text(reinterpret_cast<char const*>(data), size);

  Vek::Ptr<LumoUtils::VlanIdSet> set = LumoUtils::VlanIdSetIs();
  bool const wellFormed = LumoUtils::computeVlanSet(set, Vek::String(text));
  std::set<unsigned> expected;
  check(wellFormed == plainReading(text, &expected));
  check(membersOf(*set) == expected);
  check(set->count() == expected.size());

  // The printed form is canonical: it reads back whole, as the same set, and
  // prints again as itself.
  Vek::String const printed = set->multiRangeString();
  Vek::Ptr<LumoUtils::VlanIdSet> again = LumoUtils::VlanIdSetIs();
  check(LumoUtils::computeVlanSet(again, printed));
  check(again->sameMembers(*set));
  check(again->multiRangeString() == printed);

  // The list value: made from the text it keeps the text and reads the same
  // members; made from the members it reads as the printed form.
  ControllerProxyAgent::VlanListV1 const fromText{Vek::String(text)};
  check(fromText.value() == Vek::String(text));
  check(fromText.members().sameMembers(*set));
  ControllerProxyAgent::VlanListV1 const fromMembers{
      Vek::Ptr<LumoUtils::VlanIdSet const>(LumoUtils::VlanIdSetIs(*set))};
  check(fromMembers.value() == printed);
  check(fromMembers == ControllerProxyAgent::VlanListV1(printed));
  check(fromMembers.empty() == expected.empty());
  return 0;
}
