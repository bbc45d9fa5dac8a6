#include "media_core/common/webrtc/rtc_base/critical_section.h"

#include <sched.h>

namespace rtc {
namespace {

// Attempts before a thread goes to sleep.
constexpr int kMaxAttempts = 3000;

}  // namespace

bool CriticalSection::HeldByCaller(PlatformThreadRef self) const {
  return IsThreadRefEqual(owning_thread_.load(std::memory_order_relaxed), self);
}

bool CriticalSection::TryTakeFree() const {
  int32_t expected = 0;
  return lock_queue_.compare_exchange_strong(expected, 1, std::memory_order_acquire,
                                             std::memory_order_relaxed);
}

void CriticalSection::BecomeOwner(PlatformThreadRef self) const {
  owning_thread_.store(self, std::memory_order_relaxed);
  ++recursion_count_;
}

void CriticalSection::Enter() const {
  const PlatformThreadRef self = CurrentThreadRef();
  if (HeldByCaller(self)) {
    ++recursion_count_;
    return;
  }
  if (lock_queue_.load(std::memory_order_relaxed) != 0 || !TryTakeFree()) {
    EnterContended();
  }
  BecomeOwner(self);
}

// After a first failed attempt: the other attempts, then the sleep.
void CriticalSection::EnterContended() const {
  for (int attempt = 1; attempt < kMaxAttempts; ++attempt) {
    sched_yield();
    if (lock_queue_.load(std::memory_order_relaxed) == 0 && TryTakeFree()) {
      return;
    }
  }
  sched_yield();
  // In line now: from 0 the lock is the caller's at once; else every leaving thread hands over to
  // one sleeper, without freeing the lock in between.
  if (lock_queue_.fetch_add(1, std::memory_order_acquire) + 1 >= 2) {
    semaphore_.Wait();
  }
}

bool CriticalSection::TryEnter() const {
  const PlatformThreadRef self = CurrentThreadRef();
  if (HeldByCaller(self)) {
    ++recursion_count_;
    return true;
  }
  if (!TryTakeFree()) {
    return false;
  }
  BecomeOwner(self);
  return true;
}

void CriticalSection::Leave() const {
  if (--recursion_count_ != 0) {
    return;
  }
  owning_thread_.store(PlatformThreadRef(), std::memory_order_relaxed);
  // Nothing of this object may be touched once the count is 0: the next owner may destroy it.
  if (lock_queue_.fetch_sub(1, std::memory_order_release) - 1 >= 1) {
    semaphore_.Signal();
  }
}

bool CriticalSection::CurrentThreadIsOwner() const { return true; }

void GlobalLockPod::Lock() {
  int32_t expected = 0;
  while (!lock_word.compare_exchange_weak(expected, 1, std::memory_order_acquire,
                                          std::memory_order_relaxed)) {
    expected = 0;
    sched_yield();
  }
}

void GlobalLockPod::Unlock() {
  int32_t expected = 1;
  lock_word.compare_exchange_strong(expected, 0, std::memory_order_release,
                                    std::memory_order_relaxed);
}

GlobalLock::GlobalLock() { lock_word.store(0, std::memory_order_relaxed); }

}  // namespace rtc
