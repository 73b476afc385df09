// Named, reference-counted records with notification.
//
// An entity has a name (its key in its parent's collection, where it has
// one), a plain back pointer to its parent (the parent holds the child, not
// the other way round; parentIs(nullptr) detaches a removed child), and the
// list of its notifiees. The records of the schema derive from it.
#pragma once

#include <ostream>

#include "reactive/Notifiee.h"
#include "reactive/String.h"

namespace Vek {

class Entity : public PtrInterface {
 public:
  explicit Entity(Name name = Name()) : name_(std::move(name)) {}

  NotifieeList* notifieeList() const override { return &notifiees_; }

  virtual Name name() const { return name_; }
  // The key of the entity in its parent's collection; types keyed by a value
  // other than their name hide it with their own.
  Name fwkKey() const { return name_; }

  Entity* parent() const { return parent_; }
  void parentIs(Ptr<Entity> const& parent) { parentIs(parent.ptr()); }
  void parentIs(Entity* parent);
  // Hook after the parent changed; does nothing by default.
  virtual void handleParent(Entity* /*parent*/) {}

  // Notifies every active notifiee of this entity (see NotifieeList).
  void vekNotify(AttributeId id, void const* key = nullptr) const { notify(*this, id, key); }

 private:
  Name name_;
  Entity* parent_ = nullptr;
  mutable NotifieeList notifiees_;
};

inline std::ostream& operator<<(std::ostream& os, Entity const* e) {
  return e ? os << e->name() : os << "null";
}

template <class T, class = std::enable_if_t<std::is_base_of_v<Entity, T>>>
std::ostream& operator<<(std::ostream& os, Ptr<T> const& p) {
  return os << static_cast<Entity const*>(p.ptr());
}

}  // namespace Vek
