#include <ctime>

#include "media_core/common/webrtc/rtc_base/time_utils.h"

namespace rtc {

int64_t SystemTimeNanos() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<int64_t>(now.tv_sec) * kNumNanosecsPerSec + now.tv_nsec;
}

}  // namespace rtc
