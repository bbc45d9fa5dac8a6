// A record of this run in the dump folder, for the next start: that it began, where its log and
// trace are, and, when it comes to that, that it ended well.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_CRASH_SESSION_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_CRASH_SESSION_H_

#include <cstdint>
#include <string>

#pragma GCC visibility push(default)

namespace CrashHandler {

// Lives as long as the run: made after the last run was asked for (CrashReportStore::LastRunOf),
// destroyed when the program ends as it should. A program that ends in any other way leaves the
// record unended. One process at a time has the record of an application and session; while it
// does, the object of another one records nothing. A forked child that goes on without exec keeps
// the session running, and does not end it.
class CrashSession {
 public:
  // The ids are those that crash capture was given (CrashTraceInfo). Absolute paths, or "" for
  // none. The dump folder is made, with mode 0700, where it is missing; the record has 0600.
  CrashSession(const std::string& dump_dir, const std::string& app_id,
               const std::string& session_id, const std::string& log_path,
               const std::string& trace_path);
  ~CrashSession();
  CrashSession(const CrashSession&) = delete;
  CrashSession& operator=(const CrashSession&) = delete;

  // Whether the run is recorded.
  bool recorded() const { return fd_ >= 0; }

 private:
  int fd_ = -1;
  int32_t process_ = 0;
};

}  // namespace CrashHandler

#pragma GCC visibility pop

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_CRASH_SESSION_H_
