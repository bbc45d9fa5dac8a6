#include "oru_report/model/trace_line.h"

#include "oru_report/model/line_text.h"

namespace oru_report {
namespace {

// Reads a line from its start.
class Cursor {
 public:
  explicit Cursor(std::string_view rest) : rest_(rest) {}

  bool Skip(std::string_view text) {
    if (!StartsWith(rest_, text)) return false;
    rest_.remove_prefix(text.size());
    return true;
  }

  // A string's content up to its closing quote, with the two escapes that the tracer writes.
  bool String(std::string* content) {
    content->clear();
    size_t at = 0;
    for (; at < rest_.size() && rest_[at] != '"'; ++at) {
      if (rest_[at] == '\\' && at + 1 < rest_.size()) ++at;
      *content += rest_[at];
    }
    if (at >= rest_.size()) return false;
    rest_.remove_prefix(at + 1);
    return true;
  }

  bool Number(uint64_t most, uint64_t* number) {
    size_t digits = 0;
    *number = LeadingNumber(rest_, 10, &digits);
    if (digits == 0 || *number > most) return false;
    rest_.remove_prefix(digits);
    return true;
  }

  std::string_view rest() const { return rest_; }

 private:
  std::string_view rest_;
};

bool ReadPhase(Cursor* cursor, char* phase) {
  std::string text;
  if (!cursor->String(&text) || text.size() != 1) return false;
  *phase = text[0];
  return true;
}

}  // namespace

bool ReadTraceLine(std::string_view line, TraceLine* event) {
  Cursor cursor(line);
  uint64_t time = 0;
  uint64_t process = 0;
  uint64_t thread = 0;
  if (!cursor.Skip(",")) cursor.Skip(" ");
  if (!cursor.Skip("{ \"name\": \"") || !cursor.String(&event->name)) return false;
  if (!cursor.Skip(", \"cat\": \"") || !cursor.String(&event->category)) return false;
  if (!cursor.Skip(", \"ph\": \"") || !ReadPhase(&cursor, &event->phase)) return false;
  if (!cursor.Skip(", \"ts\": ") || !cursor.Number(kMaxTraceMicros, &time)) return false;
  if (!cursor.Skip(", \"pid\": ") || !cursor.Number(UINT32_MAX, &process)) return false;
  if (!cursor.Skip(", \"tid\": ") || !cursor.Number(UINT32_MAX, &thread)) return false;
  event->micros = static_cast<int64_t>(time);
  event->thread = static_cast<uint32_t>(thread);
  event->args = {};
  if (cursor.Skip(", \"args\": { ")) {
    event->args = cursor.rest().substr(0, cursor.rest().rfind(" }}"));
    return EndsWith(cursor.rest(), " }}");
  }
  return cursor.Skip("}");
}

int64_t CalendarOf(const TraceLine& event) {
  constexpr std::string_view kArgument = "\"utc_us\": ";
  if (event.name != "CalendarTime" || event.category != "webrtc" ||
      !StartsWith(event.args, kArgument)) {
    return -1;
  }
  const uint64_t micros = LeadingNumber(event.args.substr(kArgument.size()), 10);
  return micros > static_cast<uint64_t>(kMaxTraceMicros) ? -1 : static_cast<int64_t>(micros);
}

}  // namespace oru_report
