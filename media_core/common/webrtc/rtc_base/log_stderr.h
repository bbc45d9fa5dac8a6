// The log on standard error. For the logging sources only.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_STDERR_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_STDERR_H_

#include <string>

namespace rtc {

// Asks the preference; `by_default` holds where there is no bundle to have one.
bool LogToStderrWanted(bool by_default);

// Writes the local time and the line in one call, and flushes.
void WriteLogLineToStderr(const std::string& line);

}  // namespace rtc

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_STDERR_H_
