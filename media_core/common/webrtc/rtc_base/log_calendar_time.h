// The calendar time in front of log lines.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_CALENDAR_TIME_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_CALENDAR_TIME_H_

#include <cstdint>
#include <string>

namespace rtc {

// "2024-03-05T07:08:09.123Z " of microseconds since 1970, UTC. Times before that, and those behind
// the year 9999, are shown as the nearest one that can be. Reads no time zone and takes no lock.
std::string CalendarTimePrefix(int64_t utc_micros);

}  // namespace rtc

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_CALENDAR_TIME_H_
