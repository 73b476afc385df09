#include "tools/vnagent/Shape.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace vnagent {
namespace {

TEST(ShapeText, NumbersAreDecimalUpToThirtyTwoBits) {
  EXPECT_EQ(parseU32("0"), std::optional<U32>(0));
  EXPECT_EQ(parseU32("4294967295"), std::optional<U32>(4294967295u));
  EXPECT_EQ(parseU32(" 0100 "), std::optional<U32>(100));
  EXPECT_EQ(parseU32("4294967296"), std::nullopt);
  EXPECT_EQ(parseU32("99999999999999999999999"), std::nullopt);
  EXPECT_EQ(parseU32("-1"), std::nullopt);
  EXPECT_EQ(parseU32("+1"), std::nullopt);
  EXPECT_EQ(parseU32("1e3"), std::nullopt);
  EXPECT_EQ(parseU32("1.5"), std::nullopt);
  EXPECT_EQ(parseU32("0x10"), std::nullopt);
  EXPECT_EQ(parseU32(""), std::nullopt);
}

TEST(ShapeText, RangesAndPairs) {
  auto r = parseRange("100-199");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->min, 100u);
  EXPECT_EQ(r->max, 199u);
  r = parseRange("7");
  ASSERT_TRUE(r);
  EXPECT_EQ(r->min, 7u);
  EXPECT_EQ(r->max, 7u);
  EXPECT_FALSE(parseRange("1-"));
  EXPECT_FALSE(parseRange("a-b"));
  EXPECT_EQ(canonicalKey(KeyKind::range, "010 - 20"), "10-20");

  auto p = splitPair("00:00:00:00:00:01|Ethernet1/1");
  ASSERT_TRUE(p);
  EXPECT_EQ(p->first, "00:00:00:00:00:01");
  EXPECT_EQ(p->second, "Ethernet1/1");
  EXPECT_FALSE(splitPair("no-bar"));
  p = splitPair("a|b|c");
  ASSERT_TRUE(p);
  EXPECT_EQ(p->second, "b|c") << "split at the first bar";

  auto pv = parsePortVlan("po|1|100");
  ASSERT_TRUE(pv);
  EXPECT_EQ(pv->port, "po|1") << "split at the last bar";
  EXPECT_EQ(pv->vlan, 100u);
  EXPECT_FALSE(parsePortVlan("eth1|x"));
}

TEST(ShapeText, KeysSortNumbersFirstInNumericOrder) {
  std::vector<std::string> keys = {"eth10", "100", "eth2", "20", "0", "007"};
  std::sort(keys.begin(), keys.end(), keyLess);
  EXPECT_EQ(keys, (std::vector<std::string>{"0", "20", "100", "007", "eth10", "eth2"}));
}

TEST(ShapeText, PathsQuoteOnlyWhatNeedsIt) {
  EXPECT_EQ(pathText({"aa:bb", "physicalInterface", "Ethernet1/1", "vlan", "100"}),
            "aa:bb/physicalInterface/\"Ethernet1/1\"/vlan/100");
  EXPECT_EQ(pathText({"a b", "", "q\"x"}), "\"a b\"/\"\"/\"q\\\"x\"");
}

// The other shapes' texts are checked in the loader's faults (ScenarioTest).
TEST(ShapeDescribe, PairKeyedMappingSaysWhatIsExpected) {
  EXPECT_EQ(collection(KeyKind::pair, scalar(ScalarKind::text))->describe(),
            "a mapping keyed by '<first>|<second>'");
}

}  // namespace
}  // namespace vnagent
