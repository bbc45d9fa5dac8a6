// The event that stands in a trace's document for events that found no room. For the event logger.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_LOST_MARK_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_LOST_MARK_H_

#include <cstdint>

#include "media_core/common/webrtc/rtc_base/platform_thread_types.h"
#include "media_core/common/webrtc/rtc_base/time_utils.h"
#include "media_core/common/webrtc/rtc_base/trace_event.h"
#include "media_core/common/webrtc/rtc_base/trace_event_queue.h"

namespace rtc {
namespace tracing {

// As in the queue: the argument lies behind the event.
struct TraceLostMark {
  explicit TraceLostMark(uint64_t count)
      : event{"EventLogger::Lost",
              reinterpret_cast<const unsigned char*>("webrtc"),
              static_cast<uint64_t>(TimeNanos()),
              CurrentThreadId(),
              1,
              webrtc::trace_event_internal::kPhaseInstant},
        events{"events", count, webrtc::trace_event_internal::kTypeUint} {}

  TraceEvent event;
  TraceArg events;
};

}  // namespace tracing
}  // namespace rtc

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_LOST_MARK_H_
