// Reference-counted base of every object of the agent, and the counted pointer.
//
// One 32-bit word holds the reference count and two flags:
//   bit 31  zombie: the object is on its way out and must not react;
//   bit 29  notification active: reactors hear their notifier only while set;
//   the remaining bits are the count (it must never grow into bit 29).
// A zero count is tested with both flags masked off.
//
// Counting is plain by default. Setting VFPtrInterface::threadSafePointers_
// makes every increment, decrement and flag change atomic; the logic itself
// is single-threaded, so this is only for host processes that share objects.
//
// Objects are created with `new` and owned by Ptr from then on. When the last
// reference goes, zeroReferencesIs(true) runs; by default it deletes the
// object. During that call the count is parked at a large value, so a handler
// that takes and drops a reference to the dying object cannot delete it twice.
//
//   Ptr<Thing> t = new Thing;   // count 1
//   Ptr<Thing const> r = t;     // count 2, read-only view
//   t = nullptr;                // count 1
#pragma once

#include <cassert>
#include <cstddef>
#include <functional>
#include <type_traits>
#include <utility>

#include "reactive/Types.h"

namespace Vek {

class NotifieeList;
struct TypeNode;

class VFPtrInterface {
 public:
  // Process-wide switch between atomic and plain counting.
  static bool threadSafePointers_;
};

class PtrInterface : public VFPtrInterface {
 public:
  static constexpr U32 zombieBit = 1u << 31;
  static constexpr U32 notificationActiveBit = 1u << 29;
  static constexpr U32 countMask = ~(zombieBit | notificationActiveBit);
  // Highest count before the count would spill into bit 29.
  static constexpr U32 maxCount = notificationActiveBit - 1;

  PtrInterface() = default;
  PtrInterface(PtrInterface const&) = delete;
  PtrInterface& operator=(PtrInterface const&) = delete;

  // The notifiees of this object, or null if it notifies nobody.
  virtual NotifieeList* notifieeList() const { return nullptr; }
  // Lets notifications pass (true) or holds them back (false).
  virtual void hasNotificationActiveIs(bool active);
  // Called with true when the last reference goes; deletes the object.
  virtual void zeroReferencesIs(bool zero);
  // The type description, where the class publishes one.
  virtual TypeNode const* fwkType() const { return nullptr; }
  virtual ~PtrInterface() = default;

  U32 references() const { return word() & countMask; }
  bool isZombie() const { return (word() & zombieBit) != 0; }
  bool hasNotificationActive() const { return (word() & notificationActiveBit) != 0; }
  // Sets or clears the zombie mark (bit 31).
  void vekMarkedForDeletionIs(bool marked) const { flagIs(zombieBit, marked); }

  void newRef() const {
    if (threadSafePointers_) return newRefAtomic();
    assert((word_ & countMask) < maxCount && "reference count overflows into the flag bits");
    ++word_;
  }
  void deleteRef() const {
    if (threadSafePointers_) return deleteRefAtomic();
    assert((word_ & countMask) != 0 && "reference count underflow");
    if ((--word_ & countMask) == 0) handleZeroRef();
  }

 protected:
  void flagIs(U32 bit, bool on) const;

 private:
  U32 word() const { return threadSafePointers_ ? wordAtomic() : word_; }
  U32 wordAtomic() const;
  void newRefAtomic() const;
  void deleteRefAtomic() const;
  void handleZeroRef() const;

  mutable U32 word_ = 0;
};

// Counted pointer; null allowed. Ptr<T const> is the read-only form.
template <class T>
class Ptr {
 public:
  using element_type = T;

  Ptr() noexcept = default;
  Ptr(std::nullptr_t) noexcept {}
  Ptr(T* p) noexcept : p_(p) {  // NOLINT: implicit by design, like the framework
    if (p_) p_->newRef();
  }
  Ptr(Ptr const& o) noexcept : Ptr(o.p_) {}
  Ptr(Ptr&& o) noexcept : p_(std::exchange(o.p_, nullptr)) {}
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  Ptr(Ptr<U> const& o) noexcept : Ptr(static_cast<T*>(o.ptr())) {}
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  Ptr(Ptr<U>&& o) noexcept : p_(static_cast<T*>(o.release())) {}
  ~Ptr() {
    if (p_) p_->deleteRef();
  }

  Ptr& operator=(Ptr const& o) noexcept {
    ptrAssign(o.p_);
    return *this;
  }
  Ptr& operator=(Ptr&& o) noexcept {
    if (this != &o) {
      T* old = std::exchange(p_, std::exchange(o.p_, nullptr));
      if (old) old->deleteRef();
    }
    return *this;
  }
  Ptr& operator=(T* p) noexcept {
    ptrAssign(p);
    return *this;
  }
  Ptr& operator=(std::nullptr_t) noexcept {
    ptrAssign(nullptr);
    return *this;
  }

  // Takes a reference on the new value before releasing the old one, so that
  // assigning an object that only the old value kept alive is safe.
  void ptrAssign(T* p) noexcept {
    if (p == p_) return;
    if (p) p->newRef();
    T* old = std::exchange(p_, p);
    if (old) old->deleteRef();
  }

  T* ptr() const noexcept { return p_; }
  T* operator->() const noexcept { return p_; }
  T& operator*() const noexcept { return *p_; }
  explicit operator bool() const noexcept { return p_ != nullptr; }

  // Gives up ownership without touching the count.
  T* release() noexcept { return std::exchange(p_, nullptr); }

  template <class U>
  bool operator==(Ptr<U> const& o) const noexcept {
    return p_ == o.ptr();
  }
  bool operator==(T const* p) const noexcept { return p_ == p; }
  bool operator==(std::nullptr_t) const noexcept { return p_ == nullptr; }

 private:
  T* p_ = nullptr;
};

// The framework's checked conversion: null when `p` is not a T.
template <class T, class U>
Ptr<T> ptrCast(Ptr<U> const& p) {
  return Ptr<T>(dynamic_cast<T*>(p.ptr()));
}

// True for a counted pointer, Ptr<T> or Ptr<T const>.
template <class T>
inline constexpr bool isPtr = false;
template <class T>
inline constexpr bool isPtr<Ptr<T>> = true;

}  // namespace Vek

template <class T>
struct std::hash<Vek::Ptr<T>> {
  std::size_t operator()(Vek::Ptr<T> const& p) const noexcept {
    return std::hash<T const*>()(p.ptr());
  }
};
