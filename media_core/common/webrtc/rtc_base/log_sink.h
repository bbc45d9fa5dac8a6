// Where finished log lines go.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_SINK_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_SINK_H_

#include <cstdint>
#include <string>

#pragma GCC visibility push(default)

namespace rtc {

// A receiver of log lines, registered with LogMessage::AddLogToStream. Whoever registers it owns it
// and removes it before destroying it.
class LogSink {
 public:
  // A message addressed to a sink id other than 0 reaches only the sinks of that id.
  explicit LogSink(int sink_id = 0) : sink_id_(sink_id) {}
  virtual ~LogSink() = default;

  // Receives one whole line, its newline included. Called on the logging thread while the process's
  // one logging lock is held: calls never overlap, and a slow sink holds up every logging thread.
  // It may itself log, add and remove sinks (the lock is recursive); it must not throw.
  //
  // A fork waits some 20 ms for a sink that is busy, and then goes on: the child gets such a sink
  // as it was at that moment, with its own locks taken. Exit does not wait at all.
  virtual void OnLogLine(const std::string& line) = 0;

  // The id given at construction.
  int sink_id() const { return sink_id_; }

 private:
  int32_t sink_id_;
};

}  // namespace rtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_SINK_H_
