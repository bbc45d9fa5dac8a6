#include <unistd.h>

#include "media_core/common/webrtc/rtc_base/process_id.h"

namespace rtc {

// The system's library keeps the number itself.
int32_t CurrentProcessId() { return getpid(); }

}  // namespace rtc
