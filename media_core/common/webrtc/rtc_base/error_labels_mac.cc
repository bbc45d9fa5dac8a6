#include <CoreServices/CoreServices.h>

#include <cerrno>
#include <cstring>

#include "media_core/common/webrtc/rtc_base/error_labels.h"

namespace rtc {

std::string DescriptionFromOSStatus(int status) {
  // Marked as deprecated without a successor that serves codes of every part of the system.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
  const char* const text = GetMacOSStatusCommentString(status);
#pragma clang diagnostic pop
  return text == nullptr ? std::string() : text;
}

std::string ErrnoDescription(int err) {
  const int saved_errno = errno;
  char buffer[256];
  // The text is complete for unknown numbers too, whatever is returned for them.
  strerror_r(err, buffer, sizeof(buffer));
  errno = saved_errno;
  return buffer;
}

}  // namespace rtc
