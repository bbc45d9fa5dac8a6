// How important a log line is, and what kind of error number it explains.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_SEVERITY_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_SEVERITY_H_

#include <cstdint>

#pragma GCC visibility push(default)

namespace rtc {

// Lower is more verbose. A message passes a threshold when its severity is at least the threshold.
enum LoggingSeverity : int32_t {
  LS_SENSITIVE = 0,
  LS_VERBOSE = 1,
  LS_DEBUG = 2,
  LS_INFO = 3,
  LS_WARNING = 4,
  LS_ERROR = 5,
  // A threshold that nothing passes; a message of this severity is never put out.
  LS_NONE = 6,
};

// What the error number of a message is. Any other value than these prints the number only.
enum LogErrorContext : int32_t {
  ERRCTX_NONE = 0,
  // A value of errno.
  ERRCTX_ERRNO = 1,
  // A status code of the operating system.
  ERRCTX_OSSTATUS = 3,
};

}  // namespace rtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_LOG_SEVERITY_H_
