// Notification: the list of notifiees of an object, and the notifiee base.
//
// A mutator changes its value and then calls visit(id, key): every
// registered notifiee whose notification is active gets onAttribute(id, key)
// at once, inside the mutator's call. Handlers therefore nest, and a handler
// may add or remove notifiees of the very list that is being visited:
//   - a notifiee removed during a visit is skipped from then on (its slot
//     becomes a tombstone; tombstones are compacted when the outermost visit
//     of the list ends, never inside a nested one);
//   - a notifiee added during a visit does not hear the change being
//     visited, only later ones.
// Each notifiee is held by a counted reference while it is called, so a
// handler may drop the last outside reference to it.
//
// `key` is null for a single-valued attribute. For a keyed attribute it
// points to the key of the changed member: a Vek::String for name and string
// keys, a U32 for number keys, the key value itself for other keys.
#pragma once

#include <vector>

#include "reactive/PtrInterface.h"

namespace Vek {

class NotifieeConst;

class NotifieeList {
 public:
  NotifieeList() = default;
  NotifieeList(NotifieeList const&) = delete;
  NotifieeList& operator=(NotifieeList const&) = delete;
  ~NotifieeList();

  void visit(AttributeId id, void const* key) const;
  void add(NotifieeConst* n) const;
  void remove(NotifieeConst* n) const;
  U32 size() const { return static_cast<U32>(list_.size()) - dead_; }

 private:
  mutable std::vector<NotifieeConst*> list_;
  mutable U32 walks_ = 0;
  mutable U32 dead_ = 0;
};

// Base of all reactors. Holds the object it listens to (the notifier) by a
// counted reference; the notifier's list holds the notifiee by a plain one,
// and the notifiee leaves that list when it changes notifier or dies.
class NotifieeConst : public PtrInterface {
 public:
  NotifieeConst() = default;
  ~NotifieeConst() override;

  // Called by the notifier's visit while notification is active.
  virtual void onAttribute(AttributeId /*id*/, void const* /*key*/) {}

  PtrInterface const* notifierBase() const { return notifier_.ptr(); }
  bool isRegisteredNotifiee() const { return registered_; }
  // Enters in (true) or leaves (false) the notifier's list.
  void isRegisteredNotifieeIs(bool registered);

 protected:
  // Stores the notifier, leaving the list of the previous one.
  void baseNotifierIs(Ptr<PtrInterface const> const& notifier);

 private:
  Ptr<PtrInterface const> notifier_;
  bool registered_ = false;
};

// The notifiee type of an object type: T::NotifieeConst.
template <class T>
using NotifieeConstOf = typename T::NotifieeConst;

// Sends a notification from `notifier`, keeping it alive for the visit:
// a handler may drop the last reference to the object that notifies it.
void notify(PtrInterface const& notifier, AttributeId id, void const* key = nullptr);

}  // namespace Vek
