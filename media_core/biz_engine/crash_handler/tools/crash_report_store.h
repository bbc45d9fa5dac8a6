// What crashes have left behind, at the next start: the reports in a dump folder, and what belongs
// to each. Plain C++, usable without crash capture. crash_session.h tells it of a program's runs;
// crash_report_upload.h sends reports away.
//
//   CrashHandler::CrashReportStore store(dump_dir);
//   for (const auto& report : store.Pending()) { ...; store.MarkSent(report); }
//   store.KeepAtMost();
//
// All of it may be done while other processes do the same in the same folder, and while one of them
// crashes: a report appears there whole, and is worked on by one process at a time. Only regular
// files of the process's own user count, never what a symbolic link leads to. Nothing here may be
// called from a signal handler, or throws anything but std::bad_alloc.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_CRASH_REPORT_STORE_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_CRASH_REPORT_STORE_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#pragma GCC visibility push(default)

namespace CrashHandler {

// A report and what belongs to it. Paths are as long as the store's own; an empty one is not there.
struct PendingReport {
  // Of the report itself.
  std::string path;
  // Its companion's: the report's name with "json" for "log".
  std::string companion_path;
  // As the session's record names them; they may be gone.
  std::string log_path;
  std::string trace_path;
  // From the report's name. Where an id holds "_", the application's ends at the first one.
  std::string app_id;
  std::string session_id;
  // "Signal", "Exception", "MemoryError" or "Terminate".
  std::string kind;
  // The folder that the report is in; empty for one in the dump folder itself.
  std::string sdk_version;
  // When the report was written, in milliseconds since 1970.
  int64_t written_ms = 0;
  // Of the report and its companion.
  uint64_t bytes = 0;
};

// How the last run of a program ended.
enum class LastRun {
  // Nothing is known of one.
  kUnknown,
  // It has not ended; so says the asking process's own session, too.
  kRunning,
  // With its session's end.
  kEnded,
  // With a report.
  kCrashed,
  // Without a word: killed, out of memory, a crash that is not the SDK's, a machine that went off.
  kVanished,
};

// What a dump folder may hold.
struct ReportLimits {
  // How many.
  size_t reports = 30;
  // Of all of them together, companions included.
  uint64_t bytes = 50 * 1000 * 1000;
  // Since they were written.
  int days = 90;
};

// For one thread at a time.
class CrashReportStore {
 public:
  // The folder that crash capture was given, or its default one. It need not exist.
  explicit CrashReportStore(const std::string& dump_dir);

  // As given, without slashes at its end.
  const std::string& dump_dir() const { return dump_dir_; }

  // The reports that are not marked as sent, the oldest first.
  std::vector<PendingReport> Pending() const;

  // Crashes that were not the SDK's, where the host asked for their companions
  // (crash_companion.h), the oldest first: without a report, `path` is empty and `companion_path`
  // has the one file. They count for KeepAtMost, and are deleted and gathered, as reports are.
  std::vector<PendingReport> HostCrashes() const;

  // How the last run of this application ended: of this session's, or with "" of whichever. Without
  // a record (crash_session.h) all that can be known is that there is a report. To be asked before
  // the session of this run begins.
  LastRun LastRunOf(const std::string& app_id, const std::string& session_id = "") const;

  // The report is no longer pending; it stays until it is deleted or too old. A newer one that
  // takes its name is pending again. False when the mark cannot be written, and for a crash of the
  // host's, which is never pending.
  bool MarkSent(const PendingReport& report) const;

  // Removes a report and its companion; logs and traces are the program's. False when another
  // process works on it, or it cannot be removed; true also when it is gone.
  bool Delete(const PendingReport& report) const;

  // Removes reports until the limits hold: those that are too old; then those that were sent, then
  // the others, the oldest first. What another process works on stays and counts. What a process
  // that was killed left of its work (temporary files, companions without a report) goes when it is
  // a day old, copies for an upload at once, and records of sessions without a report beyond as
  // many and as many days.
  // Returns how many reports were removed.
  size_t KeepAtMost(const ReportLimits& limits = {}) const;

  // Copies the report, its companion, the session's log (with its backups) and trace into `folder`,
  // which is made where it is missing: REPORT.log, REPORT.json, log/..., trace/..., for their owner
  // alone. Logs and traces that are not there are left out. False when the report cannot be copied.
  bool Gather(const PendingReport& report, const std::string& folder) const;

 private:
  const std::string dump_dir_;
};

}  // namespace CrashHandler

#pragma GCC visibility pop

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_CRASH_REPORT_STORE_H_
