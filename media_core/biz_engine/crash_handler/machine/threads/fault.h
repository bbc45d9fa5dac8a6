// What a signal handler is told of why its signal came.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_FAULT_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_FAULT_H_

#include <signal.h>

#include <cstdint>

#include "media_core/biz_engine/crash_handler/machine/threads/exception_class.h"

namespace CrashHandler::machine {

// Whether the processor raised the signal at an instruction that is repeated after the handler;
// false for traps, which go on behind the instruction, and for signals that were raised or sent.
// The arguments are a handler's own; null `info` or `context` is no fault. Async-signal-safe.
bool IsFault(int signo, const siginfo_t* info, const void* context);

// Whether the process ends by the signal, with no handler but crash capture's: a fault or an abort.
// Others were only raised or sent, and may be survived. Arguments and safety as above.
bool IsFatal(int signo, const siginfo_t* info, const void* context);

// Whether the interrupted instruction itself raised the signal, as a fault or as a trap; false for
// signals that were raised or sent. Arguments and safety as above.
bool IsOfInstruction(int signo, const siginfo_t* info, const void* context);

// What a fault (see IsFault) was doing with memory; unknown for what is none. Arguments and safety
// as above.
FaultAccess AccessOfFault(int signo, const siginfo_t* info, const void* context);

// The address that the signal is about: that of the memory that could not be accessed, or of the
// instruction. False where there is none: for a signal that was raised or sent, for an address that
// the processor does not tell. Arguments and safety as above.
bool AddressOfFault(int signo, const siginfo_t* info, const void* context, uint64_t* address);

// Whether a fault whose signal the thread blocks ends the process at once. Where it does not, the
// instruction faults again for ever.
bool BlockedFaultEnds();

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_FAULT_H_
