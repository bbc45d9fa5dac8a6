// The registers of the code that a signal interrupted.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_CONTEXT_REGISTERS_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_CONTEXT_REGISTERS_H_

#include "media_core/biz_engine/crash_handler/machine/threads/registers.h"

namespace CrashHandler::machine {

// `context` is a signal handler's third argument, not null. Async-signal-safe.
Registers RegistersOfContext(const void* context);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_CONTEXT_REGISTERS_H_
