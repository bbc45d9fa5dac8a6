#include "media_core/biz_engine/crash_handler/crash_handler_proxy_impl.h"

#include <cstdint>
#include <utility>

#include "media_core/biz_engine/crash_handler/report/report_words.h"
#include "media_core/biz_engine/crash_handler/tools/crash_log.h"

namespace CrashHandler {
namespace {

constexpr uint64_t kSessionIdLength = 8;

CrashSettings FreshSettings(const void* object) {
  CrashSettings fresh;
  fresh.session_id = GenerateRandomString(static_cast<int64_t>(reinterpret_cast<intptr_t>(object)),
                                          kSessionIdLength, "");
  return fresh;
}

}  // namespace

CrashHandlerProxyImpl::CrashHandlerProxyImpl() : settings_(FreshSettings(this)) {
  SetLiveSettings(&settings_);
}

CrashHandlerProxyImpl::~CrashHandlerProxyImpl() {
  SetLiveSettings(nullptr);
  delete given_dump_dir_.load();
}

void CrashHandlerProxyImpl::UpdateCrashHandlerConfig(CrashHandlerConfig& settings) {
  config = settings;
  EnableOutputLogToConsole(config.outputLogToConsole);
}

CrashHandlerConfig CrashHandlerProxyImpl::GetCrashHandlerConfig() { return config; }

void CrashHandlerProxyImpl::SetCrashDumpDirPath(const char* path) {
  settings_.Change([path](CrashSettings* settings) { settings->dump_dir = path; });
}

const char* CrashHandlerProxyImpl::GetCrashDumpDirPath() {
  const auto* const given = new std::string(CopyCrashDumpDirPath());
  delete given_dump_dir_.exchange(given);
  return given->c_str();
}

std::string CrashHandlerProxyImpl::CopyCrashDumpDirPath() {
  std::string configured = PublishedSettings::Reader(settings_)->dump_dir;
  if (!configured.empty()) {
    ORU_CRASH_LOG_PROGRESS("Alread set backup log dir: %s", configured.c_str());
    if (DirExistsOrCreat(configured)) return configured;
    ORU_CRASH_LOG_PROBLEM("Create backup dir failed, use default");
  }
  std::string replacement = DefaultDumpDir();
  settings_.Change([&](CrashSettings* settings) { settings->dump_dir = replacement; });
  return replacement;
}

void CrashHandlerProxyImpl::SetTraceInfo(CrashTraceInfo& info) {
  settings_.Change([&info](CrashSettings* settings) {
    if (info.appId != nullptr) settings->app_id = info.appId;
    if (info.sessionId != nullptr) settings->session_id = info.sessionId;
    if (info.sdkVersion != nullptr) {
      settings->sdk_version = info.sdkVersion;
      // A pre-release suffix is not part of the version. Without one, find gives npos: all stays.
      settings->sdk_version = settings->sdk_version.substr(0, settings->sdk_version.find('-'));
    }
    if (info.extraInfo != nullptr) settings->extra_info = info.extraInfo;
  });
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

std::string CrashHandlerProxyImpl::GetAppId() {
  return PublishedSettings::Reader(settings_)->app_id;
}

std::string CrashHandlerProxyImpl::GetSessionId() {
  return PublishedSettings::Reader(settings_)->session_id;
}

std::string CrashHandlerProxyImpl::GetSDKVersion() {
  return PublishedSettings::Reader(settings_)->sdk_version;
}

std::string CrashHandlerProxyImpl::GetExtraInfo() {
  return PublishedSettings::Reader(settings_)->extra_info;
}

void CrashHandlerProxyImpl::TrigerCrashHanlerCallback(CrashType /*type*/) {
  const std::lock_guard<std::recursive_mutex> lock(callbackMutex);
  if (crashCallback == nullptr) return;
  // Hosts know this one kind; which crash it was stands in the report's file name.
  crashCallback(this, static_cast<CrashType>(1));
}

}  // namespace CrashHandler
