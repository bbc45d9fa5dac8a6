// Where to cut text. For sources that keep a part of it.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_UTF8_PREFIX_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_UTF8_PREFIX_H_

#include <cstddef>

namespace rtc {

// The size of the longest beginning of `size` bytes of text that has at most `max` bytes and no
// part of a UTF-8 character at its end. Bytes that are no UTF-8 are cut anywhere.
inline size_t Utf8PrefixSize(const char* text, size_t size, size_t max) {
  constexpr size_t kLongestTail = 3;
  if (size <= max) {
    return size;
  }
  const auto continues = [text](size_t at) {
    return (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80;
  };
  size_t end = max;
  while (end > 0 && max - end < kLongestTail && continues(end)) {
    --end;
  }
  return continues(end) ? max : end;
}

}  // namespace rtc

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_UTF8_PREFIX_H_
