#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "media_core/biz_engine/crash_handler/machine/threads/thread_capture.h"
#include "tests/support/platform.h"

namespace CrashHandler::machine {
namespace {

using Clock = std::chrono::steady_clock;

double MillisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// Threads that wait until the end of the scope.
class WaitingThreads {
 public:
  explicit WaitingThreads(int count, bool block_signals = false) {
    for (int i = 0; i < count; ++i) {
      threads_.emplace_back([this, block_signals] { Wait(block_signals); });
    }
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return numbers_.size() == static_cast<size_t>(count); });
  }
  ~WaitingThreads() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      done_ = true;
    }
    changed_.notify_all();
    for (std::thread& thread : threads_) thread.join();
  }
  const std::vector<ThreadNumber>& numbers() const { return numbers_; }

 private:
  void Wait(bool block_signals) {
    if (block_signals) {
      sigset_t all;
      sigfillset(&all);
      pthread_sigmask(SIG_BLOCK, &all, nullptr);
    }
    std::unique_lock<std::mutex> lock(mutex_);
    numbers_.push_back(CurrentThreadNumber());
    changed_.notify_all();
    changed_.wait(lock, [this] { return done_; });
    lock.unlock();
    if (!block_signals) return;
    // A late question is delivered here, if one is still pending.
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_UNBLOCK, &all, nullptr);
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  bool done_ = false;
  std::vector<ThreadNumber> numbers_;
  std::vector<std::thread> threads_;
};

// How many threads give all registers when they are asked for them.
size_t CountWhole(const std::vector<ThreadNumber>& numbers) {
  size_t whole = 0;
  const auto visit = [](void* context, const ThreadLook& look) {
    if (look.registers == nullptr || look.known != KnownRegisters::kAll) return false;
    if (mach_instructionAddress(*look.registers) != 0) ++*static_cast<size_t*>(context);
    return true;
  };
  ThreadCapture().Visit(numbers.data(), numbers.size(), visit, &whole);
  return whole;
}

std::vector<struct sigaction> AllActions() {
  std::vector<struct sigaction> actions;
  for (int number = 1; number <= oru_test::LastSignal(); ++number) {
    struct sigaction action = {};
    sigaction(number, nullptr, &action);
    actions.push_back(action);
  }
  return actions;
}

TEST(ThreadListTest, HoldsTheCallingThreadAndItsSiblings) {
  const WaitingThreads threads(5);
  ThreadList list;
  ASSERT_TRUE(list.Read());
  const std::set<ThreadNumber> listed(list.numbers(), list.numbers() + list.size());
  EXPECT_EQ(listed.count(CurrentThreadNumber()), 1U);
  for (const ThreadNumber number : threads.numbers()) EXPECT_EQ(listed.count(number), 1U);
}

TEST(ThreadListTest, HoldsMoreThreadsThanOneReadOfTheSystemGives) {
  const WaitingThreads threads(600);
  ThreadList list;
  ASSERT_TRUE(list.Read());
  EXPECT_GE(list.size(), 601U);
  const std::set<ThreadNumber> listed(list.numbers(), list.numbers() + list.size());
  EXPECT_EQ(listed.size(), list.size());
}

TEST(ThreadListTest, CanBeReadAgain) {
  // The first thread of a process may bring another one of a checking build's own.
  const WaitingThreads first(1);
  ThreadList list;
  ASSERT_TRUE(list.Read());
  const size_t before = list.size();
  const WaitingThreads threads(3);
  ASSERT_TRUE(list.Read());
  EXPECT_EQ(list.size(), before + 3);
}

TEST(ThreadNameTest, ANamedThreadAndOneWithAnEmptyName) {
  char name[kThreadNameSize];
  oru_test::NameThisThread("worker one");
  EXPECT_TRUE(ThreadName(CurrentThreadNumber(), name, sizeof(name)));
  EXPECT_STREQ(name, "worker one");
  oru_test::NameThisThread("");
  EXPECT_TRUE(ThreadName(CurrentThreadNumber(), name, sizeof(name)));
  EXPECT_STREQ(name, "");
}

TEST(ThreadNameTest, AThreadThatDoesNotExistHasNone) {
  char name[kThreadNameSize] = "old";
  EXPECT_FALSE(ThreadName(0x7fffffff, name, sizeof(name)));
  EXPECT_STREQ(name, "");
}

TEST(RegistersTest, OfTheCallingThread) {
  Registers registers = {};
  ASSERT_TRUE(fillThreadStateIntoMachineContext(CurrentThreadNumber(), &registers));
  EXPECT_NE(mach_instructionAddress(registers), 0U);
  const auto here = reinterpret_cast<uint64_t>(__builtin_frame_address(0));
  EXPECT_LT(here - mach_stackPointer(registers), 65536U);
}

TEST(RegistersTest, OfAWaitingThread) {
  const WaitingThreads threads(1);
  Registers registers = {};
  ASSERT_TRUE(fillThreadStateIntoMachineContext(threads.numbers()[0], &registers));
  EXPECT_NE(mach_instructionAddress(registers), 0U);
}

TEST(RegistersTest, OfARunningThread) {
  std::atomic<bool> stop{false};
  std::atomic<ThreadNumber> number{0};
  std::thread runner([&] {
    number = CurrentThreadNumber();
    while (!stop) {
    }
  });
  while (number == 0) std::this_thread::yield();
  Registers registers = {};
  EXPECT_TRUE(fillThreadStateIntoMachineContext(number, &registers));
  EXPECT_NE(mach_instructionAddress(registers), 0U);
  stop = true;
  runner.join();
}

TEST(RegistersTest, AThreadThatHasEndedGivesNoneAtOnce) {
  ThreadNumber number = 0;
  std::thread([&] { number = CurrentThreadNumber(); }).join();
  const auto start = Clock::now();
  Registers registers = {};
  EXPECT_FALSE(fillThreadStateIntoMachineContext(number, &registers));
  EXPECT_LT(MillisecondsSince(start), kCaptureLimitMs);
}

TEST(CaptureTest, EveryThreadIsVisited) {
  const WaitingThreads threads(20);
  std::vector<ThreadNumber> numbers = threads.numbers();
  numbers.push_back(CurrentThreadNumber());
  std::vector<int> visits(numbers.size());
  const auto visit = [](void* context, const ThreadLook& look) {
    EXPECT_NE(look.registers, nullptr);
    ++(*static_cast<std::vector<int>*>(context))[look.index];
    return true;
  };
  ThreadCapture().Visit(numbers.data(), numbers.size(), visit, &visits);
  for (const int count : visits) EXPECT_GE(count, 1);
}

TEST(CaptureTest, BatchesOfAnySizeAndMoreThreadsThanAGroup) {
  const WaitingThreads threads(kCaptureGroup + 40);
  EXPECT_EQ(CountWhole(threads.numbers()), threads.numbers().size());
  ThreadCapture capture;
  size_t known = 0;
  const auto visit = [](void* context, const ThreadLook& look) {
    if (look.registers != nullptr) ++*static_cast<size_t*>(context);
    return true;
  };
  for (const ThreadNumber& number : threads.numbers()) capture.Visit(&number, 1, visit, &known);
  EXPECT_EQ(known, threads.numbers().size());
}

TEST(CaptureTest, TheActionsOfAllSignalsAreAsBefore) {
  const auto before = AllActions();
  const WaitingThreads threads(3);
  const WaitingThreads frozen(1, true);
  CountWhole(threads.numbers());
  CountWhole(frozen.numbers());
  const auto after = AllActions();
  for (size_t i = 0; i < before.size(); ++i) {
    EXPECT_EQ(before[i].sa_handler, after[i].sa_handler) << i;
    // The C library adds a flag of its own to every action that is set.
    constexpr int kRestorer = 0x04000000;
    EXPECT_EQ(before[i].sa_flags & ~kRestorer, after[i].sa_flags & ~kRestorer) << i;
  }
}

std::atomic<int> sHostSignals{0};

TEST(CaptureTest, ASignalThatTheHostUsesIsLeftAlone) {
  struct sigaction action = {};
  action.sa_handler = [](int) { ++sHostSignals; };
  ASSERT_EQ(sigaction(oru_test::LastSignal(), &action, nullptr), 0);
  const WaitingThreads threads(4);
  EXPECT_EQ(CountWhole(threads.numbers()), 4U);
  EXPECT_EQ(sHostSignals, 0);
}

TEST(CaptureTest, TwoCapturesAtATimeFollowOneAnother) {
  const WaitingThreads threads(50);
  std::atomic<size_t> known{0};
  std::vector<std::thread> capturers;
  capturers.reserve(4);
  for (int i = 0; i < 4; ++i) {
    capturers.emplace_back([&] { known += CountWhole(threads.numbers()); });
  }
  for (std::thread& capturer : capturers) capturer.join();
  EXPECT_EQ(known, 200U);
}

TEST(CaptureTest, ACaptureInsideACaptureInterruptsNobody) {
  const WaitingThreads threads(2);
  struct Outer {
    const WaitingThreads* threads;
    size_t inner_known;
  } outer = {&threads, 99};
  const auto visit = [](void* context, const ThreadLook&) {
    auto* out = static_cast<Outer*>(context);
    Registers registers;
    out->inner_known =
        fillThreadStateIntoMachineContext(out->threads->numbers()[0], &registers) ? 1 : 0;
    return true;
  };
  ThreadCapture().Visit(threads.numbers().data(), 2, visit, &outer);
  EXPECT_EQ(outer.inner_known, 0U);
  EXPECT_EQ(CountWhole(threads.numbers()), 2U);
}

TEST(CaptureTest, ThreadsThatStartAndEndMeanwhileDoNoHarm) {
  std::atomic<bool> stop{false};
  std::vector<std::thread> spawners;
  spawners.reserve(2);
  for (int i = 0; i < 2; ++i) {
    spawners.emplace_back([&] {
      while (!stop) std::thread([] {}).join();
    });
  }
  const WaitingThreads threads(5);
  for (int i = 0; i < 40; ++i) {
    ThreadList list;
    ASSERT_TRUE(list.Read());
    const std::vector<ThreadNumber> numbers(list.numbers(), list.numbers() + list.size());
    EXPECT_GE(CountWhole(numbers), 6U);
  }
  stop = true;
  for (std::thread& spawner : spawners) spawner.join();
}

TEST(CaptureTest, NoThreadIsLeftWaitingInItsHandler) {
  std::atomic<uint64_t> rounds{0};
  std::atomic<bool> stop{false};
  std::atomic<ThreadNumber> number{0};
  std::thread runner([&] {
    number = CurrentThreadNumber();
    while (!stop) ++rounds;
  });
  while (number == 0) std::this_thread::yield();
  EXPECT_EQ(CountWhole({number}), 1U);
  const uint64_t before = rounds;
  const auto start = Clock::now();
  while (rounds == before && MillisecondsSince(start) < 2000) std::this_thread::yield();
  EXPECT_GT(rounds, before);
  stop = true;
  runner.join();
}

TEST(CaptureTest, AThousandThreadsAnswerInAFewGroups) {
  const WaitingThreads threads(1000);
  const auto start = Clock::now();
  EXPECT_EQ(CountWhole(threads.numbers()), 1000U);
  // Debug builds on a busy machine get some slack; the figure itself is benchmarked elsewhere.
  EXPECT_LT(MillisecondsSince(start), 2000);
}

}  // namespace
}  // namespace CrashHandler::machine
