// The type description and the generic door of a machine, generated from
// its vekMembers() and vekParams() lists.
//
// Ids count up from 130 in the order of vekMembers(); a Vek::idGap<n>()
// entry leaves n numbers without an entry, where a keyed notification's
// handler holds them. The door answers by the entry's kind:
//
//   code  single attribute          keyed attribute            handler
//   0     read                      the entity of a key, null  refused
//   1     xIs, where writable       xIs(entity) (reactors)     refused
//   2     refused                   xDel(key): the entity      refused
//   3, 4  refused                   size, change counter       refused
//   5     refused                   whether the key is there   refused
//   8     refused                   refused                    call it
//
// Writable single attributes are the machine's own values (`initialized`)
// and watched entities that are no constructor parameter and whose mutator
// is the generated one; a class that writes a mutator itself keeps its
// steps, and the door leaves that attribute alone.
#pragma once

#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "reactive/Members.h"
#include "reactive/TypeNode.h"

namespace Vek {

namespace detail {

// Writes a value where `result` points; objects as Ptr<PtrInterface const>.
template <class T>
void genericPut(void* result, T const& value) {
  if (!result) return;
  if constexpr (isPtr<T>) {
    *static_cast<Ptr<PtrInterface const>*>(result) = Ptr<PtrInterface const>(value.ptr());
  } else if constexpr (std::is_pointer_v<T>) {
    *static_cast<Ptr<PtrInterface const>*>(result) = Ptr<PtrInterface const>(value);
  } else {
    *static_cast<T*>(result) = value;
  }
}

// Reads the value `argument` points to; false when it is missing or an
// object of another class.
template <class T>
bool genericTake(void const* argument, T& out) {
  if (!argument) return false;
  if constexpr (isPtr<T>) {
    auto const& p = *static_cast<Ptr<PtrInterface const> const*>(argument);
    using E = typename T::element_type;
    if (!p) {
      out = nullptr;
      return true;
    }
    auto const* e = dynamic_cast<std::add_const_t<E> const*>(p.ptr());
    if (!e) return false;
    out = T(const_cast<E*>(e));
    return true;
  } else {
    out = *static_cast<T const*>(argument);
    return true;
  }
}

template <class D>
struct IsIdGap : std::false_type {};
template <unsigned N>
struct IsIdGap<IdGap<N>> : std::true_type {};

template <class D>
constexpr bool isMirror = requires(D d) {
  d.member;
  d.source;
};

// The member object a declaration names (a member pointer or a mirror).
template <class Owner, class D>
auto& declaredMember(Owner& owner, D const& d) {
  if constexpr (isMirror<D>) {
    return memberOf(owner, d.member);
  } else {
    return memberOf(owner, d);
  }
}

template <class D>
auto declaredPointer(D const& d) {
  if constexpr (isMirror<D>) {
    return d.member;
  } else {
    return d;
  }
}

// Calls f(declaration, id) for each entry of Owner's list, gaps skipped.
template <class Owner, class F>
void forEachEntry(F&& f) {
  AttributeId id = 130;
  std::apply(
      [&](auto const&... d) {
        (
            [&](auto const& one) {
              if constexpr (IsIdGap<std::decay_t<decltype(one)>>::value) {
                id += std::decay_t<decltype(one)>::count;
              } else {
                f(one, id++);
              }
            }(d),
            ...);
      },
      Owner::vekMembers());
}

template <class P, class Q>
bool samePointer(P p, Q q) {
  if constexpr (std::is_same_v<P, Q>) {
    return p == q;
  } else {
    return false;
  }
}

// True if the declaration is one of Owner's constructor parameters.
template <class Owner, class D>
bool isConstructorParameter(D const& d) {
  if constexpr (requires { D::function; }) {
    return false;
  } else {
    auto p = declaredPointer(d);
    return std::apply([&](auto... q) { return (samePointer(p, q) || ...); }, Owner::vekParams());
  }
}

template <class T>
std::string keyNameOf() {
  if constexpr (requires { T::vekKeyName; }) {
    return std::string(T::vekKeyName);
  } else {
    return "name";
  }
}

// The constructor parameters of a machine, as its vekParams() lists them.
template <class M>
std::vector<TypeParam> constructorParams() {
  std::vector<TypeParam> params;
  std::apply(
      [&](auto const... p) {
        (
            [&](auto q) {
              using T = typename MemberObjectType<decltype(q)>::type;
              params.push_back({std::string(T::name.view()), typeText<typename T::ValueType>()});
            }(p),
            ...);
      },
      M::vekParams());
  return params;
}

template <class Owner, class D>
VekAttr describeEntry(D const& d, AttributeId id, TypeNode const* owner) {
  VekAttr a;
  a.owner = owner;
  a.id = id;
  if constexpr (requires { D::function; }) {
    using S = MemberFunction<std::remove_const_t<decltype(D::function)>>;
    a.name = std::string(D::name.view());
    a.valueType = typeText<typename S::Result>();
    a.flags = attrHandler;
    [&]<std::size_t... I>(std::index_sequence<I...>) {
      (a.params.push_back(
           {D::paramName(I), typeText<std::tuple_element_t<I, typename S::Args>>()}),
       ...);
    }(std::make_index_sequence<std::tuple_size_v<typename S::Args>>{});
  } else {
    using M = typename MemberObjectType<decltype(declaredPointer(d))>::type;
    a.name = std::string(M::name.view());
    bool const param = isConstructorParameter<Owner>(d);
    if constexpr (M::kind == MemberKind::constructorValue || M::kind == MemberKind::innerValue) {
      a.valueType = typeText<typename M::ValueType>();
      a.flags = M::kind == MemberKind::innerValue ? U32(attrInnerValue | attrWritable) : 0u;
    } else if constexpr (M::kind == MemberKind::watchedEntity) {
      a.valueType = typeText<typename M::ValueType>();
      a.flags = attrWatchedEntity | (!param && M::generatedMutator ? U32(attrWritable) : 0u);
    } else if constexpr (M::kind == MemberKind::singleMachine) {
      a.valueType = typeText<typename M::Machine>();
      a.params = constructorParams<typename M::Machine>();
      a.flags = attrSingleMachine;
    } else {
      a.keyType = typeText<typename M::Key>();
      if constexpr (M::kind == MemberKind::keyedReactors) {
        using N = typename M::Reactor::NotifierType;
        a.valueType = typeText<N>();
        a.keyName = keyNameOf<std::remove_cv_t<N>>();
        a.flags = attrKeyedReactors | attrWritable;
      } else if constexpr (M::kind == MemberKind::keyedMachines) {
        a.valueType = typeText<typename M::Machine>();
        a.params = constructorParams<typename M::Machine>();
        a.keyName = a.params.at(M::keyParam).name;
        a.flags = attrKeyedMachines;
      } else {
        a.valueType = typeText<typename M::Member>();
        a.keyName = keyNameOf<typename M::Member>();
        a.flags = attrKeyedEntities;
      }
    }
    if (param) a.flags |= attrConstructorValue;
  }
  return a;
}

// One operation on one member.
template <class Owner, class D>
int memberOp(Owner& owner, D const& d, int op, void* result, void const* argument,
             void const* second) {
  using namespace GenericIf;
  if constexpr (requires { D::function; }) {
    if (op != call) return refused;
    using S = MemberFunction<std::remove_const_t<decltype(D::function)>>;
    typename S::Args args;
    bool ok = true;
    void const* const given[] = {argument, second};
    [&]<std::size_t... I>(std::index_sequence<I...>) {
      ((ok = ok && genericTake(given[I], std::get<I>(args))), ...);
    }(std::make_index_sequence<std::tuple_size_v<typename S::Args>>{});
    if (!ok) return refused;
    if constexpr (std::is_void_v<typename S::Result>) {
      std::apply([&](auto const&... a) { (owner.*D::function)(a...); }, args);
    } else {
      genericPut(result, std::apply([&](auto const&... a) { return (owner.*D::function)(a...); },
                                    args));
    }
    return done;
  } else {
    auto& m = declaredMember(owner, d);
    using M = std::decay_t<decltype(m)>;
    if constexpr (M::kind == MemberKind::constructorValue ||
                  M::kind == MemberKind::innerValue) {
      if (op == read) {
        genericPut(result, m.get());
        return done;
      }
      if constexpr (M::kind == MemberKind::innerValue) {
        typename M::ValueType value{};
        if (op == write && genericTake(argument, value)) {
          m.set(value);
          return done;
        }
      }
      return refused;
    } else if constexpr (M::kind == MemberKind::watchedEntity) {
      if (op == read) {
        genericPut(result, m.get());
        return done;
      }
      typename M::NotifierPtr notifier;
      if (op == write && M::generatedMutator && !isConstructorParameter<Owner>(d) &&
          genericTake(argument, notifier)) {
        m.is(owner, notifier);
        return done;
      }
      return refused;
    } else if constexpr (M::kind == MemberKind::singleMachine) {
      if (op != read) return refused;
      genericPut(result, m.get());
      return done;
    } else {
      if (op == count || op == changes) {
        genericPut(result, op == count ? m.size() : m.changeCount());
        return done;
      }
      if constexpr (M::kind == MemberKind::keyedReactors) {
        typename M::Reactor::NotifierPtr notifier;
        if (op == write) {
          if (!genericTake(argument, notifier) || !notifier) return refused;
          m.is(owner, notifier);
          return done;
        }
      }
      typename M::Key key{};
      if ((op != read && op != remove && op != present) || !genericTake(argument, key)) {
        return refused;
      }
      if (op == present) {
        genericPut(result, m.find(key) != nullptr);
      } else if (op == read) {
        if constexpr (M::kind == MemberKind::keyedReactors) {
          genericPut(result, m.get(key));
        } else {
          genericPut(result, m.find(key));
        }
      } else if constexpr (M::kind == MemberKind::keyedEntities) {
        // Children leave through their machine's own steps only.
        return refused;
      } else {
        genericPut(result, m.del(key));
      }
      return done;
    }
  }
}

// A walk over one keyed collection, holding its owner for its whole life.
template <class Map>
struct KeyedIterator : GenericIf::Iterator {
  KeyedIterator(PtrInterface const& owner, Map const& map)
      : hold(&owner), it(map.iterator()) {
    skipStale();
  }
  void skipStale() {
    while (it && !it.currNodeNonStale()) ++it;
  }

  static Ptr<PtrInterface const> obj(GenericIf::Iterator* i) {
    auto& self = static_cast<KeyedIterator&>(*i);
    if (!self.it) return nullptr;
    if constexpr (Map::kind == MemberKind::keyedReactors) {
      return Ptr<PtrInterface const>(self.it.ptr()->notifier().ptr());
    } else {
      return Ptr<PtrInterface const>(self.it.ptr());
    }
  }
  static void key(GenericIf::Iterator* i, void* out) {
    auto& self = static_cast<KeyedIterator&>(*i);
    if (self.it) genericPut(out, self.it.key());
  }
  static bool nonnull(GenericIf::Iterator* i) { return bool(static_cast<KeyedIterator&>(*i).it); }
  static void inc(GenericIf::Iterator* i) {
    auto& self = static_cast<KeyedIterator&>(*i);
    if (!self.it) return;
    ++self.it;
    self.skipStale();
  }
  static void del(GenericIf::Iterator* i) { delete static_cast<KeyedIterator*>(i); }
  static constexpr GenericIf::IteratorTable table{obj, key, nonnull, inc, del};

  Ptr<PtrInterface const> hold;
  typename Map::Iterator it;
};

template <class Owner>
int machineAttributeOp(void* result, PtrInterface& object, AttributeId attribute, int operation,
                       void const* argument, void const* second) {
  auto& owner = static_cast<Owner&>(object);
  int answer = GenericIf::noSuchAttribute;
  forEachEntry<Owner>([&](auto const& d, AttributeId id) {
    if (id == attribute) answer = memberOp(owner, d, operation, result, argument, second);
  });
  return answer;
}

template <class Owner>
GenericIf::Iterator* machineIterator(PtrInterface& object, AttributeId attribute,
                                     GenericIf::IteratorTable const** table) {
  auto& owner = static_cast<Owner&>(object);
  GenericIf::Iterator* made = nullptr;
  forEachEntry<Owner>([&](auto const& d, AttributeId id) {
    if constexpr (!requires { std::decay_t<decltype(d)>::function; }) {
      auto& m = declaredMember(owner, d);
      using M = std::decay_t<decltype(m)>;
      if constexpr (M::kind == MemberKind::keyedReactors ||
                    M::kind == MemberKind::keyedMachines) {
        if (id != attribute) return;
        made = new KeyedIterator<M>(owner, m);
        if (table) *table = &KeyedIterator<M>::table;
      }
    }
  });
  return made;
}

template <class M>
int machineConstruct(Ptr<PtrInterface>& result, void const* const* args) {
  result = nullptr;
  auto const list = M::vekParams();
  return std::apply(
      [&](auto const... p) {
        std::tuple<typename MemberObjectType<std::remove_const_t<decltype(p)>>::type::ValueType...>
            values;
        bool ok = true;
        [&]<std::size_t... I>(std::index_sequence<I...>) {
          ((ok = ok && genericTake(args[I], std::get<I>(values))), ...);
        }(std::index_sequence_for<decltype(p)...>{});
        if (!ok) return int(GenericIf::refused);
        std::apply(
            [&](auto const&... v) {
              Ptr<M> made = M::vekCreate(v...);
              result = made.ptr();
            },
            values);
        return int(GenericIf::done);
      },
      list);
}

}  // namespace detail

// Fills `type` with the description of machine M, in place (its entries
// point back at it).
template <class M>
void describeMachine(TypeNode& type) {
  type.name = typeName(typeid(M));
  type.base = &ptrInterfaceType();
  detail::forEachEntry<M>([&](auto const& d, AttributeId id) {
    type.attributes.push_back(detail::describeEntry<M>(d, id, &type));
  });
  type.constructorParameters = detail::constructorParams<M>();
  type.genericIfConstructFromCtorArgs = &detail::machineConstruct<M>;
  type.genericIfAttributeOp = &detail::machineAttributeOp<M>;
  type.genericIfIterator = &detail::machineIterator<M>;
}

// The generic notifiee of an entity: passes the notifications of the ids
// First..Last on to a target, as indexes from 0, and drops the others.
template <AttributeId First, AttributeId Last>
class GenericIfNotifiee_ : public NotifieeConst {
 public:
  GenericIfNotifiee_(Ptr<PtrInterface const> const& notifier, GenericIf::Target* target)
      : target_(target) {
    baseNotifierIs(notifier);
    isRegisteredNotifieeIs(true);
    hasNotificationActiveIs(true);
  }
  void onAttribute(AttributeId id, void const* /*key*/) override {
    if (id >= First && id <= Last && target_) target_->onRawAttribute(id - First);
  }

  static Ptr<NotifieeConst> make(Ptr<PtrInterface const> const& notifier,
                                 GenericIf::Target* target) {
    return new GenericIfNotifiee_(notifier, target);
  }

 private:
  GenericIf::Target* target_;
};

}  // namespace Vek
