#include <ctime>

#include "media_core/common/webrtc/rtc_base/time_utils.h"

namespace rtc {
namespace {

timespec Now() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now;
}

// Less than a second, so that 32 bits hold it and its division is short. Nothing hides that from
// the caller: the next read of the clock waits for all that was before it.
uint32_t Fraction(const timespec& time) { return static_cast<uint32_t>(time.tv_nsec); }

}  // namespace

int64_t SystemTimeNanos() {
  const timespec now = Now();
  return static_cast<int64_t>(now.tv_sec) * kNumNanosecsPerSec + now.tv_nsec;
}

int64_t SystemTimeMicros() {
  const timespec now = Now();
  return static_cast<int64_t>(now.tv_sec) * kNumMicrosecsPerSec +
         Fraction(now) / static_cast<uint32_t>(kNumNanosecsPerMicrosec);
}

int64_t SystemTimeMillis() {
  const timespec now = Now();
  return static_cast<int64_t>(now.tv_sec) * kNumMillisecsPerSec +
         Fraction(now) / static_cast<uint32_t>(kNumNanosecsPerMillisec);
}

}  // namespace rtc
