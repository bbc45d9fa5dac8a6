#include "examples/host_app/recording.h"

#include <sys/stat.h>

#include <cstdlib>

#include "media_core/common/webrtc/rtc_base/event_tracer.h"
#include "media_core/common/webrtc/rtc_base/logging.h"

namespace host_app {
namespace {

void MakeDirs(const std::string& path) {
  for (size_t slash = path.find('/', 1); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    mkdir(path.substr(0, slash).c_str(), 0755);
  }
  mkdir(path.c_str(), 0755);
}

}  // namespace

std::string DefaultLogDir() {
  const char* home = getenv("HOME");
  return std::string(home != nullptr ? home : "") + "/Documents/Oru_RTC_Log/";
}

Recording::Recording(const std::string& dir) {
  MakeDirs(dir);
  rtc::FileLogSinkOptions options;
  options.buffer_bytes = 0;
  options.clean_lines = true;
  sink_ = std::make_unique<rtc::FileLogSink>(dir + "/host_app.log", options);
  rtc::LogMessage::SetLogToStderr(false);
  rtc::LogMessage::LogThreads(true);
  rtc::LogMessage::LogTimestamps(true);
  rtc::LogMessage::AddLogToStream(sink_.get(), rtc::LS_INFO);
  rtc::tracing::SetupInternalTracer();
  rtc::tracing::StartInternalCapture((dir + "/host_app_trace.json").c_str());
}

Recording::~Recording() {
  rtc::tracing::ShutdownInternalTracer();
  rtc::LogMessage::RemoveLogToStream(sink_.get());
}

}  // namespace host_app
