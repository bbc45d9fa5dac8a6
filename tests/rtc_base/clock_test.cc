#include "media_core/common/webrtc/rtc_base/clock.h"

#include <gtest/gtest.h>

#include <cmath>
#include <thread>
#include <vector>

#include "media_core/common/webrtc/rtc_base/time_utils.h"

namespace webrtc {
namespace {

// A real clock whose wall clock shows what a test says.
class WallClockAt : public RealTimeClock {
 public:
  WallClockAt(int64_t seconds, int64_t microseconds) {
    time_.tv_sec = static_cast<time_t>(seconds);
    time_.tv_usec = static_cast<suseconds_t>(microseconds);
  }

 protected:
  timeval CurrentTimeVal() const override { return time_; }

 private:
  timeval time_ = {};
};

TEST(SimulatedClock, RoundsToTheNearestMillisecond) {
  EXPECT_EQ(SimulatedClock(1499).TimeInMilliseconds(), 1);
  EXPECT_EQ(SimulatedClock(1500).TimeInMilliseconds(), 2);
  EXPECT_EQ(SimulatedClock(1499).TimeInMicroseconds(), 1499);
}

TEST(SimulatedClock, StandsStillUntilAdvanced) {
  SimulatedClock clock(5000000);
  EXPECT_EQ(clock.TimeInMicroseconds(), 5000000);
  EXPECT_EQ(clock.TimeInMicroseconds(), 5000000);
  clock.AdvanceTimeMilliseconds(3);
  EXPECT_EQ(clock.TimeInMicroseconds(), 5003000);
  clock.AdvanceTimeMicroseconds(7);
  EXPECT_EQ(clock.TimeInMicroseconds(), 5003007);
  clock.AdvanceTimeMilliseconds(-4);
  EXPECT_EQ(clock.TimeInMicroseconds(), 4999007);
}

TEST(SimulatedClock, HoldsMomentsBeyond32Bits) {
  SimulatedClock clock(int64_t{1} << 50);
  EXPECT_EQ(clock.TimeInMicroseconds(), int64_t{1} << 50);
  EXPECT_EQ(clock.TimeInMilliseconds(), ((int64_t{1} << 50) + 500) / 1000);
}

TEST(SimulatedClock, NtpTimeCountsItsMillisecondsFrom1970AndCutsFractions) {
  EXPECT_EQ(SimulatedClock(0).CurrentNtpTime(), NtpTime(2208988800u, 0));
  EXPECT_EQ(SimulatedClock(1500000).CurrentNtpTime(), NtpTime(2208988801u, 0x80000000u));
  // 0.001 s is 4294967.296 units.
  EXPECT_EQ(SimulatedClock(1000).CurrentNtpTime(), NtpTime(2208988800u, 4294967u));
  // 0.999 s is 4290672328.704 units: cut, where the real clock would round.
  EXPECT_EQ(SimulatedClock(999000).CurrentNtpTime(), NtpTime(2208988800u, 4290672328u));
  // The milliseconds are rounded before.
  EXPECT_EQ(SimulatedClock(999500).CurrentNtpTime(), NtpTime(2208988801u, 0));
}

TEST(SimulatedClock, NtpSecondsWrapIn2036) {
  const int64_t seconds = (int64_t{1} << 32) - 2208988800;
  EXPECT_EQ(SimulatedClock(seconds * 1000000).CurrentNtpTime(), NtpTime(0u, 0u));
}

TEST(SimulatedClock, NtpMillisecondsCountFrom1900) {
  EXPECT_EQ(SimulatedClock(1499).CurrentNtpInMilliseconds(), 2208988800001);
  EXPECT_EQ(SimulatedClock(0).CurrentNtpInMilliseconds(), 2208988800000);
}

TEST(SimulatedClock, BeforeItsStartCutsTowardZero) {
  EXPECT_EQ(SimulatedClock(-1600).TimeInMilliseconds(), -1);
  EXPECT_EQ(SimulatedClock(-2500).CurrentNtpInMilliseconds(), 2208988799998);
  // -0.002 s: no second borrowed, the fraction wraps.
  EXPECT_EQ(SimulatedClock(-2500).CurrentNtpTime(),
            NtpTime(2208988800u, static_cast<uint32_t>(-8589934)));
}

TEST(SimulatedClock, IsReadWhileItIsAdvanced) {
  SimulatedClock clock(0);
  std::vector<std::thread> threads;
  threads.reserve(8);
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&clock] {
      for (int round = 0; round < 2000; ++round) {
        clock.AdvanceTimeMicroseconds(1);
      }
    });
    threads.emplace_back([&clock] {
      int64_t last = 0;
      for (int round = 0; round < 2000; ++round) {
        const int64_t now = clock.TimeInMicroseconds();
        EXPECT_GE(now, last);
        last = now;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(clock.TimeInMicroseconds(), 4000);
}

TEST(RealTimeClock, IsTheSameOnEveryThread) {
  Clock* const clock = Clock::GetRealTimeClock();
  EXPECT_NE(dynamic_cast<UnixRealTimeClock*>(clock), nullptr);
  std::thread([clock] { EXPECT_EQ(Clock::GetRealTimeClock(), clock); }).join();
}

TEST(RealTimeClock, TimeIsTheMonotonicClocks) {
  const Clock* const clock = Clock::GetRealTimeClock();
  const int64_t before = rtc::SystemTimeNanos();
  const int64_t micros = clock->TimeInMicroseconds();
  const int64_t millis = clock->TimeInMilliseconds();
  const int64_t after = rtc::SystemTimeNanos();
  EXPECT_LE(before / 1000, micros);
  EXPECT_LE(micros, after / 1000);
  EXPECT_LE(before / 1000000, millis);
  EXPECT_LE(millis, after / 1000000);
}

TEST(RealTimeClock, TimeIsTheTestClocksWhileOneIsInstalled) {
  class FixedClock : public rtc::ClockInterface {
   public:
    int64_t TimeNanos() const override { return 1999999; }
  } fixed;
  rtc::SetClockForTesting(&fixed);
  EXPECT_EQ(Clock::GetRealTimeClock()->TimeInMicroseconds(), 1999);
  // Cut, unlike the simulated clock's.
  EXPECT_EQ(Clock::GetRealTimeClock()->TimeInMilliseconds(), 1);
  rtc::SetClockForTesting(nullptr);
}

TEST(RealTimeClock, NtpTimeIsTheWallClocks) {
  const int64_t before = rtc::TimeUTCMicros();
  const NtpTime now = Clock::GetRealTimeClock()->CurrentNtpTime();
  const int64_t after = rtc::TimeUTCMicros();
  const double fraction_us = now.fractions() / 4294.967296;
  const int64_t micros =
      (int64_t{now.seconds()} - int64_t{kNtpJan1970}) * 1000000 + std::lround(fraction_us);
  EXPECT_LE(before, micros);
  EXPECT_LE(micros, after);
}

TEST(RealTimeClock, NtpTimeIsRounded) {
  EXPECT_EQ(WallClockAt(0, 0).CurrentNtpTime(), NtpTime(2208988800u, 0));
  EXPECT_EQ(WallClockAt(0, 500000).CurrentNtpTime(), NtpTime(2208988800u, 0x80000000u));
  // 0.999 s is 4290672328.704 units.
  EXPECT_EQ(WallClockAt(0, 999000).CurrentNtpTime(), NtpTime(2208988800u, 4290672329u));
  EXPECT_EQ(WallClockAt(7, 999999).CurrentNtpTime(), NtpTime(2208988807u, 4294963001u));
}

TEST(RealTimeClock, NtpMillisecondsAreRounded) {
  EXPECT_EQ(WallClockAt(1, 1499).CurrentNtpInMilliseconds(), 2208988801001);
  EXPECT_EQ(WallClockAt(1, 1500).CurrentNtpInMilliseconds(), 2208988801002);
  // Up to the next second.
  EXPECT_EQ(WallClockAt(1, 999999).CurrentNtpInMilliseconds(), 2208988802000);
}

TEST(RealTimeClock, NtpTimeCarriesMicrosecondsOutsideASecond) {
  EXPECT_EQ(WallClockAt(10, 1500000).CurrentNtpTime(), NtpTime(2208988811u, 0x80000000u));
  EXPECT_EQ(WallClockAt(10, -1500000).CurrentNtpTime(),
            NtpTime(2208988809u, static_cast<uint32_t>(-0x7FFFFFFF)));
  EXPECT_EQ(WallClockAt(10, -1500000).CurrentNtpInMilliseconds(), 2208988809000 - 499);
}

TEST(RealTimeClock, NtpTimeOfExactlyASecondOfMicrosecondsIsCarriedUpwardsOnly) {
  EXPECT_EQ(WallClockAt(10, 1000000).CurrentNtpTime(), NtpTime(2208988811u, 0u));
  EXPECT_EQ(WallClockAt(10, 1000000).CurrentNtpInMilliseconds(), 2208988811000);
  EXPECT_EQ(WallClockAt(10, -1000000).CurrentNtpTime(), NtpTime(2208988810u, 1u));
  EXPECT_EQ(WallClockAt(10, -1000000).CurrentNtpInMilliseconds(), 2208988810000 - 999);
}

TEST(RealTimeClock, NtpSecondsWrapIn2036) {
  EXPECT_EQ(WallClockAt((int64_t{1} << 32) - 2208988800, 0).CurrentNtpTime(), NtpTime(0u, 0u));
}

TEST(NtpTime, HoldsSecondsAboveFractions) {
  const NtpTime time(0x0123456789abcdefu);
  EXPECT_EQ(time.seconds(), 0x01234567u);
  EXPECT_EQ(time.fractions(), 0x89abcdefu);
  EXPECT_EQ(static_cast<uint64_t>(NtpTime(0x01234567u, 0x89abcdefu)), 0x0123456789abcdefu);
  EXPECT_EQ(static_cast<uint64_t>(NtpTime()), 0u);
  EXPECT_NE(time, NtpTime());
}

}  // namespace
}  // namespace webrtc
