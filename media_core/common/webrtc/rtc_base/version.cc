#include "media_core/common/webrtc/rtc_base/version.h"

namespace rtc {

const char* LibraryVersion() { return ORU_VERSION; }

int LibraryVersionNumber() { return ORU_VERSION_NUMBER; }

}  // namespace rtc
