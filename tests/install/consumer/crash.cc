// Installs crash capture into the folder named by the first argument, and crashes.
#include "media_core/biz_engine/crash_handler/crash_handler_proxy.h"

// The word in its name is what makes the crash the SDK's.
extern "C" [[gnu::noinline]] void OruRTCConsumerCrash(volatile int* nothing) { *nothing = 1; }

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  auto* handler = CrashHandler::CrashHandlerProxy::CreateCrashHandler();
  CrashHandler::CrashTraceInfo who{"consumer", "session-1", "6.1.0", "installed"};
  handler->SetTraceInfo(who);
  handler->SetCrashDumpDirPath(argv[1]);
  handler->InstallCrashHandler();
  CrashHandler::PrintLog(CrashHandler::kCrashLogInfo, "consumer", __FILE__, __LINE__, "ready");
  OruRTCConsumerCrash(nullptr);
}
