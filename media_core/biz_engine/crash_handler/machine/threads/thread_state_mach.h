// The kernel's record of a thread's registers, whose form is the processor's own. For macOS only.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_THREAD_STATE_MACH_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_THREAD_STATE_MACH_H_

#include <mach/mach.h>

#include "media_core/biz_engine/crash_handler/machine/threads/exception_class.h"
#include "media_core/biz_engine/crash_handler/machine/threads/registers.h"

namespace CrashHandler::machine {

// Asks the kernel for the registers of a thread. False when it does not give them.
bool ReadThreadState(thread_act_t thread, Registers* registers);

// The registers in a signal handler's context. `machine_context` is the platform's mcontext_t.
Registers RegistersOfMachineContext(const void* machine_context);

// Whether the instruction that brought the thread of a signal handler's context into the kernel is
// repeated after the handler. `machine_context` is the platform's mcontext_t.
bool LastEntryRepeats(const void* machine_context);

// Whether it trapped, and goes on behind itself.
bool LastEntryTraps(const void* machine_context);

// What that instruction was doing with memory.
FaultAccess LastEntryAccess(const void* machine_context);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_THREAD_STATE_MACH_H_
