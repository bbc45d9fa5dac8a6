#include "fuzz/json_reader.h"

#include "fuzz/utf8_check.h"

namespace oru_fuzz {
namespace {

constexpr int kMaxDepth = 16;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

class Reader {
 public:
  Reader(const std::string& text, JsonRules rules) : text_(text), rules_(rules) {}

  bool ReadAll(Json* value) {
    SkipSpace();
    if (!ReadValue(value, 0)) return false;
    SkipSpace();
    return at_ == text_.size();
  }

 private:
  char Peek() const { return at_ < text_.size() ? text_[at_] : '\0'; }

  bool Take(const std::string& wanted) {
    if (text_.compare(at_, wanted.size(), wanted) != 0) return false;
    at_ += wanted.size();
    return true;
  }

  void SkipSpace() {
    while (at_ < text_.size() && std::string(" \t\r\n").find(text_[at_]) != std::string::npos) {
      ++at_;
    }
  }

  bool ReadValue(Json* value, int depth) {
    if (depth > kMaxDepth) return false;
    if (Peek() == '{') return ReadObject(value, depth);
    if (Peek() == '[') return ReadArray(value, depth);
    if (Peek() == '"') {
      value->kind = Json::kString;
      return ReadString(&value->text);
    }
    return ReadWord(value) || ReadNumber(value);
  }

  bool ReadObject(Json* value, int depth) {
    value->kind = Json::kObject;
    ++at_;
    SkipSpace();
    if (Take("}")) return true;
    do {
      SkipSpace();
      value->names.emplace_back();
      value->values.emplace_back();
      if (!ReadString(&value->names.back())) return false;
      SkipSpace();
      if (!Take(":")) return false;
      SkipSpace();
      if (!ReadValue(&value->values.back(), depth + 1)) return false;
      SkipSpace();
    } while (Take(","));
    return Take("}");
  }

  bool ReadArray(Json* value, int depth) {
    value->kind = Json::kArray;
    ++at_;
    SkipSpace();
    if (Take("]")) return true;
    do {
      SkipSpace();
      value->values.emplace_back();
      if (!ReadValue(&value->values.back(), depth + 1)) return false;
      SkipSpace();
    } while (Take(","));
    return Take("]");
  }

  bool ReadString(std::string* string) {
    if (!Take("\"")) return false;
    while (at_ < text_.size() && text_[at_] != '"') {
      if (text_[at_] == '\\') {
        if (!ReadEscape(string)) return false;
        continue;
      }
      const bool control = static_cast<unsigned char>(text_[at_]) < 0x20;
      if (control && rules_ == JsonRules::kStrict) return false;
      *string += text_[at_++];
    }
    return Take("\"");
  }

  bool ReadEscape(std::string* string) {
    ++at_;
    const char c = Peek();
    ++at_;
    if (c == '"' || c == '\\') {
      *string += c;
      return true;
    }
    if (rules_ == JsonRules::kTrace) return false;
    const std::string letters = "/bfnrt";
    const size_t letter = letters.find(c);
    if (letter != std::string::npos) {
      *string += "/\b\f\n\r\t"[letter];
      return true;
    }
    return c == 'u' && ReadCodeUnit(string);
  }

  // Reads four digits.
  bool ReadFour(unsigned long* code) {
    const std::string digits = text_.substr(at_, 4);
    if (digits.size() != 4) return false;
    if (digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) return false;
    *code = std::stoul(digits, nullptr, 16);
    at_ += 4;
    return true;
  }

  // A character beyond the first 65536 stands as a pair of surrogates, never as half of one.
  bool ReadCodeUnit(std::string* string) {
    unsigned long code = 0;
    if (!ReadFour(&code) || (code >= 0xDC00 && code <= 0xDFFF)) return false;
    if (code >= 0xD800 && code <= 0xDBFF) {
      unsigned long low = 0;
      if (!Take("\\u") || !ReadFour(&low) || low < 0xDC00 || low > 0xDFFF) return false;
      code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
    }
    *string += oru_test::Utf8Of(code);
    return true;
  }

  bool ReadWord(Json* value) {
    std::vector<std::string> words = {"true", "false", "null"};
    if (rules_ == JsonRules::kTrace) words.insert(words.end(), {"inf", "-inf", "nan", "-nan"});
    for (const std::string& word : words) {
      if (!Take(word)) continue;
      value->kind = Json::kWord;
      value->text = word;
      return true;
    }
    return false;
  }

  size_t SkipDigits() {
    const size_t start = at_;
    while (IsDigit(Peek())) ++at_;
    return at_ - start;
  }

  bool ReadNumber(Json* value) {
    const size_t start = at_;
    Take("-");
    const bool zero = Peek() == '0';
    const size_t whole = SkipDigits();
    if (whole == 0 || (zero && whole > 1)) return false;
    if (Take(".") && SkipDigits() == 0 && rules_ == JsonRules::kStrict) return false;
    if (Take("e") || Take("E")) {
      if (!Take("+")) Take("-");
      if (SkipDigits() == 0) return false;
    }
    value->kind = Json::kNumber;
    value->text = text_.substr(start, at_ - start);
    return true;
  }

  const std::string& text_;
  const JsonRules rules_;
  size_t at_ = 0;
};

}  // namespace

const Json* Json::Find(const std::string& name) const {
  const Json* found = nullptr;
  for (size_t i = 0; i < names.size(); ++i) {
    if (names[i] != name) continue;
    if (found != nullptr) return nullptr;
    found = &values[i];
  }
  return found;
}

bool ReadJson(const std::string& text, JsonRules rules, Json* value) {
  *value = Json();
  if (rules == JsonRules::kStrict && !IsWellFormed(text)) return false;
  return Reader(text, rules).ReadAll(value);
}

}  // namespace oru_fuzz
