// A deadline by the process's real-time interval timer, of which every process has one, whatever
// its limits are. It is the host's: its alarm, with the time that was left of it, its action and
// the thread's mask come back with the stop.
//
// Everything here may run in a signal handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_ALARM_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_ALARM_H_

namespace CrashHandler::machine {

// The times of crash_deadline.h, the signal of crash_end.h. The signal comes to any thread; the
// rescue is tried on the calling one. False when there is no such timer.
bool StartCrashAlarm();

// Without an alarm it does nothing.
void StopCrashAlarm();

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_ALARM_H_
