#include <cstring>
#include <string>

#include "media_core/common/webrtc/rtc_base/platform_thread_types.h"
#include "media_core/common/webrtc/rtc_base/utf8_prefix.h"

namespace rtc {

void SetCurrentThreadName(const char* name) {
  if (name == nullptr) {
    return;
  }
  // A longer one is refused.
  constexpr size_t kMaxNameLength = 15;
  const std::string cut(name, Utf8PrefixSize(name, strlen(name), kMaxNameLength));
  pthread_setname_np(pthread_self(), cut.c_str());
}

}  // namespace rtc
