#include <signal.h>
#include <sys/syscall.h>
#include <time.h>

#include "media_core/biz_engine/crash_handler/machine/memory/system_call_linux.h"
#include "media_core/biz_engine/crash_handler/machine/threads/kill_timer.h"

namespace CrashHandler::machine {
namespace {

// The kernel's own number; the C library's timers allocate.
constexpr int kNoTimer = -1;
int sTimer = kNoTimer;

}  // namespace

bool StartKillTimer(int milliseconds) {
  sigevent event = {};
  event.sigev_notify = SIGEV_SIGNAL;
  event.sigev_signo = SIGKILL;
  int timer = kNoTimer;
  if (SystemCall(SYS_timer_create, CLOCK_MONOTONIC, &event, &timer) != 0) return false;
  itimerspec when = {};
  when.it_value.tv_sec = milliseconds / 1000;
  when.it_value.tv_nsec = (milliseconds % 1000) * 1000000L;
  SystemCall(SYS_timer_settime, timer, 0, &when, 0);
  sTimer = timer;
  return true;
}

void StopKillTimer() {
  if (sTimer != kNoTimer) SystemCall(SYS_timer_delete, sTimer);
  sTimer = kNoTimer;
}

}  // namespace CrashHandler::machine
