#include <cstring>

#include "media_core/common/webrtc/rtc_base/platform_thread_types.h"

namespace rtc {

void SetCurrentThreadName(const char* name) {
  if (name == nullptr) {
    return;
  }
  // The kernel refuses a longer name instead of cutting it.
  constexpr size_t kMaxNameLength = 15;
  char cut[kMaxNameLength + 1] = {};
  strncpy(cut, name, kMaxNameLength);
  pthread_setname_np(pthread_self(), cut);
}

}  // namespace rtc
