// Locks: the recursive critical section, the spin-only global lock, and their scopes.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_CRITICAL_SECTION_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_CRITICAL_SECTION_H_

#include <atomic>
#include <cstdint>

#include "media_core/common/webrtc/rtc_base/counting_semaphore.h"
#include "media_core/common/webrtc/rtc_base/platform_thread_types.h"

#pragma GCC visibility push(default)

namespace rtc {

// A recursive lock. A thread that finds it taken tries again up to 3000 times, giving way to other
// threads in between, and then sleeps until a leaving thread hands the lock over. It is neither
// fair nor cheap to wait for long: keep sections short.
//
// What a thread wrote before Leave() is visible to the next one after Enter() or a successful
// TryEnter(). Destroy it only when nobody holds it or waits for it. Not for signal handlers.
// The operations are const so that a const object can guard itself.
class CriticalSection {
 public:
  CriticalSection() = default;
  ~CriticalSection() = default;
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

  // Takes the lock, waiting for it without limit. A thread that holds it already may enter again,
  // and must leave as often as it entered.
  void Enter() const {
    const PlatformThreadRef self = CurrentThreadRef();
    if (HeldByCaller(self)) {
      ++recursion_count_;
      return;
    }
    if (!TryTakeFree()) {
      EnterContended();
    }
    BecomeOwner(self);
  }
  // Takes the lock if it is free or held by the caller; returns whether it did. Never waits.
  bool TryEnter() const {
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
  // The same, waiting as long as that at most; safe in signal handlers.
  bool TryEnterWithin(int64_t max_wait_ns) const;
  // Undoes one Enter() or TryEnter() of the calling thread, which must hold the lock.
  void Leave() const {
    if (--recursion_count_ != 0) {
      return;
    }
    owning_thread_.store(PlatformThreadRef(), std::memory_order_relaxed);
    // Nothing of this object may be touched once the count is 0: the next owner may destroy it.
    if (lock_queue_.fetch_sub(1, std::memory_order_release) > 1) {
      WakeSleeper();
    }
  }

  // For the fork handler of whoever owns the lock, in the child: the other threads, with their
  // entries and their places in the queue, are not in this process. Returns whether the calling
  // thread holds the lock; it then goes on holding it.
  bool RenewInForkedChild() const;

  // For debug checks only; always true: ownership is not tested.
  bool CurrentThreadIsOwner() const;

 private:
  bool HeldByCaller(PlatformThreadRef self) const {
    return IsThreadRefEqual(owning_thread_.load(std::memory_order_relaxed), self);
  }
  // No look before the exchange: on a free lock, the usual case, it would cost a quarter of the
  // time.
  bool TryTakeFree() const {
    int32_t expected = 0;
    return lock_queue_.compare_exchange_strong(expected, 1, std::memory_order_acquire,
                                               std::memory_order_relaxed);
  }
  void BecomeOwner(PlatformThreadRef self) const {
    owning_thread_.store(self, std::memory_order_relaxed);
    ++recursion_count_;
  }
  // After a first failed attempt: the other attempts, then the sleep.
  void EnterContended() const;
  void WakeSleeper() const;

  // The threads that hold the lock or wait for it. Changed only by atomic read-modify-writes; who
  // moves it from 0 to 1 has the lock, who moves it from 1 to 0 has freed it. The owner's repeated
  // entries would add to it only between two changes that nobody else can act on, so they are
  // counted in recursion_count_ alone, which spares two locked instructions.
  mutable std::atomic<int32_t> lock_queue_{0};
  // How often the owner has entered. Only the owner touches it.
  mutable int32_t recursion_count_ = 0;
  mutable CountingSemaphore semaphore_;
  // Null when free. Others compare it with themselves only, and a thread always sees its own last
  // write, so relaxed order is enough.
  mutable std::atomic<PlatformThreadRef> owning_thread_{PlatformThreadRef()};
};

// Holds a critical section for a scope. The section must outlive it.
class CritScope {
 public:
  // Enters the section, waiting for it without limit.
  explicit CritScope(const CriticalSection* cs) : cs_(cs) { cs_->Enter(); }
  ~CritScope() { cs_->Leave(); }
  CritScope(const CritScope&) = delete;
  CritScope& operator=(const CritScope&) = delete;

 private:
  const CriticalSection* const cs_;
};

// Holds a critical section for a scope if it could be had at once. Test locked() before touching
// what the section guards.
class TryCritScope {
 public:
  // Tries to enter, once.
  explicit TryCritScope(const CriticalSection* cs) : cs_(cs), locked_(cs->TryEnter()) {}
  ~TryCritScope() {
    if (locked_) {
      cs_->Leave();
    }
  }
  TryCritScope(const TryCritScope&) = delete;
  TryCritScope& operator=(const TryCritScope&) = delete;

  // Whether the section is held.
  bool locked() const { return locked_; }

 private:
  const CriticalSection* const cs_;
  const bool locked_;
};

// A lock for statics: usable from the first instruction of the process, with no constructor or
// destructor. A waiter never sleeps, it gives way and tries again: for a few instructions only.
// Not recursive.
struct GlobalLockPod {
  // Waits without limit.
  void Lock();
  // Frees the lock; nothing happens when it is free already.
  void Unlock();

  // 0 free, 1 held. Zero-initialised in a static.
  std::atomic<int32_t> lock_word;
};

// The same for places that are not zero-initialised.
class GlobalLock : public GlobalLockPod {
 public:
  GlobalLock();
};

// Holds a global lock for a scope.
class GlobalLockScope {
 public:
  // Takes the lock, waiting for it without limit.
  explicit GlobalLockScope(GlobalLockPod* lock) : lock_(lock) { lock_->Lock(); }
  ~GlobalLockScope() { lock_->Unlock(); }
  GlobalLockScope(const GlobalLockScope&) = delete;
  GlobalLockScope& operator=(const GlobalLockScope&) = delete;

 private:
  GlobalLockPod* const lock_;
};

}  // namespace rtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_CRITICAL_SECTION_H_
