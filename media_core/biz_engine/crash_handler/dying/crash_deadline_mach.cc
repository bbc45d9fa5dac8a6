// The system has one real-time timer a process, and no other that works in a frozen one.
#include "media_core/biz_engine/crash_handler/dying/crash_alarm.h"
#include "media_core/biz_engine/crash_handler/dying/crash_deadline.h"
#include "media_core/biz_engine/crash_handler/dying/crash_end.h"

namespace CrashHandler::machine {

bool StartCrashDeadline(int signo) {
  StopCrashDeadline();
  SetCrashEnd(signo);
  if (StartCrashAlarm()) return true;
  StopCrashDeadline();
  return false;
}

void StopCrashDeadline() {
  SetCrashEnd(0);
  StopCrashAlarm();
}

}  // namespace CrashHandler::machine
