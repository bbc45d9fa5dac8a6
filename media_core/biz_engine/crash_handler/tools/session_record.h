// What stands in the record of a session.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_SESSION_RECORD_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_SESSION_RECORD_H_

#include <cstdint>
#include <string>
#include <vector>

namespace CrashHandler::dumps {

struct SessionRecord {
  std::string path;
  std::string app_id;
  std::string session_id;
  std::string log_path;
  std::string trace_path;
  // Milliseconds since 1970; 0: not ended.
  int64_t started_ms = 0;
  int64_t ended_ms = 0;
};

// Lines "KEY VALUE": what comes first, and what is added at a good end.
std::string TextOfRecord(const SessionRecord& record);
std::string TextOfEnd(int64_t ended_ms);

// Lines of other keys, and a last line that is cut, are passed over.
SessionRecord ParseRecord(const std::string& text);

// All records in a dump folder.
std::vector<SessionRecord> ReadRecords(const std::string& dump_dir);

// Whether a process has the session.
bool IsRunning(const SessionRecord& record);

}  // namespace CrashHandler::dumps

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_SESSION_RECORD_H_
