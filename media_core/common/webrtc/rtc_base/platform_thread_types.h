// Threads as the platform names them.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_PLATFORM_THREAD_TYPES_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_PLATFORM_THREAD_TYPES_H_

#include <pthread.h>

#include <cstdint>

#pragma GCC visibility push(default)

namespace rtc {

// A thread's number, as debuggers and logs show it; never 0.
using PlatformThreadId = uint32_t;
// A thread's handle. A value-initialised one (`PlatformThreadRef()`) stands for no thread.
using PlatformThreadRef = pthread_t;

namespace platform_thread_internal {

// The calling thread's number once it was asked for, else 0.
inline thread_local PlatformThreadId t_thread_id = 0;

// Fills t_thread_id and returns it.
PlatformThreadId ReadCurrentThreadId();

// The seam: asks the platform for the calling thread's number.
PlatformThreadId QueryCurrentThreadId();

}  // namespace platform_thread_internal

// The calling thread's number: the Mach thread port on macOS, the kernel's thread id on Linux.
// Stable for the thread's life; asked for once a thread, so later calls cost a load. A forked
// child's thread gets the number it has in the child. After a thread's first call (which may
// register the fork handler), safe in signal handlers.
inline PlatformThreadId CurrentThreadId() {
  const PlatformThreadId id = platform_thread_internal::t_thread_id;
  return __builtin_expect(id != 0, 1) ? id : platform_thread_internal::ReadCurrentThreadId();
}

// The calling thread's handle.
inline PlatformThreadRef CurrentThreadRef() { return pthread_self(); }

// Whether both handles stand for the same thread.
inline bool IsThreadRefEqual(const PlatformThreadRef& a, const PlatformThreadRef& b) {
  return pthread_equal(a, b) != 0;
}

// Names the calling thread for debuggers, logs and crash reports. Linux keeps the first 15 bytes,
// macOS 63; a longer name is cut behind a whole UTF-8 character. A null name is ignored.
void SetCurrentThreadName(const char* name);

}  // namespace rtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_PLATFORM_THREAD_TYPES_H_
