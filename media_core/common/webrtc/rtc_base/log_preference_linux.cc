#include "media_core/common/webrtc/rtc_base/log_preference.h"

namespace rtc {

// Bundles come with Foundation, which this library does without.
LogPreference ReadPlatformLogPreference() { return LogPreference::kNoBundle; }

}  // namespace rtc
