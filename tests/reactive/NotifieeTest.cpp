#include <gtest/gtest.h>

#include "tests/reactive/Example.h"

namespace {

using Example::Port;
using Example::Switch;
using Vek::Ptr;

// Records every notification it hears.
struct Listener : Vek::NotifieeConst {
  std::vector<std::pair<Vek::AttributeId, bool>> heard;  // id, key given
  std::function<void()> action;
  void onAttribute(Vek::AttributeId id, void const* key) override {
    heard.push_back({id, key != nullptr});
    if (!action) return;
    auto run = action;  // the action may replace itself
    run();
  }
};

Ptr<Listener> listen(Vek::Entity& e) {
  Ptr<Listener> l = new Listener;
  e.notifieeList()->add(l.ptr());
  l->hasNotificationActiveIs(true);
  return l;
}

TEST(NotifieeListTest, OnlyActiveNotifieesHearAndKeysTravel) {
  Ptr<Switch> sw = new Switch("s");
  Ptr<Listener> a = listen(*sw);
  Ptr<Listener> b = listen(*sw);
  b->hasNotificationActiveIs(false);
  sw->enabledIs(true);
  sw->portIs("p");
  EXPECT_EQ(a->heard, (std::vector<std::pair<Vek::AttributeId, bool>>{{259, false}, {258, true}}));
  EXPECT_TRUE(b->heard.empty());
  sw->notifieeList()->remove(a.ptr());
  sw->notifieeList()->remove(b.ptr());
}

TEST(NotifieeListTest, RemovalDuringVisitSkipsTheRemovedAndAdditionWaits) {
  Ptr<Switch> sw = new Switch("s");
  Ptr<Listener> first = listen(*sw);
  Ptr<Listener> second = listen(*sw);
  Ptr<Listener> late = new Listener;
  late->hasNotificationActiveIs(true);
  first->action = [&] {
    sw->notifieeList()->remove(second.ptr());
    sw->notifieeList()->add(late.ptr());
    first->action = nullptr;
  };
  sw->enabledIs(true);
  EXPECT_EQ(first->heard.size(), 1u);
  EXPECT_TRUE(second->heard.empty());
  EXPECT_TRUE(late->heard.empty());
  sw->enabledIs(false);
  EXPECT_EQ(late->heard.size(), 1u);
  EXPECT_EQ(sw->notifieeList()->size(), 2u);
  sw->notifieeList()->remove(first.ptr());
  sw->notifieeList()->remove(late.ptr());
}

TEST(NotifieeListTest, NestedVisitsCompactOnlyAtTheOutermostEnd) {
  Ptr<Switch> sw = new Switch("s");
  Ptr<Listener> outer = listen(*sw);
  Ptr<Listener> victim = listen(*sw);
  Ptr<Listener> tail = listen(*sw);
  outer->action = [&] {
    outer->action = nullptr;
    sw->notifieeList()->remove(victim.ptr());
    sw->enabledIs(false);  // nested visit of the same list
  };
  sw->enabledIs(true);
  EXPECT_EQ(outer->heard.size(), 2u);
  EXPECT_TRUE(victim->heard.empty());
  EXPECT_EQ(tail->heard.size(), 2u);
  EXPECT_EQ(sw->notifieeList()->size(), 2u);
  sw->notifieeList()->remove(outer.ptr());
  sw->notifieeList()->remove(tail.ptr());
}

TEST(NotifieeListTest, NotifierDroppedByAHandlerLivesUntilTheVisitEnds) {
  Ptr<Port> port = new Port("p");
  Ptr<Listener> l = listen(*port);
  Ptr<Listener> after = listen(*port);
  l->action = [&] {
    l->action = nullptr;
    port->notifieeList()->remove(l.ptr());
    port->notifieeList()->remove(after.ptr());
    port = nullptr;  // last outside reference
  };
  port->upIs(true);  // the sanitizer build catches a use after free here
  EXPECT_EQ(port, nullptr);
  EXPECT_TRUE(after->heard.empty());
}

}  // namespace
