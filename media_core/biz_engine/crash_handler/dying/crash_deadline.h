// A bound on the time that handling a crash may take.
//
// Handling a crash allocates, takes locks and calls the host; the crash may have left all of that
// unusable. When the deadline passes, the process ends by the crash's own signal, as if the signal
// had never been caught (crash_end.h). The kernel's timer does it: no thread is added and no lock
// or allocation is needed, so it works when every other thread is frozen.
//
// Everything here may run in a signal handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_DEADLINE_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_DEADLINE_H_

namespace CrashHandler::machine {

// The time for the ordinary way, and the time for everything: with what ending the process takes
// (releasing memory, writing a core file), below 10 seconds.
constexpr int kCrashRescueMs = 6000;
constexpr int kCrashDeadlineMs = 8000;

// Starts the deadline: unless StopCrashDeadline comes first, the process ends by `signo` (its
// default action). When the time for the ordinary way is over, the rescue is tried on the calling
// thread, wherever that is then; if it says so, the process ends at once. Else it ends when all the
// time is over, on whichever thread the timer reaches. One deadline runs at a time, started and
// stopped on one thread; a second start replaces the first. The calling thread accepts the timer's
// signal until the stop. Should every thread block that signal, the process is killed a second
// later (Linux). Where there are no timers to be had, the process's alarm stands in for them. False
// when there is none either: the time is unbounded then.
bool StartCrashDeadline(int signo);

// What a rescue is, or null for none: the process then ends when the first time is over.
void SetCrashRescue(bool (*rescue)());

// Stops the deadline and leaves timers, signal actions and the thread's mask as they were found.
// Without a deadline it does nothing.
void StopCrashDeadline();

// The time for the ordinary way, in milliseconds, of deadlines started from now on.
void SetCrashRescueTimeForTesting(int milliseconds);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_DEADLINE_H_
