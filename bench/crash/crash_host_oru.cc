#include "bench/crash/crash_host.h"
#include "media_core/biz_engine/crash_handler/crash_handler_proxy.h"

void InstallCapture(const char* /*program*/, const char* dump_dir) {
  auto* const handler = CrashHandler::CrashHandlerProxy::CreateCrashHandler();
  handler->SetCrashDumpDirPath(dump_dir);
  handler->InstallCrashHandler();
}
