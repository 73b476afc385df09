// The table behind Vek::HashMap and Vek::HashMap2018. Not for direct use.
//
// Members are nodes in insertion order (a vector with holes) and found by key
// through an open-addressing index of node pointers (linear probing,
// backward-shift removal). The bucket of a key is the top bits of its hash.
//
// A walk holds a counted reference on the table and on its current node, and
// remembers its position in the order. Removal during a walk leaves a hole
// instead of moving anything, and the holes are compacted only when no walk
// is running, so positions stay valid for every walk in progress. A removed
// node lives on, readable but stale, while a walk still stands on it.
#pragma once

#include <cassert>
#include <cstddef>
#include <utility>
#include <vector>

#include "reactive/Hash.h"

namespace Vek::detail {

template <class K, class V>
struct TableNode {
  TableNode(K const& k, V const& v, U32 h) : key(k), value(v), hash(h) {}
  K key;
  V value;
  U32 hash;
  U32 pos = 0;
  U32 refs = 1;  // the table's own reference while the node is a member
  bool member = true;

  void ref() { ++refs; }
  void unref() {
    if (--refs == 0) delete this;
  }
};

template <class K, class V>
class Table {
 public:
  using Node = TableNode<K, V>;

  Table() = default;
  Table(Table const&) = delete;
  Table& operator=(Table const&) = delete;
  ~Table() {
    for (Node* n : order_) {
      if (n) {
        n->member = false;
        n->unref();
      }
    }
  }

  void ref() { ++refs_; }
  void unref() {
    if (--refs_ == 0) delete this;
  }

  U32 size() const { return live_; }
  U32 changes() const { return changes_; }

  Node* find(K const& key) const { return find(key, keyHash(key)); }

  Node* find(K const& key, U32 h) const {
    if (index_.empty()) return nullptr;
    std::size_t const mask = index_.size() - 1;
    for (std::size_t i = h >> shift_;; i = (i + 1) & mask) {
      Node* n = index_[i];
      if (!n) return nullptr;
      if (n->hash == h && n->key == key) return n;
    }
  }

  // Adds a member that is known to be absent.
  Node* insert(K const& key, V const& value, U32 h) {
    if ((live_ + 1) * 2 > index_.size()) grow();
    Node* n = new Node(key, value, h);
    n->pos = static_cast<U32>(order_.size());
    order_.push_back(n);
    place(n);
    ++live_;
    ++changes_;
    return n;
  }

  void noteChange() { ++changes_; }

  // Removes a member; the node dies unless a walk stands on it.
  void erase(Node* n) {
    assert(n->member);
    unplace(n);
    order_[n->pos] = nullptr;
    ++holes_;
    --live_;
    ++changes_;
    n->member = false;
    n->unref();
    maybeCompact();
  }

  void clear() {
    for (Node*& n : order_) {
      if (n) {
        n->member = false;
        n->unref();
        n = nullptr;
        ++holes_;
      }
    }
    std::fill(index_.begin(), index_.end(), nullptr);
    live_ = 0;
    ++changes_;
    maybeCompact();
  }

  // Walk support.
  void walkBegin() {
    ref();
    ++walks_;
  }
  void walkEnd() {
    if (--walks_ == 0) maybeCompact();
    unref();
  }
  // The first member at or after `pos`, or null; `pos` is moved onto it.
  Node* seek(std::size_t& pos) const {
    while (pos < order_.size() && !order_[pos]) ++pos;
    return pos < order_.size() ? order_[pos] : nullptr;
  }

 private:
  void place(Node* n) {
    std::size_t const mask = index_.size() - 1;
    std::size_t i = n->hash >> shift_;
    while (index_[i]) i = (i + 1) & mask;
    index_[i] = n;
  }

  void unplace(Node* n) {
    std::size_t const mask = index_.size() - 1;
    std::size_t i = n->hash >> shift_;
    while (index_[i] != n) i = (i + 1) & mask;
    // Backward shift: pull later members of the probe run into the gap
    // unless their home lies cyclically in (gap, position].
    std::size_t j = i;
    for (;;) {
      j = (j + 1) & mask;
      Node* m = index_[j];
      if (!m) break;
      std::size_t home = m->hash >> shift_;
      bool stays = (i <= j) ? (i < home && home <= j) : (i < home || home <= j);
      if (!stays) {
        index_[i] = m;
        i = j;
      }
    }
    index_[i] = nullptr;
  }

  void grow() {
    std::size_t size = index_.empty() ? 8 : index_.size() * 2;
    unsigned bits = 0;
    while ((std::size_t(1) << bits) < size) ++bits;
    shift_ = 32 - bits;
    index_.assign(size, nullptr);
    for (Node* n : order_) {
      if (n) place(n);
    }
  }

  // Positions may move only while nobody walks.
  void maybeCompact() {
    if (walks_ != 0 || holes_ == 0) return;
    if (live_ == 0) {
      order_.clear();
      holes_ = 0;
      return;
    }
    if (holes_ < 8 || holes_ * 2 < order_.size()) return;
    std::size_t out = 0;
    for (Node* n : order_) {
      if (n) {
        n->pos = static_cast<U32>(out);
        order_[out++] = n;
      }
    }
    order_.resize(out);
    holes_ = 0;
  }

  std::vector<Node*> order_;
  std::vector<Node*> index_;
  U32 shift_ = 32;
  U32 live_ = 0;
  U32 holes_ = 0;
  U32 walks_ = 0;
  U32 changes_ = 0;
  U32 refs_ = 0;
};

// A stale-safe walk over a table, in insertion order.
template <class K, class V>
class TableWalk {
 public:
  using Node = TableNode<K, V>;

  TableWalk() = default;
  explicit TableWalk(Table<K, V>* table) : table_(table) {
    if (!table_) return;
    table_->walkBegin();
    hold(table_->seek(pos_));
  }
  TableWalk(TableWalk&& o) noexcept
      : table_(std::exchange(o.table_, nullptr)),
        pos_(o.pos_),
        node_(std::exchange(o.node_, nullptr)) {}
  TableWalk(TableWalk const&) = delete;
  TableWalk& operator=(TableWalk const&) = delete;
  TableWalk& operator=(TableWalk&&) = delete;
  ~TableWalk() {
    if (node_) node_->unref();
    if (table_) table_->walkEnd();
  }

  // The current node, also when it was removed since the walk reached it.
  Node* currNodeMaybeStale() const { return node_; }
  // The current node while it is still a member, else null.
  Node* currNodeNonStale() const { return node_ && node_->member ? node_ : nullptr; }

  void advance() {
    if (!node_) return;
    ++pos_;
    hold(table_->seek(pos_));
  }

 private:
  void hold(Node* n) {
    if (n) n->ref();
    if (node_) node_->unref();
    node_ = n;
  }

  Table<K, V>* table_ = nullptr;
  std::size_t pos_ = 0;
  Node* node_ = nullptr;
};

}  // namespace Vek::detail
