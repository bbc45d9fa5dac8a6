#include "media_core/common/webrtc/rtc_base/rw_lock_posix.h"

#include <memory>

namespace webrtc {

RWLockWrapper* RWLockWrapper::CreateRWLock() { return RWLockPosix::Create(); }

RWLockPosix* RWLockPosix::Create() {
  std::unique_ptr<RWLockPosix> lock(new RWLockPosix());
  return lock->Init() ? lock.release() : nullptr;
}

bool RWLockPosix::Init() {
  initialized_ = pthread_rwlock_init(&lock_, nullptr) == 0;
  return initialized_;
}

RWLockPosix::~RWLockPosix() {
  if (initialized_) {
    pthread_rwlock_destroy(&lock_);
  }
}

void RWLockPosix::AcquireLockExclusive() { pthread_rwlock_wrlock(&lock_); }

void RWLockPosix::ReleaseLockExclusive() { pthread_rwlock_unlock(&lock_); }

void RWLockPosix::AcquireLockShared() { pthread_rwlock_rdlock(&lock_); }

void RWLockPosix::ReleaseLockShared() { pthread_rwlock_unlock(&lock_); }

}  // namespace webrtc
