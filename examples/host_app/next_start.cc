#include "examples/host_app/next_start.h"

#include <cstdio>
#include <cstdlib>

#include "media_core/biz_engine/crash_handler/tools/crash_report_store.h"
#include "media_core/biz_engine/crash_handler/tools/crash_report_upload.h"

namespace host_app {
namespace {

using CrashHandler::CrashConsent;
using CrashHandler::CrashReportStore;
using CrashHandler::CrashUploadCommand;
using CrashHandler::CrashUploadResult;
using CrashHandler::LastRun;
using CrashHandler::PendingReport;

const char* EndOf(LastRun run) {
  switch (run) {
    case LastRun::kUnknown:
      return "is not known";
    case LastRun::kRunning:
      return "goes on";
    case LastRun::kEnded:
      return "ended well";
    case LastRun::kCrashed:
      return "crashed";
    case LastRun::kVanished:
      return "ended without a word";
  }
  return "";
}

std::string FromEnvironment(const char* name) {
  const char* value = getenv(name);
  return value != nullptr ? value : "";
}

CrashUploadCommand CommandOf(const Options& options) {
  CrashUploadCommand command;
  command.program = options.upload_command;
  command.library_path = options.library_path;
  command.access_key_id = FromEnvironment("HOST_APP_KEY_ID");
  command.access_key_secret = FromEnvironment("HOST_APP_KEY_SECRET");
  command.security_token = FromEnvironment("HOST_APP_TOKEN");
  command.endpoint = options.endpoint;
  command.bucket = options.bucket;
  return command;
}

// This app's users have agreed beforehand.
CrashConsent Ask(const PendingReport& /*report*/) { return CrashConsent::kSend; }

void Send(const CrashReportStore& store, const PendingReport& report, const Options& options) {
  const auto outcome = UploadCrashReportWithConsent(store, report, CommandOf(options), Ask);
  const std::string name = report.path.substr(report.path.rfind('/') + 1);
  if (outcome.result == CrashUploadResult::kSent) {
    store.Delete(report);
    fprintf(stderr, "host_app: sent %s\n", name.c_str());
    return;
  }
  fprintf(stderr, "host_app: could not send %s (%d)\n", name.c_str(), outcome.status);
  for (const std::string& line : outcome.lines) fprintf(stderr, "  %s\n", line.c_str());
}

}  // namespace

void LookBack(const Options& options, const std::string& dump_dir) {
  const CrashReportStore store(dump_dir);
  fprintf(stderr, "host_app: the last run %s\n", EndOf(store.LastRunOf(options.app_id)));
  for (const PendingReport& report : store.Pending()) {
    if (!options.upload_command.empty()) Send(store, report, options);
  }
  store.KeepAtMost();
}

std::unique_ptr<CrashHandler::CrashSession> RecordSession(const Options& options,
                                                          const std::string& dump_dir,
                                                          const std::string& log_dir) {
  if (options.app_id.empty() || options.session_id.empty()) return nullptr;
  return std::make_unique<CrashHandler::CrashSession>(dump_dir, options.app_id, options.session_id,
                                                      log_dir + "/host_app.log",
                                                      log_dir + "/host_app_trace.json");
}

}  // namespace host_app
