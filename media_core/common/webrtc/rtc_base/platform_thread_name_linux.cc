#include "media_core/common/webrtc/rtc_base/platform_thread_name.h"
#include "media_core/common/webrtc/rtc_base/platform_thread_types.h"

namespace rtc {

void SetCurrentThreadName(const char* name) {
  if (name == nullptr) {
    return;
  }
  constexpr size_t kMaxNameLength = 15;
  pthread_setname_np(pthread_self(), CutThreadName(name, kMaxNameLength).c_str());
}

}  // namespace rtc
