#include <cerrno>
#include <cstring>

#include "media_core/common/webrtc/rtc_base/error_labels.h"

namespace rtc {

std::string DescriptionFromOSStatus(int status) {
  const char* const text = strerrordesc_np(status);
  return text == nullptr ? std::string() : text;
}

std::string ErrnoDescription(int err) {
  const int saved_errno = errno;
  char buffer[128];
  // The C library's own form: the text may stand elsewhere than in the buffer.
  std::string text = strerror_r(err, buffer, sizeof(buffer));
  errno = saved_errno;
  return text;
}

}  // namespace rtc
