#include <pthread.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>

#include "media_core/biz_engine/crash_handler/machine/crash_deadline.h"

namespace CrashHandler::machine {
namespace {

// The system has one real-time timer a process and one signal for it. A host's own alarm is put
// back with the time that was left of it.
constexpr int kTimerSignal = SIGALRM;

std::atomic<int> sRescueMs{kCrashRescueMs};
// Written by the starting thread only. The expiry handler, on any thread, reads sSignal alone.
std::atomic<int> sSignal{0};
std::atomic<bool (*)()> sRescue{nullptr};
// The starting thread, and what has come of its rescue.
pthread_t sThread;
std::atomic<bool> sRescueAsked{false};
std::atomic<bool> sRescueTried{false};
itimerval sPreviousTimer;
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
  pthread_kill(pthread_self(), original);
}

// Whether it is the end. The timer comes twice, to any thread; the rescue is the starting one's.
bool IsOver() {
  if (pthread_equal(pthread_self(), sThread) == 0) {
    if (sRescueTried || sRescueAsked.exchange(true)) return true;
    return pthread_kill(sThread, kTimerSignal) != 0;
  }
  if (sRescueTried.exchange(true)) return true;
  bool (*const rescue)() = sRescue.load();
  return rescue == nullptr || rescue();
}

void OnTimer(int /*signo*/) {
  const int saved_errno = errno;
  const int original = sSignal.load(std::memory_order_acquire);
  if (original != 0 && IsOver()) EndBy(original);
  errno = saved_errno;
}

timeval Milliseconds(int count) { return {count / 1000, (count % 1000) * 1000}; }

}  // namespace

bool StartCrashDeadline(int signo) {
  StopCrashDeadline();
  struct sigaction action = {};
  action.sa_handler = OnTimer;
  // The end must come through while the rescue is tried.
  action.sa_flags = SA_NODEFER | SA_ONSTACK | SA_RESTART;
  sigaction(kTimerSignal, &action, &sPreviousAction);
  sigset_t mask;
  SetOnly(&mask, kTimerSignal);
  pthread_sigmask(SIG_UNBLOCK, &mask, &sPreviousMask);
  sThread = pthread_self();
  sRescueAsked = false;
  sRescueTried = false;
  sSignal.store(signo, std::memory_order_release);

  // A zero would disarm it instead.
  const int rescue = std::max(1, sRescueMs.load(std::memory_order_relaxed));
  const itimerval when = {Milliseconds(kCrashDeadlineMs - kCrashRescueMs), Milliseconds(rescue)};
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

void SetCrashRescue(bool (*rescue)()) { sRescue.store(rescue); }

void SetCrashRescueTimeForTesting(int milliseconds) {
  sRescueMs.store(milliseconds, std::memory_order_relaxed);
}

}  // namespace CrashHandler::machine
