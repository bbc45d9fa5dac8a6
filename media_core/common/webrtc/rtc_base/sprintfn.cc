#include "media_core/common/webrtc/rtc_base/sprintfn.h"

#include <cstdarg>
#include <cstdio>

namespace rtc {

size_t sprintfn(char* buffer, size_t buflen, const char* format, ...) {
  if (buflen == 0) {
    return 0;
  }
  va_list args;
  va_start(args, format);
  const int length = vsnprintf(buffer, buflen, format, args);
  va_end(args);
  if (length < 0 || static_cast<size_t>(length) >= buflen) {
    buffer[buflen - 1] = '\0';
    return buflen - 1;
  }
  return static_cast<size_t>(length);
}

}  // namespace rtc
