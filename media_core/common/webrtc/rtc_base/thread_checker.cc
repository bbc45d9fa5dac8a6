#include "media_core/common/webrtc/rtc_base/thread_checker.h"

namespace rtc {

ThreadCheckerImpl::ThreadCheckerImpl() : valid_thread_(CurrentThreadRef()) {}

bool ThreadCheckerImpl::CalledOnValidThread() const {
  const PlatformThreadRef caller = CurrentThreadRef();
  const CritScope scope(&lock_);
  if (IsThreadRefEqual(valid_thread_, PlatformThreadRef())) {
    valid_thread_ = caller;
  }
  return IsThreadRefEqual(valid_thread_, caller);
}

void ThreadCheckerImpl::DetachFromThread() {
  const CritScope scope(&lock_);
  valid_thread_ = PlatformThreadRef();
}

}  // namespace rtc
