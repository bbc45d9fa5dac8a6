// The same program and libraries as with capture, which is made and not installed: what the end of
// such a process costs the system.
#include "bench/crash/crash_host.h"
#include "media_core/biz_engine/crash_handler/crash_handler_proxy.h"

void InstallCapture(const char* /*program*/, const char* dump_dir) {
  auto* const handler = CrashHandler::CrashHandlerProxy::CreateCrashHandler();
  handler->SetCrashDumpDirPath(dump_dir);
}
