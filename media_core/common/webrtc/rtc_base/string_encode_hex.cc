#include "media_core/common/webrtc/rtc_base/string_encode.h"
#include "media_core/common/webrtc/rtc_base/string_encode_internal.h"
#include "media_core/common/webrtc/rtc_base/string_encode_kernels.h"

namespace rtc {

using string_encode_internal::BestKernels;
using string_encode_internal::DigitPair;
using string_encode_internal::DigitValue;
using string_encode_internal::HEX;
using string_encode_internal::NothingToDo;

namespace {

void WritePairs(char* buffer, const char* source, size_t srclen, char delimiter) {
  for (size_t i = 0; i < srclen; ++i) {
    const auto byte = static_cast<unsigned char>(source[i]);
    if (i != 0) *buffer++ = delimiter;
    *buffer++ = HEX[byte >> 4];
    *buffer++ = HEX[byte & 15];
  }
}

size_t EncodedLength(size_t srclen, char delimiter) {
  if (delimiter == '\0') return srclen * 2;
  return srclen == 0 ? 0 : srclen * 3 - 1;
}

// `buffer` holds EncodedLength bytes.
void EncodeInto(char* buffer, const char* source, size_t srclen, char delimiter) {
  if (delimiter == '\0') {
    BestKernels().hex_encode(buffer, source, srclen);
  } else {
    WritePairs(buffer, source, srclen, delimiter);
  }
}

size_t DecodeDelimited(char* buffer, const char* source, size_t srclen, char delimiter) {
  // Pairs with a delimiter behind each but the last.
  if (srclen % 3 != 2) return 0;
  const size_t pairs = (srclen + 1) / 3;
  for (size_t i = 0; i < pairs; ++i, source += 3) {
    if (!DigitPair(source, buffer + i)) return 0;
    if (i + 1 < pairs && source[2] != delimiter) return 0;
  }
  return pairs;
}

}  // namespace

char hex_encode(unsigned char value) { return value < 16 ? HEX[value] : '!'; }

bool hex_decode(char ch, unsigned char* value) {
  const int digit = DigitValue(ch);
  if (digit < 0) return false;
  *value = static_cast<unsigned char>(digit);
  return true;
}

size_t hex_encode_with_delimiter(char* buffer, size_t buflen, const char* source, size_t srclen,
                                 char delimiter) {
  if (srclen == 0) {
    NothingToDo(buffer, buflen, srclen);
    return 0;
  }
  const size_t fitting = delimiter != '\0' ? buflen / 3 : (buflen == 0 ? 0 : (buflen - 1) / 2);
  if (srclen > fitting) return 0;
  EncodeInto(buffer, source, srclen, delimiter);
  const size_t length = EncodedLength(srclen, delimiter);
  buffer[length] = '\0';
  return length;
}

size_t hex_encode(char* buffer, size_t buflen, const char* source, size_t srclen) {
  return hex_encode_with_delimiter(buffer, buflen, source, srclen, '\0');
}

std::string hex_encode(const std::string& source) {
  return hex_encode_with_delimiter(source.data(), source.size(), '\0');
}

std::string hex_encode(const char* source, size_t srclen) {
  return hex_encode_with_delimiter(source, srclen, '\0');
}

std::string hex_encode_with_delimiter(const char* source, size_t srclen, char delimiter) {
  std::string result(EncodedLength(srclen, delimiter), '\0');
  EncodeInto(&result[0], source, srclen, delimiter);
  return result;
}

size_t hex_decode_with_delimiter(char* buffer, size_t buflen, const char* source, size_t srclen,
                                 char delimiter) {
  if (srclen == 0) return 0;
  if (delimiter != '\0') {
    if (buflen < (srclen + 1) / 3) return 0;
    return DecodeDelimited(buffer, source, srclen, delimiter);
  }
  if (buflen < srclen / 2 || srclen % 2 != 0) return 0;
  const size_t pairs = srclen / 2;
  return BestKernels().hex_decode(buffer, source, pairs) == pairs ? pairs : 0;
}

size_t hex_decode_with_delimiter(char* buffer, size_t buflen, const std::string& source,
                                 char delimiter) {
  return hex_decode_with_delimiter(buffer, buflen, source.data(), source.size(), delimiter);
}

size_t hex_decode(char* buffer, size_t buflen, const char* source, size_t srclen) {
  return hex_decode_with_delimiter(buffer, buflen, source, srclen, '\0');
}

size_t hex_decode(char* buffer, size_t buflen, const std::string& source) {
  return hex_decode_with_delimiter(buffer, buflen, source.data(), source.size(), '\0');
}

}  // namespace rtc
