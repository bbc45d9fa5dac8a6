// Logs a line with the version of the libraries that it runs with.
#include <cstdio>
#include <string>

#include "media_core/common/webrtc/rtc_base/logging.h"
#include "media_core/common/webrtc/rtc_base/version.h"
#include "utils/string_utils.h"

class Out : public rtc::LogSink {
  void OnLogLine(const std::string& line) override { std::fputs(line.c_str(), stdout); }
};

int main() {
  Out out;
  rtc::LogMessage::AddLogToStream(&out, rtc::LS_INFO);
  ORU_LOG(LS_INFO) << tessik::utils::splitString("runs with", ' ').size() << " words, version "
                   << rtc::LibraryVersion();
  rtc::LogMessage::RemoveLogToStream(&out);
  return 0;
}
