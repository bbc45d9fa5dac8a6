#include "media_core/biz_engine/crash_handler/tools/crash_report_upload.h"

#include <unistd.h>

#include <cstdlib>
#include <deque>
#include <memory>

#include "media_core/biz_engine/crash_handler/tools/child_command.h"
#include "media_core/biz_engine/crash_handler/tools/dump_files.h"
#include "media_core/biz_engine/crash_handler/tools/report_names.h"

namespace CrashHandler {

using namespace dumps;

namespace {

constexpr size_t kKeptLines = 20;
// The first line behind those about the arguments, whose values may have line ends in them.
constexpr char kFirstLine[] = "varnook HandleActionUploadLog delay ";
constexpr char kStatusLine[] = "varnook uploadLogPrivate return: ";

// A folder for the copies, which goes with the object; the lock tells other processes that somebody
// is there. Removed by the next KeepAtMost when the process is killed.
class OutgoingFolder {
 public:
  explicit OutgoingFolder(const std::string& dump_dir) {
    // Again only when another process took the new folder for an abandoned one.
    for (int attempt = 0; attempt < 10 && !ready(); ++attempt) {
      path_ = dump_dir + "/outgoing.XXXXXX";
      if (mkdtemp(&path_[0]) == nullptr) return;
      lock_ = std::make_unique<DumpFile>(LockOwn(path_));
    }
  }
  ~OutgoingFolder() {
    if (ready()) RemoveGathered(path_);
  }
  OutgoingFolder(const OutgoingFolder&) = delete;
  OutgoingFolder& operator=(const OutgoingFolder&) = delete;

  bool ready() const { return lock_ != nullptr && lock_->valid(); }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  std::unique_ptr<DumpFile> lock_;
};

// What the command says, without what it was told.
class CommandLog {
 public:
  void Take(const std::string& line) {
    started_ = started_ || line.find(kFirstLine) != std::string::npos;
    if (!started_) return;
    const size_t status = line.find(kStatusLine);
    if (status != std::string::npos) {
      reached_ = true;
      status_ = atoi(line.c_str() + status + sizeof kStatusLine - 1);
    }
    lines_.push_back(line);
    if (lines_.size() > kKeptLines) lines_.pop_front();
  }

  // The upload function has returned.
  bool reached() const { return reached_; }
  int32_t status() const { return status_; }
  std::vector<std::string> lines() const { return {lines_.begin(), lines_.end()}; }

 private:
  std::deque<std::string> lines_;
  bool started_ = false;
  bool reached_ = false;
  int32_t status_ = 0;
};

std::vector<std::string> Arguments(const PendingReport& report, const CrashUploadCommand& command,
                                   const std::string& folder) {
  return {command.program,
          "-action",
          "uploadLog",
          "-libp",
          command.library_path,
          "-apid",
          report.app_id,
          "-seid",
          report.session_id,
          "-ver",
          report.sdk_version,
          "-akid",
          command.access_key_id,
          "-akscrt",
          command.access_key_secret,
          "-sectkn",
          command.security_token,
          "-edpt",
          command.endpoint,
          "-bukt",
          command.bucket,
          "-logp",
          folder};
}

// Whether the report is still to be sent, now that nobody else can send it.
bool IsStillPending(const CrashReportStore& store, const PendingReport& report) {
  for (const PendingReport& pending : store.Pending()) {
    if (pending.path == report.path) return true;
  }
  return false;
}

}  // namespace

CrashUploadOutcome UploadCrashReport(const CrashReportStore& store, const PendingReport& report,
                                     const CrashUploadCommand& command) {
  CrashUploadOutcome outcome;
  const DumpFile lock = LockOwn(report.path);
  if (!lock.valid() || !IsStillPending(store, report)) {
    outcome.result = CrashUploadResult::kBusy;
    return outcome;
  }
  const OutgoingFolder folder(store.dump_dir());
  if (!folder.ready() || !store.Gather(report, folder.path())) {
    outcome.result = CrashUploadResult::kNotGathered;
    return outcome;
  }
  CommandLog log;
  const ChildEnd end =
      RunChildCommand(Arguments(report, command, folder.path()), command.time_limit_s,
                      [&log](const std::string& line) { log.Take(line); });
  outcome.status = log.status();
  outcome.lines = log.lines();
  if (!end.started) {
    outcome.result = CrashUploadResult::kNotStarted;
  } else if (log.reached() && log.status() == 0) {
    outcome.result = CrashUploadResult::kSent;
    store.MarkSent(report);
  } else {
    outcome.result = end.timed_out ? CrashUploadResult::kTimedOut : CrashUploadResult::kFailed;
  }
  return outcome;
}

CrashUploadOutcome UploadCrashReportWithConsent(
    const CrashReportStore& store, const PendingReport& report, const CrashUploadCommand& command,
    const std::function<CrashConsent(const PendingReport& report)>& ask) {
  const CrashConsent consent = ask(report);
  if (consent == CrashConsent::kSend) return UploadCrashReport(store, report, command);
  if (consent == CrashConsent::kNever) store.Delete(report);
  CrashUploadOutcome declined;
  declined.result = CrashUploadResult::kDeclined;
  return declined;
}

}  // namespace CrashHandler
