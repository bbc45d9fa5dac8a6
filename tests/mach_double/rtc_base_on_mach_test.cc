// The runtime base's macOS variants on the stand-in.
#include <dispatch/dispatch.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <functional>
#include <optional>
#include <string>
#include <thread>

#include "media_core/common/webrtc/rtc_base/counting_semaphore.h"
#include "media_core/common/webrtc/rtc_base/critical_section.h"
#include "media_core/common/webrtc/rtc_base/log_preference.h"
#include "media_core/common/webrtc/rtc_base/platform_thread_types.h"
#include "media_core/common/webrtc/rtc_base/process_id.h"
#include "media_core/common/webrtc/rtc_base/time_utils.h"
#include "tests/mach_double/mach_double.h"
#include "tests/rtc_base/thread_state.h"
#include "tests/support/child_process.h"

namespace rtc {
namespace {

using mach_double::Call;
using oru_test::ChildResult;
using oru_test::RunInFork;

int ForkAndWait(const std::function<void()>& in_child) {
  const pid_t child = fork();
  if (child == 0) {
    in_child();
    _exit(0);
  }
  int status = -1;
  return waitpid(child, &status, 0) == child ? status : -1;
}

TEST(MachClock, TicksAreMultipliedBeforeTheyAreDivided) {
  mach_double::SetTimebase(125, 3);
  mach_double::SetAbsoluteTime(7);
  EXPECT_EQ(291, SystemTimeNanos());  // 875 / 3
  mach_double::SetAbsoluteTime(3000000);
  EXPECT_EQ(125000000, SystemTimeNanos());
}

TEST(MachClock, TheTimebaseIsAskedForOnce) {
  SystemTimeNanos();
  SystemTimeNanos();
  EXPECT_EQ(1, mach_double::CallCount(Call::kTimebaseInfo));
}

TEST(MachSemaphore, AWaiterSleepsUntilTheSignal) {
  CountingSemaphore semaphore;
  std::atomic<bool> woken{false};
  std::thread waiter([&] {
    semaphore.Wait();
    woken = true;
  });
  EXPECT_FALSE(woken);
  semaphore.Signal();
  waiter.join();
  EXPECT_TRUE(woken);
}

TEST(MachSemaphore, ASignalBeforeTheWaitIsKept) {
  CountingSemaphore semaphore;
  semaphore.Signal();
  semaphore.Signal();
  semaphore.Wait();
  semaphore.Wait();
}

TEST(MachSemaphore, ReleasingOneThatSomebodyWaitsForTraps) {
  const ChildResult child = RunInFork([] {
    const dispatch_semaphore_t semaphore = dispatch_semaphore_create(0);
    std::atomic<uint32_t> waiter_id{0};
    std::thread([&] {
      waiter_id = static_cast<uint32_t>(gettid());
      dispatch_semaphore_wait(semaphore, DISPATCH_TIME_FOREVER);
    }).detach();
    while (waiter_id == 0) {
      std::this_thread::yield();
    }
    oru_test::AwaitSleeping(waiter_id);
    dispatch_release(semaphore);
    return 0;
  });
  EXPECT_EQ(child.signal, SIGABRT) << child.Ending();
}

// A thread that takes and leaves the lock; it sleeps already, for the caller has the lock.
std::thread SleepsOn(CriticalSection* section) {
  std::atomic<uint32_t> id{0};
  std::thread waiter([section, &id] {
    id = static_cast<uint32_t>(gettid());
    section->Enter();
    section->Leave();
  });
  while (id == 0) {
    std::this_thread::yield();
  }
  oru_test::AwaitSleeping(id);
  return waiter;
}

// Two threads that the lock is handed over between: the second sleeps until the first leaves.
void HandOver(CriticalSection* section) {
  section->Enter();
  std::thread waiter = SleepsOn(section);
  section->Leave();
  waiter.join();
}

TEST(MachSemaphore, ALockThatThreadsSleptOnServesAForkedChild) {
  CriticalSection section;
  HandOver(&section);
  const ChildResult child = RunInFork([&section] {
    HandOver(&section);
    HandOver(&section);
    return ForkAndWait([&section] { HandOver(&section); });
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending() << child.err;
}

TEST(MachSemaphore, ALockThatThreadsWaitForIsRenewedInAForkedChild) {
  auto* const section = new CriticalSection();
  section->Enter();
  std::thread waiter = SleepsOn(section);
  const ChildResult child = RunInFork([section] {
    EXPECT_TRUE(section->RenewInForkedChild());
    section->Leave();
    HandOver(section);
    return 0;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending() << child.err;
  section->Leave();
  waiter.join();
  delete section;
}

TEST(MachThreadNumber, ItIsTheThreadsPort) {
  EXPECT_EQ(pthread_mach_thread_np(pthread_self()), CurrentThreadId());
  PlatformThreadId other = 0;
  std::thread([&] { other = CurrentThreadId(); }).join();
  EXPECT_NE(0u, other);
  EXPECT_NE(CurrentThreadId(), other);
}

TEST(MachThreadName, AThreadNamesItself) {
  SetCurrentThreadName(nullptr);
  SetCurrentThreadName("a name of more than fifteen bytes");
  char name[64];
  ASSERT_EQ(0, pthread_getname_np(pthread_self(), name, sizeof(name)));
  EXPECT_STREQ("a name of more than fifteen bytes", name);
}

TEST(MachThreadName, ANameOfMoreThan63BytesIsCutAtACharacterNotRefused) {
  char name[80];
  SetCurrentThreadName((std::string(63, 'x') + "more").c_str());
  ASSERT_EQ(0, pthread_getname_np(pthread_self(), name, sizeof(name)));
  EXPECT_EQ(std::string(63, 'x'), name);
  SetCurrentThreadName((std::string(62, 'y') + "\xC3\xA9").c_str());
  ASSERT_EQ(0, pthread_getname_np(pthread_self(), name, sizeof(name)));
  EXPECT_EQ(std::string(62, 'y'), name);
}

// Each test begins with a bundle that has no identifier, no preferences, and that answer given.
class MachPreference : public testing::Test {
 protected:
  void SetUp() override {
    mach_double::SetMainBundleExists(true);
    mach_double::SetBundleIdentifier(std::nullopt);
    for (const char* const application : {"org.example.app", "org.example.other"}) {
      mach_double::SetBooleanPreference(application, "logToStdErr", std::nullopt);
    }
    ReadPlatformLogPreference();
  }
};

TEST_F(MachPreference, WithoutAnIdentifierThereIsNoBundle) {
  EXPECT_EQ(LogPreference::kNoBundle, ReadPlatformLogPreference());
  mach_double::SetMainBundleExists(false);
  EXPECT_EQ(LogPreference::kNoBundle, ReadPlatformLogPreference());
  EXPECT_EQ(0, mach_double::LiveObjects());
}

TEST_F(MachPreference, AForkedChildAsksNobody) {
  mach_double::SetBundleIdentifier("org.example.app");
  mach_double::SetBooleanPreference("org.example.app", "logToStdErr", true);
  const auto answer_in_child = [] {
    return RunInFork([] { return static_cast<int>(ReadPlatformLogPreference()); });
  };
  ChildResult child = answer_in_child();
  EXPECT_EQ(child.exit_code, static_cast<int>(LogPreference::kNoBundle)) << child.Ending();
  EXPECT_EQ(LogPreference::kTrue, ReadPlatformLogPreference());
  child = answer_in_child();
  EXPECT_EQ(child.exit_code, static_cast<int>(LogPreference::kTrue)) << "the parent's last answer";
}

TEST_F(MachPreference, WithoutAKeyThereIsNoBundle) {
  mach_double::SetBundleIdentifier("org.example.app");
  mach_double::FailOnce(Call::kStringCreate, 0);
  EXPECT_EQ(LogPreference::kNoBundle, ReadPlatformLogPreference());
}

TEST_F(MachPreference, EveryValueIsReadAndTheKeyReleased) {
  mach_double::SetBundleIdentifier("org.example.app");
  EXPECT_EQ(LogPreference::kUnset, ReadPlatformLogPreference());
  mach_double::SetBooleanPreference("org.example.other", "logToStdErr", true);
  EXPECT_EQ(LogPreference::kUnset, ReadPlatformLogPreference());
  mach_double::SetBooleanPreference("org.example.app", "logToStdErr", true);
  EXPECT_EQ(LogPreference::kTrue, ReadPlatformLogPreference());
  mach_double::SetBooleanPreference("org.example.app", "logToStdErr", false);
  EXPECT_EQ(LogPreference::kFalse, ReadPlatformLogPreference());
  mach_double::SetInvalidPreference("org.example.app", "logToStdErr");
  EXPECT_EQ(LogPreference::kUnset, ReadPlatformLogPreference());
  EXPECT_EQ(0, mach_double::LiveObjects());
}

TEST(ProcessIdOnMach, AForkedChildHasItsOwn) {
  EXPECT_EQ(getpid(), CurrentProcessId());
  const ChildResult child = RunInFork([] { return CurrentProcessId() == getpid() ? 0 : 1; });
  EXPECT_EQ(0, child.exit_code) << child.Ending();
}

}  // namespace
}  // namespace rtc
