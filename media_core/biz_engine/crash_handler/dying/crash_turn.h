// One crash at a time: which thread handles a crash, and what the others do meanwhile.
//
// A crash takes the turn, and with it a deadline (machine/crash_deadline.h). Crashes that come
// while the turn is taken, or after a crash was handled, are only logged by their handlers.
// Returning from such a handler must neither repeat a hardware fault for ever nor end the process
// under the feet of the thread that still writes the report; LeaveToEarlierCrash sees to both. A
// child that was forked meanwhile has no such thread: nothing there waits for it.
//
// Everything here may run in a signal handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_TURN_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_TURN_H_

#include <signal.h>

namespace CrashHandler {

// Takes the turn for the calling thread and starts the deadline: when the turn's report is not done
// in time, the process ends by `signo`. False when a thread (this one too) has the turn.
bool TakeCrashTurn(int signo);

// For a handler that was refused the turn, before anything else: a fault or an abort in the turn's
// own thread means that its report cannot be made in the ordinary way (crash_rescue.h). `info` and
// `context` are the signal handler's, null for what is no signal.
void RescueOwnReport(int signo, const siginfo_t* info, const void* context);

// Whether a crash is being handled, by any thread of this process.
bool IsCrashTurnTaken();

// The report is written and what follows is the host's (its older handlers may take their time or
// jump out): stops the deadline, keeps the turn.
void EndCrashDeadline();

// Ends the process by the signal of the crash, if it is this thread's and its report is under way.
void EndByOwnCrash();

// Gives the turn back; the deadline is stopped too.
void GiveCrashTurnBack();

// For a handler that was refused the turn, or found that a crash was handled before, and has logged
// that. The arguments are the signal handler's; `info` and `context` are null for what is no signal
// (then `signo` says how the process ends when the handler returns).
//  - A fault in the turn's own thread, or after the turn is over, would recur for ever: its signal
//    gets the default action, so that returning ends the process by it.
//  - A fault or an abort while another thread has the turn waits for that thread, within the
//    deadline, and then goes its way.
//  - A signal that was only raised or sent returns at once.
void LeaveToEarlierCrash(int signo, const siginfo_t* info, const void* context);

// The same for a failed allocation, which `operator new` repeats while the handler returns: it
// waits for another thread's report. True when the
// refusals have come so often (each is slowed down) that the caller should get out of the way.
bool RefuseFailedAllocation();

// For a thread that is about to end the process by an exit: returns at once unless another thread's
// report is under way. Else waits for that, within the deadline, and for the end that may follow.
void AwaitReportElsewhere();

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_TURN_H_
