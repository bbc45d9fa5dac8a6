#include <dispatch/dispatch.h>

#include "media_core/common/webrtc/rtc_base/checks.h"
#include "media_core/common/webrtc/rtc_base/counting_semaphore.h"

namespace rtc {
namespace {

void* Create() {
  const dispatch_semaphore_t semaphore = dispatch_semaphore_create(0);
  ORU_CHECK(semaphore != nullptr);
  return semaphore;
}

dispatch_semaphore_t Get(void* handle) { return static_cast<dispatch_semaphore_t>(handle); }

}  // namespace

CountingSemaphore::CountingSemaphore() : handle_(Create()) {}

CountingSemaphore::~CountingSemaphore() { dispatch_release(Get(handle_)); }

void CountingSemaphore::Wait() { dispatch_semaphore_wait(Get(handle_), DISPATCH_TIME_FOREVER); }

void CountingSemaphore::Signal() { dispatch_semaphore_signal(Get(handle_)); }

// The old one is given up, not released: with threads that waited in the parent that would end the
// process, and its kernel port is not in the child.
void CountingSemaphore::RenewInForkedChild() { handle_ = Create(); }

}  // namespace rtc
