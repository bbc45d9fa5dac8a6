// The inner loop of the functions that cut strings at one character. Not for users of the library.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_STRING_PIECES_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_STRING_PIECES_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "media_core/common/webrtc/rtc_base/string_encode_kernels.h"

namespace rtc {
namespace string_encode_internal {

// Calls `piece(begin, end)` for every piece of the text between delimiters, in order, empty ones
// included: always one more than there are delimiters.
template <typename Piece>
void ForEachPiece(const char* data, size_t size, char delimiter, Piece piece) {
  // The delimiters are looked up a stretch ahead: one pass finds many of them.
  constexpr size_t kStretch = 1024;
  uint16_t cuts[kStretch];
  const auto find_all = BestKernels().find_all;
  const char* begin = data;
  for (size_t at = 0; at < size; at += kStretch) {
    const size_t found = find_all(cuts, data + at, std::min(kStretch, size - at), delimiter);
    for (size_t i = 0; i < found; ++i) {
      const char* const cut = data + at + cuts[i];
      piece(begin, cut);
      begin = cut + 1;
    }
  }
  piece(begin, data + size);
}

// How often `ch` occurs.
inline size_t CountOf(const char* data, size_t size, char ch) {
  // Stretches that a byte can count, so that the compiler's vectors hold many counters.
  constexpr size_t kStretch = 255;
  size_t total = 0;
  for (size_t at = 0; at < size; at += kStretch) {
    const size_t end = std::min(size, at + kStretch);
    uint8_t count = 0;
    for (size_t i = at; i < end; ++i) count = static_cast<uint8_t>(count + (data[i] == ch));
    total += count;
  }
  return total;
}

}  // namespace string_encode_internal
}  // namespace rtc

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_STRING_PIECES_H_
