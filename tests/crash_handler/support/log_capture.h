// Collects the crash module's log lines.
#ifndef TESTS_CRASH_HANDLER_SUPPORT_LOG_CAPTURE_H_
#define TESTS_CRASH_HANDLER_SUPPORT_LOG_CAPTURE_H_

#include <string>
#include <vector>

#include "media_core/biz_engine/crash_handler/tools/crash_handler_utils.h"

namespace oru_test {

struct LoggedLine {
  int level;
  std::string tag;
  std::string file;
  int line;
  std::string message;
};

// The module's log sink for the scope. One at a time, used on one thread.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  const std::vector<LoggedLine>& lines() const { return lines_; }
  // "LEVEL MESSAGE" of every line.
  std::vector<std::string> Texts() const;
  void Clear() { lines_.clear(); }

 private:
  static void Sink(CrashHandler::CrashHandlerLogLevel level, const char* tag, const char* file,
                   int32_t line, char* message);

  std::vector<LoggedLine> lines_;
};

}  // namespace oru_test

#endif  // TESTS_CRASH_HANDLER_SUPPORT_LOG_CAPTURE_H_
