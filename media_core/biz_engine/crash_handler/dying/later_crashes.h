// What becomes of crashes and exits that come while a crash is handled, or after one was.
//
// Returning from such a crash's hook must neither repeat a hardware fault for ever nor end the
// process under the feet of the thread that still writes the report. An exit would take the report
// and the crash's signal with it, and look as if the process had ended well.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_LATER_CRASHES_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_LATER_CRASHES_H_

#include <signal.h>

namespace CrashHandler {

// For a hook that was refused the crash, before anything else: a fault or an abort in the crash's
// own thread means that its report cannot be made in the ordinary way, and has it rescued. `info`
// and `context` are the signal handler's, null for what is no signal. May run in a signal handler.
void RescueOwnReport(int signo, const siginfo_t* info, const void* context);

// For a hook that was refused the crash, or found that one was handled before, and has logged that.
// A fault in the crash's own thread, or after the crash is over, would recur for ever: its signal
// gets the default action, so that returning ends the process by it. A fault or an abort while
// another thread has the crash waits for that thread, within the deadline, and then goes its way. A
// signal that was only raised or sent returns at once. May run in a signal handler, on what little
// stack there is.
void LeaveToEarlierCrash(int signo, const siginfo_t* info, const void* context);

// The same for a failed allocation, which `operator new` repeats while the handler returns: it
// waits for another thread's report. True when the refusals have come so often (each is slowed
// down) that the caller should get out of the way.
bool RefuseFailedAllocation();

// From now on `exit` and a return from `main` wait for another thread's report, twice: before what
// the process registered or made earlier is torn down, and when all of that is gone, as the
// teardown is what many a thread crashes from. Once a process is enough; more is the same. For
// installation.
void HoldExitDuringCrash();

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_LATER_CRASHES_H_
