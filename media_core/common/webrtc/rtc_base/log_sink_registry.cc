#include "media_core/common/webrtc/rtc_base/log_sink_registry.h"

#include <algorithm>

namespace rtc {

void LogSinkRegistry::Replace(const Entries* entries) {
  // Nobody reads the old list: its readers hold the lock that this thread holds.
  delete entries_.exchange(entries, std::memory_order_release);
}

void LogSinkRegistry::Append(LogSink* sink, LoggingSeverity min_sev) {
  auto* const next = ended() ? new Entries() : new Entries(entries());
  next->push_back({sink, min_sev});
  Replace(next);
  ended_.store(false, std::memory_order_relaxed);
}

void LogSinkRegistry::RemoveFirst(LogSink* sink) {
  const auto found = std::find_if(entries().begin(), entries().end(),
                                  [sink](const Entry& entry) { return entry.sink == sink; });
  if (found == entries().end()) {
    return;
  }
  const auto index = found - entries().begin();
  auto* const next = new Entries(entries());
  next->erase(next->begin() + index);
  Replace(next);
  for (Walk* walk = walks_; walk != nullptr; walk = walk->outer) {
    if (static_cast<size_t>(index) < walk->next) {
      --walk->next;
    }
  }
}

LoggingSeverity LogSinkRegistry::LowestThreshold(const LogSink* sink) const {
  LoggingSeverity lowest = LS_NONE;
  if (ended()) {
    return lowest;
  }
  for (const Entry& entry : entries()) {
    if (sink == nullptr || entry.sink == sink) {
      lowest = std::min(lowest, entry.min_sev);
    }
  }
  return lowest;
}

LoggingSeverity LogSinkRegistry::LastThreshold() const {
  return ended() || entries().empty() ? LS_NONE : entries().back().min_sev;
}

void LogSinkRegistry::Dispatch(const std::string& line, LoggingSeverity sev, int32_t sink_id) {
  Walk walk{0, walks_};
  walks_ = &walk;
  while (!ended() && walk.next < entries().size()) {
    const Entry entry = entries()[walk.next++];
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
