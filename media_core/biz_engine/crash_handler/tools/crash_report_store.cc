#include "media_core/biz_engine/crash_handler/tools/crash_report_store.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <functional>

#include "media_core/biz_engine/crash_handler/tools/dump_files.h"
#include "media_core/biz_engine/crash_handler/tools/report_names.h"
#include "media_core/biz_engine/crash_handler/tools/session_record.h"
#include "utils/shared_files.h"

namespace CrashHandler {

using namespace dumps;

namespace {

using tessik::shared::EntryKind;

constexpr int64_t kDayMs = int64_t{24} * 60 * 60 * 1000;
constexpr char kCompanionEnding[] = ".json";
constexpr char kReportEnding[] = ".log";
// The companion of a crash without a report is named as the report would be, behind this.
constexpr char kHostPrefix[] = "Host";
constexpr char kSentEnding[] = ".sent";
// A rotating log keeps this many at most that are worth sending.
constexpr int kMostLogBackups = 9;

std::string NameOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }

// A mark that is older than the report is of one that had its name before.
bool IsSent(const std::string& report, const FileFacts& facts) {
  FileFacts mark;
  return OwnFileFacts(WithEnding(report, kSentEnding), &mark) &&
         mark.changed_ms >= facts.changed_ms;
}

// Calls `visit` for the dump folder, with "" as the version, and for each version's folder in it.
void VisitFolders(
    const std::string& dump_dir,
    const std::function<void(const std::string& folder, const std::string& version)>& visit) {
  visit(dump_dir, "");
  tessik::shared::VisitDir(dump_dir, [&](const std::string& name, EntryKind kind) {
    if (kind == EntryKind::kFolder) visit(dump_dir + "/" + name, name);
    return true;
  });
}

struct StoredReport {
  PendingReport report;
  bool sent = false;
};

bool IsHostCrash(const PendingReport& report) { return report.path.empty(); }

// The one that it is known by.
const std::string& FileOf(const PendingReport& report) {
  return IsHostCrash(report) ? report.companion_path : report.path;
}

void TakeParts(const ReportName& parts, const FileFacts& facts, PendingReport* report) {
  report->app_id = parts.app_id;
  report->session_id = parts.session_id;
  report->kind = parts.kind;
  report->written_ms = facts.changed_ms;
  report->bytes = facts.bytes;
}

bool ReadHostCrash(const std::string& folder, const std::string& name, StoredReport* stored) {
  ReportName parts;
  FileFacts facts;
  if (!BeginsWith(name, kHostPrefix) || !EndsIn(name, kCompanionEnding)) return false;
  std::string report = name.substr(sizeof kHostPrefix - 1);
  report.replace(report.size() - (sizeof kCompanionEnding - 1), std::string::npos, kReportEnding);
  const std::string path = folder + "/" + name;
  if (!ParseReportName(report, &parts) || !OwnFileFacts(path, &facts)) return false;
  TakeParts(parts, facts, &stored->report);
  stored->report.companion_path = path;
  return true;
}

bool ReadReport(const std::string& folder, const std::string& name, StoredReport* stored) {
  ReportName parts;
  FileFacts facts;
  PendingReport& report = stored->report;
  const std::string path = folder + "/" + name;
  if (!ParseReportName(name, &parts) || !OwnFileFacts(path, &facts)) return false;
  TakeParts(parts, facts, &report);
  report.path = path;
  stored->sent = IsSent(report.path, facts);
  FileFacts companion;
  const std::string companion_path = WithEnding(report.path, kCompanionEnding);
  if (OwnFileFacts(companion_path, &companion)) {
    report.companion_path = companion_path;
    report.bytes += companion.bytes;
  }
  return true;
}

bool IsOlder(const PendingReport& a, const PendingReport& b) {
  return a.written_ms != b.written_ms ? a.written_ms < b.written_ms : FileOf(a) < FileOf(b);
}

// All reports and crashes of the host, the oldest first.
std::vector<StoredReport> ReadReports(const std::string& dump_dir) {
  std::vector<StoredReport> reports;
  VisitFolders(dump_dir, [&](const std::string& folder, const std::string& version) {
    tessik::shared::VisitDir(folder, [&](const std::string& name, EntryKind kind) {
      StoredReport stored;
      stored.report.sdk_version = version;
      if (kind != EntryKind::kFile) return true;
      if (ReadReport(folder, name, &stored) || ReadHostCrash(folder, name, &stored)) {
        reports.push_back(stored);
      }
      return true;
    });
  });
  std::sort(reports.begin(), reports.end(), [](const StoredReport& a, const StoredReport& b) {
    return IsOlder(a.report, b.report);
  });
  return reports;
}

// The record whose ids are exactly those in the report's name tells them apart, "_" or not, and
// where log and trace are.
void AddSession(const std::vector<SessionRecord>& records, PendingReport* report) {
  for (const SessionRecord& record : records) {
    if (!IsReportNameOf(NameOf(report->path), record.app_id, record.session_id)) continue;
    report->app_id = record.app_id;
    report->session_id = record.session_id;
    report->log_path = record.log_path;
    report->trace_path = record.trace_path;
  }
}

// Of the newest report with these ids; 0 without one.
int64_t LastReportMs(const std::vector<StoredReport>& reports, const std::string& app_id,
                     const std::string& session_id) {
  int64_t last = 0;
  for (const StoredReport& stored : reports) {
    if (!IsReportNameOf(NameOf(stored.report.path), app_id, session_id)) continue;
    last = std::max(last, stored.report.written_ms);
  }
  return last;
}

LastRun EndOf(const SessionRecord& record, int64_t last_report_ms) {
  if (IsRunning(record)) return LastRun::kRunning;
  // A later run, which was not recorded, may have crashed.
  if (record.ended_ms != 0) {
    return last_report_ms > record.ended_ms ? LastRun::kCrashed : LastRun::kEnded;
  }
  // A file's time is the system's tick, which can lie behind the clock by a few milliseconds.
  constexpr int64_t kTickMs = 20;
  return last_report_ms + kTickMs > record.started_ms ? LastRun::kCrashed : LastRun::kVanished;
}

// Removes what belongs to a report. Its own name goes first: what is left then is taken away later.
bool RemoveReport(const std::string& path) {
  if (unlink(path.c_str()) != 0) return false;
  unlink(WithEnding(path, kCompanionEnding).c_str());
  unlink(WithEnding(path, kSentEnding).c_str());
  return true;
}

bool RemoveIfFree(const PendingReport& report) {
  const DumpFile lock = LockOwn(FileOf(report));
  if (!lock.valid()) return false;
  return IsHostCrash(report) ? unlink(FileOf(report).c_str()) == 0 : RemoveReport(report.path);
}

// A part of a report that has none, or a file on its way to one: left by a process that was killed.
bool IsLeftover(const std::string& folder, const std::string& name) {
  if (BeginsWith(name, "report.") && EndsIn(name, ".tmp")) return true;
  for (const char* ending : {kCompanionEnding, kSentEnding}) {
    if (!EndsIn(name, ending)) continue;
    const std::string report = name.substr(0, name.size() - std::string(ending).size()) + ".log";
    ReportName parts;
    return ParseReportName(report, &parts) && access((folder + "/" + report).c_str(), F_OK) != 0;
  }
  return false;
}

void RemoveLeftovers(const std::string& dump_dir, int64_t before_ms) {
  VisitFolders(dump_dir, [&](const std::string& folder, const std::string&) {
    tessik::shared::VisitDir(folder, [&](const std::string& name, EntryKind) {
      FileFacts facts;
      const std::string path = folder + "/" + name;
      if (IsLeftover(folder, name) && OwnFileFacts(path, &facts) && facts.changed_ms < before_ms) {
        unlink(path.c_str());
      }
      return true;
    });
  });
}

// Copies for an upload whose process is gone.
void RemoveAbandonedCopies(const std::string& dump_dir) {
  std::vector<std::string> folders;
  tessik::shared::VisitDir(dump_dir, [&](const std::string& name, EntryKind kind) {
    if (kind == EntryKind::kFolder && BeginsWith(name, "outgoing.")) folders.push_back(name);
    return true;
  });
  for (const std::string& folder : folders) {
    const DumpFile lock = LockOwn(dump_dir + "/" + folder);
    if (lock.valid()) RemoveGathered(dump_dir + "/" + folder);
  }
}

// Those without a report: the newest ones stay, for LastRunOf.
void RemoveOldRecords(const std::string& dump_dir, size_t kept, int64_t before_ms) {
  const std::vector<StoredReport> reports = ReadReports(dump_dir);
  std::vector<SessionRecord> records = ReadRecords(dump_dir);
  std::sort(records.begin(), records.end(), [](const SessionRecord& a, const SessionRecord& b) {
    return a.started_ms > b.started_ms;
  });
  for (const SessionRecord& record : records) {
    if (LastReportMs(reports, record.app_id, record.session_id) != 0 || IsRunning(record)) continue;
    if (kept > 0 && record.started_ms >= before_ms) {
      --kept;
      continue;
    }
    const DumpFile lock = LockOwn(record.path);
    if (lock.valid()) unlink(record.path.c_str());
  }
}

// Without a folder the copy goes away unseen where there is nothing to copy.
void CopyWithBackups(const std::string& log, const std::string& folder) {
  if (log.empty() || !MakeFolders(folder)) return;
  CopyToNewFile(log, folder + "/" + NameOf(log));
  for (int i = 1; i <= kMostLogBackups; ++i) {
    const std::string ending = "." + std::to_string(i);
    if (!CopyToNewFile(log + ending, folder + "/" + NameOf(log) + ending)) break;
  }
}

}  // namespace

CrashReportStore::CrashReportStore(const std::string& dump_dir)
    : dump_dir_(dump_dir.size() > 1 && dump_dir.back() == '/'
                    ? dump_dir.substr(0, dump_dir.find_last_not_of('/') + 1)
                    : dump_dir) {}

std::vector<PendingReport> CrashReportStore::Pending() const {
  const std::vector<SessionRecord> records = ReadRecords(dump_dir_);
  std::vector<PendingReport> pending;
  for (StoredReport& stored : ReadReports(dump_dir_)) {
    if (stored.sent || IsHostCrash(stored.report)) continue;
    AddSession(records, &stored.report);
    pending.push_back(std::move(stored.report));
  }
  return pending;
}

std::vector<PendingReport> CrashReportStore::HostCrashes() const {
  std::vector<PendingReport> crashes;
  for (StoredReport& stored : ReadReports(dump_dir_)) {
    if (IsHostCrash(stored.report)) crashes.push_back(std::move(stored.report));
  }
  return crashes;
}

LastRun CrashReportStore::LastRunOf(const std::string& app_id,
                                    const std::string& session_id) const {
  const std::vector<StoredReport> reports = ReadReports(dump_dir_);
  SessionRecord last;
  for (const SessionRecord& record : ReadRecords(dump_dir_)) {
    const bool meant =
        record.app_id == app_id && (session_id.empty() || record.session_id == session_id);
    if (meant && record.started_ms > last.started_ms) last = record;
  }
  const int64_t any_report_ms = LastReportMs(reports, app_id, session_id);
  if (last.started_ms == 0) return any_report_ms != 0 ? LastRun::kCrashed : LastRun::kUnknown;
  // An unended run is judged by its own reports: other sessions may go on beside it.
  const std::string& judged = last.ended_ms != 0 ? session_id : last.session_id;
  return EndOf(last, LastReportMs(reports, app_id, judged));
}

bool CrashReportStore::MarkSent(const PendingReport& report) const {
  if (IsHostCrash(report)) return false;
  const std::string mark = WithEnding(report.path, kSentEnding);
  // A mark of an older report of that name would be too old.
  unlink(mark.c_str());
  const DumpFile file(
      open(mark.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  return file.valid();
}

bool CrashReportStore::Delete(const PendingReport& report) const {
  FileFacts facts;
  if (!OwnFileFacts(FileOf(report), &facts)) return true;
  return RemoveIfFree(report);
}

size_t CrashReportStore::KeepAtMost(const ReportLimits& limits) const {
  std::vector<StoredReport> reports = ReadReports(dump_dir_);
  const int64_t oldest_ms = NowMs() - limits.days * kDayMs;
  std::stable_sort(reports.begin(), reports.end(), [&](const auto& a, const auto& b) {
    const auto rank = [&](const StoredReport& stored) {
      if (stored.report.written_ms < oldest_ms) return 0;
      return stored.sent ? 1 : 2;
    };
    return rank(a) < rank(b);
  });
  size_t left = reports.size();
  uint64_t bytes = 0;
  for (const StoredReport& stored : reports) bytes += stored.report.bytes;
  size_t removed = 0;
  for (const StoredReport& stored : reports) {
    const bool too_old = stored.report.written_ms < oldest_ms;
    if (!too_old && left <= limits.reports && bytes <= limits.bytes) break;
    if (!RemoveIfFree(stored.report)) continue;
    ++removed;
    --left;
    bytes -= stored.report.bytes;
  }
  RemoveLeftovers(dump_dir_, NowMs() - kDayMs);
  RemoveAbandonedCopies(dump_dir_);
  RemoveOldRecords(dump_dir_, limits.reports, oldest_ms);
  return removed;
}

bool CrashReportStore::Gather(const PendingReport& report, const std::string& folder) const {
  if (!MakeFolders(folder)) return false;
  if (!CopyToNewFile(FileOf(report), folder + "/" + NameOf(FileOf(report)))) return false;
  if (!IsHostCrash(report) && !report.companion_path.empty()) {
    CopyToNewFile(report.companion_path, folder + "/" + NameOf(report.companion_path));
  }
  CopyWithBackups(report.log_path, folder + "/log");
  CopyWithBackups(report.trace_path, folder + "/trace");
  return true;
}

}  // namespace CrashHandler
