// The report is stuck, and what should bound its time is hard to have.
#include <errno.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <signal.h>
#include <stddef.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "tests/crash_matrix/scenario.h"

namespace crash_test {
namespace {

void Hang(void*, CrashType) { SleepForEver(); }

void HangWithAllSignalsBlocked(void*, CrashType) {
  BlockAllSignals();
  SleepForEver();
}

// What a signal and a timer need one of; the system counts them by user.
void LimitPendingSignals(rlim_t count) {
  const rlimit limit = {count, count};
  Require(setrlimit(RLIMIT_SIGPENDING, &limit) == 0);
}

SCENARIO(HangsWithoutPendingSignals) {
  LimitPendingSignals(0);
  Callback(Hang);
  WriteToNull();
}

// How many timers there are depends on what the user's other processes have; the end does not.
SCENARIO(HangsWithOnePendingSignal) {
  LimitPendingSignals(1);
  Callback(Hang);
  WriteToNull();
}

SCENARIO(HangsWithTwoPendingSignals) {
  LimitPendingSignals(2);
  Callback(Hang);
  WriteToNull();
}

// The main thread, which waits for this one, gets the alarm.
SCENARIO(AbortsAndHangsWithoutPendingSignals) {
  LimitPendingSignals(0);
  Callback(Hang);
  abort();
}

// Whatever the host does with the alarm is nothing to the deadline.
SCENARIO(HangsWithTheAlarmTaken) {
  signal(SIGALRM, [](int) { Say("the host's alarm"); });
  const itimerval soon = {{0, 0}, {0, 100000}};
  sigset_t alarm;
  sigemptyset(&alarm);
  sigaddset(&alarm, SIGALRM);
  Require(pthread_sigmask(SIG_BLOCK, &alarm, nullptr) == 0);
  LimitPendingSignals(0);
  Callback([](void*, CrashType) { SleepForEver(); });
  Require(setitimer(ITIMER_REAL, &soon, nullptr) == 0);
  WriteToNull();
}

void TakeEverySignal() {
  for (int signo = SIGRTMIN; signo <= SIGRTMAX; ++signo) {
    Require(signal(signo, [](int) { Say("a signal of the host"); }) != SIG_ERR);
  }
}

SCENARIO(HangsWithoutAFreeSignal) {
  TakeEverySignal();
  Callback(Hang);
  WriteToNull();
}

SCENARIO(BlocksSignalsAndHangsWithoutAFreeSignal) {
  TakeEverySignal();
  Callback(HangWithAllSignalsBlocked);
  WriteToNull();
}

void HostsAlarm(int /*signo*/) {}

// Nothing of the host's alarm is touched, during a report and after it is survived.
SCENARIO(SurvivesWithoutPendingSignals) {
  signal(SIGALRM, HostsAlarm);
  const itimerval hosts = {{0, 0}, {1000, 0}};
  Require(setitimer(ITIMER_REAL, &hosts, nullptr) == 0);
  LimitPendingSignals(0);
  Callback([](void*, CrashType) {
    itimerval during = {};
    Require(getitimer(ITIMER_REAL, &during) == 0 && during.it_value.tv_sec > 900);
  });
  raise(SIGPIPE);
  itimerval left = {};
  Require(getitimer(ITIMER_REAL, &left) == 0 && left.it_value.tv_sec > 900);
  struct sigaction action = {};
  Require(sigaction(SIGALRM, nullptr, &action) == 0 && action.sa_handler == HostsAlarm);
}

// With a callback that takes longer than a report does. For good would be for the process's life.
void ExpectThreadsToRunOnAsBefore(void (*crash)()) {
  static std::atomic<pid_t> other{0};
  std::thread([] {
    other.store(static_cast<pid_t>(syscall(SYS_gettid)));
    SleepForEver();
  }).detach();
  while (other.load() == 0) SleepMs(1);
  Callback([](void*, CrashType) { SleepMs(1500); });
  crash();
  Require(sched_getscheduler(other.load()) == SCHED_OTHER);
}

SCENARIO(ThreadsRunOnAfterASignalThatWasSent) {
  ExpectThreadsToRunOnAsBefore([] { raise(SIGPIPE); });
}

SCENARIO(ThreadsRunOnAfterAFailedAllocation) { ExpectThreadsToRunOnAsBefore(FailAnAllocation); }

// The signal that a thread sends itself has no effect, as in the first process of a container.
void SwallowOwnSignal(unsigned signo) {
  sock_filter rules[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_tgkill, 0, 3),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[2])),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, signo, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  sock_fprog program = {sizeof rules / sizeof *rules, rules};
  Require(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
          prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0);
}

SCENARIO(HangsWhereTheSignalHasNoEffect) {
  SwallowOwnSignal(SIGSEGV);
  Callback(Hang);
  WriteToNull();
}

// The helper thread cannot be made: nothing but the kernel's timer is left.
SCENARIO(HangsWhereNoThreadCanBeMade) {
  sock_filter rules[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EAGAIN),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  sock_fprog program = {sizeof rules / sizeof *rules, rules};
  Callback([](void*, CrashType) { SleepForEver(); });
  Require(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
          prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0);
  WriteToNull();
}

// The child is the first process of a namespace, which the kernel spares the default actions of
// signals. Where namespaces are forbidden, a filter takes their part when the report is stuck.
pid_t ForkFirstProcess() {
  const bool first = unshare(CLONE_NEWPID) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWPID) == 0;
  const pid_t child = fork();
  if (child == 0) Require(!first || getpid() == 1);
  return child;
}

template <int kSigno>
void HangAsTheFirst(void*, CrashType) {
  if (getpid() != 1) SwallowOwnSignal(kSigno);
  SleepForEver();
}

void EndLike(pid_t child) {
  int status = 0;
  Require(waitpid(child, &status, 0) == child);
  _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
}

// Not by a signal, which has no effect there.
void ExitLike(pid_t child) {
  int status = 0;
  Require(waitpid(child, &status, 0) == child && WIFEXITED(status));
  _exit(WEXITSTATUS(status));
}

SCENARIO(HangsInTheFirstProcess) {
  Callback(HangAsTheFirst<SIGSEGV>);
  const pid_t first = ForkFirstProcess();
  if (first == 0) WriteToNull();
  ExitLike(first);
}

SCENARIO(AbortsAndHangsInTheFirstProcess) {
  Callback(HangAsTheFirst<SIGABRT>);
  const pid_t first = ForkFirstProcess();
  if (first == 0) abort();
  ExitLike(first);
}

SCENARIO(FaultInTheFirstProcess) {
  const pid_t first = ForkFirstProcess();
  if (first == 0) WriteToNull();
  EndLike(first);
}

}  // namespace

}  // namespace crash_test
