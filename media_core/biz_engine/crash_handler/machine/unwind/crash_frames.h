// The stack of the thread that crashed: the frames of the signal's handler, then the interrupted
// code.
//
// May run in a signal handler: no heap, no locks, no direct reads of the walked memory.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_UNWIND_CRASH_FRAMES_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_UNWIND_CRASH_FRAMES_H_

#include <cstddef>

namespace CrashHandler::machine {

// The frames of the code that a signal interrupted, innermost first: its instruction pointer, then
// return addresses up to and with the outermost one. `context` is the handler's third argument, not
// null. Writes at most `room` addresses (kMaxCrashFrames at most) and returns how many.
size_t WalkFromContext(const void* context, void** frames, size_t room);

// Completes what `backtrace` gave a signal's handler. The system's function may give nothing where
// the handler has a stack of its own (macOS), leave out the function that was interrupted, or end
// in a foreign handler that called ours. Where the interrupted instruction is not among the `count`
// frames, those of the handler are kept and the interrupted code's follow (WalkFromContext);
// without any frame the caller of this function is the first. `frames` has room for `room`
// addresses (kMaxCrashFrames at most); returns how many there are now. A null `context` changes
// nothing.
size_t CompleteCrashFrames(const void* context, void** frames, size_t count, size_t room);

// The instruction that the signal interrupted; null for a null context.
const void* InterruptedAt(const void* context);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_UNWIND_CRASH_FRAMES_H_
