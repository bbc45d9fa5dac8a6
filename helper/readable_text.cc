#include "helper/readable_text.h"

#include <cstdint>

namespace {

bool IsContinuation(char byte) { return (static_cast<uint8_t>(byte) & 0xC0) == 0x80; }

// The range of a sequence's second byte depends on the first (RFC 3629, section 4).
bool SecondByteFits(uint8_t first, char second) {
  if (!IsContinuation(second)) return false;
  const auto byte = static_cast<uint8_t>(second);
  if (first == 0xE0) return byte >= 0xA0;
  if (first == 0xED) return byte <= 0x9F;
  if (first == 0xF0) return byte >= 0x90;
  if (first == 0xF4) return byte <= 0x8F;
  return true;
}

}  // namespace

size_t Utf8SequenceLength(const char* text) {
  const auto first = static_cast<uint8_t>(text[0]);
  if (first < 0x80) return 1;
  if (first < 0xC2 || first > 0xF4) return 0;
  if (!SecondByteFits(first, text[1])) return 0;
  if (first < 0xE0) return 2;
  if (!IsContinuation(text[2])) return 0;
  if (first < 0xF0) return 3;
  return IsContinuation(text[3]) ? 4 : 0;
}

bool IsUtf8(const char* text) {
  while (*text != '\0') {
    const size_t length = Utf8SequenceLength(text);
    if (length == 0) return false;
    text += length;
  }
  return true;
}

std::string ReadableText(const char* text) {
  if (IsUtf8(text)) return text;
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string readable;
  while (*text != '\0') {
    const size_t length = Utf8SequenceLength(text);
    if (length == 0) {
      const auto byte = static_cast<uint8_t>(*text);
      readable += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
      ++text;
      continue;
    }
    if (*text == '\\') readable += '\\';
    readable.append(text, length);
    text += length;
  }
  return readable;
}
