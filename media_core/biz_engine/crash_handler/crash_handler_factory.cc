// Which crash handler a process has: the static members of the facade.
#include <cstdlib>
#include <mutex>
#include <string>

#include "media_core/biz_engine/crash_handler/crash_handler_proxy.h"
#include "media_core/biz_engine/crash_handler/darwin/crash_handler_darwin.h"
#include "media_core/biz_engine/crash_handler/report/report_words.h"

namespace CrashHandler {
namespace {

CrashHandlerProxy* sCrashHandlerInstance = nullptr;
std::mutex sCrashHandlerInstanceMtx;
std::string sDefaultCrashDumpDir;

}  // namespace

CrashHandlerProxy* CrashHandlerProxy::CreateCrashHandler() {
  // The pointer is published under the lock; an atomic read spares the lock afterwards.
  if (auto* instance = __atomic_load_n(&sCrashHandlerInstance, __ATOMIC_ACQUIRE)) return instance;
  const std::lock_guard<std::mutex> lock(sCrashHandlerInstanceMtx);
  if (sCrashHandlerInstance == nullptr) {
    CrashHandlerProxy* instance = DarwinCrashHandler::GetInstance();
    __atomic_store_n(&sCrashHandlerInstance, instance, __ATOMIC_RELEASE);
  }
  return sCrashHandlerInstance;
}

void CrashHandlerProxy::DestroyCrashHandler(CrashHandlerProxy* handler) {
  if (handler == nullptr) return;
  const std::lock_guard<std::mutex> lock(sCrashHandlerInstanceMtx);
  DarwinCrashHandler::Release();
  __atomic_store_n(&sCrashHandlerInstance, nullptr, __ATOMIC_RELEASE);
}

const char* CrashHandlerProxy::GetDefaultCrashDumpDir() {
  sDefaultCrashDumpDir.append(DefaultDumpDir());
  return sDefaultCrashDumpDir.c_str();
}

}  // namespace CrashHandler
