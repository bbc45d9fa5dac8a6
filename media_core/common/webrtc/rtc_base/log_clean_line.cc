#include "media_core/common/webrtc/rtc_base/log_clean_line.h"

#include <cstddef>

#include "media_core/common/webrtc/rtc_base/string_encode.h"

namespace rtc {
namespace {

bool IsControl(unsigned long point) {
  return (point < 0x20 && point != '\t') || (point >= 0x7F && point < 0xA0);
}

// Marks that turn the direction of what follows, and separators of lines and paragraphs.
bool TurnsText(unsigned long point) {
  return point == 0x61C || point == 0x200E || point == 0x200F ||
         (point >= 0x2028 && point <= 0x202E) || (point >= 0x2066 && point <= 0x2069);
}

// The decoder of string_encode.h takes more than UTF-8.
bool IsUtf8Form(unsigned long point, size_t length) {
  constexpr unsigned long kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  return point >= kSmallest[length] && point <= 0x10FFFF && (point < 0xD800 || point > 0xDFFF);
}

// Length of the character at `text` if it may stand in a line, else 0.
size_t CleanLength(const char* text, size_t size) {
  const auto first = static_cast<unsigned char>(*text);
  if (first < 0x80) {
    return IsControl(first) ? 0 : 1;
  }
  unsigned long point = 0;
  const size_t length = utf8_decode(text, size, &point);
  const bool clean =
      length != 0 && IsUtf8Form(point, length) && !IsControl(point) && !TurnsText(point);
  return clean ? length : 0;
}

size_t TextSize(const std::string& line) {
  return line.empty() || line.back() != '\n' ? line.size() : line.size() - 1;
}

void AppendShown(std::string* text, char c) {
  const auto byte = static_cast<unsigned char>(c);
  if (c == '\n' || c == '\r') {
    *text += c == '\n' ? "\\n" : "\\r";
    return;
  }
  *text += "\\x";
  text->push_back(hex_encode(static_cast<unsigned char>(byte >> 4)));
  text->push_back(hex_encode(static_cast<unsigned char>(byte & 0xF)));
}

}  // namespace

bool IsCleanLine(const std::string& line) {
  const size_t size = TextSize(line);
  for (size_t at = 0; at < size;) {
    const size_t length = CleanLength(line.data() + at, size - at);
    if (length == 0) {
      return false;
    }
    at += length;
  }
  return true;
}

std::string CleanLine(const std::string& line) {
  const size_t size = TextSize(line);
  std::string clean;
  clean.reserve(line.size() + 16);
  for (size_t at = 0; at < size;) {
    const size_t length = CleanLength(line.data() + at, size - at);
    if (length == 0) {
      AppendShown(&clean, line[at++]);
    } else {
      clean.append(line, at, length);
      at += length;
    }
  }
  return clean.append(line, size, std::string::npos);
}

}  // namespace rtc
