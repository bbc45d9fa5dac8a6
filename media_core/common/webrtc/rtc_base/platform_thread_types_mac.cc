#include "media_core/common/webrtc/rtc_base/platform_thread_types.h"

namespace rtc {
namespace platform_thread_internal {

PlatformThreadId QueryCurrentThreadId() { return pthread_mach_thread_np(pthread_self()); }

}  // namespace platform_thread_internal
}  // namespace rtc
