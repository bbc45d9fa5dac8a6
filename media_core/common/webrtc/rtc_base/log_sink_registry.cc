#include "media_core/common/webrtc/rtc_base/log_sink_registry.h"

#include <algorithm>

namespace rtc {

void LogSinkRegistry::Append(LogSink* sink, LoggingSeverity min_sev) {
  entries_.push_back({sink, min_sev});
}

void LogSinkRegistry::RemoveFirst(LogSink* sink) {
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [sink](const Entry& entry) { return entry.sink == sink; });
  if (found == entries_.end()) {
    return;
  }
  const size_t index = static_cast<size_t>(found - entries_.begin());
  entries_.erase(found);
  for (Walk* walk = walks_; walk != nullptr; walk = walk->outer) {
    if (index < walk->next) {
      --walk->next;
    }
  }
}

void LogSinkRegistry::Clear() {
  entries_.clear();
  entries_.shrink_to_fit();
  for (Walk* walk = walks_; walk != nullptr; walk = walk->outer) {
    walk->next = 0;
  }
}

LoggingSeverity LogSinkRegistry::LowestThreshold(const LogSink* sink) const {
  LoggingSeverity lowest = LS_NONE;
  for (const Entry& entry : entries_) {
    if (sink == nullptr || entry.sink == sink) {
      lowest = std::min(lowest, entry.min_sev);
    }
  }
  return lowest;
}

LoggingSeverity LogSinkRegistry::LastThreshold() const {
  return entries_.empty() ? LS_NONE : entries_.back().min_sev;
}

void LogSinkRegistry::Dispatch(const std::string& line, LoggingSeverity sev, int32_t sink_id) {
  Walk walk{0, walks_};
  walks_ = &walk;
  while (walk.next < entries_.size()) {
    const Entry entry = entries_[walk.next++];
    if (sink_id != 0 && sink_id != entry.sink->sink_id()) {
      continue;
    }
    if (sev >= entry.min_sev) {
      entry.sink->OnLogLine(line);
    }
  }
  walks_ = walk.outer;
}

}  // namespace rtc
