// The version of these libraries, of the headers at compile time and of the library at run time.
// Any thread.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_VERSION_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_VERSION_H_

// The one place where the version is written; the build reads it here.
#define ORU_VERSION_MAJOR 1
#define ORU_VERSION_MINOR 0
#define ORU_VERSION_PATCH 0
#define ORU_VERSION "1.0.0"
// Grows with every release: 10,000 for the major part, 100 for the minor one.
#define ORU_VERSION_NUMBER (ORU_VERSION_MAJOR * 10000 + ORU_VERSION_MINOR * 100 + ORU_VERSION_PATCH)

#pragma GCC visibility push(default)

namespace rtc {

// The version of the library that the program runs with, as ORU_VERSION; static. A program linked
// with the shared library may run with a newer one than it was compiled with.
const char* LibraryVersion();

// The same as ORU_VERSION_NUMBER.
int LibraryVersionNumber();

}  // namespace rtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_VERSION_H_
