// The process's own number.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_PROCESS_ID_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_PROCESS_ID_H_

#include <cstdint>

#pragma GCC visibility push(default)

namespace rtc {

// What getpid() gives, right in forked children too, without a system call where the platform
// allows. Thread-safe, leaves errno alone.
int32_t CurrentProcessId();

}  // namespace rtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_PROCESS_ID_H_
