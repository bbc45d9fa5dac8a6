#include "oru_report/escape.h"

#include <cstdio>
#include <vector>

#include "media_core/common/webrtc/rtc_base/string_encode.h"

namespace oru_report {
namespace {

constexpr char kReplacement[] = "\xEF\xBF\xBD";

bool IsControl(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < 0x20 || byte == 0x7F;
}

// The length of the valid sequence at `at`, or 0.
size_t SequenceLength(const std::string& text, size_t at) {
  unsigned long value = 0;
  const size_t length = rtc::utf8_decode(text.data() + at, text.size() - at, &value);
  // The decoder takes overlong forms and surrogates, which browsers and JSON readers refuse.
  constexpr unsigned long kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  if (length == 0 || value < kSmallest[length]) return 0;
  if ((value >= 0xD800 && value <= 0xDFFF) || value > 0x10FFFF) return 0;
  return length;
}

}  // namespace

std::string ToValidUtf8(const std::string& text) {
  std::string valid;
  valid.reserve(text.size());
  for (size_t at = 0; at < text.size();) {
    const size_t length = SequenceLength(text, at);
    if (length == 0) {
      valid += kReplacement;
      ++at;
    } else {
      valid.append(text, at, length);
      at += length;
    }
  }
  return valid;
}

std::string ForTerminal(const std::string& text) {
  std::string safe;
  for (const char c : ToValidUtf8(text)) {
    if (IsControl(c) && c != '\t') {
      char escaped[8];
      snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(c));
      safe += escaped;
    } else {
      safe += c;
    }
  }
  return safe;
}

std::string ForHtml(const std::string& text) {
  const std::string valid = ToValidUtf8(text);
  // "&apos;" and "&quot;" are the longest entities.
  std::vector<char> buffer(valid.size() * 6 + 1);
  const size_t length = rtc::xml_encode(buffer.data(), buffer.size(), valid.data(), valid.size());
  return {buffer.data(), length};
}

std::string JsonString(const std::string& text) {
  std::string json = "\"";
  for (const char c : ToValidUtf8(text)) {
    if (c == '"' || c == '\\') {
      json += '\\';
      json += c;
    } else if (IsControl(c)) {
      char escaped[8];
      snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned char>(c));
      json += escaped;
    } else {
      json += c;
    }
  }
  return json + "\"";
}

}  // namespace oru_report
