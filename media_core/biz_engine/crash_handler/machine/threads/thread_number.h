#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_THREAD_NUMBER_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_THREAD_NUMBER_H_

#include <cstdint>

namespace CrashHandler::machine {

// The Mach port name on macOS, the kernel's thread id on Linux.
using ThreadNumber = uint32_t;

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_THREAD_NUMBER_H_
