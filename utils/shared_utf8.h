// Where UTF-8 begins and ends. Not for other users. May be used in a signal handler.
#ifndef UTILS_SHARED_UTF8_H_
#define UTILS_SHARED_UTF8_H_

#include <cstddef>
#include <cstdint>

namespace tessik::shared {

// Length (1 to 4) of the UTF-8 sequence that begins at `bytes`, of which `count` may be read; 0
// where none does: a stray or missing continuation, a form longer than need be, a surrogate, or a
// value above U+10FFFF (RFC 3629, section 4).
inline size_t Utf8SequenceLength(const char* bytes, size_t count) {
  if (count == 0) return 0;
  const auto byte = [bytes](size_t index) { return static_cast<uint8_t>(bytes[index]); };
  const auto continues = [&](size_t index) {
    return index < count && (byte(index) & 0xC0) == 0x80;
  };
  const uint8_t first = byte(0);
  if (first < 0x80) return 1;
  if (first < 0xC2 || first > 0xF4 || !continues(1)) return 0;
  if (first == 0xE0 && byte(1) < 0xA0) return 0;
  if (first == 0xED && byte(1) > 0x9F) return 0;
  if (first == 0xF0 && byte(1) < 0x90) return 0;
  if (first == 0xF4 && byte(1) > 0x8F) return 0;
  if (first < 0xE0) return 2;
  if (!continues(2)) return 0;
  if (first < 0xF0) return 3;
  return continues(3) ? 4 : 0;
}

}  // namespace tessik::shared

#endif  // UTILS_SHARED_UTF8_H_
