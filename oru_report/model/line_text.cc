#include "oru_report/model/line_text.h"

#include <algorithm>

namespace oru_report {
namespace {

// The value of a digit, or 255.
unsigned DigitValue(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a') + 10;
  if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A') + 10;
  return 255;
}

}  // namespace

bool StartsWith(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

bool EndsWith(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

bool Contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

std::string_view Trim(std::string_view text) {
  const size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return text.substr(text.size());
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

uint64_t LeadingNumber(std::string_view text, unsigned base, size_t* digits) {
  uint64_t value = 0;
  size_t count = 0;
  for (; count < text.size() && DigitValue(text[count]) < base; ++count) {
    const unsigned digit = DigitValue(text[count]);
    value = value > (UINT64_MAX - digit) / base ? UINT64_MAX : value * base + digit;
  }
  if (digits != nullptr) *digits = count;
  return value;
}

bool ReadHex(std::string_view text, size_t* at, uint64_t* value) {
  if (text.substr(*at, 2) != "0x") return false;
  size_t digits = 0;
  const uint64_t number = LeadingNumber(text.substr(*at + 2), 16, &digits);
  if (digits == 0) return false;
  *value = number;
  *at += 2 + digits;
  return true;
}

bool TakeLine(std::string_view* rest, std::string_view* line) {
  if (rest->empty()) return false;
  const size_t end = std::min(rest->find('\n'), rest->size());
  *line = rest->substr(0, end);
  rest->remove_prefix(std::min(end + 1, rest->size()));
  return true;
}

}  // namespace oru_report
