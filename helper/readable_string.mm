#import "helper/readable_string.h"

#include <vector>

#include "helper/readable_text.h"

namespace {

bool IsSurrogate(unichar unit) { return unit >= 0xD800 && unit <= 0xDFFF; }

bool IsPair(unichar first, unichar second) {
  return first >= 0xD800 && first <= 0xDBFF && second >= 0xDC00 && second <= 0xDFFF;
}

void AppendUtf8(uint32_t character, std::string *text) {
  const auto tail = [&](int shift) {
    *text += static_cast<char>(0x80 | ((character >> shift) & 0x3F));
  };
  if (character < 0x80) {
    *text += static_cast<char>(character);
  } else if (character < 0x800) {
    *text += static_cast<char>(0xC0 | (character >> 6));
    tail(0);
  } else if (character < 0x10000) {
    *text += static_cast<char>(0xE0 | (character >> 12));
    tail(6);
    tail(0);
  } else {
    *text += static_cast<char>(0xF0 | (character >> 18));
    tail(12);
    tail(6);
    tail(0);
  }
}

}  // namespace

NSString *ReadableString(const char *text) {
  // Foundation would take a byte order mark away: it is made no longer the first.
  const std::string shielded = "." + ReadableText(text);
  return [[NSString stringWithUTF8String:shielded.c_str()] substringFromIndex:1];
}

std::string Utf8Text(NSString *text) {
  if (text == nil) return "(null)";
  std::vector<unichar> units([text length]);
  if (!units.empty()) [text getCharacters:units.data() range:NSMakeRange(0, units.size())];
  std::string utf8;
  utf8.reserve(units.size());
  for (size_t i = 0; i < units.size(); ++i) {
    if (i + 1 < units.size() && IsPair(units[i], units[i + 1])) {
      AppendUtf8(0x10000 + ((units[i] - 0xD800U) << 10) + (units[i + 1] - 0xDC00U), &utf8);
      ++i;
    } else if (units[i] == 0) {
      utf8 += "\\x00";
    } else {
      AppendUtf8(IsSurrogate(units[i]) ? 0xFFFD : units[i], &utf8);
    }
  }
  return utf8;
}
