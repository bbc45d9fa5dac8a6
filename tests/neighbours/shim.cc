// Crash capture for programs that load libraries and call functions of C.
#include "media_core/biz_engine/crash_handler/crash_handler_proxy.h"

extern "C" {

__attribute__((visibility("default"))) void InstallCrashCapture(const char* dump_dir) {
  CrashHandler::CrashHandlerProxy* const handler =
      CrashHandler::CrashHandlerProxy::CreateCrashHandler();
  handler->SetCrashDumpDirPath(dump_dir);
  CrashHandler::CrashTraceInfo info{"A", "S", "1.0", nullptr};
  handler->SetTraceInfo(info);
  handler->InstallCrashHandler();
}

__attribute__((visibility("default"), noinline, disable_tail_calls)) int OruRTCNeighbourDeed() {
  *static_cast<int volatile*>(nullptr) = 1;
  return 1;
}
}
