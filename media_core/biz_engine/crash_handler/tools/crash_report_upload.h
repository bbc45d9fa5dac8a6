// Sends what belongs to a crash away, by the installed command `varnook`.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_CRASH_REPORT_UPLOAD_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_CRASH_REPORT_UPLOAD_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "media_core/biz_engine/crash_handler/tools/crash_report_store.h"

#pragma GCC visibility push(default)

namespace CrashHandler {

// The command and what it is given. Other users of the machine can see a process's arguments, the
// credentials among them: they should end soon and allow nothing but writing to the bucket.
struct CrashUploadCommand {
  // The path of `varnook`; it is not searched for.
  std::string program;
  // The folder that holds the SDK's framework.
  std::string library_path;
  std::string access_key_id;
  std::string access_key_secret;
  std::string security_token;
  std::string endpoint;
  std::string bucket;
  // After which the command, and what it has started, is asked to end, and killed two seconds
  // later.
  int time_limit_s = 600;
};

// What came of it.
enum class CrashUploadResult {
  // The SDK's upload function said so (status 0); the report is marked as sent.
  kSent,
  // Somebody else works on the report, or it was sent or deleted meanwhile.
  kBusy,
  // The files could not be gathered: no room, no access.
  kNotGathered,
  // The command could not be started.
  kNotStarted,
  // It took too long.
  kTimedOut,
  // The upload function failed with `status`, or (status 0) was never reached.
  kFailed,
  // The answer to the question was no.
  kDeclined,
};

// What came of it, in full.
struct CrashUploadOutcome {
  // In a word.
  CrashUploadResult result = CrashUploadResult::kFailed;
  // Of the upload function; 0 also where there was none.
  int32_t status = 0;
  // The end of the command's log, at most 20 lines, from the one behind those about its arguments.
  std::vector<std::string> lines;
};

// Gathers the files of the report (CrashReportStore::Gather) in a folder of their own in the dump
// folder, starts the command on that folder, and removes it. No shell is involved; the command has
// its own process group, the signal mask of a fresh process, and no descriptor of this one but
// standard error. Blocks for up to the time limit: to be called on a thread that may wait. The
// program may handle SIGCHLD as it likes.
CrashUploadOutcome UploadCrashReport(const CrashReportStore& store, const PendingReport& report,
                                     const CrashUploadCommand& command);

// What the host, or its user, says about sending a report.
enum class CrashConsent {
  // Now.
  kSend,
  // Asked again at the next start.
  kNotNow,
  // The report is deleted.
  kNever,
};

// The same when `ask` says kSend. It is called on this thread, once, before anything is gathered.
CrashUploadOutcome UploadCrashReportWithConsent(
    const CrashReportStore& store, const PendingReport& report, const CrashUploadCommand& command,
    const std::function<CrashConsent(const PendingReport& report)>& ask);

}  // namespace CrashHandler

#pragma GCC visibility pop

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_CRASH_REPORT_UPLOAD_H_
