// The platform-independent half of the crash handler: settings, identity, dump directory, callback.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_CRASH_HANDLER_PROXY_IMPL_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_CRASH_HANDLER_PROXY_IMPL_H_

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

#include "media_core/biz_engine/crash_handler/crash_handler_proxy.h"
#include "media_core/biz_engine/crash_handler/crash_settings.h"

namespace CrashHandler {

// First word of a report's file name. A copy in every file that includes this, so that it is made
// before that file's own statics.
static const std::string CrashDumpFilePrxfix = "Crash";

// The order of the virtual functions is part of the binary interface.
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

  // The identity, of this moment; nobody is waited for.
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

  const PublishedSettings& settings() const { return settings_; }

 protected:
  ~CrashHandlerProxyImpl();

 private:
  PublishedSettings settings_;
  // What GetCrashDumpDirPath gave last: its callers may go on reading it until the next call.
  std::atomic<const std::string*> given_dump_dir_{nullptr};
  CrashHandlerConfig config;
  CrashTraceInfo traceInfo;  // never written
  std::recursive_mutex callbackMutex;
  void (*crashCallback)(void*, CrashType) = nullptr;  // guarded by callbackMutex

 protected:
  // Nothing uses these two; the flags of the derived class keep their place behind them.
  bool attached = false;
  std::shared_ptr<void> attachedOwner;
};

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_CRASH_HANDLER_PROXY_IMPL_H_
