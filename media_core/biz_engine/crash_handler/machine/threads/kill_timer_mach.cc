// The system has no timer that kills; its interval timer raises a signal that somebody may wait
// for, and goes on in the program that the process becomes.
#include "media_core/biz_engine/crash_handler/machine/threads/kill_timer.h"

namespace CrashHandler::machine {

bool StartKillTimer(int /*milliseconds*/) { return false; }

void StopKillTimer() {}

}  // namespace CrashHandler::machine
