// Where the system has no Mach exceptions, faults reach the signal handlers directly.
#include "media_core/biz_engine/crash_handler/darwin/mach_exception_handler.h"

namespace CrashHandler {

void InitOruRTCMachExceptionHandler() {}

void ReleaseOruRTCMachExceptionHandler() {}

}  // namespace CrashHandler
