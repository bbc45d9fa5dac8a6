#include "media_core/common/webrtc/rtc_base/platform_thread.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <string>
#include <thread>

#include "media_core/common/webrtc/rtc_base/event.h"
#include "tests/support/child_process.h"
#include "tests/support/platform.h"

namespace rtc {
namespace {

std::string NameOfThisThread() {
  char name[64] = {};
  pthread_getname_np(pthread_self(), name, sizeof(name));
  return name;
}

// What a run function saw.
struct Seen {
  std::atomic<int> runs{0};
  int last_run = 1 << 30;
  std::string name;
  size_t stack_size = 0;
  PlatformThreadId id = 0;
  PlatformThreadRef ref = PlatformThreadRef();
  Event ran{true, false};
};

void Note(void* obj) {
  auto* const seen = static_cast<Seen*>(obj);
  seen->name = NameOfThisThread();
  seen->stack_size = oru_test::StackSizeOfThisThread();
  seen->id = CurrentThreadId();
  seen->ref = CurrentThreadRef();
  ++seen->runs;
  seen->ran.Set();
}

bool NoteAndGoOn(void* obj) {
  Note(obj);
  return static_cast<Seen*>(obj)->runs < static_cast<Seen*>(obj)->last_run;
}

TEST(PlatformThread, StopOnAThreadNeverStartedDoesNothing) {
  Seen seen;
  PlatformThread once(&Note, &seen, "once", kNormalPriority);
  PlatformThread repeated(&NoteAndGoOn, &seen, "repeated");
  once.Stop();
  repeated.Stop();
  EXPECT_FALSE(once.IsRunning());
  EXPECT_FALSE(repeated.IsRunning());
  EXPECT_EQ(seen.runs, 0);
}

TEST(PlatformThread, VoidFormRunsOnceWithItsObject) {
  Seen seen;
  PlatformThread thread(&Note, &seen, "once", kNormalPriority);
  thread.Start();
  thread.Stop();
  EXPECT_EQ(seen.runs, 1);
}

TEST(PlatformThread, BoolFormRunsUntilItsFunctionReturnsFalse) {
  Seen seen;
  seen.last_run = 5;
  PlatformThread thread(&NoteAndGoOn, &seen, "repeated");
  thread.Start();
  while (seen.runs < 5) {
    sched_yield();
  }
  thread.Stop();
  EXPECT_EQ(seen.runs, 5);
}

TEST(PlatformThread, BoolFormRunsUntilStopped) {
  Seen seen;
  PlatformThread thread(&NoteAndGoOn, &seen, "repeated");
  thread.Start();
  while (seen.runs < 100) {
    sched_yield();
  }
  thread.Stop();
  const int runs = seen.runs;
  EXPECT_FALSE(thread.IsRunning());
  EXPECT_GE(runs, 100);
  EXPECT_EQ(seen.runs, runs);
}

TEST(PlatformThread, BoolFormStoppedAtOnceStillRunsOnce) {
  for (int i = 0; i < 20; ++i) {
    Seen seen;
    PlatformThread thread(&NoteAndGoOn, &seen, "repeated");
    thread.Start();
    thread.Stop();
    EXPECT_GE(seen.runs, 1);
  }
}

TEST(PlatformThread, CanBeStartedAgainAfterStop) {
  Seen seen;
  PlatformThread once(&Note, &seen, "once", kLowPriority);
  PlatformThread repeated(&NoteAndGoOn, &seen, "repeated");
  for (int i = 0; i < 3; ++i) {
    once.Start();
    once.Stop();
  }
  EXPECT_EQ(seen.runs, 3);
  for (int i = 0; i < 3; ++i) {
    const int before = seen.runs;
    repeated.Start();
    while (seen.runs < before + 3) {
      sched_yield();
    }
    repeated.Stop();
  }
}

TEST(PlatformThread, HandleIsThatOfTheRunningThreadAndNullOtherwise) {
  Seen seen;
  PlatformThread thread(&Note, &seen, "once", kNormalPriority);
  EXPECT_EQ(thread.GetThreadRef(), PlatformThreadRef());
  EXPECT_FALSE(thread.IsRunning());
  thread.Start();
  EXPECT_TRUE(thread.IsRunning());
  seen.ran.Wait(-1);
  EXPECT_TRUE(IsThreadRefEqual(thread.GetThreadRef(), seen.ref));
  thread.Stop();
  EXPECT_EQ(thread.GetThreadRef(), PlatformThreadRef());
  EXPECT_FALSE(thread.IsRunning());
}

TEST(PlatformThread, IsRunningStaysTrueWhenTheFunctionHasEndedByItself) {
  Seen seen;
  PlatformThread thread(&Note, &seen, "once", kNormalPriority);
  thread.Start();
  seen.ran.Wait(-1);
  EXPECT_TRUE(thread.IsRunning());
  thread.Stop();
}

TEST(PlatformThread, CarriesItsName) {
  Seen seen;
  PlatformThread once(&Note, &seen, "CarriesThis", kNormalPriority);
  once.Start();
  once.Stop();
  EXPECT_EQ(seen.name, "CarriesThis");
  PlatformThread repeated(&NoteAndGoOn, &seen, "AndThis");
  repeated.Start();
  repeated.Stop();
  EXPECT_EQ(seen.name, "AndThis");
}

TEST(PlatformThread, ALongNameIsCutNotRefused) {
  Seen seen;
  PlatformThread thread(&Note, &seen, "EventTracingThread", kNormalPriority);
  thread.Start();
  thread.Stop();
  EXPECT_EQ(seen.name, "EventTracingThr");
}

TEST(PlatformThread, ANullNameIsEmpty) {
  Seen seen;
  PlatformThread thread(&Note, &seen, nullptr, kNormalPriority);
  thread.Start();
  thread.Stop();
  EXPECT_EQ(seen.runs, 1);
  EXPECT_EQ(seen.name, "");
}

TEST(PlatformThread, HasAStackOfOneMebibyte) {
  Seen seen;
  PlatformThread thread(&Note, &seen, "once", kNormalPriority);
  thread.Start();
  thread.Stop();
  EXPECT_GE(seen.stack_size, 0x100000u);
  // What the C library adds for itself and the thread-local storage is no multiple of it.
  EXPECT_LT(seen.stack_size, 0x200000u);
}

TEST(PlatformThread, SetPriorityOfAThreadThatDoesNotRunIsRefused) {
  Seen seen;
  PlatformThread thread(&Note, &seen, "once", kNormalPriority);
  EXPECT_FALSE(thread.SetPriority(kHighPriority));
}

TEST(PlatformThread, RunsOnWhateverItsPriority) {
  for (int priority = kLowPriority; priority <= kRealtimePriority; ++priority) {
    Seen seen;
    PlatformThread thread(&Note, &seen, "once", static_cast<ThreadPriority>(priority));
    thread.Start();
    thread.Stop();
    EXPECT_EQ(seen.runs, 1);
  }
}

std::string ReportOf(const std::function<void()>& act) {
  const oru_test::ChildResult result = oru_test::RunInFork([&] {
    act();
    return 0;
  });
  EXPECT_EQ(result.signal, SIGABRT) << result.Ending();
  return result.err;
}

constexpr char kFatalInPlatformThread[] =
    "# Fatal error in media_core/common/webrtc/rtc_base/platform_thread, line ";

TEST(PlatformThreadMisuse, StoppingFromWithinIsFatal) {
  const std::string report = ReportOf([] {
    struct Self {
      PlatformThread* thread;
      Event may_stop{true, false};
    } self;
    PlatformThread thread(
        [](void* obj) {
          auto* const own = static_cast<Self*>(obj);
          own->may_stop.Wait(-1);
          own->thread->Stop();
        },
        &self, "self", kNormalPriority);
    self.thread = &thread;
    thread.Start();
    self.may_stop.Set();
    for (;;) {
      pause();
    }
  });
  EXPECT_NE(report.find(kFatalInPlatformThread), std::string::npos) << report;
  EXPECT_NE(report.find("# Check failed: 0 == pthread_join(thread_, nullptr) (0 vs. " +
                        std::to_string(EDEADLK) + ")\n"),
            std::string::npos)
      << report;
}

TEST(PlatformThreadMisuse, StoppingTwiceAtATimeIsFatal) {
  const std::string report = ReportOf([] {
    struct Self {
      PlatformThread* thread;
      Event may_stop{true, false};
    } self;
    PlatformThread thread(
        [](void* obj) {
          auto* const own = static_cast<Self*>(obj);
          own->may_stop.Wait(-1);
          // The owner is inside Stop() and has raised the flag, or will find it raised.
          own->thread->Stop();
          return true;
        },
        &self, "self");
    self.thread = &thread;
    thread.Start();
    std::thread([&self] {
      usleep(20000);
      self.may_stop.Set();
    }).detach();
    thread.Stop();
  });
  EXPECT_NE(report.find(kFatalInPlatformThread), std::string::npos) << report;
  EXPECT_NE(report.find("# Check failed: 1 == AtomicOps::Increment(&stop_flag_) (1 vs. 2)\n"),
            std::string::npos)
      << report;
}

TEST(PlatformThreadMisuse, StartingARunningThreadIsFatal) {
  const std::string report = ReportOf([] {
    Seen seen;
    PlatformThread thread(&Note, &seen, "once", kNormalPriority);
    thread.Start();
    thread.Start();
  });
  EXPECT_NE(report.find("# Check failed: !IsRunning()\n"), std::string::npos) << report;
}

TEST(PlatformThreadMisuse, DestroyingARunningThreadIsFatal) {
  const std::string report = ReportOf([] {
    Seen seen;
    PlatformThread thread(&Note, &seen, "once", kNormalPriority);
    thread.Start();
  });
  EXPECT_NE(report.find("# Check failed: !IsRunning()\n"), std::string::npos) << report;
}

TEST(CurrentThreadId, IsTheKernelsAndStable) {
  EXPECT_EQ(CurrentThreadId(), oru_test::NumberOfThisThread());
  EXPECT_EQ(CurrentThreadId(), CurrentThreadId());
}

TEST(CurrentThreadId, DiffersBetweenThreads) {
  const PlatformThreadId mine = CurrentThreadId();
  std::thread([mine] {
    EXPECT_NE(CurrentThreadId(), mine);
    EXPECT_EQ(CurrentThreadId(), oru_test::NumberOfThisThread());
  }).join();
}

TEST(CurrentThreadId, IsTheChildsOwnAfterAFork) {
  CurrentThreadId();
  const oru_test::ChildResult result = oru_test::RunInFork(
      [] { return CurrentThreadId() == oru_test::NumberOfThisThread() ? 0 : 1; });
  EXPECT_EQ(result.exit_code, 0) << result.Ending();
}

TEST(ThreadRef, EqualsItselfOnly) {
  const PlatformThreadRef mine = CurrentThreadRef();
  EXPECT_TRUE(IsThreadRefEqual(mine, CurrentThreadRef()));
  std::thread([mine] { EXPECT_FALSE(IsThreadRefEqual(mine, CurrentThreadRef())); }).join();
  EXPECT_FALSE(IsThreadRefEqual(mine, PlatformThreadRef()));
}

TEST(SetCurrentThreadName, CutsAtFifteenBytesAndIgnoresNull) {
  std::thread([] {
    SetCurrentThreadName("short");
    EXPECT_EQ(NameOfThisThread(), "short");
    SetCurrentThreadName("123456789012345");
    EXPECT_EQ(NameOfThisThread(), "123456789012345");
    SetCurrentThreadName("1234567890123456");
    EXPECT_EQ(NameOfThisThread(), "123456789012345");
    SetCurrentThreadName(nullptr);
    EXPECT_EQ(NameOfThisThread(), "123456789012345");
  }).join();
}

TEST(SetCurrentThreadName, CutsALongNameAtACharacter) {
  std::thread([] {
    SetCurrentThreadName("1234567890123\xC3\xA9");
    EXPECT_EQ(NameOfThisThread(), "1234567890123\xC3\xA9") << "fits";
    SetCurrentThreadName("12345678901234\xC3\xA9 and more");
    EXPECT_EQ(NameOfThisThread(), "12345678901234");
    SetCurrentThreadName("123456789012\xF0\x9F\x98\x80");
    EXPECT_EQ(NameOfThisThread(), "123456789012");
    SetCurrentThreadName("\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80");
    EXPECT_EQ(NameOfThisThread().size(), 15u) << "no characters to cut at";
  }).join();
}

}  // namespace
}  // namespace rtc
