// The crash module's log lines. Macros, because every line carries the place it was written at.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_CRASH_LOG_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_CRASH_LOG_H_

#include "media_core/biz_engine/crash_handler/tools/crash_handler_utils.h"

#define ORU_CRASH_LOG(level, ...) \
  ::CrashHandler::PrintLog(level, "Crash_Handler", __FILE__, __LINE__, __VA_ARGS__)
#define ORU_CRASH_LOG_PROGRESS(...) ORU_CRASH_LOG(::CrashHandler::kCrashLogInfo, __VA_ARGS__)
#define ORU_CRASH_LOG_PROBLEM(...) ORU_CRASH_LOG(::CrashHandler::kCrashLogError, __VA_ARGS__)

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_CRASH_LOG_H_
