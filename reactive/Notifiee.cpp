#include "reactive/Notifiee.h"

#include <algorithm>
#include <cassert>

namespace Vek {

NotifieeList::~NotifieeList() {
  // A notifier dies only when no notifiee holds it, so nobody is left here.
  assert(size() == 0);
}

void NotifieeList::visit(AttributeId id, void const* key) const {
  // Ends the walk also when a handler throws: the count of live walks must
  // come down, or the list would never be compacted again.
  struct Walk {
    NotifieeList const& list;
    explicit Walk(NotifieeList const& l) : list(l) { ++list.walks_; }
    ~Walk() {
      if (--list.walks_ == 0 && list.dead_ != 0) {
        list.list_.erase(std::remove(list.list_.begin(), list.list_.end(), nullptr),
                         list.list_.end());
        list.dead_ = 0;
      }
    }
  } const walk(*this);
  // Notifiees added from here on hear only later changes.
  std::size_t const end = list_.size();
  for (std::size_t i = 0; i < end; ++i) {
    NotifieeConst* n = list_[i];
    if (!n || !n->hasNotificationActive()) continue;
    Ptr<NotifieeConst> hold(n);
    n->onAttribute(id, key);
  }
}

void NotifieeList::add(NotifieeConst* n) const { list_.push_back(n); }

void NotifieeList::remove(NotifieeConst* n) const {
  auto it = std::find(list_.begin(), list_.end(), n);
  if (it == list_.end()) return;
  if (walks_ != 0) {
    *it = nullptr;
    ++dead_;
  } else {
    list_.erase(it);
  }
}

NotifieeConst::~NotifieeConst() { isRegisteredNotifieeIs(false); }

void NotifieeConst::isRegisteredNotifieeIs(bool registered) {
  if (registered == registered_) return;
  NotifieeList* list = notifier_ ? notifier_->notifieeList() : nullptr;
  if (registered && !list) return;
  registered_ = registered;
  if (!list) return;
  if (registered) {
    list->add(this);
  } else {
    list->remove(this);
  }
}

void NotifieeConst::baseNotifierIs(Ptr<PtrInterface const> const& notifier) {
  if (notifier == notifier_) return;
  isRegisteredNotifieeIs(false);
  notifier_ = notifier;
}

void notify(PtrInterface const& notifier, AttributeId id, void const* key) {
  NotifieeList* list = notifier.notifieeList();
  if (!list || list->size() == 0) return;
  assert(!notifier.isZombie() && "a zombie must not notify");
  if (notifier.references() == 0) {
    // Not yet owned by anybody (still being built): nothing can drop it.
    list->visit(id, key);
    return;
  }
  Ptr<PtrInterface const> hold(&notifier);
  list->visit(id, key);
}

}  // namespace Vek
