#include <signal.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "media_core/biz_engine/crash_handler/machine/crash_deadline.h"

namespace CrashHandler::machine {
namespace {

// The kernel's own number; the C library's timers allocate.
using KernelTimer = int;

constexpr KernelTimer kNoTimer = -1;
constexpr int kKillAfterMs = 1000;
// What the timers' signal carries.
constexpr int kEndValue = 0;
constexpr int kRescueValue = 1;

std::atomic<int> sRescueMs{kCrashRescueMs};
// Written by the starting thread only. The expiry handler, on any thread, reads sSignal alone.
std::atomic<int> sSignal{0};
std::atomic<bool (*)()> sRescue{nullptr};
int sTimerSignal = 0;
KernelTimer sRescueTimer = kNoTimer;
KernelTimer sTimer = kNoTimer;
KernelTimer sKillTimer = kNoTimer;
struct sigaction sPreviousAction;
sigset_t sPreviousMask;

void SetOnly(sigset_t* set, int signo) {
  sigemptyset(set);
  sigaddset(set, signo);
}

// Ends the process as the crash would have ended it without a handler.
void EndBy(int original) {
  struct sigaction action = {};
  action.sa_handler = SIG_DFL;
  sigaction(original, &action, nullptr);
  sigset_t mask;
  SetOnly(&mask, original);
  pthread_sigmask(SIG_UNBLOCK, &mask, nullptr);
  syscall(SYS_tgkill, getpid(), syscall(SYS_gettid), original);
}

bool Rescue() {
  bool (*const rescue)() = sRescue.load();
  return rescue == nullptr || rescue();
}

void OnTimer(int /*signo*/, siginfo_t* info, void* /*context*/) {
  const int saved_errno = errno;
  const int original = sSignal.load(std::memory_order_acquire);
  const bool for_rescue = info->si_code == SI_TIMER && info->si_value.sival_int == kRescueValue;
  if (original != 0 && (!for_rescue || Rescue())) EndBy(original);
  errno = saved_errno;
}

bool IsUnused(int signo) {
  struct sigaction current;
  return sigaction(signo, nullptr, &current) == 0 && current.sa_handler == SIG_DFL;
}

// A real-time signal that nobody in the process handles or ignores; 0 when there is none. One that
// the caller blocks may be waited for by another thread, which would take the timer's signal.
int FindFreeSignal() {
  sigset_t blocked;
  sigemptyset(&blocked);
  pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  int last_resort = 0;
  for (int signo = SIGRTMIN; signo <= SIGRTMAX; ++signo) {
    if (!IsUnused(signo)) continue;
    if (sigismember(&blocked, signo) == 0) return signo;
    last_resort = signo;
  }
  return last_resort;
}

sigevent ToTheProcess(int signo) {
  sigevent event = {};
  event.sigev_notify = SIGEV_SIGNAL;
  event.sigev_signo = signo;
  event.sigev_value.sival_int = kEndValue;
  return event;
}

sigevent ToThisThread(int signo) {
  sigevent event = ToTheProcess(signo);
  event.sigev_notify = SIGEV_THREAD_ID;
  event._sigev_un._tid = static_cast<pid_t>(syscall(SYS_gettid));
  event.sigev_value.sival_int = kRescueValue;
  return event;
}

KernelTimer StartTimer(sigevent event, int milliseconds) {
  KernelTimer timer = kNoTimer;
  if (syscall(SYS_timer_create, CLOCK_MONOTONIC, &event, &timer) != 0) return kNoTimer;
  itimerspec when = {};
  when.it_value.tv_sec = milliseconds / 1000;
  when.it_value.tv_nsec = (milliseconds % 1000) * 1000000L;
  // A zero would disarm it instead.
  if (milliseconds <= 0) when.it_value.tv_nsec = 1;
  syscall(SYS_timer_settime, timer, 0, &when, nullptr);
  return timer;
}

void DeleteTimer(KernelTimer* timer) {
  if (*timer != kNoTimer) syscall(SYS_timer_delete, *timer);
  *timer = kNoTimer;
}

}  // namespace

bool StartCrashDeadline(int signo) {
  StopCrashDeadline();
  sTimerSignal = FindFreeSignal();
  if (sTimerSignal == 0) return false;
  sSignal.store(signo, std::memory_order_release);

  struct sigaction action = {};
  action.sa_sigaction = OnTimer;
  // The end must come through while the rescue is tried.
  action.sa_flags = SA_SIGINFO | SA_NODEFER | SA_ONSTACK | SA_RESTART;
  sigaction(sTimerSignal, &action, &sPreviousAction);
  sigset_t mask;
  SetOnly(&mask, sTimerSignal);
  pthread_sigmask(SIG_UNBLOCK, &mask, &sPreviousMask);

  const int rescue = sRescueMs.load(std::memory_order_relaxed);
  const int end = rescue + kCrashDeadlineMs - kCrashRescueMs;
  sRescueTimer = StartTimer(ToThisThread(sTimerSignal), rescue);
  sTimer = StartTimer(ToTheProcess(sTimerSignal), end);
  sKillTimer = StartTimer(ToTheProcess(SIGKILL), end + kKillAfterMs);
  if (sTimer != kNoTimer) return true;
  StopCrashDeadline();
  return false;
}

void StopCrashDeadline() {
  if (sTimerSignal == 0) return;
  DeleteTimer(&sKillTimer);
  DeleteTimer(&sTimer);
  DeleteTimer(&sRescueTimer);
  sSignal.store(0, std::memory_order_release);
  // Ignoring drops an expiry that is already under way to a thread.
  struct sigaction ignore = {};
  ignore.sa_handler = SIG_IGN;
  sigaction(sTimerSignal, &ignore, nullptr);
  sigaction(sTimerSignal, &sPreviousAction, nullptr);
  if (sigismember(&sPreviousMask, sTimerSignal) == 1) {
    sigset_t mask;
    SetOnly(&mask, sTimerSignal);
    pthread_sigmask(SIG_BLOCK, &mask, nullptr);
  }
  sTimerSignal = 0;
}

void SetCrashRescue(bool (*rescue)()) { sRescue.store(rescue); }

void SetCrashRescueTimeForTesting(int milliseconds) {
  sRescueMs.store(milliseconds, std::memory_order_relaxed);
}

}  // namespace CrashHandler::machine
