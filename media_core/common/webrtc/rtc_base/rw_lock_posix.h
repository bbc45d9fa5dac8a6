// The reader/writer lock over a pthread_rwlock_t. Made by RWLockWrapper::CreateRWLock().
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_RW_LOCK_POSIX_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_RW_LOCK_POSIX_H_

#include <pthread.h>

#include "media_core/common/webrtc/rtc_base/rw_lock_wrapper.h"

#pragma GCC visibility push(default)

namespace webrtc {

// The lock of RWLockWrapper::CreateRWLock(), as POSIX systems have it.
class RWLockPosix : public RWLockWrapper {
 public:
  // A new lock, owned by the caller; null when pthread_rwlock_init fails.
  static RWLockPosix* Create();

  ~RWLockPosix() override;
  RWLockPosix(const RWLockPosix&) = delete;
  RWLockPosix& operator=(const RWLockPosix&) = delete;

  void AcquireLockExclusive() override;
  void ReleaseLockExclusive() override;
  void AcquireLockShared() override;
  void ReleaseLockShared() override;

 private:
  RWLockPosix() = default;
  bool Init();

  pthread_rwlock_t lock_;
  bool initialized_ = false;
};

}  // namespace webrtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_RW_LOCK_POSIX_H_
