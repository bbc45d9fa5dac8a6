// How a process ends when a crash's time is over: what the timers of the platforms have in common.
// For the deadline's own sources; EndBy is for every crash. Everything here may run in a signal
// handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_END_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_END_H_

namespace CrashHandler::machine {

// The signal that the process ends by; 0 while no deadline runs.
void SetCrashEnd(int signo);
int CrashEnd();

// The time for the ordinary way, at least 1: for a timer 0 is none at all.
int CrashRescueTimeMs();

// Tries the rescue on the calling thread. True when the process should end now.
bool RescueCrash();

// Ends the process as the signal would without a handler. Where its default action does nothing
// (the first process of a container has none) the process exits with the status that shells show
// for such an end, 128 and the signal's number.
void EndBy(int signo);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_END_H_
