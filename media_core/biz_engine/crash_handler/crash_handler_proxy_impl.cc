#include "media_core/biz_engine/crash_handler/crash_handler_proxy_impl.h"

#include <cstdint>
#include <cstdlib>

#include "media_core/biz_engine/crash_handler/darwin/crash_handler_darwin.h"

namespace CrashHandler {
namespace {

constexpr char kLogTag[] = "Crash_Handler";
constexpr uint64_t kSessionIdLength = 8;

CrashHandlerProxy* sCrashHandlerInstance = nullptr;
std::mutex sCrashHandlerInstanceMtx;
std::string sDefaultCrashDumpDir;

// HOME is expected to be set.
void AppendDefaultDumpDir(std::string* path) {
  path->append(getenv("HOME"));
  path->append("/Library/Caches/");
  path->append("Oru_RTC_Crash/");
}

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
  AppendDefaultDumpDir(&sDefaultCrashDumpDir);
  return sDefaultCrashDumpDir.c_str();
}

CrashHandlerProxyImpl::CrashHandlerProxyImpl()
    : sessionId_(GenerateRandomString(static_cast<int64_t>(reinterpret_cast<intptr_t>(this)),
                                      kSessionIdLength, "")) {}

void CrashHandlerProxyImpl::UpdateCrashHandlerConfig(CrashHandlerConfig& config) {
  config_ = config;
  EnableOutputLogToConsole(config.outputLogToConsole);
}

CrashHandlerConfig CrashHandlerProxyImpl::GetCrashHandlerConfig() { return config_; }

void CrashHandlerProxyImpl::SetCrashDumpDirPath(const char* path) {
  const std::lock_guard<std::recursive_mutex> lock(dirMutex_);
  crashDumpDirPath_ = path;
}

const char* CrashHandlerProxyImpl::GetCrashDumpDirPath() {
  const std::lock_guard<std::recursive_mutex> lock(dirMutex_);
  if (!crashDumpDirPath_.empty()) {
    PrintLog(kCrashLogInfo, kLogTag, __FILE__, __LINE__, "Alread set backup log dir: %s",
             crashDumpDirPath_.c_str());
    if (DirExistsOrCreat(crashDumpDirPath_)) return crashDumpDirPath_.c_str();
    PrintLog(kCrashLogError, kLogTag, __FILE__, __LINE__, "Create backup dir failed, use default");
  }
  crashDumpDirPath_.clear();
  AppendDefaultDumpDir(&crashDumpDirPath_);
  return crashDumpDirPath_.c_str();
}

void CrashHandlerProxyImpl::SetTraceInfo(CrashTraceInfo& info) {
  if (info.appId != nullptr) appId_ = info.appId;
  if (info.sessionId != nullptr) sessionId_ = info.sessionId;
  if (info.sdkVersion != nullptr) {
    sdkVersion_ = info.sdkVersion;
    // A pre-release suffix is not part of the version. Without one, find gives npos: all stays.
    sdkVersion_ = sdkVersion_.substr(0, sdkVersion_.find('-'));
  }
  if (info.extraInfo != nullptr) extraInfo_ = info.extraInfo;
}

CrashTraceInfo CrashHandlerProxyImpl::GetTraceInfo() { return traceInfo_; }

void CrashHandlerProxyImpl::SetCrashHandlerCallback(void (*callback)(void*, CrashType)) {
  const std::lock_guard<std::recursive_mutex> lock(callbackMutex_);
  crashCallback_ = callback;
}

void CrashHandlerProxyImpl::SetDebugLogSinkCallback(void (*sink)(CrashHandlerLogLevel, const char*,
                                                                 const char*, int, char*)) {
  SetLogSink(sink);
}

std::string CrashHandlerProxyImpl::GetAppId() { return appId_; }

std::string CrashHandlerProxyImpl::GetSessionId() { return sessionId_; }

std::string CrashHandlerProxyImpl::GetSDKVersion() { return sdkVersion_; }

std::string CrashHandlerProxyImpl::GetExtraInfo() { return extraInfo_; }

void CrashHandlerProxyImpl::TrigerCrashHanlerCallback(CrashType /*type*/) {
  const std::lock_guard<std::recursive_mutex> lock(callbackMutex_);
  if (crashCallback_ == nullptr) return;
  // Hosts know this one kind; which crash it was stands in the report's file name.
  crashCallback_(this, static_cast<CrashType>(1));
}

}  // namespace CrashHandler
