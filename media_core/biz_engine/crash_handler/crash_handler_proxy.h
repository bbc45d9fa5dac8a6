// The public face of crash capture: what a host application programs against.
//
//   using namespace CrashHandler;
//   CrashHandlerProxy* handler = CrashHandlerProxy::CreateCrashHandler();
//   CrashTraceInfo info{"my-app", nullptr, "6.1.0", "build 42"};
//   handler->SetTraceInfo(info);
//   handler->SetCrashDumpDirPath("/var/tmp/my-app-crashes");
//   handler->InstallCrashHandler();
//
// A crash then leaves one report in the folder of the SDK version below the dump directory.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_CRASH_HANDLER_PROXY_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_CRASH_HANDLER_PROXY_H_

#include "media_core/biz_engine/crash_handler/tools/crash_handler_utils.h"

#pragma GCC visibility push(default)

namespace CrashHandler {

// Four one-byte switches; passed and returned by value.
struct CrashHandlerConfig {
  // The module's own log lines also go to standard output.
  bool outputLogToConsole = false;
  // Carried and returned; nothing reads them.
  bool reservedFlag1 = true;
  bool reservedFlag2 = true;
  // InstallCrashHandler installs the Mach exception handler too (macOS).
  bool enableMachExceptionHandler = true;
};

// Who is running. Each string may be null and stays the caller's.
struct CrashTraceInfo {
  // Parts of a report's file name.
  const char* appId = nullptr;
  const char* sessionId = nullptr;
  // Everything from the first "-" on is dropped when stored.
  const char* sdkVersion = nullptr;
  // Free text for every report.
  const char* extraInfo = nullptr;
};

// The process's crash handler. Configure it, then install it, on one thread; settings may change
// later too, and a report takes the values of the moment of the crash. Only the identity, the dump
// directory and the callback may be set while another thread, or a report, reads them.
class CrashHandlerProxy {
 public:
  // The process's one handler, made on first use with default settings; never null. It stays the
  // module's: give it back with DestroyCrashHandler. Thread-safe.
  static CrashHandlerProxy* CreateCrashHandler();
  // Destroys the one handler, whichever non-null pointer is passed; nothing happens for null. The
  // hooks are not removed: call UnInstallCrashHandler first. Thread-safe against
  // CreateCrashHandler, but every pointer handed out before is dead afterwards.
  static void DestroyCrashHandler(CrashHandlerProxy* handler);
  // The path HOME/Library/Caches/Oru_RTC_Crash/ after the first call. Each further call appends the
  // same path to the text once more, so only the first result is usable. HOME must be set. The
  // pointer is valid until the next call. Not thread-safe.
  static const char* GetDefaultCrashDumpDir();

  // Installs the hooks: uncaught Objective-C exceptions, eight fatal signals, failed `operator new`
  // and, on macOS when configured, Mach exceptions. Does nothing when they are installed. Always
  // true: what could not be installed is logged.
  virtual bool InstallCrashHandler() = 0;
  // Puts the hooks found at installation back. Where no exception handler or new-handler was found,
  // the module's own stays. Always true. Call it only after an installation: the signals' actions
  // are put back as saved, and what was never saved is the default action.
  virtual bool UnInstallCrashHandler() = 0;
  // Copies `config`; the console switch works at once, for the whole module.
  virtual void UpdateCrashHandlerConfig(CrashHandlerConfig& config) = 0;
  // A copy of the configuration.
  virtual CrashHandlerConfig GetCrashHandlerConfig() = 0;
  // Where reports go; copied, neither checked nor created here. Not null. A relative path counts
  // from the working directory of whoever asks for it, at a crash that of the crash. Thread-safe.
  virtual void SetCrashDumpDirPath(const char* path) = 0;
  // The directory set, created (one level) when it is not there; when that fails, or none was set,
  // HOME/Library/Caches/Oru_RTC_Crash/, which is then kept. HOME must be set in that case. Anything
  // writable at the path counts as present, a file too. Valid until the next call of this or of the
  // setter. Thread-safe.
  virtual const char* GetCrashDumpDirPath() = 0;
  // Copies the fields that are not null; the others keep their value.
  virtual void SetTraceInfo(CrashTraceInfo& info) = 0;
  // Four null pointers, always.
  virtual CrashTraceInfo GetTraceInfo() = 0;
  // Called at a crash, before the report is written, with this object and the kind; null clears.
  // The kind is always `Exception`, whatever happened. It runs on the crashing thread, in signal
  // context for signals, and may call the setter itself. Thread-safe.
  virtual void SetCrashHandlerCallback(void (*callback)(void* handler, CrashType type)) = 0;
  // Where the module's own log lines go, for the whole process; null clears. The sink runs in
  // signal context too. The message is valid, and may be changed, during the call.
  virtual void SetDebugLogSinkCallback(void (*sink)(CrashHandlerLogLevel level, const char* tag,
                                                    const char* file, int line, char* message)) = 0;

 protected:
  CrashHandlerProxy() = default;
  // Not virtual: the handler is destroyed by DestroyCrashHandler alone.
  ~CrashHandlerProxy() = default;
};

}  // namespace CrashHandler

#pragma GCC visibility pop

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_CRASH_HANDLER_PROXY_H_
