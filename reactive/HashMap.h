// Keyed collections: Vek::HashMap2018 (nodes of key and value) and
// Vek::HashMap (counted members found by their key).
//
// Lookup is by hash with the key alone. Walks go in insertion order, the
// same on every run, and survive any change made from inside the loop body:
//   - removing the current member: the walk goes on with the next member,
//     and the removed one stays readable (currNodeMaybeStale) until the walk
//     moves on; currNodeNonStale() is then null;
//   - removing another member: a member removed before the walk reaches it
//     is never visited;
//   - adding a member: it is placed last; the walk reaches it;
//   - clearing: the walk ends after the current member.
// No member is visited twice, unless its key is removed and added again
// during the walk (the new member stands last).
//
//   Vek::HashMap2018<U32, bool> m;
//   m.set(10, true);
//   for (auto it = m.iterator(); it; it.advance()) {
//     if (!it.currNodeMaybeStale()->value) m.erase(it.key());   // safe
//   }
#pragma once

#include <utility>

#include "reactive/HashMapInternal.h"
#include "reactive/PtrInterface.h"

namespace Vek {

namespace detail {

// The counted handle on a table, created on first insertion.
template <class K, class V>
class TableHandle {
 public:
  using TableT = Table<K, V>;
  using Node = TableNode<K, V>;

  TableHandle() = default;
  TableHandle(TableHandle const&) = delete;
  TableHandle& operator=(TableHandle const&) = delete;
  // Members go with the collection, even while a walk still holds the
  // table: that walk then ends after its current member.
  ~TableHandle() {
    if (!table_) return;
    table_->clear();
    table_->unref();
  }

  U32 size() const { return table_ ? table_->size() : 0; }
  bool empty() const { return size() == 0; }
  // Counts every insertion, change and removal.
  U32 changeCount() const { return table_ ? table_->changes() : 0; }

  Node* lookupNode(K const& key) const { return table_ ? table_->find(key) : nullptr; }

  Node* insertNew(K const& key, V const& value) {
    if (!table_) {
      table_ = new TableT;
      table_->ref();
    }
    return table_->insert(key, value, keyHash(key));
  }

 protected:
  TableT* table_ = nullptr;
};

}  // namespace detail

template <class K, class V>
class HashMap2018 : public detail::TableHandle<K, V> {
  using Base = detail::TableHandle<K, V>;

 public:
  using Node = detail::TableNode<K, V>;

  // The bucket-count hint of the framework; growth is automatic.
  explicit HashMap2018(U32 /*buckets*/ = 4) {}

  class Iterator : public detail::TableWalk<K, V> {
   public:
    using detail::TableWalk<K, V>::TableWalk;
    explicit operator bool() const { return this->currNodeMaybeStale() != nullptr; }
    K const& key() const { return this->currNodeMaybeStale()->key; }
    V const& value() const { return this->currNodeMaybeStale()->value; }
    Iterator& operator++() {
      this->advance();
      return *this;
    }
  };

  Iterator iterator() const { return Iterator(this->table_); }

  V const* find(K const& key) const {
    Node* n = this->lookupNode(key);
    return n ? &n->value : nullptr;
  }
  bool contains(K const& key) const { return this->lookupNode(key) != nullptr; }
  // The value of `key`, or a default value if absent.
  V get(K const& key) const {
    Node* n = this->lookupNode(key);
    return n ? n->value : V();
  }

  enum class Change { none, added, changed };

  // Adds or changes a member. A value equal to the present one changes
  // nothing.
  Change set(K const& key, V const& value) {
    if (Node* n = this->lookupNode(key)) {
      if (n->value == value) return Change::none;
      n->value = value;
      this->table_->noteChange();
      return Change::changed;
    }
    this->insertNew(key, value);
    return Change::added;
  }

  // Removes a member; false if there was none.
  bool erase(K const& key) {
    Node* n = this->lookupNode(key);
    if (!n) return false;
    this->table_->erase(n);
    return true;
  }

  // Removes a member and returns its value (a default value if absent).
  V take(K const& key) {
    Node* n = this->lookupNode(key);
    if (!n) return V();
    V value = n->value;
    this->table_->erase(n);
    return value;
  }

  void clear() {
    if (this->table_) this->table_->clear();
  }
};

// Counted members of type T under keys of type K.
template <class K, class T>
class HashMap : public detail::TableHandle<K, Ptr<T>> {
 public:
  using Node = detail::TableNode<K, Ptr<T>>;

  explicit HashMap(U32 /*buckets*/ = 4) {}

  class Iterator : public detail::TableWalk<K, Ptr<T>> {
   public:
    using detail::TableWalk<K, Ptr<T>>::TableWalk;
    explicit operator bool() const { return this->currNodeMaybeStale() != nullptr; }
    K const& key() const { return this->currNodeMaybeStale()->key; }
    // The current member; it stays readable when it was removed meanwhile.
    T* ptr() const { return this->currNodeMaybeStale()->value.ptr(); }
    T* operator->() const { return ptr(); }
    Iterator& operator++() {
      this->advance();
      return *this;
    }
  };

  Iterator iterator() const { return Iterator(this->table_); }

  T* operator[](K const& key) const {
    Node* n = this->lookupNode(key);
    return n ? n->value.ptr() : nullptr;
  }

  // Adds a member under a key that is known to be absent.
  void newMember(Ptr<T> const& member, K const& key) {
    assert(!this->lookupNode(key));
    this->insertNew(key, member);
  }

  // Removes the member of `key` and returns it, or null.
  Ptr<T> deleteMember(K const& key) {
    Node* n = this->lookupNode(key);
    if (!n) return nullptr;
    Ptr<T> member = n->value;
    this->table_->erase(n);
    return member;
  }

  void emptyAllBuckets() {
    if (this->table_) this->table_->clear();
  }
};

// Calls f(key) for every key of a collection, in insertion order, with the
// stale-safe walk: f may change the collection.
template <class Map, class F>
void forEachKey(Map const& map, F&& f) {
  for (auto it = map.iterator(); it; ++it) f(it.key());
}

}  // namespace Vek
