#include "media_core/common/webrtc/rtc_base/trace_calendar_time.h"

#include "media_core/common/webrtc/rtc_base/time_utils.h"
#include "media_core/common/webrtc/rtc_base/trace_event.h"

namespace rtc {
namespace tracing {

void MarkCalendarTime() {
  ORU_TRACE_EVENT_INSTANT1("webrtc", "CalendarTime", "utc_us", TimeUTCMicros());
}

}  // namespace tracing
}  // namespace rtc
