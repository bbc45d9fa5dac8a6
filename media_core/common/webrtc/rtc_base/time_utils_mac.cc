#include <mach/mach_time.h>

#include <atomic>

#include "media_core/common/webrtc/rtc_base/time_utils.h"

namespace rtc {

int64_t SystemTimeNanos() {
  // Nanoseconds per tick, as a fraction. Two threads may fill it at once, with the same values; a
  // thread that sees the denominator sees the numerator too.
  static std::atomic<uint32_t> s_numerator{0};
  static std::atomic<uint32_t> s_denominator{0};
  if (s_denominator.load(std::memory_order_acquire) == 0) {
    mach_timebase_info_data_t timebase = {};
    mach_timebase_info(&timebase);
    s_numerator.store(timebase.numer, std::memory_order_relaxed);
    s_denominator.store(timebase.denom, std::memory_order_release);
  }
  const uint64_t numerator = s_numerator.load(std::memory_order_relaxed);
  const uint64_t denominator = s_denominator.load(std::memory_order_relaxed);
  return static_cast<int64_t>(mach_absolute_time() * numerator / denominator);
}

int64_t SystemTimeMicros() { return SystemTimeNanos() / kNumNanosecsPerMicrosec; }

int64_t SystemTimeMillis() { return SystemTimeNanos() / kNumNanosecsPerMillisec; }

}  // namespace rtc
