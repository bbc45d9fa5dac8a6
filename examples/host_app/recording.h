// The app's log and trace, through the runtime base.
#ifndef EXAMPLES_HOST_APP_RECORDING_H_
#define EXAMPLES_HOST_APP_RECORDING_H_

#include <memory>
#include <string>

#include "media_core/common/webrtc/rtc_base/file_log_sink.h"

namespace host_app {

// ~/Documents/Oru_RTC_Log/, where `varnook` looks for logs by default.
std::string DefaultLogDir();

// For its scope: log lines go to host_app.log and trace events to host_app_trace.json in a folder,
// which is made where it is missing. The log file takes each line as it comes, so that a crash
// loses none; the trace of a crashed process lacks its end.
class Recording {
 public:
  explicit Recording(const std::string& dir);
  ~Recording();
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

 private:
  std::unique_ptr<rtc::FileLogSink> sink_;
};

}  // namespace host_app

#endif  // EXAMPLES_HOST_APP_RECORDING_H_
