#include "oru_report/text/escape.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "media_core/common/webrtc/rtc_base/string_encode.h"

namespace oru_report {
namespace {

constexpr char kReplacement[] = "\xEF\xBF\xBD";

struct Character {
  unsigned long value = 0;
  // Bytes; 0 where none begins.
  size_t length = 0;
};

Character CharacterAt(std::string_view text, size_t at) {
  Character character;
  const size_t length = rtc::utf8_decode(text.data() + at, text.size() - at, &character.value);
  // The decoder takes overlong forms and surrogates, which browsers and JSON readers refuse.
  constexpr unsigned long kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = character.value >= 0xD800 && character.value <= 0xDFFF;
  if (length != 0 && character.value >= kSmallest[length] && !surrogate &&
      character.value <= 0x10FFFF) {
    character.length = length;
  }
  return character;
}

// Marks that a reader does not see but that change what is seen.
bool IsHiddenMark(unsigned long value) {
  struct Range {
    unsigned long first;
    unsigned long last;
  };
  constexpr Range kRanges[] = {
      {0x7F, 0x9F},     {0xAD, 0xAD},     {0x61C, 0x61C},   {0x200B, 0x200B}, {0x200E, 0x200F},
      {0x2028, 0x202E}, {0x2060, 0x206F}, {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFB}, {0xE0000, 0xE0FFF}};
  for (const Range& range : kRanges) {
    if (value >= range.first && value <= range.last) return true;
  }
  return false;
}

bool Acts(unsigned long value) { return value < 0x20 || IsHiddenMark(value); }

std::string Number(const char* format, unsigned long value) {
  char text[16];
  snprintf(text, sizeof text, format, value);
  return text;
}

std::string VisibleForm(unsigned long value) {
  if (value < 0x80) return Number("\\x%02lx", value);
  return Number(value > 0xFFFF ? "\\U%08lx" : "\\u%04lx", value);
}

std::string JsonForm(unsigned long value) {
  if (value <= 0xFFFF) return Number("\\u%04lx", value);
  const unsigned long rest = value - 0x10000;
  return Number("\\u%04lx", 0xD800 + (rest >> 10)) + Number("\\u%04lx", 0xDC00 + (rest & 0x3FF));
}

// `text` with what `form` gives for a character in its place, or the character itself where that is
// empty.
template <typename Form>
std::string Rewritten(std::string_view text, const Form& form) {
  std::string result;
  result.reserve(text.size());
  for (size_t at = 0; at < text.size();) {
    const auto byte = static_cast<unsigned char>(text[at]);
    // Most of what is shown.
    const Character character = byte < 0x80 ? Character{byte, 1} : CharacterAt(text, at);
    if (character.length == 0) {
      result += kReplacement;
      ++at;
      continue;
    }
    const std::string shown = form(character.value);
    if (shown.empty()) {
      result.append(text, at, character.length);
    } else {
      result += shown;
    }
    at += character.length;
  }
  return result;
}

}  // namespace

std::string ToValidUtf8(std::string_view text) {
  return Rewritten(text, [](unsigned long) { return std::string(); });
}

std::string Visible(std::string_view text, bool keep_lines) {
  // Nearly all that is shown.
  const bool plain =
      std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < '\x7F'; });
  if (plain) return std::string(text);
  return Rewritten(text, [keep_lines](unsigned long value) {
    const bool stays = value == '\t' || (keep_lines && value == '\n');
    return Acts(value) && !stays ? VisibleForm(value) : std::string();
  });
}

std::string ForTerminal(std::string_view text) { return Visible(text); }

std::string ForHtml(std::string_view text) {
  const std::string shown = Visible(text, true);
  // "&apos;" and "&quot;" are the longest entities.
  std::vector<char> buffer(shown.size() * 6 + 1);
  const size_t length = rtc::xml_encode(buffer.data(), buffer.size(), shown.data(), shown.size());
  return {buffer.data(), length};
}

std::string JsonString(std::string_view text) {
  return "\"" +
         Rewritten(text,
                   [](unsigned long value) -> std::string {
                     if (value == '"') return "\\\"";
                     if (value == '\\') return "\\\\";
                     return Acts(value) ? JsonForm(value) : std::string();
                   }) +
         "\"";
}

}  // namespace oru_report
