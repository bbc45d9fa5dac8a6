#include "media_core/common/webrtc/rtc_base/platform_thread_types.h"

namespace rtc {
namespace platform_thread_internal {
namespace {

// Runs in a forked child, on its only thread: the number copied from the parent is not its own.
void ForgetThreadId() { t_thread_id = 0; }

// At start-up: a child forked while another thread registers would wait for that thread.
[[maybe_unused]] const int kForksHandled = pthread_atfork(nullptr, nullptr, &ForgetThreadId);

}  // namespace

PlatformThreadId ReadCurrentThreadId() {
  t_thread_id = QueryCurrentThreadId();
  return t_thread_id;
}

}  // namespace platform_thread_internal
}  // namespace rtc
