// Logs to standard output and checks.
#include <cstdio>

#include "media_core/common/webrtc/rtc_base/checks.h"
#include "media_core/common/webrtc/rtc_base/logging.h"

class ConsoleSink : public rtc::LogSink {
  void OnLogLine(const std::string& line) override { fputs(line.c_str(), stdout); }
};

int main() {
  ConsoleSink sink;
  rtc::LogMessage::AddLogToStream(&sink, rtc::LS_INFO);
  ORU_LOG(LS_INFO) << "joined channel " << 42;
  rtc::LogMessage::RemoveLogToStream(&sink);
  ORU_CHECK_EQ(rtc::LogMessage::min_sev(), rtc::LS_NONE);
}
