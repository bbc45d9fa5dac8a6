// The bounds of thread_capture.h, in threads and milliseconds.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_CAPTURE_LIMITS_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_CAPTURE_LIMITS_H_

#include <cstddef>

namespace CrashHandler::machine {

constexpr size_t kCaptureGroup = 512;
constexpr int kCaptureQuietMs = 250;
constexpr int kCaptureLimitMs = 2000;
constexpr int kHoldLimitMs = 3000;
// For all threads together that run and cannot be asked, perhaps for a moment only: on a busy
// machine a moment waits for a processor.
constexpr int kCapturePatienceMs = 500;

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_CAPTURE_LIMITS_H_
