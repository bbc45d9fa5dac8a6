#include <pthread.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>

#include "media_core/biz_engine/crash_handler/machine/crash_deadline.h"

namespace CrashHandler::machine {
namespace {

// The system has one real-time timer a process and one signal for it. A host's own alarm is put
// back with the time that was left of it.
constexpr int kTimerSignal = SIGALRM;

std::atomic<int> sLimitMs{kCrashDeadlineMs};
// Written by the starting thread only. The expiry handler, on any thread, reads sSignal alone.
std::atomic<int> sSignal{0};
itimerval sPreviousTimer;
struct sigaction sPreviousAction;
sigset_t sPreviousMask;

void SetOnly(sigset_t* set, int signo) {
  sigemptyset(set);
  sigaddset(set, signo);
}

// Ends the process as the crash would have ended it without a handler.
void OnDeadline(int /*signo*/) {
  const int original = sSignal.load(std::memory_order_acquire);
  if (original == 0) return;
  struct sigaction action = {};
  action.sa_handler = SIG_DFL;
  sigaction(original, &action, nullptr);
  sigset_t mask;
  SetOnly(&mask, original);
  pthread_sigmask(SIG_UNBLOCK, &mask, nullptr);
  pthread_kill(pthread_self(), original);
}

}  // namespace

bool StartCrashDeadline(int signo) {
  StopCrashDeadline();
  struct sigaction action = {};
  action.sa_handler = OnDeadline;
  action.sa_flags = SA_ONSTACK | SA_RESTART;
  sigaction(kTimerSignal, &action, &sPreviousAction);
  sigset_t mask;
  SetOnly(&mask, kTimerSignal);
  pthread_sigmask(SIG_UNBLOCK, &mask, &sPreviousMask);
  sSignal.store(signo, std::memory_order_release);

  const int limit = sLimitMs.load(std::memory_order_relaxed);
  itimerval when = {};
  when.it_value.tv_sec = limit / 1000;
  when.it_value.tv_usec = (limit % 1000) * 1000;
  // A zero would disarm it instead.
  if (limit <= 0) when.it_value.tv_usec = 1;
  if (setitimer(ITIMER_REAL, &when, &sPreviousTimer) == 0) return true;
  StopCrashDeadline();
  return false;
}

void StopCrashDeadline() {
  if (sSignal.load(std::memory_order_acquire) == 0) return;
  sSignal.store(0, std::memory_order_release);
  const itimerval none = {};
  setitimer(ITIMER_REAL, &none, nullptr);
  // Ignoring drops an expiry that is already under way to a thread.
  struct sigaction ignore = {};
  ignore.sa_handler = SIG_IGN;
  sigaction(kTimerSignal, &ignore, nullptr);
  sigaction(kTimerSignal, &sPreviousAction, nullptr);
  if (sigismember(&sPreviousMask, kTimerSignal) == 1) {
    sigset_t mask;
    SetOnly(&mask, kTimerSignal);
    pthread_sigmask(SIG_BLOCK, &mask, nullptr);
  }
  setitimer(ITIMER_REAL, &sPreviousTimer, nullptr);
  sPreviousTimer = none;
}

void SetCrashDeadlineForTesting(int milliseconds) {
  sLimitMs.store(milliseconds, std::memory_order_relaxed);
}

}  // namespace CrashHandler::machine
