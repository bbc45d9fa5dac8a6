// Ties a trace to the calendar.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_CALENDAR_TIME_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_CALENDAR_TIME_H_

#pragma GCC visibility push(default)

namespace rtc {
namespace tracing {

// Emits the instant "CalendarTime" of the category "webrtc" with the argument "utc_us": the wall
// clock in microseconds since 1970, UTC. The times of a trace count from the system's start; with
// this event a reader tells when they were (`oru-report show --with-trace` does). Once behind the
// start of a capture is enough, unless the clock is set or the system sleeps meanwhile.
//
// Nothing without a tracer or a capture. Any thread may call it; not for signal handlers.
void MarkCalendarTime();

}  // namespace tracing
}  // namespace rtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_CALENDAR_TIME_H_
