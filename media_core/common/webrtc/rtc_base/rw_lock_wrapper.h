// A lock that many readers or one writer hold.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_RW_LOCK_WRAPPER_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_RW_LOCK_WRAPPER_H_

#pragma GCC visibility push(default)

namespace webrtc {

// Not recursive. Every acquisition is undone by its own kind of release, on the same thread.
// Destroy it only when nobody holds it or waits for it.
class RWLockWrapper {
 public:
  // A new lock, owned by the caller; null when the system has none to give.
  static RWLockWrapper* CreateRWLock();

  virtual ~RWLockWrapper() = default;

  // For a writer: waits until nobody holds the lock.
  virtual void AcquireLockExclusive() = 0;
  // Undoes it, on the same thread.
  virtual void ReleaseLockExclusive() = 0;

  // For a reader: waits until no writer holds the lock.
  virtual void AcquireLockShared() = 0;
  // Undoes it, on the same thread.
  virtual void ReleaseLockShared() = 0;
};

// Holds a lock as a reader for a scope. The lock must outlive it.
class ReadLockScoped {
 public:
  // Takes the lock as a reader, waiting for it without limit.
  explicit ReadLockScoped(RWLockWrapper* lock) : lock_(lock) { lock_->AcquireLockShared(); }
  ~ReadLockScoped() { lock_->ReleaseLockShared(); }
  ReadLockScoped(const ReadLockScoped&) = delete;
  ReadLockScoped& operator=(const ReadLockScoped&) = delete;

 private:
  RWLockWrapper* const lock_;
};

// Holds a lock as the writer for a scope. The lock must outlive it.
class WriteLockScoped {
 public:
  // Takes the lock as the writer, waiting for it without limit.
  explicit WriteLockScoped(RWLockWrapper* lock) : lock_(lock) { lock_->AcquireLockExclusive(); }
  ~WriteLockScoped() { lock_->ReleaseLockExclusive(); }
  WriteLockScoped(const WriteLockScoped&) = delete;
  WriteLockScoped& operator=(const WriteLockScoped&) = delete;

 private:
  RWLockWrapper* const lock_;
};

}  // namespace webrtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_RW_LOCK_WRAPPER_H_
