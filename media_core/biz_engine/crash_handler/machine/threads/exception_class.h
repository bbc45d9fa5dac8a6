// What the processors' own words for an exception mean. Numbers in, facts out, for every processor
// on every other. Async-signal-safe.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_EXCEPTION_CLASS_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_EXCEPTION_CLASS_H_

#include <cstdint>

namespace CrashHandler::machine {

// Whether an instruction that came into the kernel this way is repeated after a signal handler.
// False for traps, which go on behind the instruction, for system calls and interrupts.

// x86_64, by the exception's vector.
bool VectorRepeats(unsigned vector);

// arm64, by the exception syndrome register (ESR_EL1).
bool SyndromeRepeats(uint32_t syndrome);

// Whether it was a trap of the instruction's: a breakpoint that goes on behind it, a debugger's
// single step or watchpoint.
bool VectorTraps(unsigned vector);
bool SyndromeTraps(uint32_t syndrome);

// What an instruction was doing with memory when it faulted.
enum class FaultAccess : unsigned char { kUnknown, kRead, kWrite, kExecute };

// x86_64, by the vector and the error code that comes with it: of page faults; others do not tell.
FaultAccess AccessOfVector(unsigned vector, uint64_t error_code);

// arm64: of aborts of data and instructions.
FaultAccess AccessOfSyndrome(uint32_t syndrome);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_EXCEPTION_CLASS_H_
