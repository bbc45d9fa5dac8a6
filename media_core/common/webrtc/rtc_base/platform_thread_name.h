// Names of threads. For the sources that set them.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_PLATFORM_THREAD_NAME_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_PLATFORM_THREAD_NAME_H_

#include <cstddef>
#include <cstring>
#include <string>

namespace rtc {

// The name, or as much of its beginning as fits in `max` bytes without a part of a UTF-8 character
// at the end. (Systems refuse a longer name instead of cutting it.)
inline std::string CutThreadName(const char* name, size_t max) {
  constexpr size_t kLongestTail = 3;
  const size_t length = strnlen(name, max + 1);
  if (length <= max) {
    return {name, length};
  }
  const auto continues = [name](size_t at) {
    return (static_cast<unsigned char>(name[at]) & 0xC0) == 0x80;
  };
  size_t end = max;
  while (end > 0 && max - end <= kLongestTail && continues(end)) {
    --end;
  }
  // No character is that long: what stands there is no text, and is cut anywhere.
  return {name, continues(end) ? max : end};
}

}  // namespace rtc

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_PLATFORM_THREAD_NAME_H_
