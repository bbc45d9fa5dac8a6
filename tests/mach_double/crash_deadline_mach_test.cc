// macOS's deadline uses nothing but POSIX, so it runs here as it is.
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include "media_core/biz_engine/crash_handler/dying/crash_deadline.h"
#include "tests/support/child_process.h"

namespace CrashHandler::machine {
namespace {

using oru_test::ChildResult;
using oru_test::RunInFork;

void IgnoreIt(int /*signo*/) {}

// As a handler leaves a crash's own signal: caught, and blocked while it runs.
void CatchAndBlock(int signo) {
  signal(signo, IgnoreIt);
  sigset_t mask;
  sigemptyset(&mask);
  sigaddset(&mask, signo);
  pthread_sigmask(SIG_BLOCK, &mask, nullptr);
}

TEST(CrashDeadlineOnMach, PassedDeadlineEndsByTheOriginalSignal) {
  for (const int signo : {SIGSEGV, SIGABRT, SIGPIPE}) {
    const ChildResult child = RunInFork([signo]() -> int {
      CatchAndBlock(signo);
      SetCrashRescueTimeForTesting(50);
      if (!StartCrashDeadline(signo)) return 1;
      for (;;) pause();
    });
    EXPECT_EQ(child.signal, signo) << child.Ending();
  }
}

TEST(CrashDeadlineOnMach, DeadlineOfZeroPassesAtOnce) {
  const ChildResult child = RunInFork([]() -> int {
    SetCrashRescueTimeForTesting(0);
    StartCrashDeadline(SIGILL);
    for (;;) pause();
  });
  EXPECT_EQ(child.signal, SIGILL) << child.Ending();
}

TEST(CrashDeadlineOnMach, WorksOnAThreadThatBlocksTheTimersSignal) {
  const ChildResult child = RunInFork([]() -> int {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
    SetCrashRescueTimeForTesting(50);
    StartCrashDeadline(SIGSEGV);
    for (;;) pause();
  });
  EXPECT_EQ(child.signal, SIGSEGV) << child.Ending();
}

TEST(CrashDeadlineOnMach, StopPutsTheHostsAlarmActionAndMaskBack) {
  const ChildResult child = RunInFork([]() -> int {
    CatchAndBlock(SIGALRM);
    itimerval hosts = {};
    hosts.it_value.tv_sec = 1000;
    setitimer(ITIMER_REAL, &hosts, nullptr);
    StartCrashDeadline(SIGSEGV);
    StopCrashDeadline();

    struct sigaction action = {};
    sigaction(SIGALRM, nullptr, &action);
    if (action.sa_handler != IgnoreIt) return 1;
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    if (sigismember(&mask, SIGALRM) != 1) return 2;
    itimerval left = {};
    getitimer(ITIMER_REAL, &left);
    return left.it_value.tv_sec > 900 ? 0 : 3;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
}

TEST(CrashDeadlineOnMach, StopWithoutAStartLeavesTheHostsAlarmAlone) {
  const ChildResult child = RunInFork([]() -> int {
    itimerval hosts = {};
    hosts.it_value.tv_sec = 1000;
    setitimer(ITIMER_REAL, &hosts, nullptr);
    StopCrashDeadline();
    itimerval left = {};
    getitimer(ITIMER_REAL, &left);
    return left.it_value.tv_sec > 900 ? 0 : 1;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
}

pthread_t sStarter;

bool RescueByTheStarter() {
  const bool own = pthread_equal(pthread_self(), sStarter) != 0;
  return write(STDOUT_FILENO, own ? "starter" : "another", 7) == 7;
}

bool NothingToRescue() { return false; }

void* StartAndHang(void* rescue) {
  sStarter = pthread_self();
  SetCrashRescue(reinterpret_cast<bool (*)()>(rescue));
  SetCrashRescueTimeForTesting(50);
  StartCrashDeadline(SIGSEGV);
  for (;;) pause();
}

// The timer's signal comes to the main thread, which waits for the other one.
ChildResult HangOnAnotherThread(bool (*rescue)()) {
  return RunInFork([rescue]() -> int {
    pthread_t starter;
    pthread_create(&starter, nullptr, StartAndHang, reinterpret_cast<void*>(rescue));
    for (;;) pause();
  });
}

TEST(CrashDeadlineOnMach, TheStartingThreadIsTheOneThatRescues) {
  const ChildResult child = HangOnAnotherThread(RescueByTheStarter);
  EXPECT_EQ(child.signal, SIGSEGV) << child.Ending();
  EXPECT_EQ(child.out, "starter");
  EXPECT_LT(child.wall_s, 1.5);
}

TEST(CrashDeadlineOnMach, TheMainThreadRescuesWhatItStarted) {
  const ChildResult child = RunInFork([]() -> int {
    StartAndHang(reinterpret_cast<void*>(RescueByTheStarter));
    return 0;
  });
  EXPECT_EQ(child.signal, SIGSEGV) << child.Ending();
  EXPECT_EQ(child.out, "starter");
}

TEST(CrashDeadlineOnMach, WithNothingToRescueTheEndComesWhenAllTheTimeIsOver) {
  const ChildResult child = HangOnAnotherThread(NothingToRescue);
  EXPECT_EQ(child.signal, SIGSEGV) << child.Ending();
  EXPECT_GE(child.wall_s, (kCrashDeadlineMs - kCrashRescueMs) / 1000.0);
}

}  // namespace
}  // namespace CrashHandler::machine
