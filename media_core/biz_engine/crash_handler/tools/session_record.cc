#include "media_core/biz_engine/crash_handler/tools/session_record.h"

#include <cstdlib>

#include "media_core/biz_engine/crash_handler/tools/dump_files.h"
#include "media_core/biz_engine/crash_handler/tools/report_names.h"
#include "utils/shared_files.h"

namespace CrashHandler::dumps {
namespace {

std::string Line(const char* key, const std::string& value) {
  return std::string(key) + " " + EscapeLine(value) + "\n";
}

void Store(const std::string& key, const std::string& value, SessionRecord* record) {
  if (key == "app") record->app_id = value;
  if (key == "session") record->session_id = value;
  if (key == "log") record->log_path = value;
  if (key == "trace") record->trace_path = value;
  if (key == "started") record->started_ms = strtoll(value.c_str(), nullptr, 10);
  if (key == "ended") record->ended_ms = strtoll(value.c_str(), nullptr, 10);
}

}  // namespace

std::string TextOfRecord(const SessionRecord& record) {
  return Line("app", record.app_id) + Line("session", record.session_id) +
         Line("started", std::to_string(record.started_ms)) + Line("log", record.log_path) +
         Line("trace", record.trace_path);
}

std::string TextOfEnd(int64_t ended_ms) { return Line("ended", std::to_string(ended_ms)); }

SessionRecord ParseRecord(const std::string& text) {
  SessionRecord record;
  size_t start = 0;
  for (size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', start)) {
    const std::string line = text.substr(start, end - start);
    const size_t blank = line.find(' ');
    if (blank != std::string::npos) {
      Store(line.substr(0, blank), UnescapeLine(line.substr(blank + 1)), &record);
    }
    start = end + 1;
  }
  return record;
}

std::vector<SessionRecord> ReadRecords(const std::string& dump_dir) {
  std::vector<SessionRecord> records;
  const auto read = [&](const std::string& name, tessik::shared::EntryKind kind) {
    if (kind != tessik::shared::EntryKind::kFile || !IsSessionFileName(name)) return true;
    SessionRecord record = ParseRecord(ReadSmallFile(dump_dir + "/" + name));
    record.path = dump_dir + "/" + name;
    if (record.started_ms != 0) records.push_back(record);
    return true;
  };
  tessik::shared::VisitDir(dump_dir, read);
  return records;
}

bool IsRunning(const SessionRecord& record) { return IsLocked(record.path); }

}  // namespace CrashHandler::dumps
