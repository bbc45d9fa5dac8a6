#include "media_core/biz_engine/crash_handler/dying/crash_alarm.h"

#include <pthread.h>
#include <signal.h>
#include <sys/time.h>

#include <atomic>
#include <cerrno>

#include "media_core/biz_engine/crash_handler/dying/crash_deadline.h"
#include "media_core/biz_engine/crash_handler/dying/crash_end.h"
#include "media_core/biz_engine/crash_handler/machine/threads/borrowed_signal.h"

namespace CrashHandler::machine {
namespace {

constexpr int kAlarmSignal = SIGALRM;

// The starting thread, and what has come of its rescue.
pthread_t sThread;
std::atomic<bool> sRescueAsked{false};
std::atomic<bool> sRescueTried{false};
BorrowedSignal sAlarmSignal;
itimerval sPreviousTimer;

// Whether it is the end. The timer comes twice, to any thread; the rescue is the starting one's.
bool IsOver() {
  if (pthread_equal(pthread_self(), sThread) == 0) {
    if (sRescueTried || sRescueAsked.exchange(true)) return true;
    return pthread_kill(sThread, kAlarmSignal) != 0;
  }
  return sRescueTried.exchange(true) || RescueCrash();
}

void OnAlarm(int /*signo*/) {
  const int saved_errno = errno;
  const int original = CrashEnd();
  if (original != 0 && IsOver()) EndBy(original);
  errno = saved_errno;
}

timeval Milliseconds(int count) { return {count / 1000, (count % 1000) * 1000}; }

}  // namespace

bool StartCrashAlarm() {
  struct sigaction action = {};
  action.sa_handler = OnAlarm;
  // The end must come through while the rescue is tried.
  action.sa_flags = SA_NODEFER | SA_ONSTACK | SA_RESTART;
  sAlarmSignal.Take(kAlarmSignal, action);
  sThread = pthread_self();
  sRescueAsked = false;
  sRescueTried = false;

  const itimerval when = {Milliseconds(kCrashDeadlineMs - kCrashRescueMs),
                          Milliseconds(CrashRescueTimeMs())};
  if (setitimer(ITIMER_REAL, &when, &sPreviousTimer) == 0) return true;
  sAlarmSignal.GiveBack();
  return false;
}

void StopCrashAlarm() {
  if (!sAlarmSignal.is_taken()) return;
  const itimerval none = {};
  setitimer(ITIMER_REAL, &none, nullptr);
  sAlarmSignal.GiveBack();
  setitimer(ITIMER_REAL, &sPreviousTimer, nullptr);
  sPreviousTimer = none;
}

}  // namespace CrashHandler::machine
