// Formatting into a buffer of fixed size.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_SPRINTFN_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_SPRINTFN_H_

#include <cstddef>

#pragma GCC visibility push(default)

namespace rtc {

// Formats as vsnprintf does and returns the length of the text in the buffer. A text that does not
// fit (or cannot be formatted) is cut: the buffer's last byte is the terminator and the result is
// `buflen` - 1. With `buflen` 0 nothing is written and the result is 0.
size_t sprintfn(char* buffer, size_t buflen, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

}  // namespace rtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_SPRINTFN_H_
