// The crash handler of this platform: the facade with its installation.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_CRASH_HANDLER_DARWIN_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_CRASH_HANDLER_DARWIN_H_

#include "media_core/biz_engine/crash_handler/crash_handler_proxy_impl.h"

namespace CrashHandler {

// Hosts reach it through CrashHandlerProxy::CreateCrashHandler.
class DarwinCrashHandler final : public CrashHandlerProxyImpl {
 public:
  // The one instance, made on first use. Not locked: CreateCrashHandler is.
  static DarwinCrashHandler* GetInstance();
  // Destroys the one instance, if there is one. The hooks stay as they are.
  static void Release();

  bool InstallCrashHandler() override;
  bool UnInstallCrashHandler() override;

  bool IsInstalled() const { return installed_; }
  // For who has given the hooks back himself.
  void ForgetInstallation() { installed_ = false; }

  // Whether a crash was handled in this process; only the first is reported. Handlers set it while
  // they have the crash (crash_state.h), which orders them.
  bool IsCrashed() const { return crashed_; }
  void SetCrashed(bool crashed) { crashed_ = crashed; }

 private:
  DarwinCrashHandler() = default;
  ~DarwinCrashHandler() = default;

  bool crashed_ = false;
  bool installed_ = false;
};

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_CRASH_HANDLER_DARWIN_H_
