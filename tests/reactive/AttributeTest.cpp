// The generated members, tested once over their kinds (Value, ValueMap,
// ValueSet, EntityMap): the records of the schema are one-line calls into
// them.
#include "reactive/Attribute.h"

#include <gtest/gtest.h>

#include "reactive/AllocTrack.h"
#include "reactive/ValueTypes.h"
#include "tests/reactive/Recorder.h"

namespace {

using Vek::Name;
using Vek::Ptr;
using Vek::String;
using Vek::Testing::Events;
using Vek::Testing::Recorder;
using VirtualNetwork::Client::ClientDomain;

struct Child : Vek::Entity, Vek::AllocTracked<Child> {
  explicit Child(Name name, int extra = 0) : Entity(std::move(name)), extra(extra) {}
  int extra;
};

// One member of each kind, keyed by a name, a number and a value type.
struct Record : Vek::Entity {
  Vek::Value<String, 258> text;
  Vek::ValueMap<Name, U32, 259> map;
  Vek::ValueSet<U32, 260> set;
  Vek::EntityMap<Name, Child, 261> child;
  Vek::ValueMap<ClientDomain, bool, 262> byDomain;
};

class AttributeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    rec = Recorder::on(r);
    rec->keyed<String>(259).keyed<U32>(260).keyed<String>(261).keyed<ClientDomain>(262);
  }
  void TearDown() override {
    rec = nullptr;
    r = nullptr;
    EXPECT_EQ(Vek::liveObjects<Child>(), 0u);
  }
  std::string sizes() const {
    return std::to_string(r->map.size()) + std::to_string(r->set.size()) +
           std::to_string(r->child.size());
  }

  Ptr<Record> r = new Record;
  Ptr<Recorder> rec;
};

TEST_F(AttributeTest, ChangeNotifiesOnceAfterItIsMadeAndAnEqualOneNotAtAll) {
  rec->probing([&] {
    return r->text.get().stdString() + " " + std::to_string(r->map.get("k")) + " " + sizes();
  });
  EXPECT_TRUE(r->text.set(*r, "a"));
  EXPECT_FALSE(r->text.set(*r, "a"));
  EXPECT_TRUE(r->map.set(*r, "k", 1));
  EXPECT_FALSE(r->map.set(*r, "k", 1));
  EXPECT_TRUE(r->map.set(*r, "k", 2));
  EXPECT_TRUE(r->set.set(*r, 5));
  EXPECT_FALSE(r->set.set(*r, 5));
  Ptr<Child> c = r->child.is(*r, "c", 3);
  EXPECT_EQ(r->child.is(*r, "c", 4), c);
  EXPECT_TRUE(r->byDomain.set(*r, ClientDomain("t", "n"), true));
  EXPECT_EQ(rec->take(), (Events{"258 | a 0 000", "259 k | a 1 100", "259 k | a 2 100",
                                 "260 5 | a 2 110", "261 c | a 2 111", "262 t|n | a 2 111"}));
  // A member is made from its key and the extra arguments, under its owner.
  EXPECT_EQ(c->extra, 3);
  EXPECT_EQ(c->parent(), r.ptr());
  EXPECT_EQ(r->child.find("c"), c.ptr());
}

TEST_F(AttributeTest, LookupsAndRemovalsOfAbsentKeysChangeNothing) {
  EXPECT_EQ(r->map.get("x"), 0u);
  EXPECT_EQ(r->map.find("x"), nullptr);
  EXPECT_FALSE(r->map.contains("x") || r->set.contains(1) || r->byDomain.get({"a", "b"}));
  EXPECT_EQ(r->child.find("x"), nullptr);
  EXPECT_EQ(r->map.del(*r, "x"), 0u);
  EXPECT_FALSE(r->set.del(*r, 1));
  EXPECT_EQ(r->child.del(*r, "x"), nullptr);
  EXPECT_TRUE(r->map.empty() && r->set.empty() && r->child.empty() && r->byDomain.empty());
  EXPECT_TRUE(rec->take().empty());
}

TEST_F(AttributeTest, RemovalNotifiesWithTheKeyAfterTheMemberIsGone) {
  r->map.set(*r, "k", 7);
  r->set.set(*r, 5);
  Ptr<Child> c = r->child.is(*r, "c");
  rec->take();
  rec->probing([&] { return sizes(); });
  EXPECT_EQ(r->map.del(*r, "k"), 7u);
  EXPECT_TRUE(r->set.del(*r, 5));
  EXPECT_EQ(r->child.del(*r, "c"), c);
  EXPECT_EQ(c->parent(), nullptr);
  EXPECT_EQ(rec->take(), (Events{"259 k | 011", "260 5 | 001", "261 c | 000"}));
}

// delAll walks the members in insertion order; a handler that removes a
// later member takes it out of the walk, so each goes once.
TEST_F(AttributeTest, DelAllNotifiesEachMemberOnceWhileHandlersRemoveOthers) {
  std::function<void()> onFirst;
  rec->probing([&] {
    if (auto act = std::exchange(onFirst, nullptr)) act();
    return std::string();
  });
  for (char const* k : {"a", "b", "c"}) {
    r->map.set(*r, k, 1);
    r->child.is(*r, k);
  }
  for (U32 v : {1u, 2u, 3u}) r->set.set(*r, v);
  rec->take();

  onFirst = [&] { r->map.del(*r, "c"); };
  r->map.delAll(*r);
  onFirst = [&] { r->set.del(*r, 3); };
  r->set.delAll(*r);
  onFirst = [&] { r->child.del(*r, "c"); };
  r->child.delAll(*r);
  EXPECT_EQ(rec->take(), (Events{"259 a", "259 c", "259 b", "260 1", "260 3", "260 2", "261 a",
                                 "261 c", "261 b"}));
  EXPECT_TRUE(r->map.empty() && r->set.empty() && r->child.empty());
}

TEST_F(AttributeTest, EntityMapAddTakesAMemberMadeElsewhereAndReplacesTheOneUnderItsKey) {
  Ptr<Child> first = new Child("c");
  Ptr<Child> second = new Child("c");
  EXPECT_EQ(r->child.add(*r, first), first);
  r->child.add(*r, first);
  r->child.add(*r, second);
  EXPECT_EQ(rec->take(), (Events{"261 c", "261 c"}));
  EXPECT_EQ(first->parent(), nullptr);
  EXPECT_EQ(second->parent(), r.ptr());
  EXPECT_EQ(r->child.find("c"), second.ptr());
  EXPECT_EQ(r->child.size(), 1u);
}

TEST_F(AttributeTest, MembersThatOutliveTheirEntityMapAreDetached) {
  Ptr<Child> held = r->child.is(*r, "c");
  rec = nullptr;
  r = nullptr;
  EXPECT_EQ(held->parent(), nullptr);
}

}  // namespace
