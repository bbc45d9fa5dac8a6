// Writing of report files and the directories they are in. May run in a signal handler, with the
// allocator's lock held by anyone.
//
// Reports are for their owner's eyes: files are made with mode 0600, directories with 0700.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_REPORT_FILE_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_REPORT_FILE_H_

#include <climits>
#include <cstddef>

namespace CrashHandler {

// Room for a report's path.
using ReportPath = char[PATH_MAX];

// Whether something is at the path, or the directory with the missing ones above it could be
// created there.
bool CreateDirectories(const char* path);

// A new file that takes its name only when it is whole. Until then it has another one beside it,
// which nobody can know beforehand: "report.PID.RANDOM.tmp". For one thread.
class ReportFile {
 public:
  // False (and nothing is left) when the file cannot be created.
  bool Open(const char* path);
  // False when it failed, now or before. A file larger than the process may make is a failure, not
  // a SIGXFSZ.
  bool Write(const char* bytes, size_t count);
  // Nothing is written to it any more; its descriptor is free. False when anything has failed.
  bool Close();
  // Gives the file its name, replacing a file that has it; false, and nothing is left of it, when
  // anything has failed.
  bool Commit();
  // Takes away what is there, while its own thread is stuck amid a call.
  void Abandon() const;

 private:
  const char* path_ = nullptr;  // null where there is no file
  ReportPath temporary_;
  int fd_ = -1;
  bool failed_ = false;
};

// Writes all bytes to a new file and gives it the path, replacing a file of that name: other
// processes see the old file or the whole new one. False when it failed; the old file is then as it
// was.
bool ReplaceFile(const char* path, const void* bytes, size_t count);

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_REPORT_FILE_H_
