#include "media_core/common/webrtc/rtc_base/platform_thread_types.h"

namespace rtc {

void SetCurrentThreadName(const char* name) {
  if (name == nullptr) {
    return;
  }
  pthread_setname_np(name);
}

}  // namespace rtc
