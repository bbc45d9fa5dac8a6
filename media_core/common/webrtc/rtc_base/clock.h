// Clocks as objects: the system's, and a simulated one for tests.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_CLOCK_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_CLOCK_H_

#include <sys/time.h>

#include <cstdint>
#include <memory>

#include "media_core/common/webrtc/rtc_base/rw_lock_wrapper.h"

#pragma GCC visibility push(default)

namespace webrtc {

// From the epoch of NTP, 1900, to that of Unix, 1970.
constexpr uint32_t kNtpJan1970 = 2208988800u;
constexpr int64_t kNtpJan1970Millisecs = 2208988800000;

// A moment in NTP's format: seconds since 1900, and units of 2^-32 s.
class NtpTime {
 public:
  constexpr NtpTime() = default;
  // Seconds in the high 32 bits, the fraction in the low ones.
  constexpr explicit NtpTime(uint64_t value) : value_(value) {}
  constexpr NtpTime(uint32_t seconds, uint32_t fractions)
      : value_((static_cast<uint64_t>(seconds) << 32) | fractions) {}

  // Seconds in the high 32 bits, the fraction in the low ones.
  constexpr explicit operator uint64_t() const { return value_; }
  // The two parts.
  constexpr uint32_t seconds() const { return static_cast<uint32_t>(value_ >> 32); }
  constexpr uint32_t fractions() const { return static_cast<uint32_t>(value_); }

 private:
  uint64_t value_ = 0;
};

// The same moment, to the last unit.
constexpr bool operator==(NtpTime a, NtpTime b) {
  return static_cast<uint64_t>(a) == static_cast<uint64_t>(b);
}
// Moments that differ.
constexpr bool operator!=(NtpTime a, NtpTime b) { return !(a == b); }

// A source of time. Every operation of the clocks below may be called from any thread.
class Clock {
 public:
  virtual ~Clock() = default;

  // Time from an unspecified moment on.
  virtual int64_t TimeInMilliseconds() const = 0;
  virtual int64_t TimeInMicroseconds() const = 0;

  // Time of the calendar, as NTP writes it, and in milliseconds since 1900.
  virtual NtpTime CurrentNtpTime() const = 0;
  virtual int64_t CurrentNtpInMilliseconds() const = 0;

  // The clock of the process; never deleted.
  static Clock* GetRealTimeClock();
};

// The system's clocks: monotonic time from rtc::TimeMillis() and rtc::TimeMicros() (so a clock
// installed for tests replaces it), NTP time from the wall clock, rounded to the nearest unit.
class RealTimeClock : public Clock {
 public:
  int64_t TimeInMilliseconds() const override;
  int64_t TimeInMicroseconds() const override;
  NtpTime CurrentNtpTime() const override;
  int64_t CurrentNtpInMilliseconds() const override;

 protected:
  // The wall clock.
  virtual timeval CurrentTimeVal() const = 0;
};

// The real clock of POSIX systems.
class UnixRealTimeClock : public RealTimeClock {
 protected:
  timeval CurrentTimeVal() const override;
};

// A clock that stands still until it is advanced.
class SimulatedClock : public Clock {
 public:
  // Begins at that time, in microseconds.
  explicit SimulatedClock(int64_t initial_time_us);
  ~SimulatedClock() override;
  SimulatedClock(const SimulatedClock&) = delete;
  SimulatedClock& operator=(const SimulatedClock&) = delete;

  // Rounded to the nearest millisecond, unlike the real clock's.
  int64_t TimeInMilliseconds() const override;
  // As it was set and advanced.
  int64_t TimeInMicroseconds() const override;
  // As if the simulated time, rounded to milliseconds, counted from 1970. Fractions are cut.
  NtpTime CurrentNtpTime() const override;
  int64_t CurrentNtpInMilliseconds() const override;

  // Negative values turn the clock back.
  void AdvanceTimeMilliseconds(int64_t milliseconds);
  void AdvanceTimeMicroseconds(int64_t microseconds);

 private:
  int64_t time_us_;  // guarded by lock_
  const std::unique_ptr<RWLockWrapper> lock_;
};

}  // namespace webrtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_CLOCK_H_
