// The waiting trace events of all threads in one order. For the tracer's sources only.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_MERGE_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_MERGE_H_

#include <cstdint>
#include <limits>

#include "media_core/common/webrtc/rtc_base/trace_lane.h"

namespace rtc {
namespace tracing {

// Gives the events of several lanes by the time of their emission, and each lane's in its order. A
// pairing heap of the lanes' cursors: no memory but theirs, for any number of lanes.
class TraceMerge {
 public:
  static constexpr uint64_t kNoLimit = std::numeric_limits<uint64_t>::max();

  // Events that were emitted after `until` stay where they are.
  explicit TraceMerge(uint64_t until = kNoLimit) : until_(until) {}
  TraceMerge(const TraceMerge&) = delete;
  TraceMerge& operator=(const TraceMerge&) = delete;

  void Add(TraceCursor* cursor);
  // Null when there is none left. The cursor stands behind the event then.
  const TraceEvent* Next();

 private:
  TraceCursor* TakeFirst();

  const uint64_t until_;
  TraceCursor* first_ = nullptr;
  // Whose event was given last.
  TraceCursor* current_ = nullptr;
};

}  // namespace tracing
}  // namespace rtc

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_MERGE_H_
