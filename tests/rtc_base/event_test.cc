#include "media_core/common/webrtc/rtc_base/event.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "media_core/common/webrtc/rtc_base/platform_thread_types.h"
#include "tests/rtc_base/thread_state.h"

namespace rtc {
namespace {

constexpr int kLongEnough = 20000;

double MillisecondsOf(const std::function<void()>& act) {
  const auto start = std::chrono::steady_clock::now();
  act();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
      .count();
}

// A thread inside event.Wait(milliseconds).
class Waiter {
 public:
  Waiter(Event* event, int milliseconds, std::atomic<int>* passed = nullptr)
      : thread_([=] { Run(event, milliseconds, passed); }) {
    started_.Wait(-1);
  }
  ~Waiter() { Join(); }
  void AwaitAsleep() const { oru_test::AwaitSleeping(tid_); }
  bool Done(int milliseconds) { return done_.Wait(milliseconds); }
  bool Join() {
    if (thread_.joinable()) {
      thread_.join();
    }
    return result_;
  }

 private:
  void Run(Event* event, int milliseconds, std::atomic<int>* passed) {
    tid_ = CurrentThreadId();
    started_.Set();
    result_ = event->Wait(milliseconds);
    if (result_ && passed != nullptr) {
      ++*passed;
    }
    done_.Set();
  }

  Event started_{true, false};
  Event done_{true, false};
  PlatformThreadId tid_ = 0;
  bool result_ = false;
  std::thread thread_;
};

TEST(Event, WaitZeroOnAnUnsetEventReturnsFalseAtOnce) {
  Event event(false, false);
  EXPECT_FALSE(event.Wait(0));
}

TEST(Event, WaitForeverOnASetAutoResetEventReturnsTrueAndClearsIt) {
  Event event(false, true);
  EXPECT_TRUE(event.Wait(-1));
  EXPECT_FALSE(event.Wait(0));
}

TEST(Event, ManualResetEventStaysSetUntilReset) {
  Event event(true, true);
  EXPECT_TRUE(event.Wait(-1));
  EXPECT_TRUE(event.Wait(0));
  EXPECT_TRUE(event.Wait(5));
  event.Reset();
  EXPECT_FALSE(event.Wait(0));
}

TEST(Event, WaitZeroOnASetAutoResetEventTakesIt) {
  Event event(false, true);
  EXPECT_TRUE(event.Wait(0));
  EXPECT_FALSE(event.Wait(0));
}

TEST(Event, SetTwiceCountsOnce) {
  Event event(false, false);
  event.Set();
  event.Set();
  EXPECT_TRUE(event.Wait(0));
  EXPECT_FALSE(event.Wait(0));
}

TEST(Event, ResetUndoesASetAndIsHarmlessOnAnUnsetEvent) {
  Event event(false, false);
  event.Reset();
  event.Set();
  event.Reset();
  EXPECT_FALSE(event.Wait(0));
}

TEST(Event, TimedWaitLastsAtLeastItsTime) {
  Event event(false, false);
  const double waited = MillisecondsOf([&] { EXPECT_FALSE(event.Wait(120)); });
  // The limit is on the wall clock, the measure is not: they may drift a little.
  EXPECT_GE(waited, 118);
  EXPECT_LT(waited, kLongEnough);
}

TEST(Event, ATimeOutLeavesAutoResetEventUsable) {
  Event event(false, false);
  EXPECT_FALSE(event.Wait(1));
  event.Set();
  EXPECT_TRUE(event.Wait(1));
  EXPECT_FALSE(event.Wait(1));
}

TEST(Event, SetWakesAWaiterOfEachKind) {
  for (const int milliseconds : {-1, kLongEnough, INT_MAX, INT_MAX - 1, 2147483000}) {
    Event event(false, false);
    Waiter waiter(&event, milliseconds);
    waiter.AwaitAsleep();
    EXPECT_FALSE(waiter.Done(0)) << milliseconds;
    event.Set();
    EXPECT_TRUE(waiter.Join()) << milliseconds;
  }
}

TEST(Event, TheLongestWaitDoesNotEndByItself) {
  Event event(false, false);
  Waiter waiter(&event, INT_MAX);
  EXPECT_FALSE(waiter.Done(150));
  event.Set();
  EXPECT_TRUE(waiter.Join());
}

TEST(Event, ANegativeWaitOtherThanForeverOnlyLooks) {
  for (const int milliseconds : {-2, -999, -1000, -1001, -123456, INT_MIN + 1, INT_MIN}) {
    Event event(false, false);
    EXPECT_FALSE(event.Wait(milliseconds)) << milliseconds;
    event.Set();
    EXPECT_TRUE(event.Wait(milliseconds)) << milliseconds;
    EXPECT_FALSE(event.Wait(milliseconds)) << milliseconds;
  }
}

TEST(Event, ManualResetLetsEveryWaiterPass) {
  Event event(true, false);
  std::atomic<int> passed{0};
  std::vector<std::unique_ptr<Waiter>> waiters;
  for (int i = 0; i < 4; ++i) {
    waiters.push_back(std::make_unique<Waiter>(&event, -1, &passed));
    waiters.back()->AwaitAsleep();
  }
  event.Set();
  waiters.clear();
  EXPECT_EQ(passed.load(), 4);
}

TEST(Event, AutoResetLetsOneWaiterPassASet) {
  Event event(false, false);
  std::atomic<int> passed{0};
  constexpr int kWaiters = 4;
  std::vector<std::unique_ptr<Waiter>> waiters;
  for (int i = 0; i < kWaiters; ++i) {
    waiters.push_back(std::make_unique<Waiter>(&event, -1, &passed));
    waiters.back()->AwaitAsleep();
  }
  for (int sets = 1; sets <= kWaiters; ++sets) {
    event.Set();
    for (int look = 0; look < kLongEnough && passed.load() < sets; ++look) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    // The set was used up by the one that passed.
    EXPECT_FALSE(event.Wait(20));
    EXPECT_EQ(passed.load(), sets);
  }
}

TEST(Event, HandsOverWhatWasWrittenBeforeSet) {
  Event ping(false, false);
  Event pong(false, false);
  int value = 0;
  std::thread other([&] {
    for (int i = 0; i < 2000; ++i) {
      ping.Wait(-1);
      ++value;
      pong.Set();
    }
  });
  for (int i = 0; i < 2000; ++i) {
    ++value;
    ping.Set();
    pong.Wait(-1);
  }
  other.join();
  EXPECT_EQ(value, 4000);
}

}  // namespace
}  // namespace rtc
