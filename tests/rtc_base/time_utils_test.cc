#include "media_core/common/webrtc/rtc_base/time_utils.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <random>
#include <thread>

#include "media_core/common/webrtc/rtc_base/clock.h"

namespace rtc {
namespace {

class FixedClock : public ClockInterface {
 public:
  explicit FixedClock(int64_t nanos) : nanos_(nanos) { SetClockForTesting(this); }
  ~FixedClock() override { SetClockForTesting(nullptr); }
  int64_t TimeNanos() const override { return nanos_; }
  void Set(int64_t nanos) { nanos_ = nanos; }

 private:
  int64_t nanos_;
};

int64_t Seconds(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
  std::tm tm = {};
  tm.tm_year = year - 1900;
  tm.tm_mon = month - 1;
  tm.tm_mday = day;
  tm.tm_hour = hour;
  tm.tm_min = minute;
  tm.tm_sec = second;
  return TmToSeconds(tm);
}

TEST(SystemTime, NeverStepsBack) {
  int64_t last = SystemTimeNanos();
  for (int i = 0; i < 10000; ++i) {
    const int64_t now = SystemTimeNanos();
    ASSERT_GE(now, last);
    last = now;
  }
}

TEST(SystemTime, IsTheMonotonicClockInItsUnits) {
  timespec before = {};
  clock_gettime(CLOCK_MONOTONIC, &before);
  const int64_t nanos = SystemTimeNanos();
  const int64_t millis = SystemTimeMillis();
  timespec after = {};
  clock_gettime(CLOCK_MONOTONIC, &after);
  const auto in_nanos = [](const timespec& t) { return t.tv_sec * kNumNanosecsPerSec + t.tv_nsec; };
  EXPECT_LE(in_nanos(before), nanos);
  EXPECT_LE(nanos, in_nanos(after));
  EXPECT_LE(nanos / 1000000, millis);
  EXPECT_LE(millis, in_nanos(after) / 1000000);
}

TEST(SystemTime, AllUnitsAreOfOneClock) {
  for (int i = 0; i < 10000; ++i) {
    const int64_t before = SystemTimeNanos();
    const int64_t micros = TimeMicros();
    const int64_t millis = TimeMillis();
    const uint32_t cut = Time32();
    const int64_t after = SystemTimeNanos();
    ASSERT_LE(before / 1000, micros);
    ASSERT_LE(micros, after / 1000);
    ASSERT_LE(micros / 1000, millis);
    ASSERT_LE(millis, after / 1000000);
    ASSERT_LE(cut - static_cast<uint32_t>(millis), static_cast<uint32_t>(after / 1000000 - millis));
  }
}

TEST(Time, WithoutATestClockIsTheSystems) {
  EXPECT_EQ(GetClockForTesting(), nullptr);
  const int64_t before = SystemTimeNanos();
  const int64_t now = TimeNanos();
  EXPECT_LE(before, now);
  EXPECT_LE(now, SystemTimeNanos());
}

TEST(Time, ComesFromTheTestClockWhileOneIsInstalled) {
  {
    const FixedClock clock(7123456789);
    EXPECT_EQ(GetClockForTesting(), &clock);
    EXPECT_EQ(TimeNanos(), 7123456789);
    EXPECT_EQ(TimeMicros(), 7123456);
    EXPECT_EQ(TimeMillis(), 7123);
    EXPECT_EQ(Time32(), 7123u);
    EXPECT_EQ(TimeAfter(1000), 8123);
    EXPECT_EQ(TimeAfter(-8000), -877);
    EXPECT_NE(SystemTimeNanos(), 7123456789);
  }
  EXPECT_EQ(GetClockForTesting(), nullptr);
}

TEST(Time, IsTruncatedTowardZero) {
  const FixedClock clock(-1999999);
  EXPECT_EQ(TimeMicros(), -1999);
  EXPECT_EQ(TimeMillis(), -1);
  EXPECT_EQ(Time32(), 0xFFFFFFFFu);
}

TEST(Time32, WrapsAfter49Days) {
  FixedClock clock(int64_t{0xFFFFFFFF} * 1000000);
  EXPECT_EQ(Time32(), 0xFFFFFFFFu);
  clock.Set((int64_t{1} << 32) * 1000000);
  EXPECT_EQ(Time32(), 0u);
}

TEST(Time, IsReadWhileAnotherThreadReadsIt) {
  std::thread other([] {
    for (int i = 0; i < 1000; ++i) {
      TimeNanos();
    }
  });
  for (int i = 0; i < 1000; ++i) {
    EXPECT_GT(TimeNanos(), 0);
  }
  other.join();
}

TEST(TimeDiff32, Of5And0xFFFFFFFBIs10) {
  EXPECT_EQ(TimeDiff32(5, 0xFFFFFFFB), 10);
  EXPECT_EQ(TimeDiff32(0xFFFFFFFB, 5), -10);
}

TEST(TimeDiff32, AtItsEnds) {
  EXPECT_EQ(TimeDiff32(0, 0), 0);
  EXPECT_EQ(TimeDiff32(0x7FFFFFFF, 0), INT_MAX);
  EXPECT_EQ(TimeDiff32(0x80000000, 0), INT_MIN);
}

TEST(TimeDiff, IsThePlainDifference) {
  EXPECT_EQ(TimeDiff(5, 7), -2);
  EXPECT_EQ(TimeDiff(int64_t{1} << 40, 1), (int64_t{1} << 40) - 1);
}

TEST(TimeUTCMicros, IsTheWallClock) {
  const int64_t seconds = TimeUTCMicros() / 1000000;
  EXPECT_NEAR(static_cast<double>(seconds), static_cast<double>(time(nullptr)), 2);
}

TEST(Unwrap, LateValueAfterAWrapLeavesTheStateUnchanged) {
  TimestampWrapAroundHandler handler;
  EXPECT_EQ(handler.Unwrap(0xFFFFFFF0), 0xFFFFFFF0);
  EXPECT_EQ(handler.Unwrap(0x00000010), 0x100000010);
  EXPECT_EQ(handler.Unwrap(0xFFFFFFF0), 0xFFFFFFF0);
  EXPECT_EQ(handler.Unwrap(0x00000011), 0x100000011);
}

TEST(Unwrap, OfAFirstValueIsItself) {
  for (const uint32_t first : {0u, 1u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    TimestampWrapAroundHandler handler;
    EXPECT_EQ(handler.Unwrap(first), int64_t{first});
  }
}

TEST(Unwrap, OfAnEqualOrSlightlyEarlierValueStaysInItsWrap) {
  TimestampWrapAroundHandler handler;
  handler.Unwrap(100);
  EXPECT_EQ(handler.Unwrap(100), 100);
  EXPECT_EQ(handler.Unwrap(90), 90);
}

TEST(Unwrap, OfALateValueBeforeAnyWrapIsNegative) {
  TimestampWrapAroundHandler handler;
  handler.Unwrap(5);
  EXPECT_EQ(handler.Unwrap(0xFFFFFFF0), -16);
  EXPECT_EQ(handler.Unwrap(6), 6);
}

TEST(Unwrap, TakesAJumpDownForAWrapOnlyFromTheLastSixteenthToTheFirst) {
  const auto second = [](uint32_t first, uint32_t then) {
    TimestampWrapAroundHandler handler;
    handler.Unwrap(first);
    return handler.Unwrap(then);
  };
  EXPECT_EQ(second(0xF0000000, 0x0FFFFFFE), 0x10FFFFFFE);
  EXPECT_EQ(second(0xF0000000, 0x0FFFFFFF), 0x0FFFFFFF);
  EXPECT_EQ(second(0xEFFFFFFF, 0), 0);
}

TEST(Unwrap, TakesAJumpUpForALateValueFrom0xF0000001On) {
  const auto second = [](uint32_t first, uint32_t then) {
    TimestampWrapAroundHandler handler;
    handler.Unwrap(first);
    return handler.Unwrap(then);
  };
  EXPECT_EQ(second(0, 0xF0000000), 0xF0000000);
  EXPECT_EQ(second(0, 0xF0000001), 0xF0000001 - (int64_t{1} << 32));
}

TEST(Unwrap, CountsManyWraps) {
  TimestampWrapAroundHandler handler;
  int64_t expected = 0;
  for (int i = 0; i < 100; ++i, expected += 0x08000000) {
    ASSERT_EQ(handler.Unwrap(static_cast<uint32_t>(expected)), expected);
  }
}

TEST(TmToSeconds, OfTheEpochIsZero) { EXPECT_EQ(Seconds(1970, 1, 1), 0); }

TEST(TmToSeconds, RejectsThe29thOfFebruaryOfANonLeapYear) {
  EXPECT_EQ(Seconds(2001, 2, 29), -1);
  EXPECT_EQ(Seconds(2100, 2, 29), -1);
  EXPECT_NE(Seconds(2004, 2, 29), -1);
}

TEST(TmToSeconds, AcceptsThe29thOfFebruary2000) { EXPECT_EQ(Seconds(2000, 2, 29), 951782400); }

TEST(TmToSeconds, RejectsYear69) { EXPECT_EQ(Seconds(1969, 12, 31, 23, 59, 59), -1); }

TEST(TmToSeconds, RejectsYear1900) { EXPECT_EQ(Seconds(1900, 1, 1), -1); }

TEST(TmToSeconds, RejectsALeapSecond) {
  EXPECT_EQ(Seconds(2016, 12, 31, 23, 59, 60), -1);
  EXPECT_EQ(Seconds(2016, 12, 31, 23, 59, 59), 1483228799);
}

TEST(TmToSeconds, RejectsANegativeMonth) {
  EXPECT_EQ(Seconds(2000, 0, 1), -1);
  EXPECT_EQ(Seconds(2000, INT_MIN + 1, 1), -1);
}

TEST(TmToSeconds, RejectsEveryFieldJustOutsideItsRange) {
  EXPECT_EQ(Seconds(2000, 13, 1), -1);
  EXPECT_EQ(Seconds(2000, 1, 0), -1);
  EXPECT_EQ(Seconds(2000, 1, 32), -1);
  EXPECT_EQ(Seconds(2000, 4, 31), -1);
  EXPECT_EQ(Seconds(2000, 1, 1, -1), -1);
  EXPECT_EQ(Seconds(2000, 1, 1, 24), -1);
  EXPECT_EQ(Seconds(2000, 1, 1, 0, -1), -1);
  EXPECT_EQ(Seconds(2000, 1, 1, 0, 60), -1);
  EXPECT_EQ(Seconds(2000, 1, 1, 0, 0, -1), -1);
}

TEST(TmToSeconds, OfTheLargestYearDoesNotOverflow) {
  std::tm tm = {};
  tm.tm_year = INT_MAX;
  tm.tm_mday = 1;
  EXPECT_GT(TmToSeconds(tm), int64_t{60000000000000000});
}

TEST(TmToSeconds, IgnoresWeekdayDayOfYearAndDaylightSaving) {
  std::tm tm = {};
  tm.tm_year = 100;
  tm.tm_mday = 1;
  tm.tm_wday = 99;
  tm.tm_yday = -5;
  tm.tm_isdst = 1;
  EXPECT_EQ(TmToSeconds(tm), 946684800);
}

TEST(TmToSeconds, AgreesWithTheLibraryOverRandomMoments) {
  std::mt19937_64 random(20240229);
  for (int i = 0; i < 20000; ++i) {
    // Up to the year 4000.
    const auto moment = static_cast<time_t>(random() % 64060588800u);
    std::tm tm = {};
    gmtime_r(&moment, &tm);
    ASSERT_EQ(TmToSeconds(tm), moment);
  }
}

}  // namespace
}  // namespace rtc
