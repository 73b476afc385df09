// Generated state machines: the base of every ...Sm class.
//
// A machine is a counted object that owns reactors and child machines, all
// declared as members of the kinds in Members.h and listed in declaration
// order by a static vekMembers(). Its constructor parameters are listed by
// a static vekParams(), in the order of the constructor. The base then
// supplies the generated behaviour:
//
//   XSmIs / vekCreate  allocate, construct (reactors on watched parameters,
//                      keyed reactors mirrored from their sources, then
//                      handleInitialized()), and last activate the machine;
//   hasNotificationActiveIs  passes the flag to its reactors and child
//                      machines in declaration order, once per change;
//   vekDoZombieReactors  single reactors, then the members of each keyed
//                      reactor collection, then the machine itself; child
//                      machines are not passed it;
//   _vekType           the type description and its generic door
//                      (Generic.h), also given by fwkType();
//   teardown           when the last reference goes: zombie, clear the owner
//                      pointers of all reactors, delete the child machines,
//                      empty the collections.
//
//   class TopologySm : public Vek::StateMachine<TopologySm> {
//    public:
//     TopologySm(Ptr<Collection> c, ...) : collection_(c), ... {}
//     static auto vekParams() { return std::tuple{&TopologySm::collection_, ...}; }
//     static auto vekMembers() { return Vek::members(&TopologySm::collection_, ...); }
//     void handleInitialized();
//     ...
//   };
//   Ptr<TopologySm> t = TopologySm::vekCreate(c, ...);
#pragma once

#include <tuple>
#include <utility>

#include "reactive/AllocTrack.h"
#include "reactive/Generic.h"
#include "reactive/Members.h"
#include "reactive/PtrInterface.h"
#include "reactive/Reactor.h"

namespace Vek {

template <class Self>
class StateMachine : public PtrInterface, public AllocTracked<Self> {
 public:
  // The class-level creator: allocate, construct, activate.
  template <class... A>
  static Ptr<Self> vekCreate(A const&... params) {
    Ptr<Self> m(new Self(params...));
    m->vekConstruct();
    m->hasNotificationActiveIs(true);
    return m;
  }

  void hasNotificationActiveIs(bool active) override {
    if (active == hasNotificationActive()) return;
    PtrInterface::hasNotificationActiveIs(active);
    generated::activate(self(), active);
  }

  virtual void vekDoZombieReactors(bool flag) {
    if (flag == isZombie()) return;
    generated::zombieReactors(self(), flag);
    vekMarkedForDeletionIs(flag);
  }

  // True if every constructor parameter equals the given one.
  template <class... A>
  bool vekParamsEqual(A const&... params) const {
    bool equal = true;
    forEachParam(
        [&](auto const& member, auto const& value) {
          if (equal && !(member.get() == value)) equal = false;
        },
        params...);
    return equal;
  }

  // Raises the name-in-use error at the first parameter, in declaration
  // order, that differs from the given one.
  template <class... A>
  void vekCheckParams(A const&... params) const {
    forEachParam(
        [&](auto const& member, auto const& value) {
          if (member.get() == value) return;
          using M = std::decay_t<decltype(member)>;
          throwNameInUseException(
              String(
                  "Reinstantiating the pointer interface where constructor parameter attribute _") +
              String(std::string(M::name.view())) + String(" has a different value of ") +
              strepOf(value) + String(" than the current value of ") + strepOf(member.get()) +
              String(" not allowed"));
        },
        params...);
  }

  // The class's description, built from its member lists on first use.
  static TypeNode const& _vekType() {
    static TypeNode type;
    if (type.name.empty()) describeMachine<Self>(type);
    return type;
  }
  TypeNode const* fwkType() const override { return &_vekType(); }

  void zeroReferencesIs(bool zero) override {
    if (!zero) return;
    vekTeardown();
    PtrInterface::zeroReferencesIs(true);
  }

 protected:
  StateMachine() = default;

  // Reactors on watched parameters, keyed reactors mirrored from their
  // sources, then handleInitialized(). A machine whose construction has a
  // step of its own before the mirrors declares vekBeforeMirrors().
  void vekConstruct() {
    generated::constructSlots(self());
    if constexpr (requires(Self & s) { s.vekBeforeMirrors(); }) self().vekBeforeMirrors();
    generated::constructMirrors(self());
    if constexpr (requires(Self & s) { s.handleInitialized(); }) self().handleInitialized();
  }

  // A machine whose end starts with a step of its own (withdrawing what it
  // wrote) declares vekBeforeTeardown().
  void vekTeardown() {
    if constexpr (requires(Self & s) { s.vekBeforeTeardown(); }) self().vekBeforeTeardown();
    vekDoZombieReactors(true);
    generated::clearOwners(self());
    generated::deleteMachines(self());
    generated::release(self());
  }

 private:
  Self& self() { return static_cast<Self&>(*this); }
  Self const& self() const { return static_cast<Self const&>(*this); }

  template <class F, class... A>
  void forEachParam(F&& f, A const&... params) const {
    auto const list = Self::vekParams();
    static_assert(std::tuple_size_v<decltype(list)> == sizeof...(A),
                  "one value per constructor parameter");
    auto const values = std::forward_as_tuple(params...);
    [&]<std::size_t... I>(std::index_sequence<I...>) {
      (f(self().*std::get<I>(list), std::get<I>(values)), ...);
    }
    (std::index_sequence_for<A...>{});
  }
};

}  // namespace Vek
