#include "reactive/PtrInterface.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

using Vek::Ptr;
using Vek::PtrInterface;

struct Node : PtrInterface {
  explicit Node(int* deaths) : deaths(deaths) {}
  ~Node() override {
    ++*deaths;
    if (onDeath) onDeath();
  }
  int* deaths;
  Ptr<Node> next;
  std::function<void()> onDeath;
};

TEST(PtrTest, CountsAndFlagsShareOneWord) {
  int deaths = 0;
  Ptr<Node> a = new Node(&deaths);
  Ptr<Node const> b = a;
  EXPECT_EQ(a->references(), 2u);
  a->vekMarkedForDeletionIs(true);
  a->hasNotificationActiveIs(true);
  // The flags do not count as references.
  EXPECT_EQ(a->references(), 2u);
  EXPECT_TRUE(a->isZombie());
  EXPECT_TRUE(a->hasNotificationActive());
  b = nullptr;
  a = nullptr;
  // Zero is found with both flags set.
  EXPECT_EQ(deaths, 1);
}

TEST(PtrTest, AssignTakesTheNewReferenceBeforeReleasingTheOld) {
  // The new value is kept alive only through the old one: releasing the old
  // first would destroy the new value before it is stored.
  int deaths = 0;
  Ptr<Node> head = new Node(&deaths);
  head->next = new Node(&deaths);
  head = head->next;
  ASSERT_NE(head, nullptr);
  EXPECT_EQ(deaths, 1);
  EXPECT_EQ(head->references(), 1u);
  Ptr<Node>& alias = head;
  head = alias;  // self-assignment changes nothing
  EXPECT_EQ(head->references(), 1u);
}

TEST(PtrTest, DestructorMayTakeAndDropAReferenceToItself) {
  int deaths = 0;
  Node* raw = new Node(&deaths);
  Ptr<Node> p = raw;
  raw->onDeath = [raw] { Ptr<Node> again(raw); };
  p = nullptr;
  EXPECT_EQ(deaths, 1);  // once, not twice
}

TEST(PtrTest, ThreadSafeSwitchKeepsTheSameBehaviour) {
  Vek::VFPtrInterface::threadSafePointers_ = true;
  int deaths = 0;
  {
    Ptr<Node> a = new Node(&deaths);
    Ptr<Node> b = a;
    a->vekMarkedForDeletionIs(true);
    EXPECT_EQ(b->references(), 2u);
    EXPECT_TRUE(b->isZombie());
  }
  Vek::VFPtrInterface::threadSafePointers_ = false;
  EXPECT_EQ(deaths, 1);
}

}  // namespace
