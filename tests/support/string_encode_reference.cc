#include "tests/support/string_encode_reference.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "media_core/common/webrtc/rtc_base/string_encode.h"

namespace oru_test {

namespace {

std::string HexDigits(char ch) {
  char text[8];
  std::snprintf(text, sizeof(text), "%02x", static_cast<unsigned>(static_cast<unsigned char>(ch)));
  return text;
}

// 0 to 35, or -1.
int ValueOf(char ch) {
  static const std::string kLower = "0123456789abcdefghijklmnopqrstuvwxyz";
  static const std::string kUpper = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
  const size_t lower = kLower.find(ch);
  if (lower != std::string::npos) return static_cast<int>(lower);
  const size_t upper = kUpper.find(ch);
  return upper != std::string::npos ? static_cast<int>(upper) : -1;
}

bool PairAt(const std::string& source, size_t at, char* byte) {
  if (at + 2 > source.size()) return false;
  const int high = ValueOf(source[at]);
  const int low = ValueOf(source[at + 1]);
  if (high < 0 || low < 0) return false;
  *byte = static_cast<char>((high * 16) | low);
  return true;
}

bool IsUrlUnsafe(char ch) {
  static const unsigned char kUnsafe[] = {0x22, 0x23, 0x24, 0x25, 0x26, 0x2B, 0x2C, 0x2F,
                                          0x3A, 0x3B, 0x3C, 0x3D, 0x3E, 0x3F, 0x40, 0x5B,
                                          0x5C, 0x5D, 0x5E, 0x60, 0x7B, 0x7C, 0x7D, 0x7F};
  const auto byte = static_cast<unsigned char>(ch);
  return byte <= 0x20 || std::memchr(kUnsafe, byte, sizeof(kUnsafe)) != nullptr;
}

std::string NamedEntity(char ch, const char* apostrophe) {
  if (ch == '"') return "&quot;";
  if (ch == '&') return "&amp;";
  if (ch == '\'') return apostrophe;
  if (ch == '<') return "&lt;";
  if (ch == '>') return "&gt;";
  return std::string(1, ch);
}

bool StartsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

// The text of the reference at the start of `rest` and its length, or 0.
size_t Reference(const std::string& rest, std::string* text) {
  static const std::string kNamed[][2] = {
      {"&lt;", "<"}, {"&gt;", ">"}, {"&apos;", "'"}, {"&quot;", "\""}, {"&amp;", "&"}};
  for (const auto& named : kNamed) {
    if (!StartsWith(rest, named[0])) continue;
    *text = named[1];
    return named[0].size();
  }
  const size_t end = rest.find(';');
  if (!StartsWith(rest, "&#") || end == std::string::npos) return 0;
  const bool hex = rest[2] == 'x';
  const std::string digits = rest.substr(hex ? 3 : 2, end - (hex ? 3 : 2));
  const char* const allowed = hex ? "0123456789abcdefABCDEF" : "0123456789";
  if (digits.empty() || digits.find_first_not_of(allowed) != std::string::npos) return 0;
  const size_t significant = digits.find_first_not_of('0');
  if (significant != std::string::npos && digits.size() - significant > 10) return 0;
  *text = Utf8Of(std::strtoul(digits.c_str(), nullptr, hex ? 16 : 10));
  return text->empty() ? 0 : end + 1;
}

}  // namespace

Units EscapeUnits(const std::string& source, const std::string& illegal, char escape) {
  Units units;
  for (const char ch : source) {
    const bool special = ch == escape || illegal.find(ch) != std::string::npos;
    units.push_back(special ? std::string(1, escape) + ch : std::string(1, ch));
  }
  return units;
}

Units UnescapeUnits(const std::string& source, char escape) {
  Units units;
  for (size_t i = 0; i < source.size(); ++i) {
    if (source[i] == escape && i + 1 < source.size()) ++i;
    units.emplace_back(1, source[i]);
  }
  return units;
}

Units EncodeUnits(const std::string& source, const std::string& illegal, char escape) {
  Units units;
  for (const char ch : source) {
    const bool special = ch == escape || illegal.find(ch) != std::string::npos;
    units.push_back(special ? std::string(1, escape) + HexDigits(ch) : std::string(1, ch));
  }
  return units;
}

Units DecodeUnits(const std::string& source, char escape, bool plus_is_space) {
  Units units;
  for (size_t i = 0; i < source.size(); ++i) {
    char ch = source[i];
    if (ch == escape && PairAt(source, i + 1, &ch)) {
      i += 2;
    } else if (plus_is_space && ch == '+') {
      ch = ' ';
    }
    units.emplace_back(1, ch);
  }
  return units;
}

Units UrlEncodeUnits(const std::string& source) {
  Units units;
  for (const char ch : source) {
    units.push_back(IsUrlUnsafe(ch) ? "%" + HexDigits(ch) : std::string(1, ch));
  }
  return units;
}

Units UrlDecodeUnits(const std::string& source) { return DecodeUnits(source, '%', true); }

Units HtmlEncodeUnits(const std::string& source) {
  Units units;
  for (size_t i = 0; i < source.size();) {
    const auto byte = static_cast<unsigned char>(source[i]);
    if (byte < 0x80) {
      units.push_back(NamedEntity(source[i++], "&#39;"));
      continue;
    }
    unsigned long code = byte;
    const size_t length = Utf8Length(source.substr(i, 4), &code);
    units.push_back("&#" + std::to_string(code) + ";");
    i += length == 0 ? 1 : length;
  }
  return units;
}

Units XmlEncodeUnits(const std::string& source) {
  Units units;
  for (const char ch : source) units.push_back(NamedEntity(ch, "&apos;"));
  return units;
}

Units XmlDecodeUnits(const std::string& source) {
  Units units;
  for (size_t i = 0; i < source.size();) {
    std::string text(1, source[i]);
    size_t taken = 1;
    if (source[i] == '&') taken = Reference(source.substr(i), &text);
    if (taken == 0) break;
    units.push_back(text);
    i += taken;
  }
  return units;
}

std::string Fit(const Units& units, size_t capacity) {
  std::string text;
  for (const std::string& unit : units) {
    if (text.size() + unit.size() + 1 > capacity) break;
    text += unit;
  }
  return text;
}

std::string Join(const Units& units) {
  std::string text;
  for (const std::string& unit : units) text += unit;
  return text;
}

std::string Utf8Of(unsigned long code) {
  const auto byte = [](unsigned long value) { return std::string(1, static_cast<char>(value)); };
  if (code < 0x80) return byte(code);
  if (code < 0x800) return byte(0xC0 | code >> 6) + byte(0x80 | (code & 63));
  if (code < 0x10000) {
    return byte(0xE0 | code >> 12) + byte(0x80 | (code >> 6 & 63)) + byte(0x80 | (code & 63));
  }
  if (code > 0x1FFFFF) return "";
  return byte(0xF0 | code >> 18) + byte(0x80 | (code >> 12 & 63)) + byte(0x80 | (code >> 6 & 63)) +
         byte(0x80 | (code & 63));
}

size_t Utf8Length(const std::string& source, unsigned long* code) {
  if (source.empty()) return 0;
  const auto at = [&source](size_t i) {
    return i < source.size() ? static_cast<unsigned char>(source[i]) : 0U;
  };
  const auto follows = [&at](size_t i) { return at(i) >= 0x80 && at(i) <= 0xBF; };
  const unsigned lead = at(0);
  if (lead < 0x80) {
    *code = lead;
    return 1;
  }
  if (lead >= 0xC0 && lead <= 0xDF && follows(1)) {
    *code = (lead - 0xC0) * 64UL + (at(1) - 0x80);
    return 2;
  }
  if (lead >= 0xE0 && lead <= 0xEF && follows(1) && follows(2)) {
    *code = (lead - 0xE0) * 4096UL + (at(1) - 0x80) * 64UL + (at(2) - 0x80);
    return 3;
  }
  if (lead >= 0xF0 && lead <= 0xF7 && follows(1) && follows(2) && follows(3)) {
    *code =
        (lead - 0xF0) * 262144UL + (at(1) - 0x80) * 4096UL + (at(2) - 0x80) * 64UL + (at(3) - 0x80);
    return 4;
  }
  return 0;
}

std::string HexOf(const std::string& source, char delimiter) {
  std::string text;
  for (const char ch : source) {
    if (!text.empty() && delimiter != '\0') text += delimiter;
    text += HexDigits(ch);
  }
  return text;
}

bool BytesOfHex(const std::string& source, char delimiter, std::string* bytes) {
  bytes->clear();
  size_t i = 0;
  while (i < source.size()) {
    char byte = 0;
    if (!PairAt(source, i, &byte)) return false;
    *bytes += byte;
    i += 2;
    if (i == source.size() || delimiter == '\0') continue;
    // A delimiter stands between pairs, so something follows it.
    if (source[i] != delimiter || i + 1 == source.size()) return false;
    ++i;
  }
  return !source.empty();
}

std::vector<std::string> PiecesOf(const std::string& source, char delimiter, bool keep_empty) {
  std::vector<std::string> pieces(1);
  for (const char ch : source) {
    if (ch != delimiter) {
      pieces.back() += ch;
    } else if (keep_empty || !pieces.back().empty()) {
      pieces.emplace_back();
    }
  }
  if (!keep_empty && pieces.back().empty()) pieces.pop_back();
  return pieces;
}

std::vector<std::string> MarkedPiecesOf(const std::string& source, char delimiter, char start_mark,
                                        char end_mark) {
  const size_t start = source.find(start_mark);
  const size_t end = start == std::string::npos ? start : source.find(end_mark, start + 1);
  if (end == std::string::npos) return PiecesOf(source, delimiter, false);
  std::string before = source.substr(0, start);
  if (!before.empty()) before.pop_back();
  std::vector<std::string> pieces = PiecesOf(before, delimiter, false);
  pieces.push_back(source.substr(start + 1, end - start - 1));
  for (std::string& piece :
       MarkedPiecesOf(source.substr(end + 1), delimiter, start_mark, end_mark)) {
    pieces.push_back(std::move(piece));
  }
  return pieces;
}

std::vector<std::string> SplitAtSetReference(const std::string& text, const std::string& delims,
                                             bool keep_delims) {
  if (text.empty() || delims.empty()) return {text};
  std::vector<std::string> elements;
  std::string element;
  for (const char ch : text) {
    if (delims.find(ch) == std::string::npos) {
      element += ch;
      continue;
    }
    if (!element.empty()) elements.push_back(element);
    element.clear();
    if (keep_delims) elements.emplace_back(1, ch);
  }
  elements.push_back(element);
  return elements;
}

const std::vector<EncodeCase>& EncodeCases() {
  static const std::vector<EncodeCase> cases = {
      {"escape",
       [](char* b, size_t bl, const char* s, size_t sl) {
         return rtc::escape(b, bl, s, sl, "&<%", '\\');
       },
       [](const std::string& s) { return EscapeUnits(s, "&<%", '\\'); }},
      {"unescape",
       [](char* b, size_t bl, const char* s, size_t sl) {
         return rtc::unescape(b, bl, s, sl, '%');
       },
       [](const std::string& s) { return UnescapeUnits(s, '%'); }},
      {"encode",
       [](char* b, size_t bl, const char* s, size_t sl) {
         return rtc::encode(b, bl, s, sl, "&<", '%');
       },
       [](const std::string& s) { return EncodeUnits(s, "&<", '%'); }},
      {"decode",
       [](char* b, size_t bl, const char* s, size_t sl) { return rtc::decode(b, bl, s, sl, '%'); },
       [](const std::string& s) { return DecodeUnits(s, '%', false); }},
      {"decode_letter",
       [](char* b, size_t bl, const char* s, size_t sl) { return rtc::decode(b, bl, s, sl, 'a'); },
       [](const std::string& s) { return DecodeUnits(s, 'a', false); }},
      {"url_encode", rtc::url_encode, UrlEncodeUnits},
      {"url_decode", rtc::url_decode, UrlDecodeUnits},
      {"html_encode", rtc::html_encode, HtmlEncodeUnits},
      {"html_decode", rtc::html_decode, XmlDecodeUnits},
      {"xml_encode", rtc::xml_encode, XmlEncodeUnits},
      {"xml_decode", rtc::xml_decode, XmlDecodeUnits},
  };
  return cases;
}

}  // namespace oru_test
