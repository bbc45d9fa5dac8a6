// An end that needs neither a thread nor a signal's handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_KILL_TIMER_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_KILL_TIMER_H_

namespace CrashHandler::machine {

// The kernel kills the process (SIGKILL) after that time, unless StopKillTimer comes first or the
// process becomes another program. One timer at a time, started and stopped on one thread. False
// where the system has none: macOS, and a user whose processes have used up their pending signals.
// May run in a signal handler.
bool StartKillTimer(int milliseconds);
void StopKillTimer();

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_KILL_TIMER_H_
