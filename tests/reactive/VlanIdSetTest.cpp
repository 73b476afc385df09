#include "reactive/VlanIdSet.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using LumoUtils::VlanIdSet;

// Reference printer: finds runs on a sorted vector, independently of the bit
// scanning under test.
std::string referenceText(std::set<U16> const& vlans) {
  std::vector<U16> const sorted(vlans.begin(), vlans.end());
  std::ostringstream os;
  for (std::size_t i = 0; i < sorted.size();) {
    std::size_t j = i;
    while (j + 1 < sorted.size() && sorted[j + 1] == sorted[j] + 1) ++j;
    if (i != 0) os << ',';
    os << sorted[i];
    if (j > i) os << '-' << sorted[j];
    i = j + 1;
  }
  return os.str();
}

std::set<U16> members(VlanIdSet const& set) {
  std::set<U16> out;
  for (U32 id = 0; id < 4096; ++id) {
    if (set.vlan(static_cast<U16>(id))) out.insert(static_cast<U16>(id));
  }
  return out;
}

std::set<U16> every(U16 first, U16 last, U16 step = 1) {
  std::set<U16> out;
  for (U32 id = first; id <= last; id += step) out.insert(static_cast<U16>(id));
  return out;
}

Vek::Ptr<VlanIdSet> parsed(std::string const& text) {
  Vek::Ptr<VlanIdSet> set = LumoUtils::VlanIdSetIs();
  LumoUtils::computeVlanSet(set, Vek::String(text));
  return set;
}

struct RoundTrip {
  char const* name;
  std::set<U16> vlans;
};

// Keeps test listings readable: the shape's name, not the object's bytes.
void PrintTo(RoundTrip const& r, std::ostream* os) { *os << r.name; }

class VlanIdSetRoundTrip : public testing::TestWithParam<RoundTrip> {};

TEST_P(VlanIdSetRoundTrip, PrintsRunsAndReadsBackTheSameMembers) {
  std::set<U16> const& vlans = GetParam().vlans;
  Vek::Ptr<VlanIdSet> set = LumoUtils::VlanIdSetIs();
  for (U16 id : vlans) set->doAdd(id);
  EXPECT_EQ(set->count(), vlans.size());
  EXPECT_EQ(set->empty(), vlans.empty());

  Vek::String const text = set->multiRangeString();
  EXPECT_EQ(text.stdString(), referenceText(vlans));
  EXPECT_EQ(members(*parsed(text.stdString())), vlans);
}

// Every third VLAN missing: all runs are pairs, the longest text there is.
std::set<U16> pairs() {
  std::set<U16> out = every(1, 4094);
  for (U32 id = 3; id <= 4094; id += 3) out.erase(static_cast<U16>(id));
  return out;
}

std::set<U16> wordEdges() {
  std::set<U16> out{63, 64, 127, 128, 129, 191, 256, 4093, 4094};
  std::set<U16> const span = every(300, 700);
  out.insert(span.begin(), span.end());
  return out;
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, VlanIdSetRoundTrip,
    testing::Values(RoundTrip{"Empty", {}}, RoundTrip{"SingleFirst", {1}},
                    RoundTrip{"SingleLast", {4094}}, RoundTrip{"TwoVlanRun", {7, 8}},
                    RoundTrip{"Mixed", {1, 2, 3, 5, 7, 8, 9}}, RoundTrip{"Dense", every(1, 4094)},
                    RoundTrip{"EveryOther", every(1, 4093, 2)}, RoundTrip{"Pairs", pairs()},
                    RoundTrip{"AcrossWordEdges", wordEdges()}),
    [](testing::TestParamInfo<RoundTrip> const& info) { return std::string(info.param.name); });

TEST(VlanIdSetParse, IgnoresBlanksAcceptsAnyOrderAndAddsToWhatIsThere) {
  EXPECT_EQ(members(*parsed(" 1 - 3 ,\t5, 7-9\t")), (std::set<U16>{1, 2, 3, 5, 7, 8, 9}));
  EXPECT_EQ(members(*parsed("1 0")), (std::set<U16>{10}));
  EXPECT_TRUE(parsed(" \t ")->empty());
  EXPECT_EQ(parsed("20-30,1,25-40,2")->multiRangeString(), Vek::String("1-2,20-40"));

  Vek::Ptr<VlanIdSet> set = parsed("100");
  LumoUtils::computeVlanSet(set, Vek::String("1"));
  EXPECT_EQ(members(*set), (std::set<U16>{1, 100}));
}

TEST(VlanIdSetParse, IdsNoPortCarriesAreReadAndLeftOut) {
  Vek::Ptr<VlanIdSet> set = LumoUtils::VlanIdSetIs();
  EXPECT_TRUE(LumoUtils::computeVlanSet(set, Vek::String("0,5,0-3,4090-4095")));
  EXPECT_EQ(members(*set), (std::set<U16>{1, 2, 3, 5, 4090, 4091, 4092, 4093, 4094}));
  Vek::Ptr<VlanIdSet> none = LumoUtils::VlanIdSetIs();
  EXPECT_TRUE(LumoUtils::computeVlanSet(none, Vek::String("0,4095,4096,99999999999,5000-6000")));
  EXPECT_TRUE(none->empty());
  EXPECT_EQ(parsed("4093-5000,7")->multiRangeString(), Vek::String("7,4093-4094"));
  // Every number from 100000 up is one value, so a range between two such
  // numbers is never high to low (a fuzzer found "999999-1000000" read as
  // high to low, where the long number stopped growing).
  Vek::Ptr<VlanIdSet> huge = LumoUtils::VlanIdSetIs();
  EXPECT_TRUE(LumoUtils::computeVlanSet(huge, Vek::String("5,999999-1000000,4095194094-409519,7")));
  EXPECT_EQ(members(*huge), (std::set<U16>{5, 7}));
  EXPECT_FALSE(LumoUtils::computeVlanSet(huge, Vek::String("99999-5000")));
}

struct BadText {
  std::string text;
  std::set<U16> readBefore;  // what the set holds afterwards
};

TEST(VlanIdSetParse, MalformedTextIsReadUpToTheFaultWithoutRaising) {
  std::vector<BadText> const cases = {
      {"1,x", {1}},       {"1-3,9-7,5", {1, 2, 3}},
      {"4,1-", {4}},      {"-5", {}},
      {"1-2-3", {}},      {"1,", {1}},
      {",1", {}},         {"1,,2", {1}},
      {"6, 3 x ,4", {6}},
  };
  for (BadText const& c : cases) {
    SCOPED_TRACE(c.text);
    Vek::Ptr<VlanIdSet> set = LumoUtils::VlanIdSetIs();
    EXPECT_FALSE(LumoUtils::computeVlanSet(set, Vek::String(c.text)));
    EXPECT_EQ(members(*set), c.readBefore);
  }
}

TEST(VlanIdSetChange, AddAndRemoveFollowAReferenceSet) {
  // A fixed pseudo-random walk of adds and removes, checked against std::set.
  Vek::Ptr<VlanIdSet> set = parsed("1-4094");
  std::set<U16> expected = every(1, 4094);
  U32 state = 12345;
  for (int step = 0; step < 20000; ++step) {
    state = state * 1103515245u + 12345u;
    U16 const id = static_cast<U16>(1 + (state >> 8) % 4094);
    if ((state >> 30) & 1u) {
      set->doAdd(id);
      expected.insert(id);
    } else {
      set->doRemove(id);
      expected.erase(id);
    }
    if (step % 1000 == 999) {
      ASSERT_EQ(set->multiRangeString().stdString(), referenceText(expected)) << step;
      ASSERT_EQ(set->count(), expected.size());
    }
  }
}

}  // namespace
