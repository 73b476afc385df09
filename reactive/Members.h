// The generated members of state machines and reactors, written once.
//
// A machine or reactor declares its attributes as members of these kinds
// and lists them, in declaration order, in a static vekMembers():
//
//   class HostResourcesSm : public Vek::StateMachine<HostResourcesSm> {
//     ...
//     static auto vekMembers() {
//       return Vek::members(&HostResourcesSm::hostname_,
//                           Vek::handler<"handleVlan", &HostResourcesSm::handleVlan>(),
//                           Vek::mirror(&HostResourcesSm::hostVlan_, hostVlanSource));
//     }
//     Vek::Param<"hostname", Vek::Name> hostname_;
//     Vek::ReactorMap<"hostVlan", U32, VekHostVlan> hostVlan_;
//   };
//
// The list drives everything generic: construction (reactors on watched
// parameters, keyed reactors mirrored from their source), activation,
// zombie propagation, teardown, the comparison of constructor parameters and
// the type description. Member kinds:
//
//   Param        constructor parameter, value or plain counted reference
//   Attr         value written only by the machine itself (`initialized`)
//   ReactorSlot  watched entity, one reactor
//   ReactorMap   keyed reactors
//   MachineSlot  single state machine
//   MachineMap   keyed state machines
//   handler      a handler, listed for the type description only
//   idGap        ids of the type description left without an entry
#pragma once

#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include "reactive/Attribute.h"
#include "reactive/Exception.h"
#include "reactive/FixedString.h"
#include "reactive/HashMap.h"
#include "reactive/PtrInterface.h"
#include "reactive/TypeNode.h"

namespace Vek {

// The text of a value in the messages of the generated members.
template <class T>
String strepOf(T const& value) {
  if constexpr (std::is_base_of_v<detail::TextRef, T>) {
    return valueToStrep(String(value));
  } else if constexpr (std::is_same_v<T, bool>) {
    return String(value ? "true" : "false");
  } else if constexpr (std::is_arithmetic_v<T>) {
    return String(std::to_string(value));
  } else if constexpr (requires { String(value.name()); }) {
    return String(value.name());
  } else {
    using E = std::remove_cv_t<typename T::element_type>;
    if constexpr (std::is_base_of_v<Entity, E>) {
      return valueToStrepOfRawPtr(value.ptr(), typeid(E));
    } else {
      return String(value ? typeName(typeid(E)) : std::string("null"));
    }
  }
}

// Retires a reactor, always in this order: zombie (which runs its cleanup),
// no owner, no notification. The caller holds a reference throughout.
template <class R>
void retireReactor(R& reactor) {
  reactor.vekDoZombieReactors(true);
  reactor.ownerIs(nullptr);
  reactor.hasNotificationActiveIs(false);
}

namespace detail {

// The member that a collection's find() gives: a plain pointer for a
// collection of entities, a pointer to the stored reference for a collection
// of references (a null reference counts as no member).
template <class T>
T* memberPtr(T* member) {
  return member;
}
template <class T>
T* memberPtr(Ptr<T> const* member) {
  return member ? member->ptr() : nullptr;
}

// What every keyed member kind holds: counted members of type T by key,
// their lookup and their walk.
template <FixedString Name, MemberKind Kind, class K, class T>
class KeyedMembers {
 public:
  static constexpr MemberKind kind = Kind;
  static constexpr FixedString name = Name;
  using Key = K;
  using Member = T;
  using Iterator = typename HashMap<K, T>::Iterator;

  T* find(K const& key) const { return map_[key]; }
  U32 size() const { return map_.size(); }
  U32 changeCount() const { return map_.changeCount(); }
  Iterator iterator() const { return map_.iterator(); }

  void vekRelease() { map_.emptyAllBuckets(); }

 protected:
  // Calls f(member) for each member, in insertion order; a member removed
  // during the walk is skipped.
  template <class F>
  void forEachMember(F&& f) {
    for (auto it = map_.iterator(); it; ++it) {
      if (it.currNodeNonStale()) f(*it.ptr());
    }
  }

  HashMap<K, T> map_;
};

}  // namespace detail

// A constructor parameter: set at construction, never changed.
template <FixedString Name, class T>
class Param {
 public:
  static constexpr MemberKind kind = MemberKind::constructorValue;
  static constexpr FixedString name = Name;
  using ValueType = T;

  explicit Param(T value) : value_(std::move(value)) {}
  T const& get() const { return value_; }

 private:
  T value_;
};

// A value that only its machine writes; no notification.
template <FixedString Name, class T>
class Attr {
 public:
  static constexpr MemberKind kind = MemberKind::innerValue;
  static constexpr FixedString name = Name;
  using ValueType = T;

  Attr() = default;
  explicit Attr(T value) : value_(std::move(value)) {}
  T const& get() const { return value_; }
  void set(T const& value) { value_ = value; }

 private:
  T value_{};
};

// A watched entity of type N with one reactor R. Built with the initial
// notifier, the reactor is made when the owner is constructed (not in this
// constructor: the owner is not complete yet). N is named here, and not
// taken from R, so that R may be defined after its owner. `Generated` is
// false where the class writes the attribute's mutator itself.
template <FixedString Name, class R, class N, bool Generated = true>
class ReactorSlot {
 public:
  static constexpr MemberKind kind = MemberKind::watchedEntity;
  static constexpr FixedString name = Name;
  static constexpr bool generatedMutator = Generated;
  using Reactor = R;
  using NotifierPtr = Ptr<N>;
  using ValueType = NotifierPtr;

  ReactorSlot() = default;
  explicit ReactorSlot(NotifierPtr initial) : initial_(std::move(initial)) {}

  // The watched entity, or null.
  NotifierPtr get() const { return reactor_ ? reactor_->notifier() : initial_; }
  R* reactor() const { return reactor_.ptr(); }

  template <class Owner>
  void is(Owner& owner, NotifierPtr const& notifier) {
    if (reactor_) {
      if (reactor_->notifier() == notifier) return;
      if (!notifier) {
        Ptr<R> old = std::move(reactor_);
        retireReactor(*old);
        return;
      }
      Ptr<R> hold = reactor_;
      hold->notifierIs(notifier);  // replays
      return;
    }
    if (!notifier) return;
    Ptr<R> r = R::vekCreate(notifier, &owner);
    r->hasNotificationActiveIs(true);
    reactor_ = r;
    r->vekDoZombieReactors(owner.isZombie());
  }

  // Takes the reactor out of the attribute without retiring it, for owners
  // that retire in an order of their own.
  Ptr<R> take() { return std::move(reactor_); }

  // Clears the attribute, retires the reactor and returns what it watched.
  NotifierPtr del() {
    if (!reactor_) return nullptr;
    Ptr<R> old = std::move(reactor_);
    NotifierPtr notifier = old->notifier();
    retireReactor(*old);
    return notifier;
  }

  // Generic upkeep, driven by the owner.
  template <class Owner>
  void vekConstruct(Owner& owner) {
    NotifierPtr initial = std::move(initial_);
    is(owner, initial);
  }
  void vekActivate(bool active) {
    if (reactor_) reactor_->hasNotificationActiveIs(active);
  }
  void vekZombie(bool flag) {
    if (reactor_) reactor_->vekDoZombieReactors(flag);
  }
  void vekClearOwner() {
    if (reactor_) reactor_->ownerIs(nullptr);
  }
  void vekRelease() {
    reactor_ = nullptr;
    initial_ = nullptr;
  }

 private:
  Ptr<R> reactor_;
  NotifierPtr initial_;
};

// Keyed reactors: one per watched entity, under the entity's key.
//
// Members are R; R may be defined after the owner that declares the map.
// `Tail` ends the text of the null-pointer error, where a map's message has
// always ended in something of its own.
template <FixedString Name, class K, class R, FixedString Tail = "">
class ReactorMap : public detail::KeyedMembers<Name, MemberKind::keyedReactors, K, R> {
  using detail::KeyedMembers<Name, MemberKind::keyedReactors, K, R>::map_;

 public:
  using Reactor = R;

  // The entity watched under `key`, or null.
  template <class RR = R>
  typename RR::NotifierPtr get(K const& key) const {
    R* r = map_[key];
    return r ? r->notifier() : nullptr;
  }

  template <class Owner, class RR = R>
  Ptr<R> is(Owner& owner, typename RR::NotifierPtr const& notifier) {
    if (!notifier) {
      throwRangeException("null _" + std::string(Name.view()) + " parameter to mutator for " +
                          typeName(typeid(Owner)) + "::" + std::string(Name.view()) +
                          " not allowed" + std::string(Tail.view()));
    }
    K const key = notifier->fwkKey();
    Ptr<R> r = map_[key];
    if (r) {
      if (r->notifier() != notifier) r->notifierIs(notifier);
    } else {
      r = R::vekCreate(notifier, &owner);
      r->hasNotificationActiveIs(true);
      map_.newMember(r, key);
    }
    // A reactor made by a dying owner is a zombie at once.
    r->vekDoZombieReactors(owner.isZombie());
    return r;
  }

  // Removes and retires the reactor of `key`; returns what it watched.
  template <class RR = R>
  typename RR::NotifierPtr del(K const& key) {
    Ptr<R> r = map_.deleteMember(key);
    if (!r) return nullptr;
    typename RR::NotifierPtr notifier = r->notifier();
    retireReactor(*r);
    return notifier;
  }

  void delAll() {
    forEachKey(map_, [&](K const& key) { del(key); });
  }

  // Makes the reactors follow a collection of entities: one for each member,
  // none for a key without a member.
  template <class Owner, class Collection>
  void sync(Owner& owner, Collection const* source) {
    if (!source) return;
    for (auto it = source->iterator(); it; ++it) {
      auto const* node = it.currNodeNonStale();
      if (node && node->value) is(owner, typename R::NotifierPtr(node->value));
    }
    forEachKey(map_, [&](K const& key) {
      if (!detail::memberPtr(source->find(key))) del(key);
    });
  }

  void vekActivate(bool active) {
    this->forEachMember([&](R& r) { r.hasNotificationActiveIs(active); });
  }
  void vekZombie(bool flag) {
    this->forEachMember([&](R& r) { r.vekDoZombieReactors(flag); });
  }
  void vekClearOwner() {
    this->forEachMember([](R& r) { r.ownerIs(nullptr); });
  }
};

// The single child machine of this attribute.
template <FixedString Name, class M>
class MachineSlot {
 public:
  static constexpr MemberKind kind = MemberKind::singleMachine;
  static constexpr FixedString name = Name;
  using Machine = M;

  M* get() const { return machine_.ptr(); }

  // The machine with these parameters: the present one if its parameters are
  // the same, otherwise a new one in its place. Never fails.
  template <class... A>
  Ptr<M> is(A const&... params) {
    if (machine_ && machine_->vekParamsEqual(params...)) return machine_;
    Ptr<M> fresh = M::vekCreate(params...);
    Ptr<M> old = std::exchange(machine_, fresh);
    old = nullptr;
    fresh->hasNotificationActiveIs(true);
    return fresh;
  }

  // Takes the machine out of the attribute and deactivates it.
  Ptr<M> del() {
    Ptr<M> old = std::move(machine_);
    if (old) old->hasNotificationActiveIs(false);
    return old;
  }

  void vekActivate(bool active) {
    if (machine_) machine_->hasNotificationActiveIs(active);
  }
  void vekDeleteMachines() { del(); }
  void vekRelease() { machine_ = nullptr; }

 private:
  Ptr<M> machine_;
};

// Keyed child machines; the key is the constructor parameter `KeyParam`
// (from 0).
template <FixedString Name, class K, class M, std::size_t KeyParam = 0>
class MachineMap : public detail::KeyedMembers<Name, MemberKind::keyedMachines, K, M> {
  using detail::KeyedMembers<Name, MemberKind::keyedMachines, K, M>::map_;

 public:
  using Machine = M;
  static constexpr std::size_t keyParam = KeyParam;

  // The machine of `key`, made and activated if absent. An existing one
  // with other constructor parameters raises the name-in-use error.
  template <class... A>
  Ptr<M> is(K const& key, A const&... params) {
    return isAt(key, key, params...);
  }

  // The same for a machine whose key is not its first constructor
  // parameter: `params` are all of them, in constructor order.
  template <class... A>
  Ptr<M> isAt(K const& key, A const&... params) {
    if (Ptr<M> m = map_[key]) {
      m->vekCheckParams(params...);
      return m;
    }
    Ptr<M> m = M::vekCreate(params...);
    map_.newMember(m, key);
    m->hasNotificationActiveIs(true);
    return m;
  }

  // Removes the machine of `key`; it dies with its last reference.
  Ptr<M> del(K const& key) { return map_.deleteMember(key); }

  void delAll() {
    forEachKey(map_, [&](K const& key) { del(key); });
  }

  void vekActivate(bool active) {
    this->forEachMember([&](M& m) { m.hasNotificationActiveIs(active); });
  }
  void vekDeleteMachines() { delAll(); }
};

// Keyed records that a machine owns and makes itself (no notification: a
// machine has no notifiees). Members are built as T(key), activated, and
// detached from their parent when they leave.
template <FixedString Name, class K, class T>
class ChildMap : public detail::KeyedMembers<Name, MemberKind::keyedEntities, K, T> {
  using detail::KeyedMembers<Name, MemberKind::keyedEntities, K, T>::map_;

 public:
  // The member of `key`; `made` tells whether it was made now.
  Ptr<T> is(K const& key, bool* made = nullptr) {
    if (made) *made = false;
    if (Ptr<T> m = map_[key]) return m;
    Ptr<T> m(new T(key));
    m->hasNotificationActiveIs(true);
    map_.newMember(m, key);
    if (made) *made = true;
    return m;
  }

  // Takes the member of `key` out and returns it, or null; the caller
  // detaches it once it has dealt with what depends on it.
  Ptr<T> take(K const& key) { return map_.deleteMember(key); }

  void delAll() {
    forEachKey(map_, [&](K const& key) {
      if (Ptr<T> m = take(key)) m->parentIs(nullptr);
    });
  }

  void vekDeleteMachines() { delAll(); }
};

// --- The declaration list -------------------------------------------------

template <FixedString Name, auto Fn, FixedString... ParamNames>
struct Handler {
  static constexpr MemberKind kind = MemberKind::handler;
  static constexpr FixedString name = Name;
  static constexpr auto function = Fn;
  // The name of parameter i, for the type description.
  static std::string paramName(std::size_t i) {
    std::string const names[] = {std::string(ParamNames.view())..., std::string()};
    return i < sizeof...(ParamNames) ? names[i] : std::string();
  }
};

// A handler, listed for the type description with its parameters' names.
template <FixedString Name, auto Fn, FixedString... ParamNames>
constexpr Handler<Name, Fn, ParamNames...> handler() {
  return {};
}

// Numbers of the type description that stay without an entry: those a
// keyed notification's handler holds behind it.
template <unsigned N>
struct IdGap {
  static constexpr unsigned count = N;
};

template <unsigned N>
constexpr IdGap<N> idGap() {
  return {};
}

// A keyed reactor collection that follows a collection of entities:
// `source(owner)` gives a pointer to that collection, or null.
template <class MemberPtr, class Source>
struct Mirror {
  MemberPtr member;
  Source source;
};

template <class MemberPtr, class Source>
constexpr Mirror<MemberPtr, Source> mirror(MemberPtr member, Source source) {
  return {member, source};
}

// The usual source: the collection `collection` of the entity that the
// owner's `watched()` gives, or null while it gives none.
template <class MemberPtr, class Watched, class Collection>
constexpr auto mirror(MemberPtr member, Watched watched, Collection collection) {
  return mirror(member, [watched, collection](auto const& owner) {
    auto const entity = (owner.*watched)();
    return entity ? &((*entity).*collection)() : nullptr;
  });
}

template <class... D>
constexpr std::tuple<D...> members(D... d) {
  return std::tuple<D...>(d...);
}

namespace detail {

// The class, result and (decayed) parameters of a member function.
template <class F>
struct MemberFunction;
template <class R, class C, class... A>
struct MemberFunction<R (C::*)(A...)> {
  using Class = C;
  using Result = R;
  using Args = std::tuple<std::decay_t<A>...>;
};
template <class R, class C, class... A>
struct MemberFunction<R (C::*)(A...) const> : MemberFunction<R (C::*)(A...)> {};

template <class M>
struct MemberObjectType;
template <class T, class C>
struct MemberObjectType<T C::*> {
  using type = T;
};

template <class Owner, class T>
T& memberOf(Owner& owner, T Owner::*member) {
  return owner.*member;
}

template <class Owner, class T, class Base>
T& memberOf(Owner& owner, T Base::*member) {
  return static_cast<Base&>(owner).*member;
}

template <class Owner, class D, class F>
void visitMember(Owner& owner, D const& d, F& f) {
  if constexpr (std::is_member_object_pointer_v<D>) {
    f(memberOf(owner, d));
  } else if constexpr (requires {
                         d.member;
                         d.source;
                       }) {
    f(memberOf(owner, d.member));
  }
  // Handlers and id gaps have no state.
}

}  // namespace detail

// Calls f(member) for each member of owner, in declaration order.
template <class Owner, class F>
void forEachMember(Owner& owner, F&& f) {
  std::apply([&](auto const&... d) { (detail::visitMember(owner, d, f), ...); },
             Owner::vekMembers());
}

// Calls f(member, source) for each mirrored keyed reactor collection.
template <class Owner, class F>
void forEachMirror(Owner& owner, F&& f) {
  std::apply(
      [&](auto const&... d) {
        (
            [&](auto const& one) {
              if constexpr (requires {
                              one.member;
                              one.source;
                            }) {
                f(detail::memberOf(owner, one.member), one.source(owner));
              }
            }(d),
            ...);
      },
      Owner::vekMembers());
}

// Generic upkeep over all members of a machine or reactor.
namespace generated {

// Single reactors first, then the members of each keyed reactor collection.
template <class Owner>
void zombieReactors(Owner& owner, bool flag) {
  forEachMember(owner, [&](auto& m) {
    if constexpr (std::decay_t<decltype(m)>::kind == MemberKind::watchedEntity) m.vekZombie(flag);
  });
  forEachMember(owner, [&](auto& m) {
    if constexpr (std::decay_t<decltype(m)>::kind == MemberKind::keyedReactors) m.vekZombie(flag);
  });
}

// Calls m.call on each member of owner that has such a member function.
#define VEK_EACH_MEMBER(owner, call)            \
  forEachMember(owner, [&](auto& m) {           \
    if constexpr (requires { m.call; }) m.call; \
  })

template <class Owner>
void activate(Owner& owner, bool active) {
  VEK_EACH_MEMBER(owner, vekActivate(active));
}
template <class Owner>
void clearOwners(Owner& owner) {
  VEK_EACH_MEMBER(owner, vekClearOwner());
}
template <class Owner>
void deleteMachines(Owner& owner) {
  VEK_EACH_MEMBER(owner, vekDeleteMachines());
}
template <class Owner>
void release(Owner& owner) {
  VEK_EACH_MEMBER(owner, vekRelease());
}
template <class Owner>
void constructSlots(Owner& owner) {
  VEK_EACH_MEMBER(owner, vekConstruct(owner));
}

template <class Owner>
void constructMirrors(Owner& owner) {
  forEachMirror(owner, [&](auto& map, auto const* source) { map.sync(owner, source); });
}

}  // namespace generated

}  // namespace Vek
