// Generated reactors: the base of every nested reactor (Vek...).
//
// A reactor watches one notifier, counted, and belongs to one owner, a
// machine or another reactor, through a plain back pointer that its owner
// clears when it retires the reactor. A reactor class names its notifier and
// owner types and lists its reactions, one per watched attribute:
//
//   class SwitchNodeSm::VekInterface
//       : public Vek::Reactor<VekInterface, VirtualNetwork::Interface, SwitchNodeSm> {
//    public:
//     using Reactor::Reactor;
//     using vekReactions = Vek::Reactions<
//         Vek::OnKey<Interface::vlanId, &VekInterface::handleVlan>,
//         Vek::OnNested<Interface::vlanId, &VekInterface::dynVlan_, &Interface::vlanCol>,
//         Vek::OnValue<Interface::isSwitchInterfaceId, &SwitchNodeSm::handleSomething>>;
//     ...
//   };
//
// Reactions, tested in list order for each notification:
//   OnValue<id, fn>   single-valued attribute: fn() unless a zombie; replayed
//                     when the reactor is re-pointed.
//   OnKey<id, fn>     keyed attribute: fn(key), or fn() for a handler that
//                     takes none, when a key comes and the reactor is no
//                     zombie; a notification without a key is ignored;
//                     never replayed.
//   OnNested<id, map, collection>
//                     keyed attribute mapped to nested reactors: the map
//                     (of the reactor or of its owner) follows the
//                     notifier's collection; does not look at the zombie
//                     state; replayed in full when re-pointed.
// `fn` may be a member of the reactor or of its owner (called only while the
// owner exists). A reactor may declare handleInitialized(), run once when it
// is built (building replays nothing else), and a cleanup, doCleanup() or
// handleCleanup(), run on every change of its zombie state.
#pragma once

#include <tuple>
#include <type_traits>

#include "reactive/AllocTrack.h"
#include "reactive/Attribute.h"
#include "reactive/Members.h"
#include "reactive/Notifiee.h"

namespace Vek {

namespace detail {

// Calls `fn` on the reactor if it is one of the reactor's members, otherwise
// on the reactor's owner, if it still has one.
template <auto Fn, class R, class... A>
void invokeOn(R& reactor, A&&... args) {
  using C = typename MemberFunction<decltype(Fn)>::Class;
  if constexpr (std::is_base_of_v<C, R>) {
    (reactor.*Fn)(std::forward<A>(args)...);
  } else if (auto* owner = reactor.owner()) {
    (owner->*Fn)(std::forward<A>(args)...);
  }
}

template <class M>
struct MemberObject;
template <class T, class C>
struct MemberObject<T C::*> {
  using Class = C;
  using Type = T;
};

}  // namespace detail

template <AttributeId Id, auto Fn>
struct OnValue {
  template <class R>
  static void react(R& r, AttributeId id, void const* /*key*/) {
    if (id == Id && !r.isZombie()) detail::invokeOn<Fn>(r);
  }
  template <class R>
  static void replay(R& r) {
    detail::invokeOn<Fn>(r);
  }
};

template <AttributeId Id, auto Fn>
struct OnKey {
  using Args = typename detail::MemberFunction<decltype(Fn)>::Args;
  template <class R>
  static void react(R& r, AttributeId id, void const* key) {
    if (id != Id || !key || r.isZombie()) return;
    if constexpr (std::tuple_size_v<Args> == 0) {
      // A handler that reads the present state: only told that a member
      // changed.
      detail::invokeOn<Fn>(r);
    } else {
      detail::invokeOn<Fn>(r, notifiedKey<std::tuple_element_t<0, Args>>(key));
    }
  }
  template <class R>
  static void replay(R&) {}
};

template <AttributeId Id, auto Map, auto Collection>
struct OnNested {
  using Holder = typename detail::MemberObject<decltype(Map)>::Class;
  using MapType = typename detail::MemberObject<decltype(Map)>::Type;
  using Key = typename MapType::Key;

  // The map belongs to the reactor itself or to its owner.
  template <class R>
  static Holder* holderOf(R& r) {
    if constexpr (std::is_base_of_v<Holder, R>) {
      return &r;
    } else {
      return r.owner();
    }
  }

  template <class R>
  static void react(R& r, AttributeId id, void const* key) {
    if (id != Id || !key || !r.notifier() || !r.owner()) return;
    Holder* holder = holderOf(r);
    Key const k = notifiedKey<Key>(key);
    auto const& collection = ((*r.notifier()).*Collection)();
    if (auto* const member = detail::memberPtr(collection.find(k))) {
      (holder->*Map).is(*holder, typename MapType::Reactor::NotifierPtr(member));
    } else {
      (holder->*Map).del(k);
    }
  }

  template <class R>
  static void replay(R& r) {
    Holder* holder = holderOf(r);
    if (!holder || !r.notifier()) return;
    (holder->*Map).sync(*holder, &((*r.notifier()).*Collection)());
  }
};

template <class... Rs>
struct Reactions {
  template <class R>
  static void react([[maybe_unused]] R& r, [[maybe_unused]] AttributeId id,
                    [[maybe_unused]] void const* key) {
    (Rs::react(r, id, key), ...);
  }
  // In declaration order, as long as the reactor is no zombie.
  template <class R>
  static void replay([[maybe_unused]] R& r) {
    ((r.isZombie() ? void() : Rs::replay(r)), ...);
  }
};

template <class Self, class Notifier, class Owner>
class Reactor : public NotifieeConst, public AllocTracked<Self> {
 public:
  using NotifierType = Notifier;
  using OwnerType = Owner;
  using NotifierPtr = Ptr<Notifier>;

  // Builds a reactor on `notifier`; the only action of building is the
  // reactor's own handleInitialized(), where it declares one.
  static Ptr<Self> vekCreate(NotifierPtr const& notifier, Owner* owner) {
    Ptr<Self> r(new Self(notifier, owner));
    if constexpr (requires(Self & s) { s.handleInitialized(); }) r->handleInitialized();
    return r;
  }

  NotifierPtr const& notifier() const { return notifier_; }
  Owner* owner() const { return owner_; }
  void ownerIs(Owner* owner) { owner_ = owner; }

  // The key of the reactor: the key of its notifier, empty without one.
  auto fwkKey() const -> std::decay_t<decltype(std::declval<Notifier&>().fwkKey())> {
    if (!notifier_) return {};
    return notifier_->fwkKey();
  }

  // Re-points the reactor and replays what the new notifier holds.
  void notifierIs(NotifierPtr const& notifier) {
    if (notifier == notifier_) return;
    notifier_ = notifier;
    baseNotifierIs(notifier);
    if (notifier && !isZombie()) Self::vekReactions::replay(self());
    isRegisteredNotifieeIs(true);
  }

  void onAttribute(AttributeId id, void const* key) override {
    Self::vekReactions::react(self(), id, key);
  }

  void vekDoZombieReactors(bool flag) {
    if (flag == isZombie()) return;
    if (notifier_) hasNotificationActiveIs(!flag);
    if constexpr (
        requires(Self & s) { s.doCleanup(); } || requires(Self & s) { s.handleCleanup(); }) {
      // The cleanup may drop the last outside reference to this reactor.
      Ptr<Self> hold(&self());
      if constexpr (requires(Self & s) { s.doCleanup(); }) {
        self().doCleanup();
      } else {
        self().handleCleanup();
      }
    }
    if constexpr (requires { Self::vekMembers(); }) generated::zombieReactors(self(), flag);
    vekMarkedForDeletionIs(flag);
  }

  void zeroReferencesIs(bool zero) override {
    if (!zero) return;
    vekDoZombieReactors(true);
    if constexpr (requires { Self::vekMembers(); }) {
      generated::clearOwners(self());
      generated::release(self());
    }
    NotifieeConst::zeroReferencesIs(true);
  }

  // Only vekCreate builds reactors; public so that derived classes can
  // inherit it with `using Reactor::Reactor`.
  Reactor(NotifierPtr const& notifier, Owner* owner) : notifier_(notifier), owner_(owner) {
    baseNotifierIs(notifier);
    isRegisteredNotifieeIs(true);
  }

 private:
  Self& self() { return static_cast<Self&>(*this); }

  NotifierPtr notifier_;
  Owner* owner_;
};

}  // namespace Vek
