// The named members of records and machines, one line per attribute.
//
// Every attribute of a record or a machine publishes the same few members
// under its own name (`vlan(id)`, `vlanIs(id)`, `vlanDel(id)`,
// `vlanDelAll()`, `vlanCol()` for walks). The behaviour behind them lives in
// the member templates of Attribute.h and Members.h; the macros below only
// name it, so that a class declares each attribute once, in declaration
// order, and no two classes repeat the same one-liners:
//
//   class DynamicVlan : public Vek::Record<DynamicVlan>, ... {
//     VEK_ENTITIES(mappedVni, 259, U32, Client::MappedVni)
//     VEK_ENTITIES(domain, 260, Client::ClientDomain, Client::Domain)
//   };
//
//   class TopologySm : public Vek::StateMachine<TopologySm> {
//     VEK_SM_PARAM(networkElementCollection, Vek::Ptr<NetworkElementCollection>)
//     VEK_SM_REACTOR(topologyStatus, VekTopologyStatus, TopologyStatus const)
//     VEK_SM_REACTORS(hostsByHostname, Vek::Name, VekHostsByHostname)
//   };
//
// Each macro declares the members of one attribute (the stored member is
// `x_`, private) and leaves the class in its public section. Where a class
// has a mutator of its own (a switch node's `switchElementIs`), it uses the
// form without mutators (`..._GET`) and writes that mutator by hand.
//
// Record attributes, `x##Id` being the attribute's id:
//   VEK_VALUE(x, id, T)            x(), xIs(v)
//   VEK_ENTITIES(x, id, K, T)      records the collection makes: x(k),
//                                  xCol(), xIs(k), xDel(k), xDelAll(),
//                                  xRef() (the three for a generic step)
//   VEK_VALUES(x, id, K, V)        values by key: x(k) (a default value if
//                                  absent), xCol(), xIs(k, v), xDel(k),
//                                  xDelAll()
//   VEK_REFERENCES(x, id, K, T)    references to records held elsewhere,
//                                  keyed by the record's name: x(k), xCol(),
//                                  xIs(ptr) (not null), xDel(k), xDelAll()
// Machine attributes:
//   VEK_SM_PARAM(x, T)             constructor parameter: x()
//   VEK_SM_ATTR(x, T)              written by the machine only: x(), xIs(v)
//   VEK_SM_REACTOR(x, R, N)        watched entity N, one reactor R: x(),
//                                  xIs(ptr), xDel()
//   VEK_SM_REACTORS(x, K, R [, tail])
//                                  keyed reactors: x(k) (the reactor),
//                                  xCol(), xIs(ptr), xDel(k), xDelAll()
//   VEK_SM_MACHINE(x, M)           single machine: x(), xIs(params...), xDel()
//   VEK_SM_MACHINES(x, K, M [, n]) keyed machines: x(k), xCol(),
//                                  xIs(params...) with all constructor
//                                  parameters, the key being the n-th (from
//                                  0; the first if n is not given),
//                                  xDel(k), xDelAll()
//   VEK_SM_CHILDREN(x, K, T)       records the machine owns: x(k), xCol()
//
// Mutators of members whose types are declared after the class (nested
// reactors, child machines) are templates, so that their bodies are only
// compiled where they are used, when those types are complete.
#pragma once

#include <tuple>

#include "reactive/Attribute.h"
#include "reactive/Members.h"

// --- Records ----------------------------------------------------------------

#define VEK_VALUE(x, number, T)                          \
 public:                                                 \
  static constexpr ::Vek::AttributeId x##Id = number;    \
  T x() const { return x##_.get(); }                     \
  void x##Is(T const& value) { x##_.set(*this, value); } \
                                                         \
 private:                                                \
  ::Vek::Value<T, number> x##_;                          \
                                                         \
 public:

#define VEK_ENTITIES(x, number, K, T)                                   \
 public:                                                                \
  static constexpr ::Vek::AttributeId x##Id = number;                   \
  ::Vek::Ptr<T> x(K const& key) const { return x##_.find(key); }        \
  ::Vek::EntityMap<K, T, number> const& x##Col() const { return x##_; } \
  ::Vek::Ptr<T> x##Is(K const& key) { return x##_.is(*this, key); }     \
  ::Vek::Ptr<T> x##Del(K const& key) { return x##_.del(*this, key); }   \
  void x##DelAll() { x##_.delAll(*this); }                              \
  ::Vek::EntityMapRef<K, T, number> x##Ref() { return {*this, x##_}; }  \
                                                                        \
 private:                                                               \
  ::Vek::EntityMap<K, T, number> x##_;                                  \
                                                                        \
 public:

#define VEK_VALUES(x, number, K, V)                                         \
 public:                                                                    \
  static constexpr ::Vek::AttributeId x##Id = number;                       \
  V x(K const& key) const { return x##_.get(key); }                         \
  ::Vek::ValueMap<K, V, number> const& x##Col() const { return x##_; }      \
  void x##Is(K const& key, V const& value) { x##_.set(*this, key, value); } \
  void x##Del(K const& key) { x##_.del(*this, key); }                       \
  void x##DelAll() { x##_.delAll(*this); }                                  \
                                                                            \
 private:                                                                   \
  ::Vek::ValueMap<K, V, number> x##_;                                       \
                                                                            \
 public:

#define VEK_REFERENCES(x, number, K, T)                                            \
 public:                                                                           \
  static constexpr ::Vek::AttributeId x##Id = number;                              \
  ::Vek::Ptr<T> x(K const& key) const { return x##_.get(key); }                    \
  ::Vek::ValueMap<K, ::Vek::Ptr<T>, number> const& x##Col() const { return x##_; } \
  template <class P>                                                               \
  void x##Is(P const& member) {                                                    \
    x##_.set(*this, K(member->name()), member);                                    \
  }                                                                                \
  void x##Del(K const& key) { x##_.del(*this, key); }                              \
  void x##DelAll() { x##_.delAll(*this); }                                         \
                                                                                   \
 private:                                                                          \
  ::Vek::ValueMap<K, ::Vek::Ptr<T>, number> x##_;                                  \
                                                                                   \
 public:

// --- Machines and reactors ----------------------------------------------------

#define VEK_SM_PARAM(x, T)                  \
 public:                                    \
  T const& x() const { return x##_.get(); } \
                                            \
 private:                                   \
  ::Vek::Param<#x, T> x##_;                 \
                                            \
 public:

#define VEK_SM_ATTR(x, T)                         \
 public:                                          \
  T const& x() const { return x##_.get(); }       \
  void x##Is(T const& value) { x##_.set(value); } \
                                                  \
 private:                                         \
  ::Vek::Attr<#x, T> x##_;                        \
                                                  \
 public:

#define VEK_DETAIL_SM_REACTOR_SLOT(x, R, N, generated) \
 public:                                                \
  ::Vek::Ptr<N> x() const { return x##_.get(); }        \
                                                        \
 private:                                               \
  ::Vek::ReactorSlot<#x, R, N, generated> x##_;         \
                                                        \
 public:

#define VEK_SM_REACTOR_GET(x, R, N) VEK_DETAIL_SM_REACTOR_SLOT(x, R, N, false)

#define VEK_SM_REACTOR(x, R, N)              \
  VEK_DETAIL_SM_REACTOR_SLOT(x, R, N, true)  \
  template <class P = ::Vek::Ptr<N>>         \
  void x##Is(P const& notifier) {            \
    x##_.is(*this, ::Vek::Ptr<N>(notifier)); \
  }                                          \
  template <class P = ::Vek::Ptr<N>>         \
  P x##Del() {                               \
    return x##_.del();                       \
  }

#define VEK_SM_REACTORS(x, K, R, ...)                          \
 public:                                                       \
  R* x(K const& key) const { return x##_.find(key); }          \
  auto const& x##Col() const { return x##_; }                  \
  template <class P>                                           \
  void x##Is(P const& notifier) {                              \
    x##_.is(*this, notifier);                                  \
  }                                                            \
  template <class KK = K>                                      \
  void x##Del(KK const& key) {                                 \
    x##_.del(key);                                             \
  }                                                            \
  template <class KK = K>                                      \
  void x##DelAll() {                                           \
    x##_.delAll();                                             \
  }                                                            \
                                                               \
 private:                                                      \
  ::Vek::ReactorMap<#x, K, R __VA_OPT__(, ) __VA_ARGS__> x##_; \
                                                               \
 public:

#define VEK_SM_MACHINE(x, M)                \
 public:                                    \
  M* x() const { return x##_.get(); }       \
  template <class... A>                     \
  ::Vek::Ptr<M> x##Is(A const&... params) { \
    return x##_.is(params...);              \
  }                                         \
  template <class MM = M>                   \
  ::Vek::Ptr<MM> x##Del() {                 \
    return x##_.del();                      \
  }                                         \
                                            \
 private:                                   \
  ::Vek::MachineSlot<#x, M> x##_;           \
                                            \
 public:

#define VEK_SM_MACHINES(x, K, M, ...)                                                             \
 public:                                                                                          \
  M* x(K const& key) const { return x##_.find(key); }                                             \
  auto const& x##Col() const { return x##_; }                                                     \
  template <class... A>                                                                           \
  ::Vek::Ptr<M> x##Is(A const&... params) {                                                       \
    return x##_.isAt(K(std::get<(0 __VA_OPT__(+__VA_ARGS__))>(std::forward_as_tuple(params...))), \
                     params...);                                                                  \
  }                                                                                               \
  template <class MM = M>                                                                         \
  ::Vek::Ptr<MM> x##Del(K const& key) {                                                           \
    return x##_.del(key);                                                                         \
  }                                                                                               \
  template <class MM = M>                                                                         \
  void x##DelAll() {                                                                              \
    x##_.delAll();                                                                                \
  }                                                                                               \
                                                                                                  \
 private:                                                                                         \
  ::Vek::MachineMap<#x, K, M, (0 __VA_OPT__(+__VA_ARGS__))> x##_;                                 \
                                                                                                  \
 public:

#define VEK_SM_CHILDREN(x, K, T)                      \
 public:                                              \
  T* x(K const& key) const { return x##_.find(key); } \
  auto const& x##Col() const { return x##_; }         \
                                                      \
 private:                                             \
  ::Vek::ChildMap<#x, K, T> x##_;                     \
                                                      \
 public:
