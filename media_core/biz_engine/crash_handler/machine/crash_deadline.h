// A bound on the time that handling a crash may take.
//
// Handling a crash allocates, takes locks and calls the host; the crash may have left all of that
// unusable. When the deadline passes, the process ends by the crash's own signal, as if the signal
// had never been caught. The kernel's timer does it: no thread is added and no lock or allocation
// is needed, so it works when every other thread is frozen.
//
// Everything here may run in a signal handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_CRASH_DEADLINE_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_CRASH_DEADLINE_H_

namespace CrashHandler::machine {

// With what ending the process takes (releasing memory, writing a core file), below 10 seconds.
constexpr int kCrashDeadlineMs = 8000;

// Starts the deadline: unless StopCrashDeadline comes first, the process ends by `signo` (its
// default action, on whichever thread the timer reaches). One deadline runs at a time, started and
// stopped on one thread; a second start replaces the first. The calling thread accepts the timer's
// signal until the stop. Should every thread block that signal, the process is killed a second
// later (Linux). False when the system gives no timer: the time is unbounded then.
bool StartCrashDeadline(int signo);

// Stops the deadline and leaves timers, signal actions and the thread's mask as they were found.
// Without a deadline it does nothing.
void StopCrashDeadline();

// The length of the deadlines started from now on, in milliseconds.
void SetCrashDeadlineForTesting(int milliseconds);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_CRASH_DEADLINE_H_
