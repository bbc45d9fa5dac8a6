#include "oru_report/model/companion.h"

#include <algorithm>

#include "media_core/common/webrtc/rtc_base/string_encode.h"
#include "oru_report/model/limits.h"
#include "oru_report/model/line_text.h"

namespace oru_report {
namespace {

constexpr uint64_t kKnownSchema = 1;

bool IsHighSurrogate(uint64_t value) { return value >= 0xD800 && value <= 0xDBFF; }
bool IsLowSurrogate(uint64_t value) { return value >= 0xDC00 && value <= 0xDFFF; }

// Reads a line from its start.
class LineReader {
 public:
  explicit LineReader(std::string_view rest) : rest_(rest) {}

  bool Read(CompanionLine* line) {
    return Members("", line) && rest_.empty() && !line->type.empty();
  }

 private:
  bool Skip(char c) {
    if (rest_.empty() || rest_.front() != c) return false;
    rest_.remove_prefix(1);
    return true;
  }

  // An object; `object` is its name in the line's own, which is not within another.
  bool Members(const std::string& object, CompanionLine* line) {
    if (!Skip('{')) return false;
    if (Skip('}')) return true;
    do {
      CompanionValue value;
      value.object = object;
      if (!String(&value.name) || !Skip(':')) return false;
      if (!rest_.empty() && rest_.front() == '{') {
        if (!object.empty() || !Members(value.name, line)) return false;
        continue;
      }
      if (line->values.size() == kMaxCompanionValues || !Value(&value)) return false;
      if (object.empty() && value.name == "type" && line->type.empty()) {
        line->type = value.text;
      } else {
        line->values.push_back(std::move(value));
      }
    } while (Skip(','));
    return Skip('}');
  }

  bool Value(CompanionValue* value) {
    if (!rest_.empty() && rest_.front() == '"') {
      value->kind = CompanionValue::Kind::kText;
      return String(&value->text);
    }
    for (const std::string_view word : {"null", "true", "false"}) {
      if (!StartsWith(rest_, word)) continue;
      value->text = word;
      rest_.remove_prefix(word.size());
      return true;
    }
    return Number(&value->text);
  }

  // Whole ones; a companion has no others.
  bool Number(std::string* text) {
    const size_t sign = StartsWith(rest_, "-") ? 1 : 0;
    size_t size = sign;
    while (size < rest_.size() && rest_[size] >= '0' && rest_[size] <= '9') ++size;
    const bool zeros = size > sign + 1 && rest_[sign] == '0';
    if (size == sign || zeros) return false;
    *text = rest_.substr(0, size);
    rest_.remove_prefix(size);
    return true;
  }

  bool String(std::string* content) {
    if (!Skip('"')) return false;
    while (!rest_.empty() && rest_.front() != '"') {
      const char c = rest_.front();
      rest_.remove_prefix(1);
      if (c != '\\') {
        *content += c;
      } else if (!Escape(content)) {
        return false;
      }
    }
    return Skip('"');
  }

  bool Escape(std::string* content) {
    constexpr std::string_view kLetters = "\"\\/bfnrt";
    constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
    if (rest_.empty()) return false;
    const char c = rest_.front();
    rest_.remove_prefix(1);
    if (c == 'u') return Character(content);
    const size_t letter = kLetters.find(c);
    if (letter == std::string_view::npos) return false;
    *content += kMeanings[letter];
    return true;
  }

  bool Unit(uint64_t* value) {
    size_t digits = 0;
    *value = LeadingNumber(rest_.substr(0, 4), 16, &digits);
    if (digits != 4) return false;
    rest_.remove_prefix(4);
    return true;
  }

  // Half a pair stands for nothing that can be seen.
  bool Character(std::string* content) {
    uint64_t value = 0;
    if (!Unit(&value)) return false;
    if (IsHighSurrogate(value) && StartsWith(rest_, "\\u")) {
      uint64_t low = 0;
      rest_.remove_prefix(2);
      if (!Unit(&low)) return false;
      value = IsLowSurrogate(low) ? 0x10000 + ((value - 0xD800) << 10) + (low - 0xDC00) : 0xFFFD;
    }
    if (IsHighSurrogate(value) || IsLowSurrogate(value)) value = 0xFFFD;
    char encoded[4];
    content->append(encoded, rtc::utf8_encode(encoded, sizeof encoded, value));
    return true;
  }

  std::string_view rest_;
};

void FindGaps(size_t strange, bool cut, Companion* companion) {
  const CompanionLine* const first = companion->lines.empty() ? nullptr : &companion->lines.front();
  if (first == nullptr || first->type != "companion") {
    companion->gaps.emplace_back("the companion does not begin as one");
  } else if (LeadingNumber(first->Text("schema"), 10) > kKnownSchema) {
    companion->gaps.emplace_back("the companion is of a newer version; some may be missing");
  }
  if (strange > 0) {
    companion->gaps.emplace_back("the companion has " + std::to_string(strange) +
                                 " lines that are none of its own");
  }
  if (cut || companion->Find("end") == nullptr) {
    companion->gaps.emplace_back("the companion was cut off");
  }
}

}  // namespace

const std::string& CompanionLine::Text(std::string_view name) const {
  static const std::string kNothing;
  for (const CompanionValue& value : values) {
    if (value.name == name) return value.IsNull() ? kNothing : value.text;
  }
  return kNothing;
}

const CompanionLine* Companion::Find(std::string_view type) const {
  const auto line = std::find_if(lines.begin(), lines.end(), [&](const CompanionLine& candidate) {
    return candidate.type == type;
  });
  return line == lines.end() ? nullptr : &*line;
}

Companion ParseCompanion(std::string_view text) {
  Companion companion;
  companion.found = true;
  size_t strange = 0;
  bool cut = text.size() > kMaxCompanionBytes;
  text = text.substr(0, kMaxCompanionBytes);
  while (!text.empty()) {
    const size_t end = text.find('\n');
    if (end == std::string_view::npos || companion.lines.size() == kMaxCompanionLines) {
      cut = true;
      break;
    }
    CompanionLine line;
    if (LineReader(text.substr(0, end)).Read(&line)) {
      companion.lines.push_back(std::move(line));
    } else {
      ++strange;
    }
    text.remove_prefix(end + 1);
  }
  FindGaps(strange, cut, &companion);
  return companion;
}

}  // namespace oru_report
