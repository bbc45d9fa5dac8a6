#include <unistd.h>

#include "media_core/common/webrtc/rtc_base/platform_thread_types.h"

namespace rtc {
namespace platform_thread_internal {

PlatformThreadId QueryCurrentThreadId() { return static_cast<PlatformThreadId>(gettid()); }

}  // namespace platform_thread_internal
}  // namespace rtc
