#include "tests/rtc_base/system_failures.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>

#include <cerrno>
#include <climits>
#include <ostream>
#include <string>
#include <vector>

#include "media_core/common/webrtc/rtc_base/clock.h"
#include "media_core/common/webrtc/rtc_base/event.h"
#include "media_core/common/webrtc/rtc_base/logging.h"
#include "media_core/common/webrtc/rtc_base/platform_thread.h"
#include "media_core/common/webrtc/rtc_base/rw_lock_wrapper.h"
#include "media_core/common/webrtc/rtc_base/time_utils.h"
#include "tests/rtc_base/log_capture.h"
#include "tests/support/child_process.h"

namespace rtc {
namespace {

using oru_test::g_system;

class SystemTest : public testing::Test {
 protected:
  ~SystemTest() override { g_system = {}; }
};

std::string ReportOf(const std::function<void()>& act) {
  const oru_test::ChildResult result = oru_test::RunInFork([&] {
    errno = 0;
    act();
    return 0;
  });
  EXPECT_EQ(result.signal, SIGABRT) << result.Ending();
  return result.err;
}

using EventOnAPoorSystem = SystemTest;

TEST_F(EventOnAPoorSystem, WithoutAMutexTheProcessEnds) {
  const std::string report = ReportOf([] {
    g_system.mutex_init = ENOMEM;
    Event event(false, false);
  });
  EXPECT_EQ(report,
            "\n\n#\n# Fatal error in media_core/common/webrtc/rtc_base/event, line 58\n"
            "# last system error: 0\n"
            "# Check failed: pthread_mutex_init(&event_mutex_, nullptr) == 0\n# \n#\n");
}

TEST_F(EventOnAPoorSystem, WithoutAConditionTheProcessEnds) {
  const std::string report = ReportOf([] {
    g_system.cond_init = EAGAIN;
    Event event(false, false);
  });
  EXPECT_EQ(report,
            "\n\n#\n# Fatal error in media_core/common/webrtc/rtc_base/event, line 59\n"
            "# last system error: 0\n"
            "# Check failed: pthread_cond_init(&event_cond_, nullptr) == 0\n# \n#\n");
}

// The deadline of a wait that begins at the given moment.
struct DeadlineCase {
  const char* name;
  int milliseconds;
  timeval now;
  timespec deadline;
};

void PrintTo(const DeadlineCase& entry, std::ostream* out) { *out << entry.name; }

class EventDeadline : public testing::TestWithParam<DeadlineCase> {
 protected:
  ~EventDeadline() override { g_system = {}; }
};

TEST_P(EventDeadline, IsTheWallClockPlusTheWait) {
  const DeadlineCase& c = GetParam();
  std::vector<timespec> deadlines;
  g_system.gettimeofday = [&c] { return c.now; };
  g_system.cond_timedwait = [&deadlines](const timespec& deadline) {
    deadlines.push_back(deadline);
    return ETIMEDOUT;
  };
  Event event(false, false);
  EXPECT_FALSE(event.Wait(c.milliseconds));
  ASSERT_EQ(deadlines.size(), 1u);
  EXPECT_EQ(deadlines[0].tv_sec, c.deadline.tv_sec);
  EXPECT_EQ(deadlines[0].tv_nsec, c.deadline.tv_nsec);
}

INSTANTIATE_TEST_SUITE_P(
    Waits, EventDeadline,
    testing::Values(DeadlineCase{"Zero", 0, {100, 5}, {100, 5000}},
                    DeadlineCase{"Milliseconds", 250, {100, 5}, {100, 250005000}},
                    DeadlineCase{"SecondsAndMilliseconds", 2250, {100, 5}, {102, 250005000}},
                    DeadlineCase{"JustBelowASecond", 500, {100, 499999}, {100, 999999000}},
                    DeadlineCase{"ExactlyASecond", 500, {100, 500000}, {101, 0}},
                    DeadlineCase{"Carry", 1999, {100, 999999}, {102, 998999000}},
                    DeadlineCase{"Longest", INT_MAX, {100, 999999}, {2147584, 646999000}},
                    DeadlineCase{"BeforeNow", -2, {100, 5000}, {100, 3000000}},
                    DeadlineCase{"BeforeThisSecond", -2, {100, 1000}, {99, 999000000}},
                    DeadlineCase{"LongBeforeNow", INT_MIN, {3000000, 0}, {852516, 352000000}}),
    [](const testing::TestParamInfo<DeadlineCase>& param) {
      return std::string(param.param.name);
    });

TEST_F(EventOnAPoorSystem, AWaitWokenForNothingGoesOn) {
  int waits = 0;
  g_system.cond_timedwait = [&waits](const timespec&) { return ++waits < 4 ? 0 : ETIMEDOUT; };
  Event event(false, false);
  EXPECT_FALSE(event.Wait(1000));
  EXPECT_EQ(waits, 4);
}

TEST_F(EventOnAPoorSystem, AWaitThatFailsReturnsFalse) {
  g_system.cond_timedwait = [](const timespec&) { return EINVAL; };
  Event event(true, false);
  EXPECT_FALSE(event.Wait(1000));
}

using RWLockOnAPoorSystem = SystemTest;

TEST_F(RWLockOnAPoorSystem, CreateRWLockReturnsNull) {
  g_system.rwlock_init = EAGAIN;
  EXPECT_EQ(webrtc::RWLockWrapper::CreateRWLock(), nullptr);
}

TEST_F(RWLockOnAPoorSystem, ASimulatedClockCannotBeMade) {
  const std::string report = ReportOf([] {
    g_system.rwlock_init = EAGAIN;
    const webrtc::SimulatedClock clock(0);
  });
  EXPECT_NE(report.find("# Check failed: lock_ != nullptr\n"), std::string::npos) << report;
}

void DoNothing(void*) {}

using ThreadOnAPoorSystem = SystemTest;

TEST_F(ThreadOnAPoorSystem, AThreadThatCannotBeCreatedEndsTheProcess) {
  const std::string report = ReportOf([] {
    g_system.thread_create = EAGAIN;
    PlatformThread thread(&DoNothing, nullptr, "none", kNormalPriority);
    thread.Start();
  });
  EXPECT_NE(
      report.find("# Fatal error in media_core/common/webrtc/rtc_base/platform_thread, line "),
      std::string::npos)
      << report;
  EXPECT_NE(report.find("# Check failed: 0 == pthread_create(&thread_, &attr, &StartThread, this) "
                        "(0 vs. " +
                        std::to_string(EAGAIN) + ")\n"),
            std::string::npos)
      << report;
}

// Scheduler calls made through a running thread, in a system whose priorities are min..max.
class Scheduler {
 public:
  Scheduler(int min, int max) {
    g_system.priority_min = [min](int policy) { return policy == SCHED_FIFO ? min : -2; };
    g_system.priority_max = [max](int policy) { return policy == SCHED_FIFO ? max : -2; };
    g_system.setschedparam = [this](pthread_t thread, int policy, int priority) {
      EXPECT_EQ(policy, SCHED_FIFO);
      thread_ = thread;
      set_.push_back(priority);
      return refuse_;
    };
  }

  // The value set for each priority from low to real-time; -100 where nothing was set.
  std::vector<int> Values() {
    std::vector<int> values;
    for (int priority = kLowPriority; priority <= kRealtimePriority; ++priority) {
      values.push_back(ValueOf(priority));
    }
    return values;
  }

  int ValueOf(int priority) {
    PlatformThread thread(&RunUntilStopped, &go_on_, "thread");
    thread.Start();
    set_.clear();
    const bool succeeded = thread.SetPriority(static_cast<ThreadPriority>(priority));
    EXPECT_EQ(succeeded, !set_.empty() && refuse_ == 0);
    if (!set_.empty()) {
      EXPECT_TRUE(IsThreadRefEqual(thread_, thread.GetThreadRef()));
    }
    thread.Stop();
    return set_.size() == 1 ? set_[0] : -100;
  }

  void Refuse() { refuse_ = EPERM; }
  const std::vector<int>& set() const { return set_; }

 private:
  static bool RunUntilStopped(void*) { return true; }

  int refuse_ = 0;
  bool go_on_ = true;
  pthread_t thread_ = pthread_t();
  std::vector<int> set_;
};

using ThreadPriorities = SystemTest;

TEST_F(ThreadPriorities, InARangeLessThanThreeWideChangeNothing) {
  const std::vector<int> kNothing(5, -100);
  EXPECT_EQ(Scheduler(1, 3).Values(), kNothing);
  EXPECT_EQ(Scheduler(0, 0).Values(), kNothing);
  EXPECT_EQ(Scheduler(5, 4).Values(), kNothing);
}

TEST_F(ThreadPriorities, WithoutARangeChangeNothing) {
  const std::vector<int> kNothing(5, -100);
  EXPECT_EQ(Scheduler(-1, 99).Values(), kNothing);
  EXPECT_EQ(Scheduler(1, -1).Values(), kNothing);
}

TEST_F(ThreadPriorities, SpreadOverAWideRange) {
  EXPECT_EQ(Scheduler(1, 99).Values(), (std::vector<int>{2, 49, 96, 97, 98}));
  EXPECT_EQ(Scheduler(15, 47).Values(), (std::vector<int>{16, 30, 44, 45, 46}));
}

TEST_F(ThreadPriorities, FallBackToLowInANarrowRange) {
  EXPECT_EQ(Scheduler(0, 3).Values(), (std::vector<int>{1, 1, 1, 1, 2}));
  EXPECT_EQ(Scheduler(0, 4).Values(), (std::vector<int>{1, 1, 1, 2, 3}));
  EXPECT_EQ(Scheduler(10, 15).Values(), (std::vector<int>{11, 12, 12, 13, 14}));
}

TEST_F(ThreadPriorities, OutsideTheFiveAreRejected) {
  Scheduler scheduler(1, 99);
  for (const int priority : {-1, 0, 6, 7, INT_MAX}) {
    EXPECT_EQ(scheduler.ValueOf(priority), -100) << priority;
  }
}

TEST_F(ThreadPriorities, RefusedByTheSystemAreReported) {
  Scheduler scheduler(1, 99);
  scheduler.Refuse();
  EXPECT_EQ(scheduler.ValueOf(kHighPriority), 96);
}

TEST_F(ThreadPriorities, AreSetByTheVoidFormItself) {
  Scheduler scheduler(1, 99);
  scheduler.Refuse();
  PlatformThread thread(&DoNothing, nullptr, "void", kHighestPriority);
  thread.Start();
  thread.Stop();
  EXPECT_EQ(scheduler.set(), std::vector<int>{97});
}

TEST_F(ThreadPriorities, AreLeftAloneByTheBoolForm) {
  Scheduler scheduler(1, 99);
  PlatformThread thread([](void*) { return false; }, nullptr, "bool");
  thread.Start();
  thread.Stop();
  EXPECT_EQ(scheduler.set(), std::vector<int>{});
}

using WallClock = SystemTest;

TEST_F(WallClock, GivesMicrosecondsSince1970) {
  g_system.gettimeofday = [] { return timeval{1700000000, 123456}; };
  EXPECT_EQ(TimeUTCMicros(), 1700000000123456);
}

TEST_F(WallClock, GivesTheRealClocksNtpTime) {
  g_system.gettimeofday = [] { return timeval{1700000000, 500000}; };
  const webrtc::Clock* const clock = webrtc::Clock::GetRealTimeClock();
  EXPECT_EQ(clock->CurrentNtpTime().seconds(), 3908988800u);
  EXPECT_EQ(clock->CurrentNtpTime().fractions(), 0x80000000u);
  EXPECT_EQ(clock->CurrentNtpInMilliseconds(), 3908988800500);
}

using MonotonicClock = SystemTest;

TEST_F(MonotonicClock, GivesItsTimeInEveryUnit) {
  // Also behind the last moment that 32 bits of nanoseconds hold.
  for (const long fraction : {0L, 1L, 999L, 1000L, 999999L, 1000000L, 123456789L, 999999999L}) {
    for (const time_t seconds : {time_t{0}, time_t{4}, time_t{5000000}}) {
      g_system.monotonic_clock = [=] { return timespec{seconds, fraction}; };
      const int64_t nanos = int64_t{seconds} * 1000000000 + fraction;
      EXPECT_EQ(SystemTimeNanos(), nanos);
      EXPECT_EQ(SystemTimeMillis(), nanos / 1000000);
      EXPECT_EQ(TimeNanos(), nanos);
      EXPECT_EQ(TimeMicros(), nanos / 1000);
      EXPECT_EQ(TimeMillis(), nanos / 1000000);
      EXPECT_EQ(Time32(), static_cast<uint32_t>(nanos / 1000000));
    }
  }
}

TEST_F(MonotonicClock, ElapsedSecondsOfALogLineHaveThreeDigitsOrMore) {
  const int64_t start_ms = LogMessage::LogStartTime();
  LogMessage::LogTimestamps(true);
  const auto line_after = [start_ms](int64_t elapsed_ms) {
    const int64_t now_ms = start_ms + elapsed_ms;
    g_system.monotonic_clock = [now_ms] {
      return timespec{static_cast<time_t>(now_ms / 1000), now_ms % 1000 * 1000000};
    };
    const oru_test::LogCapture capture;
    LogMessage(nullptr, 0, LS_INFO).stream() << "text";
    return capture.OnlyLine();
  };
  EXPECT_EQ(line_after(0), "[000:000] [I] text\n");
  EXPECT_EQ(line_after(12034), "[012:034] [I] text\n");
  EXPECT_EQ(line_after(999999), "[999:999] [I] text\n");
  EXPECT_EQ(line_after(1000000), "[1000:000] [I] text\n");
  EXPECT_EQ(line_after(int64_t{1234567890} * 1000 + 7), "[1234567890:007] [I] text\n");
}

}  // namespace
}  // namespace rtc
