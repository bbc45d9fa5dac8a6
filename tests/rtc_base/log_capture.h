// Sinks for tests of the log.
#ifndef TESTS_RTC_BASE_LOG_CAPTURE_H_
#define TESTS_RTC_BASE_LOG_CAPTURE_H_

#include <string>
#include <vector>

#include "media_core/common/webrtc/rtc_base/logging.h"

namespace oru_test {

// Keeps every line it gets.
class CollectingSink : public rtc::LogSink {
 public:
  using rtc::LogSink::LogSink;
  void OnLogLine(const std::string& line) override { lines.push_back(line); }

  std::vector<std::string> lines;
};

// A collecting sink that is registered for a scope.
class LogCapture {
 public:
  explicit LogCapture(rtc::LoggingSeverity min_sev = rtc::LS_SENSITIVE) {
    rtc::LogMessage::AddLogToStream(&sink_, min_sev);
  }
  ~LogCapture() { rtc::LogMessage::RemoveLogToStream(&sink_); }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  const std::vector<std::string>& lines() const { return sink_.lines; }
  // The only line; "" and more than it said so when there is not exactly one.
  std::string OnlyLine() const {
    return sink_.lines.size() == 1 ? sink_.lines[0]
                                   : "(" + std::to_string(sink_.lines.size()) + " lines)";
  }

 private:
  CollectingSink sink_;
};

}  // namespace oru_test

#endif  // TESTS_RTC_BASE_LOG_CAPTURE_H_
