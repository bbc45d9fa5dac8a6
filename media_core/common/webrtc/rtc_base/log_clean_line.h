// Lines that show what text from elsewhere would do to a terminal or to the order of lines. For the
// logging sources only.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_CLEAN_LINE_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_CLEAN_LINE_H_

#include <string>

namespace rtc {

// Whether CleanLine would change nothing. `line` ends with its newline.
bool IsCleanLine(const std::string& line);

// The line with "\n", "\r" and "\xHH" (each byte) in the place of newlines before the last,
// control characters other than tabs, marks that turn or break text, and bytes that are no UTF-8.
std::string CleanLine(const std::string& line);

}  // namespace rtc

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_CLEAN_LINE_H_
