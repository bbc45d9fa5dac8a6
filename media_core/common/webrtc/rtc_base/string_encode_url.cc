#include "media_core/common/webrtc/rtc_base/string_encode.h"
#include "media_core/common/webrtc/rtc_base/string_encode_internal.h"
#include "media_core/common/webrtc/rtc_base/string_encode_kernels.h"

namespace rtc {

using string_encode_internal::BestKernels;
using string_encode_internal::NothingToDo;

size_t url_encode(char* buffer, size_t buflen, const char* source, size_t srclen) {
  if (buffer == nullptr) return srclen * 3 + 1;
  if (NothingToDo(buffer, buflen, srclen)) return 0;
  const size_t written = BestKernels().url_encode(buffer, buflen - 1, source, srclen).written;
  buffer[written] = '\0';
  return written;
}

size_t url_decode(char* buffer, size_t buflen, const char* source, size_t srclen) {
  if (buffer == nullptr) return srclen + 1;
  if (NothingToDo(buffer, buflen, srclen)) return 0;
  const size_t written = BestKernels().url_decode(buffer, buflen - 1, source, srclen).written;
  buffer[written] = '\0';
  return written;
}

}  // namespace rtc
