#include "media_core/common/webrtc/rtc_base/critical_section.h"

#include <sched.h>

#include "media_core/common/webrtc/rtc_base/time_utils.h"

namespace rtc {
namespace {

// Attempts before a thread goes to sleep.
constexpr int kMaxAttempts = 3000;

}  // namespace

void CriticalSection::EnterContended() const {
  for (int attempt = 1; attempt < kMaxAttempts; ++attempt) {
    sched_yield();
    // Looks first: an exchange would take the cache line away from the owner.
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

bool CriticalSection::TryEnterWithin(int64_t max_wait_ns) const {
  if (TryEnter()) {
    return true;
  }
  const int64_t start = SystemTimeNanos();
  do {
    sched_yield();
    if (TryEnter()) {
      return true;
    }
  } while (SystemTimeNanos() - start < max_wait_ns);
  return false;
}

void CriticalSection::WakeSleeper() const { semaphore_.Signal(); }

bool CriticalSection::RenewInForkedChild() const {
  semaphore_.RenewInForkedChild();
  const bool held = HeldByCaller(CurrentThreadRef());
  if (!held) {
    owning_thread_.store(PlatformThreadRef(), std::memory_order_relaxed);
    recursion_count_ = 0;
  }
  lock_queue_.store(held ? 1 : 0, std::memory_order_relaxed);
  return held;
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
