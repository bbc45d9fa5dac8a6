#include "media_core/biz_engine/crash_handler/dying/crash_deadline.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <unistd.h>

#include <thread>

#include "media_core/biz_engine/crash_handler/machine/threads/helper_thread.h"
#include "media_core/biz_engine/crash_handler/machine/threads/threads.h"
#include "tests/support/child_process.h"

namespace CrashHandler {
namespace {

using oru_test::ChildResult;
using oru_test::RunInFork;

constexpr int kEnded = 7;

machine::ThreadNumber sStarter = 0;

void Prepare() {
  void* const memory = mmap(nullptr, machine::kHelperThreadBytes, PROT_READ | PROT_WRITE,
                            MAP_PRIVATE | MAP_ANON, -1, 0);
  machine::PrepareHelperThread(memory);
  sStarter = machine::CurrentThreadNumber();
  SetCrashRescueTimeForTesting(50);
}

bool Rescue() {
  const bool own = machine::CurrentThreadNumber() == machine::HelperThreadNumber() &&
                   machine::CurrentThreadNumber() != sStarter;
  return write(STDOUT_FILENO, own ? "helper" : "other!", 6) == 6;
}

bool NothingToRescue() { return false; }

void End() { _exit(kEnded); }

constexpr CrashDeadline kDeadline = {&Rescue, &End};

void BlockAllSignals() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, nullptr);
}

[[noreturn]] void Hang() {
  for (;;) pause();
}

void ExpectRescueAndEnd(const ChildResult& child) {
  EXPECT_EQ(child.exit_code, kEnded) << child.Ending();
  EXPECT_EQ(child.out, "helper");
}

TEST(CrashDeadlineTest, WhenTheTimeIsOverTheHelperRescuesAndEnds) {
  ExpectRescueAndEnd(RunInFork([]() -> int {
    Prepare();
    if (!StartCrashDeadline(kDeadline)) return 1;
    Hang();
  }));
}

TEST(CrashDeadlineTest, WithNothingToRescueTheEndComesWhenAllTheTimeIsOver) {
  const ChildResult child = RunInFork([]() -> int {
    Prepare();
    StartCrashDeadline({&NothingToRescue, &End});
    Hang();
  });
  EXPECT_EQ(child.exit_code, kEnded) << child.Ending();
  EXPECT_GE(child.wall_s, (kCrashDeadlineMs - kCrashRescueMs) / 1000.0);
}

TEST(CrashDeadlineTest, AThreadThatBlocksAllSignalsIsBoundedToo) {
  ExpectRescueAndEnd(RunInFork([]() -> int {
    Prepare();
    BlockAllSignals();
    StartCrashDeadline(kDeadline);
    Hang();
  }));
}

// It would take a timer's signal.
TEST(CrashDeadlineTest, AThreadThatWaitsForAllSignalsTakesNothingFromIt) {
  ExpectRescueAndEnd(RunInFork([]() -> int {
    Prepare();
    BlockAllSignals();
    std::thread([] {
      sigset_t all;
      sigfillset(&all);
      int signo = 0;
      for (;;) sigwait(&all, &signo);
    }).detach();
    StartCrashDeadline(kDeadline);
    for (;;) sleep(1);
  }));
}

TEST(CrashDeadlineTest, AStoppedDeadlineNeverPasses) {
  const ChildResult child = RunInFork([]() -> int {
    Prepare();
    for (int i = 0; i < 20; ++i) {
      StartCrashDeadline(kDeadline);
      StopCrashDeadline();
    }
    usleep(300000);
    return 0;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
  EXPECT_EQ(child.out, "");
}

TEST(CrashDeadlineTest, StopWithoutAStartDoesNothing) {
  StopCrashDeadline();
  StopCrashDeadline();
}

TEST(CrashDeadlineTest, TheHostsAlarmActionAndMaskAreItsOwn) {
  const ChildResult child = RunInFork([]() -> int {
    Prepare();
    signal(SIGALRM, [](int) {});
    BlockAllSignals();
    itimerval hosts = {};
    hosts.it_value.tv_sec = 1000;
    setitimer(ITIMER_REAL, &hosts, nullptr);
    StartCrashDeadline(kDeadline);
    itimerval during = {};
    getitimer(ITIMER_REAL, &during);
    StopCrashDeadline();
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    const bool blocked = sigismember(&mask, SIGALRM) == 1 && sigismember(&mask, SIGSEGV) == 1;
    return during.it_value.tv_sec > 900 && blocked ? 0 : 1;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
}

TEST(CrashDeadlineTest, AProgramThatTheProcessBecomesIsNotBounded) {
  const ChildResult child = RunInFork([]() -> int {
    Prepare();
    StartCrashDeadline(kDeadline);
    execl("/bin/sh", "sh", "-c", "sleep 1; exit 5", nullptr);
    return 1;
  });
  EXPECT_EQ(child.exit_code, 5) << child.Ending();
  EXPECT_EQ(child.out, "");
}

TEST(CrashDeadlineTest, TheInterruptedCodesErrorNumberIsItsOwn) {
  const ChildResult child = RunInFork([]() -> int {
    Prepare();
    errno = EDOM;
    StartCrashDeadline({&NothingToRescue, &End});
    usleep(200000);
    const int error = errno;
    StopCrashDeadline();
    return error == EDOM ? 0 : 1;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
}

}  // namespace
}  // namespace CrashHandler
