// How many frames are kept of a stack.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_UNWIND_FRAME_LIMITS_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_UNWIND_FRAME_LIMITS_H_

#include <cstddef>

namespace CrashHandler::machine {

// Of a thread, for the texts of threads.
constexpr size_t kMaxThreadFrames = 50;
// Of the thread that crashed.
constexpr size_t kMaxCrashFrames = 128;

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_UNWIND_FRAME_LIMITS_H_
