#include "media_core/common/webrtc/rtc_base/string_encode.h"

namespace rtc {

namespace {

// The length that a lead byte announces, and the bits of it that belong to the code point.
struct LeadByte {
  unsigned char mask;
  unsigned char pattern;
  size_t length;
};

constexpr LeadByte kLeadBytes[] = {{0xE0, 0xC0, 2}, {0xF0, 0xE0, 3}, {0xF8, 0xF0, 4}};

}  // namespace

size_t utf8_decode(const char* source, size_t srclen, unsigned long* value) {
  if (srclen == 0) return 0;
  const auto* bytes = reinterpret_cast<const unsigned char*>(source);
  if (bytes[0] < 0x80) {
    *value = bytes[0];
    return 1;
  }
  for (const LeadByte& lead : kLeadBytes) {
    if ((bytes[0] & lead.mask) != lead.pattern) continue;
    if (srclen < lead.length) return 0;
    unsigned long code = bytes[0] & static_cast<unsigned char>(~lead.mask);
    for (size_t i = 1; i < lead.length; ++i) {
      if ((bytes[i] & 0xC0) != 0x80) return 0;
      code = (code << 6) | (bytes[i] & 0x3FU);
    }
    *value = code;
    return lead.length;
  }
  return 0;
}

size_t utf8_encode(char* buffer, size_t buflen, unsigned long value) {
  if (value < 0x80) {
    if (buflen < 1) return 0;
    buffer[0] = static_cast<char>(value);
    return 1;
  }
  const size_t length = value < 0x800 ? 2 : value < 0x10000 ? 3 : 4;
  if (value > 0x1FFFFF || buflen < length) return 0;
  for (size_t i = length - 1; i > 0; --i, value >>= 6) {
    buffer[i] = static_cast<char>(0x80 | (value & 0x3F));
  }
  buffer[0] = static_cast<char>(kLeadBytes[length - 2].pattern | value);
  return length;
}

}  // namespace rtc
