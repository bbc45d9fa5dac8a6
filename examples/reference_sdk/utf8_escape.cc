#include "examples/reference_sdk/utf8_escape.h"

#include <cstdio>

namespace reference_sdk {
namespace {

unsigned ByteAt(const std::string& text, size_t i) {
  return i < text.size() ? static_cast<unsigned char>(text[i]) : 0;
}

bool InRange(unsigned byte, unsigned lowest, unsigned highest) {
  return byte >= lowest && byte <= highest;
}

// Bytes of the well-formed character at `i`, or 0 (the table of the Unicode standard, section 3.9).
size_t CharacterLength(const std::string& text, size_t i) {
  const unsigned b0 = ByteAt(text, i);
  if (b0 < 0x80) return 1;
  const unsigned b1 = ByteAt(text, i + 1);
  if (InRange(b0, 0xc2, 0xdf)) return InRange(b1, 0x80, 0xbf) ? 2 : 0;
  const bool third = InRange(ByteAt(text, i + 2), 0x80, 0xbf);
  if (InRange(b0, 0xe0, 0xef)) {
    const unsigned lowest = b0 == 0xe0 ? 0xa0 : 0x80;
    const unsigned highest = b0 == 0xed ? 0x9f : 0xbf;
    return InRange(b1, lowest, highest) && third ? 3 : 0;
  }
  if (!InRange(b0, 0xf0, 0xf4)) return 0;
  const unsigned lowest = b0 == 0xf0 ? 0x90 : 0x80;
  const unsigned highest = b0 == 0xf4 ? 0x8f : 0xbf;
  const bool fourth = InRange(ByteAt(text, i + 3), 0x80, 0xbf);
  return InRange(b1, lowest, highest) && third && fourth ? 4 : 0;
}

// What a careless extractor, or a terminal, takes for something else than a part of a name: control
// characters (U+0080 to U+009F too) and the other system's separator.
bool IsUnsafe(const std::string& text, size_t i) {
  const unsigned byte = ByteAt(text, i);
  if (byte < 0x20 || byte == 0x7f || byte == '\\') return true;
  return byte == 0xc2 && InRange(ByteAt(text, i + 1), 0x80, 0x9f);
}

std::string Hex(unsigned byte) {
  char hex[4];
  snprintf(hex, sizeof hex, "%%%02X", byte);
  return hex;
}

}  // namespace

bool IsUtf8(const std::string& text) {
  for (size_t i = 0; i < text.size();) {
    const size_t length = CharacterLength(text, i);
    if (length == 0) return false;
    i += length;
  }
  return true;
}

bool IsPlainUtf8(const std::string& text) {
  if (!IsUtf8(text)) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    if (IsUnsafe(text, i)) return false;
  }
  return true;
}

std::string EscapeToUtf8(const std::string& text) {
  std::string escaped;
  for (size_t i = 0; i < text.size();) {
    const size_t length = CharacterLength(text, i);
    if (length == 0 || text[i] == '%' || IsUnsafe(text, i)) {
      const size_t end = i + (length == 0 ? 1 : length);
      for (; i < end; ++i) escaped += Hex(ByteAt(text, i));
      continue;
    }
    escaped.append(text, i, length);
    i += length;
  }
  return escaped;
}

}  // namespace reference_sdk
