// The base of every record of the shared state.
//
// A record is a named entity whose live objects are counted per type and
// whose readers are reactors of the NotifieeConst (or Notifiee) kind. Its
// attributes are declared with the macros of Accessors.h:
//
//   class Host : public Vek::Record<Host> {
//    public:
//     using Record::Record;                      // Host(Vek::Name name)
//     VEK_VALUE(hostname, 258, Vek::String)
//     VEK_ENTITIES(port, 259, Vek::Name, Port)
//   };
//
// A record keyed by a value other than a name (a VLAN id, a domain, a port)
// derives from KeyedRecord: its key is fwkKey(), its name the key's text.
// A record that derives from another record names it as Base.
#pragma once

#include <string>
#include <type_traits>
#include <utility>

#include "reactive/Accessors.h"
#include "reactive/AllocTrack.h"
#include "reactive/Attribute.h"
#include "reactive/Entity.h"

namespace Vek {

template <class Self, class Base = Entity>
class Record : public Base, public AllocTracked<Self> {
 public:
  using NotifieeConst = ::Vek::NotifieeConst;
  using Notifiee = ::Vek::NotifieeConst;
  using AllocTracked<Self>::vekAllocTrackTypeInfo_;
  using Base::Base;
};

// The text of a key: a number's digits, a value's name(), a record's name
// (empty for a null one).
template <class Key>
Name keyText(Key const& key) {
  if constexpr (std::is_arithmetic_v<Key>) {
    return Name(std::to_string(key));
  } else if constexpr (requires { key.name(); }) {
    return Name(key.name());
  } else {
    return key ? Name(key->name()) : Name();
  }
}

template <class Self, class Key>
class KeyedRecord : public Record<Self> {
 public:
  explicit KeyedRecord(Key key) : key_(std::move(key)) {}

  Key const& fwkKey() const { return key_; }
  Name name() const override { return keyText(key_); }

 private:
  Key const key_;
};

}  // namespace Vek

// The creator of a record for the host process and for tests; collections
// make their own members.
//
//   VEK_RECORD_CREATOR(Host, Vek::Name)   // Vek::Ptr<Host> HostIs(Vek::Name)
#define VEK_RECORD_CREATOR(T, K) \
  inline ::Vek::Ptr<T> T##Is(K key) { return new T(std::move(key)); }
