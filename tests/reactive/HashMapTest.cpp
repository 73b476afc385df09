#include "reactive/HashMap.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

#include "reactive/String.h"

namespace {

using Vek::Ptr;

struct Member : Vek::PtrInterface {
  explicit Member(U32 k) : key(k) {}
  U32 key;
};

// One interface over both families, so that every walk contract is tested
// on each of them.
struct ValueFamily {
  Vek::HashMap2018<U32, U32> map;
  void add(U32 k) { map.set(k, k * 10); }
  bool remove(U32 k) { return map.erase(k); }
  bool has(U32 k) const { return map.contains(k); }
  void clear() { map.clear(); }
  U32 size() const { return map.size(); }
  auto iterator() const { return map.iterator(); }
  static U32 valueOf(auto const& it) { return it.value(); }
};

struct MemberFamily {
  Vek::HashMap<U32, Member> map;
  void add(U32 k) { map.newMember(new Member(k), k); }
  bool remove(U32 k) { return map.deleteMember(k) != nullptr; }
  bool has(U32 k) const { return map[k] != nullptr; }
  void clear() { map.emptyAllBuckets(); }
  U32 size() const { return map.size(); }
  auto iterator() const { return map.iterator(); }
  static U32 valueOf(auto const& it) { return it.ptr()->key * 10; }
};

template <class F>
class WalkTest : public ::testing::Test {
 protected:
  void fill(U32 n) {
    for (U32 k = 1; k <= n; ++k) f.add(k);
  }
  F f;
};

using Families = ::testing::Types<ValueFamily, MemberFamily>;
TYPED_TEST_SUITE(WalkTest, Families);

TYPED_TEST(WalkTest, RemoveCurrentDuringWalk) {
  this->fill(100);
  std::vector<U32> seen;
  for (auto it = this->f.iterator(); it; ++it) {
    seen.push_back(it.key());
    EXPECT_TRUE(this->f.remove(it.key()));
    // The removed member stays readable until the walk moves on.
    ASSERT_NE(it.currNodeMaybeStale(), nullptr);
    EXPECT_EQ(it.currNodeNonStale(), nullptr);
    EXPECT_EQ(TypeParam::valueOf(it), it.key() * 10);
  }
  ASSERT_EQ(seen.size(), 100u);
  for (U32 k = 1; k <= 100; ++k) EXPECT_EQ(seen[k - 1], k);
  EXPECT_EQ(this->f.size(), 0u);
}

TYPED_TEST(WalkTest, RemoveOthersDuringWalk) {
  this->fill(50);
  std::vector<U32> seen;
  for (auto it = this->f.iterator(); it; ++it) {
    seen.push_back(it.key());
    // Remove the next one and one far ahead; removed members are never seen.
    this->f.remove(it.key() + 1);
    this->f.remove(it.key() + 20);
  }
  for (U32 k : seen) {
    EXPECT_TRUE(this->f.has(k));
  }
  EXPECT_EQ(seen.front(), 1u);
  EXPECT_EQ(seen.size(), this->f.size());
  for (std::size_t i = 1; i < seen.size(); ++i) EXPECT_LT(seen[i - 1], seen[i]);
}

TYPED_TEST(WalkTest, InsertDuringWalkReachesNewMembersOnce) {
  this->fill(10);
  std::vector<U32> seen;
  for (auto it = this->f.iterator(); it; ++it) {
    seen.push_back(it.key());
    if (it.key() <= 10) this->f.add(it.key() + 100);  // forces growth of the index
  }
  ASSERT_EQ(seen.size(), 20u);
  std::vector<U32> sorted = seen;
  std::sort(sorted.begin(), sorted.end());
  EXPECT_EQ(std::unique(sorted.begin(), sorted.end()), sorted.end());
}

TYPED_TEST(WalkTest, ClearDuringWalkEndsTheWalk) {
  this->fill(10);
  int steps = 0;
  for (auto it = this->f.iterator(); it; ++it) {
    ++steps;
    this->f.clear();
  }
  EXPECT_EQ(steps, 1);
  EXPECT_EQ(this->f.size(), 0u);
  this->f.add(5);
  EXPECT_TRUE(this->f.has(5));
}

TYPED_TEST(WalkTest, NestedWalksSeeEachOthersRemovals) {
  this->fill(30);
  std::vector<U32> outer;
  for (auto a = this->f.iterator(); a; ++a) {
    outer.push_back(a.key());
    for (auto b = this->f.iterator(); b; ++b) {
      if (b.key() % 3 == 0) this->f.remove(b.key());
    }
  }
  for (U32 k : outer) EXPECT_TRUE(k % 3 != 0 || k == outer.front()) << k;
  EXPECT_EQ(this->f.size(), 20u);
}

TYPED_TEST(WalkTest, RandomChangesAgreeWithAReferenceMap) {
  // Heavy churn with walks in between: lookups, sizes and walk order must
  // match an insertion-ordered reference at every step (random keys, so
  // insertion order is not key order).
  std::mt19937 rng(12345);
  std::map<U32, U64> reference;  // key -> insertion stamp
  U64 stamp = 0;
  for (int round = 0; round < 4000; ++round) {
    U32 k = rng() % 300;
    if (rng() % 3 == 0) {
      EXPECT_EQ(this->f.remove(k), reference.erase(k) == 1);
    } else if (!reference.count(k)) {
      this->f.add(k);
      reference[k] = stamp++;
    }
    if (round % 500 == 0) {
      std::vector<std::pair<U64, U32>> expected;
      for (auto [key, s] : reference) expected.push_back({s, key});
      std::sort(expected.begin(), expected.end());
      std::vector<U32> walked;
      for (auto it = this->f.iterator(); it; ++it) walked.push_back(it.key());
      ASSERT_EQ(walked.size(), expected.size());
      for (std::size_t i = 0; i < walked.size(); ++i) EXPECT_EQ(walked[i], expected[i].second);
    }
  }
  EXPECT_EQ(this->f.size(), reference.size());
  for (U32 k = 0; k < 300; ++k) EXPECT_EQ(this->f.has(k), reference.count(k) == 1) << k;
}

TEST(HashMap2018Test, NameAndStringKeysFindEachOther) {
  Vek::HashMap2018<Vek::Name, U32> m;
  m.set(Vek::Name("aa:bb"), 1);
  EXPECT_EQ(m.get(Vek::String(std::string("aa:") + "bb")), 1u);
}

TEST(HashMapTest, MemberRemovedDuringWalkOutlivesTheMap) {
  // The walk keeps the table and the current member alive even when the
  // collection's owner goes away inside the loop body.
  auto* map = new Vek::HashMap<U32, Member>;
  map->newMember(new Member(1), 1);
  map->newMember(new Member(2), 2);
  std::vector<U32> seen;
  {
    auto it = map->iterator();
    seen.push_back(it.ptr()->key);
    delete map;
    EXPECT_EQ(it.ptr()->key, 1u);
    ++it;
    EXPECT_FALSE(it);
  }
  EXPECT_EQ(seen, std::vector<U32>{1});
}

}  // namespace
