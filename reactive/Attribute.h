// The generated members of records, written once for every entity type.
//
// A record declares each attribute as one of these members and exposes it
// through one-line accessors and mutators:
//
//   class Config : public Vek::Entity {
//    public:
//     static constexpr Vek::AttributeId enabledId = 259;
//     bool enabled() const { return enabled_.get(); }
//     void enabledIs(bool v) { enabled_.set(*this, v); }
//    private:
//     Vek::Value<bool, enabledId> enabled_;
//   };
//
// Every change notifies once, with the attribute's id and, for a
// collection, the key, before the mutator returns. Setting a value to the
// value it has notifies nothing. A lookup never creates.
#pragma once

#include <type_traits>
#include <utility>

#include "reactive/Entity.h"
#include "reactive/HashMap.h"

namespace Vek {

// Notifies a change of the member `key` of a keyed attribute. Name and
// string keys travel as a Vek::String, numbers as a U32, other keys as
// themselves.
template <class K>
void notifyKey(Entity const& owner, AttributeId id, K const& key) {
  if constexpr (std::is_base_of_v<detail::TextRef, K>) {
    String const text(key);
    owner.vekNotify(id, &text);
  } else {
    owner.vekNotify(id, &key);
  }
}

// The key a notification carries, for a handler that expects type K.
template <class K>
K notifiedKey(void const* key) {
  if constexpr (std::is_base_of_v<detail::TextRef, K>) {
    return K(*static_cast<String const*>(key));
  } else {
    return *static_cast<K const*>(key);
  }
}

// A single value with notification.
template <class T, AttributeId Id>
class Value {
 public:
  static constexpr AttributeId id = Id;

  Value() = default;
  explicit Value(T value) : value_(std::move(value)) {}

  T const& get() const { return value_; }
  // Stores a different value and notifies; an equal value changes nothing.
  bool set(Entity const& owner, T const& value) {
    if (value_ == value) return false;
    value_ = value;
    owner.vekNotify(Id);
    return true;
  }

 private:
  T value_{};
};

// A collection of values (or of references to entities owned elsewhere).
template <class K, class V, AttributeId Id>
class ValueMap {
 public:
  static constexpr AttributeId id = Id;
  using Iterator = typename HashMap2018<K, V>::Iterator;

  V get(K const& key) const { return map_.get(key); }
  V const* find(K const& key) const { return map_.find(key); }
  bool contains(K const& key) const { return map_.contains(key); }
  U32 size() const { return map_.size(); }
  bool empty() const { return map_.empty(); }
  Iterator iterator() const { return map_.iterator(); }
  HashMap2018<K, V> const& map() const { return map_; }

  // Adds or changes a member; notifies unless the value was already there.
  bool set(Entity const& owner, K const& key, V const& value) {
    if (map_.set(key, value) == HashMap2018<K, V>::Change::none) return false;
    notifyKey(owner, Id, key);
    return true;
  }
  // Removes a member; notifies if there was one. Returns the removed value.
  V del(Entity const& owner, K const& key) {
    if (!map_.contains(key)) return V();
    V value = map_.take(key);
    notifyKey(owner, Id, key);
    return value;
  }
  void delAll(Entity const& owner) {
    forEachKey(map_, [&](K const& key) { del(owner, key); });
  }

 private:
  HashMap2018<K, V> map_;
};

struct NoValue {
  bool operator==(NoValue const&) const = default;
};

// A set of keys, such as the referrer strings that keep a record alive:
// adding a present key and removing an absent one change nothing.
template <class K, AttributeId Id>
class ValueSet {
 public:
  static constexpr AttributeId id = Id;
  using Iterator = typename HashMap2018<K, NoValue>::Iterator;

  bool contains(K const& key) const { return map_.contains(key); }
  U32 size() const { return map_.size(); }
  bool empty() const { return map_.empty(); }
  Iterator iterator() const { return map_.iterator(); }

  bool set(Entity const& owner, K const& key) {
    if (map_.set(key, NoValue()) == HashMap2018<K, NoValue>::Change::none) return false;
    notifyKey(owner, Id, key);
    return true;
  }
  bool del(Entity const& owner, K const& key) {
    if (!map_.erase(key)) return false;
    notifyKey(owner, Id, key);
    return true;
  }
  void delAll(Entity const& owner) {
    forEachKey(map_, [&](K const& key) { del(owner, key); });
  }

 private:
  HashMap2018<K, NoValue> map_;
};

// A collection of entities that the collection's own mutator makes. The
// member type T is built as T(key, extra...) and its parent is the owner.
template <class K, class T, AttributeId Id>
class EntityMap {
 public:
  static constexpr AttributeId id = Id;
  using Iterator = typename HashMap<K, T>::Iterator;

  EntityMap() = default;
  EntityMap(EntityMap const&) = delete;
  EntityMap& operator=(EntityMap const&) = delete;
  ~EntityMap() {
    // Members that somebody still holds outlive us: detach them.
    for (auto it = map_.iterator(); it; ++it) it.ptr()->parentIs(nullptr);
  }

  T* find(K const& key) const { return map_[key]; }
  U32 size() const { return map_.size(); }
  bool empty() const { return map_.empty(); }
  Iterator iterator() const { return map_.iterator(); }
  HashMap<K, T> const& map() const { return map_; }

  // The member of `key`, made (and notified) if absent.
  template <class... A>
  Ptr<T> is(Entity const& owner, K const& key, A&&... extra) {
    if (T* m = map_[key]) return m;
    Ptr<T> m(new T(key, std::forward<A>(extra)...));
    m->parentIs(const_cast<Entity*>(&owner));
    map_.newMember(m, key);
    notifyKey(owner, Id, key);
    return m;
  }

  // Adds an entity made elsewhere under its own key; another member under
  // that key is replaced. Notifies once, unless `member` was already there.
  Ptr<T> add(Entity const& owner, Ptr<T> const& member) {
    K const key = member->fwkKey();
    T* old = map_[key];
    if (old == member.ptr()) return member;
    if (old) map_.deleteMember(key)->parentIs(nullptr);
    member->parentIs(const_cast<Entity*>(&owner));
    map_.newMember(member, key);
    notifyKey(owner, Id, key);
    return member;
  }

  // Removes the member of `key` and returns it, or null.
  Ptr<T> del(Entity const& owner, K const& key) {
    Ptr<T> m = map_.deleteMember(key);
    if (!m) return nullptr;
    m->parentIs(nullptr);
    notifyKey(owner, Id, key);
    return m;
  }

  void delAll(Entity const& owner) {
    forEachKey(map_, [&](K const& key) { del(owner, key); });
  }

 private:
  HashMap<K, T> map_;
};

// A record's collection of entities with the record that notifies for it:
// what a generic step needs to find, make and remove members (`xRef()`).
template <class K, class T, AttributeId Id>
class EntityMapRef {
 public:
  EntityMapRef(Entity const& owner, EntityMap<K, T, Id>& map) : owner_(owner), map_(map) {}

  Ptr<T> find(K const& key) const { return map_.find(key); }
  Ptr<T> is(K const& key) const { return map_.is(owner_, key); }
  Ptr<T> del(K const& key) const { return map_.del(owner_, key); }

 private:
  Entity const& owner_;
  EntityMap<K, T, Id>& map_;
};

// The holders of a record, by a string of each holder's own choosing:
// whoever needs the record adds its string and takes it away when done; the
// holder that empties the set deletes the record, the set never does. A
// record publishes referrer(r), referrerCol(), referrerIs(r), referrerDel(r)
// and referrerDelAll() by deriving from it:
//
//   class MappedVni : public Vek::Record<MappedVni>, public Vek::Referrers<MappedVni, 258> {...};
//
// With Flagged, each holder holds with a flag: referrer(r) reads the flag
// (false if absent) and referrerIs(r, flag) writes it (ReferrerMap).
template <class Self, AttributeId Id, bool Flagged = false>
class Referrers {
  using Store = std::conditional_t<Flagged, ValueMap<String, bool, Id>, ValueSet<String, Id>>;

 public:
  static constexpr AttributeId referrerId = Id;

  bool referrer(String const& r) const {
    if constexpr (Flagged) {
      return referrer_.get(r);
    } else {
      return referrer_.contains(r);
    }
  }
  Store const& referrerCol() const { return referrer_; }
  void referrerIs(String const& r) requires(!Flagged) { referrer_.set(self(), r); }
  void referrerIs(String const& r, bool flag) requires Flagged { referrer_.set(self(), r, flag); }
  void referrerDel(String const& r) { referrer_.del(self(), r); }
  void referrerDelAll() { referrer_.delAll(self()); }

 private:
  Self const& self() const { return static_cast<Self const&>(*this); }

  Store referrer_;
};

template <class Self, AttributeId Id>
using ReferrerMap = Referrers<Self, Id, true>;

}  // namespace Vek
