// Handling a crash on a stack of the module's own: of the stack that a signal has interrupted, or
// of the alternate one that somebody else made for his handlers, there may be next to nothing left,
// and nothing below that would stop an overrun.
//
// Everything here may run in a signal handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_STACK_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_STACK_H_

namespace CrashHandler {

// Runs a signal handler's work on a stack from crash_reserve.h: that for crashes, or, while another
// thread has it, that for refusals, on which `argument` is handled while others wait for it. Runs
// it where it is when that is such a stack, when there are none, or when none gets free within the
// time that a crash has. `run` must return, or end the process.
//
// Signals meanwhile: all are blocked while the stacks change. `run` starts with the mask that the
// thread had at the call, but with every signal of a fault open, so that a fault of its own comes
// to the handler: where the thread had such a signal blocked, the system would end the process on
// the spot or let the instruction fault for ever. A fault there is handled on a stack of its own,
// the thread's alternate stack being the module's for the time.
void RunOnCrashStack(void (*run)(void* argument), void* argument);

// The frames of the calling function's stack, from the caller of RunOnCrashStack on (or from the
// calling function, where there is none): what `backtrace` gives, and where the stack is too
// damaged for that, what can be read. Writes at most `room` addresses.
int CaptureCrashFrames(void** frames, int room);

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_STACK_H_
