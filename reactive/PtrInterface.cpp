#include "reactive/PtrInterface.h"

#include <atomic>

namespace Vek {

bool VFPtrInterface::threadSafePointers_ = false;

namespace {

// While an object is being destroyed its count is parked here, far from zero
// and below the flag bits, so nested take-and-drop cannot reach zero again.
constexpr U32 dyingCount = 1u << 28;

}  // namespace

U32 PtrInterface::wordAtomic() const {
  return std::atomic_ref<U32>(word_).load(std::memory_order_acquire);
}

void PtrInterface::newRefAtomic() const {
  U32 const old = std::atomic_ref<U32>(word_).fetch_add(1, std::memory_order_relaxed);
  assert((old & countMask) < maxCount && "reference count overflows into the flag bits");
  (void)old;
}

void PtrInterface::deleteRefAtomic() const {
  U32 const old = std::atomic_ref<U32>(word_).fetch_sub(1, std::memory_order_acq_rel);
  assert((old & countMask) != 0 && "reference count underflow");
  if (((old - 1) & countMask) == 0) handleZeroRef();
}

void PtrInterface::handleZeroRef() const {
  if (threadSafePointers_) {
    std::atomic_ref<U32>(word_).fetch_add(dyingCount, std::memory_order_acq_rel);
  } else {
    word_ += dyingCount;
  }
  const_cast<PtrInterface*>(this)->zeroReferencesIs(true);
}

void PtrInterface::zeroReferencesIs(bool zero) {
  if (zero) delete this;
}

void PtrInterface::hasNotificationActiveIs(bool active) { flagIs(notificationActiveBit, active); }

void PtrInterface::flagIs(U32 bit, bool on) const {
  if (threadSafePointers_) {
    std::atomic_ref<U32> w(word_);
    if (on) {
      w.fetch_or(bit, std::memory_order_acq_rel);
    } else {
      w.fetch_and(~bit, std::memory_order_acq_rel);
    }
  } else if (on) {
    word_ |= bit;
  } else {
    word_ &= ~bit;
  }
}

}  // namespace Vek
