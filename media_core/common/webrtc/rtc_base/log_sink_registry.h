// The registered log sinks. For the logging sources only.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_SINK_REGISTRY_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_SINK_REGISTRY_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "media_core/common/webrtc/rtc_base/log_severity.h"
#include "media_core/common/webrtc/rtc_base/log_sink.h"

namespace rtc {

// Sinks with their thresholds, in order of registration. Its user serialises all calls but End()
// with one recursive lock; a sink may call back into it from OnLogLine.
//
// A child may be forked while another thread is in the middle of a call. The list is whole in it: a
// change makes a new list and puts it in place with one store.
class LogSinkRegistry {
 public:
  LogSinkRegistry() : entries_(new Entries()) {}
  ~LogSinkRegistry() { delete entries_.load(std::memory_order_relaxed); }
  LogSinkRegistry(const LogSinkRegistry&) = delete;
  LogSinkRegistry& operator=(const LogSinkRegistry&) = delete;

  void Append(LogSink* sink, LoggingSeverity min_sev);
  // Removes the first entry of the sink, if any.
  void RemoveFirst(LogSink* sink);
  // Forgets all entries, without the lock: a Dispatch under way calls no further sink.
  void End() { ended_.store(true, std::memory_order_relaxed); }

  // The lowest threshold among the sink's entries, or all when null; LS_NONE without any.
  LoggingSeverity LowestThreshold(const LogSink* sink) const;
  // The threshold of the last entry; LS_NONE without any.
  LoggingSeverity LastThreshold() const;

  // Hands the line to every sink that its severity and sink id admit. A sink added meanwhile gets
  // the line too; one removed meanwhile does not.
  void Dispatch(const std::string& line, LoggingSeverity sev, int32_t sink_id);
  // In a forked child whose only thread is in no Dispatch: those under way are not in this process.
  void ForgetWalks() { walks_ = nullptr; }

 private:
  struct Entry {
    LogSink* sink;
    LoggingSeverity min_sev;
  };
  using Entries = std::vector<Entry>;
  // A Dispatch under way, so that a removal can keep its place in the list.
  struct Walk {
    size_t next;
    Walk* outer;
  };

  const Entries& entries() const { return *entries_.load(std::memory_order_relaxed); }
  void Replace(const Entries* entries);
  bool ended() const { return ended_.load(std::memory_order_relaxed); }

  std::atomic<const Entries*> entries_;
  std::atomic<bool> ended_{false};
  // The innermost first.
  Walk* walks_ = nullptr;
};

}  // namespace rtc

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_SINK_REGISTRY_H_
