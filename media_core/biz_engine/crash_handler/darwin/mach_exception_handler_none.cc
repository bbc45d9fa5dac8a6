// For systems without Mach exceptions: the signal path is all there is.
#include "media_core/biz_engine/crash_handler/darwin/mach_exception_handler.h"

namespace CrashHandler {

void InitOruRTCMachExceptionHandler() {}

void ReleaseOruRTCMachExceptionHandler() {}

}  // namespace CrashHandler
