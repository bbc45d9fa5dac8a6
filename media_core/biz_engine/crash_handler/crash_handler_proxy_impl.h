// The platform-independent half of the crash handler: settings, identity, dump directory, callback.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_CRASH_HANDLER_PROXY_IMPL_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_CRASH_HANDLER_PROXY_IMPL_H_

#include <memory>
#include <mutex>
#include <string>

#include "media_core/biz_engine/crash_handler/crash_handler_proxy.h"
#include "media_core/biz_engine/crash_handler/report/plain_report.h"

namespace CrashHandler {

// First word of a report's file name. A copy in every file that includes this, so that it is made
// before that file's own statics.
static const std::string CrashDumpFilePrxfix = "Crash";

// The order of the virtual functions and of the members is part of the binary interface.
class CrashHandlerProxyImpl : public CrashHandlerProxy {
 public:
  // "Unknown-App", "1.0.dev", no extra info, and a session id of 8 random characters; processes
  // that start in the same second may have the same.
  CrashHandlerProxyImpl();
  CrashHandlerProxyImpl(const CrashHandlerProxyImpl&) = delete;
  CrashHandlerProxyImpl& operator=(const CrashHandlerProxyImpl&) = delete;

  void UpdateCrashHandlerConfig(CrashHandlerConfig& settings) override;
  CrashHandlerConfig GetCrashHandlerConfig() override;
  void SetCrashDumpDirPath(const char* path) override;
  const char* GetCrashDumpDirPath() override;
  void SetTraceInfo(CrashTraceInfo& info) override;
  CrashTraceInfo GetTraceInfo() override;
  void SetCrashHandlerCallback(void (*callback)(void* handler, CrashType type)) override;
  void SetDebugLogSinkCallback(void (*sink)(CrashHandlerLogLevel level, const char* tag,
                                            const char* file, int line, char* message)) override;

  // The identity.
  virtual std::string GetAppId();
  virtual std::string GetSessionId();
  virtual std::string GetSDKVersion();
  virtual std::string GetExtraInfo();
  // Calls the callback, if there is one, with this object and always with `Exception`. The lock it
  // holds meanwhile is recursive: the callback may set another callback.
  virtual void TrigerCrashHanlerCallback(CrashType type);

  // What GetCrashDumpDirPath gives, for a report, while another thread may set another one. Not
  // virtual: the slots are fixed.
  std::string CopyCrashDumpDirPath();

  // Writes a plain report of the crash with the settings of this moment. They are read where they
  // lie: it may run in a signal handler, with the allocator's lock held by anyone.
  bool WritePlainReportOf(PlainCrash crash, PlainPath path);

 protected:
  ~CrashHandlerProxyImpl() = default;

 private:
  // With dirMutex held, or waited for long enough.
  const char* ResolveCrashDumpDirPath();

  std::string crashDumpDirPath;  // guarded by dirMutex
  CrashHandlerConfig config;
  CrashTraceInfo traceInfo;  // never written
  std::recursive_mutex callbackMutex;
  std::recursive_mutex dirMutex;
  void (*crashCallback)(void*, CrashType) = nullptr;  // guarded by callbackMutex
  std::string appId = "Unknown-App";
  std::string sessionId;
  std::string sdkVersion = "1.0.dev";
  std::string extraInfo;

 protected:
  // Nothing uses these two; the flags of the derived class keep their place behind them.
  bool attached = false;
  std::shared_ptr<void> attachedOwner;
};

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_CRASH_HANDLER_PROXY_IMPL_H_
