// Tells whether an object is used by one thread only.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_THREAD_CHECKER_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_THREAD_CHECKER_H_

#include "media_core/common/webrtc/rtc_base/critical_section.h"
#include "media_core/common/webrtc/rtc_base/platform_thread_types.h"

#pragma GCC visibility push(default)

namespace rtc {

// Bound to the thread that constructs it. Every operation may be called from any thread.
class ThreadCheckerImpl {
 public:
  ThreadCheckerImpl();
  ThreadCheckerImpl(const ThreadCheckerImpl&) = delete;
  ThreadCheckerImpl& operator=(const ThreadCheckerImpl&) = delete;

  // Whether the caller is the bound thread. Binds to the caller when no thread is bound.
  bool CalledOnValidThread() const;

  // Unbinds; the next caller of CalledOnValidThread() is bound.
  void DetachFromThread();

 private:
  CriticalSection lock_;
  // Guarded by lock_; PlatformThreadRef() when unbound.
  mutable PlatformThreadRef valid_thread_;
};

}  // namespace rtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_THREAD_CHECKER_H_
