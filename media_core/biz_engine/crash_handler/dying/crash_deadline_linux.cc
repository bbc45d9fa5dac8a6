#include <signal.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>

#include "media_core/biz_engine/crash_handler/dying/crash_alarm.h"
#include "media_core/biz_engine/crash_handler/dying/crash_deadline.h"
#include "media_core/biz_engine/crash_handler/dying/crash_end.h"
#include "media_core/biz_engine/crash_handler/machine/threads/borrowed_signal.h"

namespace CrashHandler::machine {
namespace {

// The kernel's own number; the C library's timers allocate.
using KernelTimer = int;

constexpr KernelTimer kNoTimer = -1;
constexpr int kKillAfterMs = 1000;
// What the timers' signal carries.
constexpr int kEndValue = 0;
constexpr int kRescueValue = 1;

// For the starting thread only.
BorrowedSignal sTimerSignal;
KernelTimer sRescueTimer = kNoTimer;
KernelTimer sTimer = kNoTimer;
KernelTimer sKillTimer = kNoTimer;

void OnTimer(int /*signo*/, siginfo_t* info, void* /*context*/) {
  const int saved_errno = errno;
  const int original = CrashEnd();
  const bool for_rescue = info->si_code == SI_TIMER && info->si_value.sival_int == kRescueValue;
  if (original != 0 && (!for_rescue || RescueCrash())) EndBy(original);
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
  syscall(SYS_timer_settime, timer, 0, &when, nullptr);
  return timer;
}

void DeleteTimer(KernelTimer* timer) {
  if (*timer != kNoTimer) syscall(SYS_timer_delete, *timer);
  *timer = kNoTimer;
}

// The timers of the rescue and of the end. False when one is missing, for want of a free signal or
// because the user's processes have used up the signals that may be pending.
bool StartSignalTimers(int rescue_ms, int end_ms) {
  const int signo = FindFreeSignal();
  if (signo == 0) return false;
  struct sigaction action = {};
  action.sa_sigaction = OnTimer;
  // The end must come through while the rescue is tried.
  action.sa_flags = SA_SIGINFO | SA_NODEFER | SA_ONSTACK | SA_RESTART;
  sTimerSignal.Take(signo, action);
  sRescueTimer = StartTimer(ToThisThread(signo), rescue_ms);
  sTimer = StartTimer(ToTheProcess(signo), end_ms);
  return sRescueTimer != kNoTimer && sTimer != kNoTimer;
}

}  // namespace

bool StartCrashDeadline(int signo) {
  StopCrashDeadline();
  SetCrashEnd(signo);
  const int rescue = CrashRescueTimeMs();
  const int end = rescue + kCrashDeadlineMs - kCrashRescueMs;
  // First, as nothing can stand in for it; it needs no free signal.
  sKillTimer = StartTimer(ToTheProcess(SIGKILL), end + kKillAfterMs);
  return StartSignalTimers(rescue, end) || StartCrashAlarm() || sKillTimer != kNoTimer;
}

void StopCrashDeadline() {
  DeleteTimer(&sKillTimer);
  DeleteTimer(&sTimer);
  DeleteTimer(&sRescueTimer);
  SetCrashEnd(0);
  StopCrashAlarm();
  sTimerSignal.GiveBack();
}

}  // namespace CrashHandler::machine
