// What the sources of string_encode share. Not for other users.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_STRING_ENCODE_INTERNAL_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_STRING_ENCODE_INTERNAL_H_

#include <cstddef>

namespace rtc {
namespace string_encode_internal {

constexpr char HEX[] = "0123456789abcdef";

// Flags of ASCII_CLASS.
constexpr unsigned char kUrlUnsafe = 1;
constexpr unsigned char kEntity = 2;

// Flags of the 7-bit characters.
extern const unsigned char ASCII_CLASS[128];

inline bool HasFlag(char ch, unsigned char flag) {
  const auto byte = static_cast<unsigned char>(ch);
  return byte < 0x80 && (ASCII_CLASS[byte] & flag) != 0;
}

// The value of a digit or letter (0 to 35), or -1.
inline int DigitValue(char ch) {
  if (ch >= '0' && ch <= '9') return ch - '0';
  if (ch >= 'A' && ch <= 'Z') return ch - 'A' + 10;
  if (ch >= 'a' && ch <= 'z') return ch - 'a' + 10;
  return -1;
}

// Reads two digits; false when one of them is none.
inline bool DigitPair(const char* source, char* byte) {
  const int high = DigitValue(source[0]);
  const int low = DigitValue(source[1]);
  if (high < 0 || low < 0) return false;
  *byte = static_cast<char>((high << 4) | low);
  return true;
}

// The cases that every buffer function decides first. True when nothing is left to do.
inline bool NothingToDo(char* buffer, size_t buflen, size_t srclen) {
  if (buflen == 0) return true;
  if (srclen != 0 && buflen != 1) return false;
  buffer[0] = '\0';
  return true;
}

}  // namespace string_encode_internal
}  // namespace rtc

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_STRING_ENCODE_INTERNAL_H_
