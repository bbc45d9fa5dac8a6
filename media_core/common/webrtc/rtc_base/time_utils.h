// Time: the monotonic clock, its stand-in for tests, wrap-safe differences and the wall clock.
//
// Monotonic times count from an unspecified moment (the system's start) and never step back;
// divisions truncate toward zero. Every function may be called from any thread.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TIME_UTILS_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TIME_UTILS_H_

#include <cstdint>
#include <ctime>

#pragma GCC visibility push(default)

namespace rtc {

// Units of time.
constexpr int64_t kNumMillisecsPerSec = 1000;
constexpr int64_t kNumMicrosecsPerSec = 1000000;
constexpr int64_t kNumNanosecsPerSec = 1000000000;
constexpr int64_t kNumMicrosecsPerMillisec = kNumMicrosecsPerSec / kNumMillisecsPerSec;
constexpr int64_t kNumNanosecsPerMillisec = kNumNanosecsPerSec / kNumMillisecsPerSec;
constexpr int64_t kNumNanosecsPerMicrosec = kNumNanosecsPerSec / kNumMicrosecsPerSec;

// A source of monotonic time for tests.
class ClockInterface {
 public:
  virtual ~ClockInterface() = default;
  // Called on whichever thread asks for the time.
  virtual int64_t TimeNanos() const = 0;
};

// Makes `clock` the source of the functions below, the System* ones excepted; null restores the
// system's clock. The clock stays the caller's and must outlive its use: install it before other
// threads read time.
void SetClockForTesting(ClockInterface* clock);
// The installed clock, or null.
ClockInterface* GetClockForTesting();

// The system's monotonic clock, whichever clock is installed. These are what is written once a
// platform.
int64_t SystemTimeNanos();
int64_t SystemTimeMillis();
// For this library's sources only.
[[gnu::visibility("hidden")]] int64_t SystemTimeMicros();

// The installed clock's time, else the system's.
int64_t TimeNanos();
int64_t TimeMicros();
int64_t TimeMillis();
// Milliseconds, cut to 32 bits: wraps every 49.7 days.
uint32_t Time32();

// TimeMillis() as it will be `elapsed` milliseconds from now.
int64_t TimeAfter(int64_t elapsed);

// How much later `later` is, in the unit of both; negative when it is earlier. The 32-bit form
// bears one wrap between the two: right while they are less than 2^31 apart.
int32_t TimeDiff32(uint32_t later, uint32_t earlier);
int64_t TimeDiff(int64_t later, int64_t earlier);

// Microseconds of the wall clock since 1970, UTC. Steps when that clock is set.
int64_t TimeUTCMicros();

// Seconds since 1970 of a calendar time in UTC; -1 unless every field is within its range and the
// year is 1970 or later. A leap second (60) is out of range. `tm_wday`, `tm_yday` and the fields
// about the time zone are not looked at.
int64_t TmToSeconds(const std::tm& tm);

// Extends a 32-bit timestamp that wraps to 64 bits. Timestamps may come out of order: one that
// jumps far down is a wrap, one that jumps far up is a late one from before the last wrap. One
// object follows one sequence; not for several threads at once.
class TimestampWrapAroundHandler {
 public:
  // The extended value. The first one stands for itself; a late one before any wrap is negative.
  int64_t Unwrap(uint32_t ts);

 private:
  uint32_t last_ts_ = 0;
  // -1 before the first timestamp.
  int64_t num_wrap_ = -1;
};

}  // namespace rtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TIME_UTILS_H_
