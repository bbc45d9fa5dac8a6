#include "media_core/common/webrtc/rtc_base/time_utils.h"

#include <sys/time.h>

#include <atomic>

namespace rtc {
namespace {

// Installed before other threads read time, so no order is asked for.
std::atomic<ClockInterface*> g_clock{nullptr};

constexpr int kMonthsPerYear = 12;
constexpr int kFebruary = 1;
constexpr int kDaysInMonth[kMonthsPerYear] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
constexpr int kDaysBeforeMonth[kMonthsPerYear] = {0,   31,  59,  90,  120, 151,
                                                  181, 212, 243, 273, 304, 334};
constexpr int kFirstYear = 70;
constexpr int64_t kLeapDaysBefore1970 = 477;

bool IsLeapYear(int64_t year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

bool IsValid(const std::tm& tm, bool leap) {
  if (tm.tm_year < kFirstYear || tm.tm_mon < 0 || tm.tm_mon >= kMonthsPerYear) {
    return false;
  }
  const int days = kDaysInMonth[tm.tm_mon] + (leap && tm.tm_mon == kFebruary ? 1 : 0);
  return tm.tm_mday >= 1 && tm.tm_mday <= days && tm.tm_hour >= 0 && tm.tm_hour <= 23 &&
         tm.tm_min >= 0 && tm.tm_min <= 59 && tm.tm_sec >= 0 && tm.tm_sec <= 59;
}

}  // namespace

void SetClockForTesting(ClockInterface* clock) { g_clock.store(clock, std::memory_order_relaxed); }

ClockInterface* GetClockForTesting() { return g_clock.load(std::memory_order_relaxed); }

int64_t TimeNanos() {
  const ClockInterface* const clock = GetClockForTesting();
  return clock != nullptr ? clock->TimeNanos() : SystemTimeNanos();
}

int64_t TimeMicros() {
  const ClockInterface* const clock = GetClockForTesting();
  return clock != nullptr ? clock->TimeNanos() / kNumNanosecsPerMicrosec : SystemTimeMicros();
}

int64_t TimeMillis() {
  const ClockInterface* const clock = GetClockForTesting();
  return clock != nullptr ? clock->TimeNanos() / kNumNanosecsPerMillisec : SystemTimeMillis();
}

uint32_t Time32() { return static_cast<uint32_t>(TimeMillis()); }

int64_t TimeAfter(int64_t elapsed) { return TimeMillis() + elapsed; }

int32_t TimeDiff32(uint32_t later, uint32_t earlier) {
  return static_cast<int32_t>(later - earlier);
}

int64_t TimeDiff(int64_t later, int64_t earlier) { return later - earlier; }

int64_t TimeUTCMicros() {
  timeval now = {};
  gettimeofday(&now, nullptr);
  return static_cast<int64_t>(now.tv_sec) * kNumMicrosecsPerSec + now.tv_usec;
}

int64_t TmToSeconds(const std::tm& tm) {
  const int64_t year = static_cast<int64_t>(tm.tm_year) + 1900;
  const bool leap = IsLeapYear(year);
  if (!IsValid(tm, leap)) {
    return -1;
  }
  // The leap day of this year is among those counted, but has not come before March.
  const int64_t leap_days = year / 4 - year / 100 + year / 400 - kLeapDaysBefore1970 -
                            (leap && tm.tm_mon <= kFebruary ? 1 : 0);
  const int64_t days = static_cast<int64_t>(tm.tm_year - kFirstYear) * 365 + leap_days +
                       kDaysBeforeMonth[tm.tm_mon] + tm.tm_mday - 1;
  return ((days * 24 + tm.tm_hour) * 60 + tm.tm_min) * 60 + tm.tm_sec;
}

int64_t TimestampWrapAroundHandler::Unwrap(uint32_t ts) {
  constexpr uint32_t kNearTheEnd = 0xF0000000;
  constexpr uint32_t kNearTheStart = 0x0FFFFFFF;
  constexpr int64_t kOneWrap = int64_t{1} << 32;
  if (num_wrap_ == -1) {
    last_ts_ = ts;
    num_wrap_ = 0;
    return ts;
  }
  if (ts < last_ts_) {
    if (last_ts_ >= kNearTheEnd && ts < kNearTheStart) {
      ++num_wrap_;
    }
  } else if (ts - last_ts_ > kNearTheEnd) {
    return ts + (num_wrap_ - 1) * kOneWrap;
  }
  last_ts_ = ts;
  return ts + num_wrap_ * kOneWrap;
}

}  // namespace rtc
