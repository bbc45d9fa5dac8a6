#include "media_core/biz_engine/crash_handler/crash_handler_proxy_impl.h"

#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "media_core/biz_engine/crash_handler/darwin/crash_handler_darwin.h"
#include "media_core/biz_engine/crash_handler/dying/crash_turn.h"

namespace CrashHandler {
namespace {

constexpr char kDefaultDir[] = "/Library/Caches/Oru_RTC_Crash/";
constexpr char kLogTag[] = "Crash_Handler";
constexpr uint64_t kSessionIdLength = 8;

CrashHandlerProxy* sCrashHandlerInstance = nullptr;
std::mutex sCrashHandlerInstanceMtx;
std::string sDefaultCrashDumpDir;

// Keeps a report from reading half an identity. Nobody waits for it for ever.
std::recursive_mutex sIdentityMtx;

constexpr int kPatienceInACrashMs = 200;
constexpr int kPatienceMs = 10000;

// Has the lock after this time or goes on without it. While a crash is handled, its owner may be a
// thread that the crash has frozen, or that crashed itself and waits for the report; otherwise it
// may be one that a forked child does not have.
class PatientLock {
 public:
  explicit PatientLock(std::recursive_mutex* mutex) : mutex_(mutex) {
    const timespec pause = {0, 1000000};
    for (int waited_ms = 0; !(locked_ = mutex_->try_lock()) && waited_ms < Patience(); ++waited_ms)
      nanosleep(&pause, nullptr);
  }
  ~PatientLock() {
    if (locked_) mutex_->unlock();
  }
  PatientLock(const PatientLock&) = delete;
  PatientLock& operator=(const PatientLock&) = delete;

 private:
  static int Patience() { return IsCrashTurnTaken() ? kPatienceInACrashMs : kPatienceMs; }

  std::recursive_mutex* const mutex_;
  bool locked_ = false;
};

std::string CopyIdentity(const std::string& part) {
  const PatientLock lock(&sIdentityMtx);
  return part;
}

// HOME is expected to be set.
void AppendDefaultDumpDir(std::string* path) {
  path->append(getenv("HOME"));
  path->append(kDefaultDir);
}

// What DirExistsOrCreat does, without a string.
bool WritableOrMade(const char* path) {
  return *path != '\0' && (access(path, W_OK) == 0 || mkdir(path, 0755) == 0);
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
    : sessionId(GenerateRandomString(static_cast<int64_t>(reinterpret_cast<intptr_t>(this)),
                                     kSessionIdLength, "")) {}

void CrashHandlerProxyImpl::UpdateCrashHandlerConfig(CrashHandlerConfig& settings) {
  config = settings;
  EnableOutputLogToConsole(config.outputLogToConsole);
}

CrashHandlerConfig CrashHandlerProxyImpl::GetCrashHandlerConfig() { return config; }

void CrashHandlerProxyImpl::SetCrashDumpDirPath(const char* path) {
  const std::lock_guard<std::recursive_mutex> lock(dirMutex);
  crashDumpDirPath = path;
}

const char* CrashHandlerProxyImpl::GetCrashDumpDirPath() {
  const std::lock_guard<std::recursive_mutex> lock(dirMutex);
  return ResolveCrashDumpDirPath();
}

std::string CrashHandlerProxyImpl::CopyCrashDumpDirPath() {
  const PatientLock lock(&dirMutex);
  return ResolveCrashDumpDirPath();
}

const char* CrashHandlerProxyImpl::ResolveCrashDumpDirPath() {
  if (!crashDumpDirPath.empty()) {
    PrintLog(kCrashLogInfo, kLogTag, __FILE__, __LINE__, "Alread set backup log dir: %s",
             crashDumpDirPath.c_str());
    if (DirExistsOrCreat(crashDumpDirPath)) return crashDumpDirPath.c_str();
    PrintLog(kCrashLogError, kLogTag, __FILE__, __LINE__, "Create backup dir failed, use default");
  }
  crashDumpDirPath.clear();
  AppendDefaultDumpDir(&crashDumpDirPath);
  return crashDumpDirPath.c_str();
}

bool CrashHandlerProxyImpl::WritePlainReportOf(PlainCrash crash, PlainPath path) {
  const PatientLock dir_lock(&dirMutex);
  const PatientLock identity_lock(&sIdentityMtx);
  PlainPath default_dir;
  crash.dump_dir = crashDumpDirPath.c_str();
  if (!WritableOrMade(crash.dump_dir)) {
    const char* const home = getenv("HOME");
    if (home == nullptr) return false;
    snprintf(default_dir, sizeof default_dir, "%s%s", home, kDefaultDir);
    crash.dump_dir = default_dir;
  }
  crash.app_id = appId.empty() ? "Unknown-App" : appId.c_str();
  crash.session_id = sessionId.empty() ? "Unknown-Session" : sessionId.c_str();
  crash.sdk_version = sdkVersion.c_str();
  crash.extra_info = extraInfo.c_str();
  return WritePlainReport(crash, path);
}

void CrashHandlerProxyImpl::SetTraceInfo(CrashTraceInfo& info) {
  const PatientLock lock(&sIdentityMtx);
  if (info.appId != nullptr) appId = info.appId;
  if (info.sessionId != nullptr) sessionId = info.sessionId;
  if (info.sdkVersion != nullptr) {
    sdkVersion = info.sdkVersion;
    // A pre-release suffix is not part of the version. Without one, find gives npos: all stays.
    sdkVersion = sdkVersion.substr(0, sdkVersion.find('-'));
  }
  if (info.extraInfo != nullptr) extraInfo = info.extraInfo;
}

CrashTraceInfo CrashHandlerProxyImpl::GetTraceInfo() { return traceInfo; }

void CrashHandlerProxyImpl::SetCrashHandlerCallback(void (*callback)(void*, CrashType)) {
  const std::lock_guard<std::recursive_mutex> lock(callbackMutex);
  crashCallback = callback;
}

void CrashHandlerProxyImpl::SetDebugLogSinkCallback(void (*sink)(CrashHandlerLogLevel, const char*,
                                                                 const char*, int, char*)) {
  SetLogSink(sink);
}

std::string CrashHandlerProxyImpl::GetAppId() { return CopyIdentity(appId); }

std::string CrashHandlerProxyImpl::GetSessionId() { return CopyIdentity(sessionId); }

std::string CrashHandlerProxyImpl::GetSDKVersion() { return CopyIdentity(sdkVersion); }

std::string CrashHandlerProxyImpl::GetExtraInfo() { return CopyIdentity(extraInfo); }

void CrashHandlerProxyImpl::TrigerCrashHanlerCallback(CrashType /*type*/) {
  const std::lock_guard<std::recursive_mutex> lock(callbackMutex);
  if (crashCallback == nullptr) return;
  // Hosts know this one kind; which crash it was stands in the report's file name.
  crashCallback(this, static_cast<CrashType>(1));
}

}  // namespace CrashHandler
