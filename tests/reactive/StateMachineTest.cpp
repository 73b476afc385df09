#include <gtest/gtest.h>

#include <functional>

#include "tests/Raised.h"
#include "tests/reactive/Example.h"

namespace Example {
namespace {

using Journal = std::vector<std::string>;
using TestSupport::raised;

class StateMachineTest : public ::testing::Test {
 protected:
  void SetUp() override {
    journal().clear();
    sw_ = new Switch("s1");
    sw_->portIs("p1");
    sw_->portIs("p2");
  }
  void TearDown() override {
    sw_ = nullptr;
    EXPECT_EQ(Vek::liveObjects<SwitchSm>(), 0u);
    EXPECT_EQ(Vek::liveObjects<SwitchSm::VekPort>(), 0u);
    EXPECT_EQ(Vek::liveObjects<SwitchSm::VekSwitch>(), 0u);
    EXPECT_EQ(Vek::liveObjects<LeafSm>(), 0u);
    EXPECT_EQ(Vek::liveObjects<Switch>(), 0u);
    EXPECT_EQ(Vek::liveObjects<Port>(), 0u);
  }
  Ptr<SwitchSm> make() { return SwitchSm::vekCreate(Name("s1"), Ptr<Switch const>(sw_)); }
  // Runs `act` from a notifiee that hears a VLAN of port `name` before the
  // machine's reactor does; answers that reactor.
  Ptr<SwitchSm::VekPort> actAheadOfReactor(SwitchSm& sm, char const* name,
                                           std::function<void()> act) {
    struct Ahead : Vek::NotifieeConst {
      std::function<void()> act;
      void onAttribute(Vek::AttributeId, void const*) override { act(); }
    };
    Ptr<Port> port = sw_->port(name);
    Ptr<Ahead> ahead = new Ahead;
    ahead->act = std::move(act);
    Ptr<SwitchSm::VekPort> reactor = sm.port(name);
    reactor->isRegisteredNotifieeIs(false);
    port->notifieeList()->add(ahead.ptr());
    ahead->hasNotificationActiveIs(true);
    reactor->isRegisteredNotifieeIs(true);
    journal().clear();
    port->vlanIs(7);
    port->notifieeList()->remove(ahead.ptr());
    return reactor;
  }

  Ptr<Switch> sw_;
};

TEST_F(StateMachineTest, ConstructionMirrorsPortsBeforeHandleInitialized) {
  Ptr<SwitchSm> sm = make();
  // Reactors are built and active before handleInitialized; the machine is
  // activated as a whole only afterwards.
  EXPECT_EQ(journal(), (Journal{"VekPort built p1", "VekPort built p2",
                                "handleInitialized ports=2 active=false"}));
  EXPECT_TRUE(sm->hasNotificationActive());
  EXPECT_TRUE(sm->port("p1")->hasNotificationActive());
  EXPECT_TRUE(sm->initialized());
}

TEST_F(StateMachineTest, NestedReactorsFollowTheCollection) {
  Ptr<SwitchSm> sm = make();
  journal().clear();
  sw_->portIs("p3");
  ASSERT_NE(sm->port("p3"), nullptr);
  Ptr<Port> p1 = sw_->portDel("p1");
  EXPECT_EQ(sm->port("p1"), nullptr);
  EXPECT_EQ(journal(), (Journal{"VekPort built p3", "VekPort cleanup p1"}));
  // The retired reactor hears nothing more from its old notifier.
  journal().clear();
  p1->vlanIs(5);
  EXPECT_TRUE(journal().empty());
}

TEST_F(StateMachineTest, WatchedEntityCases) {
  Ptr<SwitchSm> sm = make();
  journal().clear();
  // Case 1: the same entity again does nothing, no replay.
  sm->swIs(sw_);
  EXPECT_TRUE(journal().empty());

  // Case 3: another entity re-points and replays: the single-valued handler
  // runs and the nested reactors follow the new switch's ports.
  Ptr<Switch> other = new Switch("s2");
  other->portIs("p2");
  other->portIs("q1");
  other->enabledIs(true);
  sm->swIs(other);
  EXPECT_EQ(sm->sw(), other);
  EXPECT_EQ(journal(), (Journal{"handleEnabled true", "VekPort built q1", "VekPort cleanup p1"}));
  EXPECT_EQ(sm->port("p2")->notifier(), other->port("p2"));
  // The old switch is no longer heard; the new one is.
  journal().clear();
  sw_->enabledIs(true);
  EXPECT_TRUE(journal().empty());
  other->enabledIs(false);
  EXPECT_EQ(journal(), Journal{"handleEnabled false"});

  // Case 2: null retires the reactor and clears the attribute.
  EXPECT_EQ(sm->swDel(), other);
  EXPECT_EQ(sm->sw(), nullptr);
  journal().clear();
  other->enabledIs(true);
  EXPECT_TRUE(journal().empty());
  // Case 4: null without a reactor does nothing; case 5 builds anew
  // without replay.
  sm->swIs(nullptr);
  EXPECT_EQ(sm->swDel(), nullptr);
  sm->swIs(other);
  EXPECT_TRUE(journal().empty());
  other->enabledIs(false);
  EXPECT_EQ(journal(), Journal{"handleEnabled false"});
}

TEST_F(StateMachineTest, KeyedReactorNullIsARangeError) {
  Ptr<SwitchSm> sm = make();
  EXPECT_EQ(raised<Vek::RangeException>([&] { sm->portIs(nullptr); }),
            "null _port parameter to mutator for Example::SwitchSm::port not allowed");
}

TEST_F(StateMachineTest, KeyedReactorIsTwiceKeepsOneAndDelOfUnknownIsNull) {
  Ptr<SwitchSm> sm = make();
  SwitchSm::VekPort* before = sm->port("p1");
  sm->portIs(sw_->port("p1"));
  EXPECT_EQ(sm->port("p1"), before);
  EXPECT_EQ(sm->ports(), 2u);
  EXPECT_EQ(sm->portDel("nope"), nullptr);
  EXPECT_EQ(sm->ports(), 2u);
}

TEST_F(StateMachineTest, ReactorRetiredInsideItsNotifiersVisit) {
  // A notifiee heard first removes the machine's reactor while the port's
  // visit is running: the removed one must not react.
  Ptr<SwitchSm> sm = make();
  Ptr<SwitchSm::VekPort> reactor = actAheadOfReactor(*sm, "p1", [&] { sm->portDel("p1"); });
  EXPECT_EQ(journal(), Journal{"VekPort cleanup p1"});
  EXPECT_TRUE(reactor->isZombie());
  EXPECT_EQ(reactor->owner(), nullptr);
}

TEST_F(StateMachineTest, ZombieMachineMakesZombieReactors) {
  Ptr<SwitchSm> sm = make();
  sm->vekDoZombieReactors(true);
  EXPECT_TRUE(sm->isZombie());
  EXPECT_TRUE(sm->port("p1")->isZombie());
  EXPECT_FALSE(sm->port("p1")->hasNotificationActive());
  // The zombie switch reactor no longer follows the ports; a reactor that
  // the dying owner still makes is a zombie at once.
  sm->portIs(sw_->portIs("p9"));
  ASSERT_NE(sm->port("p9"), nullptr);
  EXPECT_TRUE(sm->port("p9")->isZombie());
  journal().clear();
  sw_->enabledIs(true);
  sw_->port("p9")->vlanIs(3);
  EXPECT_TRUE(journal().empty());
  // The way back runs the cleanups again.
  sm->vekDoZombieReactors(false);
  EXPECT_FALSE(sm->port("p1")->isZombie());
  EXPECT_EQ(journal(), (Journal{"VekPort revived p1", "VekPort revived p2", "VekPort revived p9"}));
}

TEST_F(StateMachineTest, TeardownRunsCleanupsAndLeavesNothing) {
  Ptr<SwitchSm> sm = make();
  sm->leafSmIs("a", sw_);
  sm->onlySmIs("b", sw_);
  journal().clear();
  sm = nullptr;
  EXPECT_EQ(journal(),
            (Journal{"VekPort cleanup p1", "VekPort cleanup p2", "~LeafSm a", "~LeafSm b"}));
}

TEST_F(StateMachineTest, HasNotificationActiveIsPassesOnOnce) {
  Ptr<SwitchSm> sm = make();
  Ptr<LeafSm> leaf = sm->leafSmIs("a", sw_);
  sm->hasNotificationActiveIs(false);
  EXPECT_FALSE(leaf->hasNotificationActive());
  EXPECT_FALSE(sm->port("p2")->hasNotificationActive());
  journal().clear();
  sw_->port("p2")->vlanIs(1);
  EXPECT_TRUE(journal().empty());
  sm->hasNotificationActiveIs(true);
  sm->hasNotificationActiveIs(true);
  EXPECT_TRUE(leaf->hasNotificationActive());
  sw_->port("p2")->vlanIs(2);
  EXPECT_EQ(journal(), Journal{"handlePortVlan p2 2"});
}

TEST_F(StateMachineTest, KeyedMachineWithOtherParametersIsNameInUse) {
  Ptr<SwitchSm> sm = make();
  Ptr<LeafSm> a = sm->leafSmIs("a", sw_);
  EXPECT_EQ(sm->leafSmIs("a", sw_), a);
  Ptr<Switch> other = new Switch("s2");
  EXPECT_EQ(raised<Vek::NameInUseException>([&] { sm->leafSmIs("a", other); }),
            "Reinstantiating the pointer interface where constructor parameter attribute _sw "
            "has a different value of Example::Switch(s2) than the current value of "
            "Example::Switch(s1) not allowed");
  EXPECT_EQ(sm->leafSm("a"), a.ptr());
  EXPECT_EQ(sm->leafSmDel("a"), a);
  EXPECT_EQ(sm->leafSm("a"), nullptr);
  EXPECT_EQ(sm->leafSmDel("a"), nullptr);
}

TEST_F(StateMachineTest, SingleMachineIsReplacedOnOtherParametersWithoutError) {
  Ptr<SwitchSm> sm = make();
  Ptr<LeafSm> b = sm->onlySmIs("b", sw_);
  EXPECT_EQ(sm->onlySmIs("b", sw_), b);
  Ptr<Switch> other = new Switch("s2");
  Ptr<LeafSm> c = sm->onlySmIs("b", other);
  EXPECT_NE(c, b);
  EXPECT_EQ(sm->onlySm(), c.ptr());
  EXPECT_TRUE(c->hasNotificationActive());
  Ptr<LeafSm> taken = sm->onlySmDel();
  EXPECT_EQ(taken, c);
  EXPECT_FALSE(taken->hasNotificationActive());
  EXPECT_EQ(sm->onlySm(), nullptr);
}

TEST_F(StateMachineTest, MachineDroppedByItsOwnHandlerSurvivesTheCall) {
  // The only reference to the machine goes while one of its reactors is
  // being notified; the visit keeps the reactor alive, and the reactor sees
  // that it has become a zombie without an owner.
  Ptr<SwitchSm> sm = make();
  Ptr<SwitchSm::VekPort> reactor = actAheadOfReactor(*sm, "p2", [&] { sm = nullptr; });
  EXPECT_EQ(sm, nullptr);
  EXPECT_TRUE(reactor->isZombie());
  EXPECT_EQ(reactor->owner(), nullptr);
}

}  // namespace
}  // namespace Example
