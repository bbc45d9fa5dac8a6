// The registered log sinks. For the logging sources only.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_SINK_REGISTRY_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_SINK_REGISTRY_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "media_core/common/webrtc/rtc_base/log_severity.h"
#include "media_core/common/webrtc/rtc_base/log_sink.h"

namespace rtc {

// Sinks with their thresholds, in order of registration. Its user serialises all calls with one
// recursive lock; a sink may call back into it from OnLogLine.
class LogSinkRegistry {
 public:
  LogSinkRegistry() = default;
  LogSinkRegistry(const LogSinkRegistry&) = delete;
  LogSinkRegistry& operator=(const LogSinkRegistry&) = delete;

  void Append(LogSink* sink, LoggingSeverity min_sev);
  // Removes the first entry of the sink, if any.
  void RemoveFirst(LogSink* sink);
  // Forgets all entries.
  void Clear();

  // The lowest threshold among the sink's entries, or all when null; LS_NONE without any.
  LoggingSeverity LowestThreshold(const LogSink* sink) const;
  // The threshold of the last entry; LS_NONE without any.
  LoggingSeverity LastThreshold() const;

  // Hands the line to every sink that its severity and sink id admit. A sink added meanwhile gets
  // the line too; one removed meanwhile does not.
  void Dispatch(const std::string& line, LoggingSeverity sev, int32_t sink_id);
  // Whether a Dispatch is under way (on the calling thread, by the lock).
  bool dispatching() const { return walks_ != nullptr; }

 private:
  struct Entry {
    LogSink* sink;
    LoggingSeverity min_sev;
  };
  // A Dispatch under way, so that a removal can keep its place in the list.
  struct Walk {
    size_t next;
    Walk* outer;
  };

  std::vector<Entry> entries_;
  // The innermost first.
  Walk* walks_ = nullptr;
};

}  // namespace rtc

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_SINK_REGISTRY_H_
