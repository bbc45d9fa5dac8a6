// An app that logs to a file and, what is grave, to a sink of its own.
#include "media_core/common/webrtc/rtc_base/logging.h"

#include <cerrno>
#include <cstdio>
#include <string>

#include "media_core/common/webrtc/rtc_base/file_log_sink.h"

namespace {

class ConsoleSink : public rtc::LogSink {
 public:
  void OnLogLine(const std::string& line) override { printf("console: %s", line.c_str()); }
};

}  // namespace

int main(int argc, char** argv) {
  rtc::FileLogSinkOptions options;
  options.clean_lines = true;
  rtc::FileLogSink file(argc > 1 ? argv[1] : "app.log", options);
  if (!file.is_open()) return 1;
  ConsoleSink console;

  // The sink that wants least comes first: the sink added last decides what is built at all.
  rtc::LogMessage::AddLogToStream(&console, rtc::LS_WARNING);
  rtc::LogMessage::AddLogToStream(&file, rtc::LS_INFO);

  ORU_LOG(LS_INFO) << "joined channel " << 42;
  ORU_LOG(LS_VERBOSE) << "not loggable, so this is not evaluated";
  ORU_LOG_TAG(LS_INFO, "audio") << "48000 Hz";
  ORU_LOG_TAG_SUB(LS_WARNING, "audio", "capture") << "buffer late by " << 1.5 << " ms";
  ORU_LOG_ERRNO_EX(LS_ERROR, ENOENT) << "no device";
  { ORU_LOG_CALL_COST("an empty scope"); }

  rtc::LogMessage::RemoveLogToStream(&file);
  rtc::LogMessage::RemoveLogToStream(&console);
  return 0;
}
